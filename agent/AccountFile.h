#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "AgentProtocol.h"
#include "EventLoop.h"
#include "FileUtil.h"
#include "QuietPeriod.h"
#include "Secret.h"

// The result of reading an account file: the account, nothing (there is no such file), or a fault.
struct AccountReading {
    std::optional<Account> account;
    ExitStatus status = ExitStatus::kDone;  // kUsage or kDenied for a fault
    std::string fault;                      // one sentence for people, without the password; empty: no fault
};

// First line the account, second line the password as it stands, whatever its bytes but NUL; LF or CR LF; at
// most 4 KiB; further lines are ignored. A file that group or others may read or write is refused, unless it
// lies below $CREDENTIALS_DIRECTORY, where systemd guards it; there a lone line feed is as good as no file.
AccountReading ReadAccountFile(const std::string& path);

// Writes it aside and renames it into place: mode 0600, the former file's owner. A missing folder is made; a
// link in the file's place is refused. Empty when it went well, else what went wrong in one sentence;
// `status` then is kUsage for an account that no such file can hold, kDenied without the right to, else
// kFailed.
std::string WriteAccountFile(const std::string& path, const Account& account, ExitStatus& status);
// Removes it, as the above; one that is not there is no fault, and of a link only the link goes.
std::string RemoveAccountFile(const std::string& path, ExitStatus& status);

// Watches a file through its folder: what appears, changes, is renamed into place or goes counts within 2 s.
// A folder that is missing is waited for as well, and looked for again when it goes. Belongs to the loop's
// thread.
class AccountWatch {
  public:
    // `changed` runs on the loop's thread, for what happens from now on; the file may turn out to have the
    // former content. It may destroy this object.
    AccountWatch(EventLoop& loop, const std::string& path, std::function<void()> changed);
    ~AccountWatch();
    AccountWatch(const AccountWatch&) = delete;
    AccountWatch& operator=(const AccountWatch&) = delete;

  private:
    // What tells one version of the file from another; all 0 without a file.
    using Version = std::array<int64_t, 5>;

    void ReadNotices();
    void AwaitFolder();
    void WatchFolder();
    void Compare();
    Version PresentVersion() const;

    EventLoop& m_loop;
    const std::string m_path;
    const std::function<void()> m_changed;
    const Descriptor m_notices;  // of the kernel, about the folder
    int m_watch = -1;            // the folder that they are about
    QuietPeriod m_quiet;
    Version m_version;
    EventSource m_noticed;
    EventSource m_folderTimer;  // active while the folder is not watched
};
