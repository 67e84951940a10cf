#include "AccountFile.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FileUtil.h"
#include "SystemNames.h"
#include "TextUtil.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr size_t kLargestFile = 4096;  // bytes
constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kOpenToOthers = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

constexpr char kCredentialsFolder[] = "CREDENTIALS_DIRECTORY";  // in the environment, set by systemd
constexpr char kNoCredential[] =
    "\n";  // what the unit hands over while there is no account, for it has to be one

// Programs write a file in more than one step.
constexpr milliseconds kQuiet(100);
constexpr seconds kLongestUnrest(1);
// How often a missing folder is looked for.
constexpr seconds kFolderPause(1);

constexpr uint32_t kFolderEvents = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_TO |
                                   IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// The watch is over, or the path may lead elsewhere now.
constexpr uint32_t kFolderIsGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
constexpr size_t kNoticesSize = 4096;  // bytes; a notice with the longest name has less than 300

constexpr char kTwoLines[] = "the first line has to be the account, the second one its password";

AccountReading Fault(ExitStatus status, const std::string& path, const std::string& what) {
    AccountReading reading;
    reading.status = status;
    reading.fault = "the account file " + path + " " + what;
    return reading;
}

std::string PermissionFault(const struct stat& status) {
    char mode[sizeof("07777")];
    (void)snprintf(mode, sizeof(mode), "%04o", status.st_mode & 07777U);
    return std::string("has mode ") + mode + " and belongs to " + UserName(status.st_uid) +
           ": nobody else may read or write it (chmod 600)";
}

std::string RealPath(const char* path) {
    char resolved[PATH_MAX];
    return realpath(path, resolved) != nullptr ? resolved : "";
}

// Where the file really lies counts: a link out of the folder is not guarded by it.
bool IsCredential(const std::string& path) {
    const char* variable = getenv(kCredentialsFolder);
    const std::string folder = IsNullOrEmpty(variable) ? "" : RealPath(variable);
    return !folder.empty() && StartsWith(RealPath(path.c_str()), folder + "/");
}

bool IsDenial(int error) {
    return error == EACCES || error == EPERM;
}

AccountReading OpenFault(const std::string& path) {
    if (errno == ENOENT || errno == ENOTDIR) {
        return {};
    }
    return Fault(IsDenial(errno) ? ExitStatus::kDenied : ExitStatus::kUsage, path,
                 std::string("cannot be opened: ") + strerror(errno));
}

// Takes the next line off `rest`, without its end. False when nothing is left or the line is empty.
bool TakeLine(std::string_view& rest, std::string_view& line) {
    const size_t end = rest.find('\n');
    line = rest.substr(0, end);
    rest.remove_prefix(end != std::string_view::npos ? end + 1 : rest.size());
    if (end != std::string_view::npos && EndsWith(line, "\r")) {
        line.remove_suffix(1);
    }
    return !line.empty();
}

bool ParseAccount(std::string_view content, Account& account) {
    std::string_view name;
    std::string_view password;
    const bool isWhole = content.size() <= kLargestFile && content.find('\0') == std::string_view::npos &&
                         TakeLine(content, name) && TakeLine(content, password);
    if (isWhole) {
        account = {std::string(name), Secret(password)};
    }
    return isWhole;
}

// One byte more than a file may have tells that it is too long. False when reading fails.
bool ReadContent(int file, std::string& content) {
    content.resize(kLargestFile + 1);
    size_t size = 0;
    ssize_t count = 1;
    while (count > 0 && size < content.size()) {
        count = read(file, &content[size], content.size() - size);
        size += count > 0 ? static_cast<size_t>(count) : 0;
    }
    content.resize(size);
    return count >= 0;
}

AccountReading ReadOpened(const std::string& path, int file) {
    AccountReading reading;
    Account account;
    std::string content;
    if (!ReadContent(file, content)) {
        reading = Fault(ExitStatus::kUsage, path, std::string("cannot be read: ") + strerror(errno));
    } else if (content == kNoCredential && IsCredential(path)) {
        reading = {};
    } else if (content.size() > kLargestFile) {
        reading = Fault(ExitStatus::kUsage, path, "is longer than 4 KiB");
    } else if (content.find('\0') != std::string::npos) {
        reading = Fault(ExitStatus::kUsage, path, "has a NUL byte and is no text");
    } else if (!ParseAccount(content, account)) {
        reading = Fault(ExitStatus::kUsage, path, std::string("lacks a line: ") + kTwoLines);
    } else {
        reading.account = std::move(account);
    }
    Wipe(content);
    return reading;
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// What is said of a step that failed, by errno.
std::string WriteFault(const std::string& path, const char* what, ExitStatus& status) {
    status = IsDenial(errno) ? ExitStatus::kDenied : ExitStatus::kFailed;
    return "the account file " + path + " cannot be " + what + ": " + strerror(errno);
}

// The group does not matter to a file that it may not read.
bool KeepOwner(int file, const struct stat& former) {
    return fchown(file, former.st_uid, former.st_gid) == 0 ||
           fchown(file, former.st_uid, static_cast<gid_t>(-1)) == 0;
}

// A power cut leaves the former file or the new one.
void SettleFolder(const std::string& path) {
    const Descriptor folder(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.IsOpen()) {
        (void)fsync(folder.Get());  // a file system that cannot has its own ways
    }
}

// `former` is null when there is none. The name is the kernel's choice and new, so that nothing that was laid
// there is followed.
bool Exchange(const std::string& path, std::string_view content, const struct stat* former) {
    std::string aside = path + ".XXXXXX";
    const Descriptor file(mkostemp(&aside[0], O_CLOEXEC));
    if (!file.IsOpen()) {
        return false;
    }
    const bool isWritten = (former == nullptr || KeepOwner(file.Get(), *former)) &&
                           fchmod(file.Get(), kFileMode) == 0 && CFileUtil::WriteAll(file.Get(), content) &&
                           fsync(file.Get()) == 0 && rename(aside.c_str(), path.c_str()) == 0;
    if (!isWritten) {
        const int error = errno;
        (void)unlink(aside.c_str());  // the first failure is the one to report
        errno = error;
        return false;
    }
    SettleFolder(path);
    return true;
}

// A link is not followed: whoever laid it might turn the right to set an account into one to replace any
// file.
std::string WriteContent(const std::string& path, std::string_view content, ExitStatus& status) {
    (void)mkdir(FolderOf(path).c_str(), kFolderMode);  // most often it is there; if it fails, creating tells
    struct stat former = {};
    const bool isThere = lstat(path.c_str(), &former) == 0;
    if (isThere && !S_ISREG(former.st_mode)) {
        status = ExitStatus::kFailed;
        return path + " is a link or no file: name the file itself";
    }
    return Exchange(path, content, isThere ? &former : nullptr) ? "" : WriteFault(path, "written", status);
}

}  // namespace

