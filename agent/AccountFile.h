#pragma once

#include <functional>
#include <optional>
#include <string>

#include "AgentProtocol.h"
#include "EventLoop.h"
#include "Secret.h"

// The result of reading an account file: the account, nothing (there is no such file), or a fault.
struct AccountReading {
    std::optional<Account> account;
    ExitStatus status = ExitStatus::kDone;  // kUsage or kDenied for a fault
    std::string fault;                      // one sentence for people, without the password; empty: no fault
};

// First line the account, second line the password as it stands; LF or CR LF; at most 4 KiB. A file that
// group or others may read or write is refused, unless it lies below $CREDENTIALS_DIRECTORY, where systemd
// guards it.
AccountReading ReadAccountFile(const std::string& path);

// Writes it aside and renames it into place: mode 0600, the former file's owner. Empty when it went well,
// else what went wrong in one sentence; `status` then is kDenied without the right to, else kFailed.
std::string WriteAccountFile(const std::string& path, const Account& account, ExitStatus& status);
// The same for removing it; one that is not there is no fault.
std::string RemoveAccountFile(const std::string& path, ExitStatus& status);

// Watches a file through its folder: what appears, changes, is renamed into place or goes counts within 2 s.
// A folder that is missing is waited for as well.
class AccountWatch {
  public:
    // `changed` runs on the loop's thread; the file may turn out to have the former content.
    AccountWatch(EventLoop& loop, const std::string& path, std::function<void()> changed);
    ~AccountWatch();
    AccountWatch(const AccountWatch&) = delete;
    AccountWatch& operator=(const AccountWatch&) = delete;
};