AccountReading ReadAccountFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.IsOpen()) {
        return OpenFault(path);
    }
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return Fault(ExitStatus::kUsage, path, "is no file");
    }
    if ((status.st_mode & kOpenToOthers) != 0 && !IsCredential(path)) {
        return Fault(ExitStatus::kDenied, path, PermissionFault(status));
    }
    return ReadOpened(path, file.Get());
}

// What would not be read as it was meant, for a line feed in it or its length, is not written.
std::string WriteAccountFile(const std::string& path, const Account& account, ExitStatus& status) {
    std::string content;
    content.reserve(account.name.size() + account.password.Text().size() + 2);  // one buffer to wipe
    content.append(account.name).append("\n").append(account.password.Text()).append("\n");
    Account read;
    std::string fault;
    if (ParseAccount(content, read) && read == account) {
        fault = WriteContent(path, content, status);
    } else {
        status = ExitStatus::kUsage;
        fault = "account and password have to be one line each, not empty and below 4 KiB";
    }
    Wipe(content);
    return fault;
}

std::string RemoveAccountFile(const std::string& path, ExitStatus& status) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) {
        return WriteFault(path, "removed", status);
    }
    SettleFolder(path);
    return "";
}

AccountWatch::AccountWatch(EventLoop& loop, const std::string& path, std::function<void()> changed)
    : m_loop(loop),
      m_path(path),
      m_changed(std::move(changed)),
      m_notices(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      m_quiet(loop, kQuiet, kLongestUnrest, [this] { Compare(); }),
      m_version(PresentVersion()) {
    if (m_notices.IsOpen()) {
        m_noticed = m_loop.OnDescriptor(m_notices.Get(), EPOLLIN, [this](uint32_t) { ReadNotices(); });
    }
    AwaitFolder();
    WatchFolder();
}

AccountWatch::~AccountWatch() = default;

// All of the folder's notices count, for the file may be a link whose way leads through others of its files.
// The file itself tells which of them concern it.
void AccountWatch::ReadNotices() {
    alignas(inotify_event) char notices[kNoticesSize];
    const ssize_t count = read(m_notices.Get(), notices, sizeof(notices));
    for (ssize_t at = 0; at < count;) {
        const auto* notice = reinterpret_cast<const inotify_event*>(notices + at);
        if (notice->wd == m_watch && (notice->mask & kFolderIsGone) != 0) {
            AwaitFolder();
        }
        at += static_cast<ssize_t>(sizeof(inotify_event) + notice->len);
    }
    m_quiet.Note();
}

void AccountWatch::AwaitFolder() {
    m_folderTimer = m_loop.Every(kFolderPause, [this] { WatchFolder(); });
}

// While there are no notices, the file is looked at instead.
void AccountWatch::WatchFolder() {
    const int watch = inotify_add_watch(m_notices.Get(), FolderOf(m_path).c_str(), kFolderEvents);
    if (watch >= 0) {
        m_folderTimer.Reset();
    }
    if (m_watch >= 0 && watch != m_watch) {
        (void)inotify_rm_watch(m_notices.Get(), m_watch);  // a folder that was removed has taken it along
    }
    m_watch = watch;
    m_quiet.Note();
}

void AccountWatch::Compare() {
    const Version present = PresentVersion();
    if (present == m_version) {
        return;
    }
    m_version = present;
    const std::function<void()> changed = m_changed;  // outlives this object
    changed();
}

// The time of the last change of any kind, with what tells apart files that came about at the same moment.
AccountWatch::Version AccountWatch::PresentVersion() const {
    struct stat status = {};
    if (stat(m_path.c_str(), &status) != 0) {
        return {};
    }
    return {static_cast<int64_t>(status.st_dev), static_cast<int64_t>(status.st_ino),
            static_cast<int64_t>(status.st_size), status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}
