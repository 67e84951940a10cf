#include "ServiceLink.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "SettingsKeys.h"
#include "SignalHandler.h"
#include "SystemNames.h"
#include "XMLOpt.h"

namespace {

using std::chrono::milliseconds;

constexpr char kFromService[] = "/serverpipe";
constexpr char kToService[] = "/clientpipe";
constexpr mode_t kFifoMode = 0600;  // logins travel here

constexpr char kSettingsFile[] = "/conf/conf.xml";

// Between two looks for the service. It opens the second FIFO up to a second after the first.
constexpr milliseconds kLookPause(250);

constexpr size_t kLongestReceived = 64 * 1024;  // bytes, without the NUL
constexpr size_t kReadSize = 16 * 1024;
// How many reads may follow the end of a service: as much as a FIFO holds at most.
constexpr int kMostLastReads = 64;

// A handler, not SIG_IGN, which programs that are started from here would inherit.
void NoteBrokenPipe(int /*signal*/) {}

}  // namespace

ServiceLink::ServiceLink(EventLoop& loop, const std::string& folder, ILinkListener& listener)
    : m_loop(loop),
      m_listener(listener),
      m_folder(folder),
      m_fromService{folder + kFromService},
      m_toService{folder + kToService} {
    HandleUndecided(SIGPIPE, NoteBrokenPipe);
}

ServiceLink::~ServiceLink() = default;

void ServiceLink::Start() {
    LookLater(milliseconds(0));
}

int ServiceLink::ServicePid() const {
    CXMLOpt settings;
    if (!IsAttached() || !settings.LoadFile((m_folder + kSettingsFile).c_str())) {
        return 0;
    }
    const int pid = settings.GetIntValue(SettingsKey::kProcessId);
    return IsServiceProcess(pid) ? pid : 0;
}

void ServiceLink::LookLater(EventLoop::Duration delay) {
    m_lookTimer = m_loop.After(delay, [this] { Look(); });
}

// The service opens "serverpipe" first and waits for a reader, then "clientpipe", where it waits for a
// writer. Being the reader is therefore what lets it go on, and that "clientpipe" has a reader tells that it
// is there: "serverpipe" may be what a killed one left.
void ServiceLink::Look() {
    LookLater(kLookPause);
    struct stat found = {};
    if (!Find(m_fromService, found)) {
        Close();
        return;
    }
    (void)mkfifo(m_toService.path.c_str(), kFifoMode);  // most often it is there; if it fails, opening tells
    if (!HasOpened(found)) {
        OpenReader();
    }
    if (m_reader && Find(m_toService, found) && Open(m_toService, O_WRONLY, m_writer)) {
        Attach();
    }
}

// Always false.
bool ServiceLink::Refuse(Name& name, const char* reason) {
    if (!name.isRefused) {
        (void)fprintf(stderr, "%s: %s\n", name.path.c_str(), reason);
    }
    name.isRefused = true;
    return false;
}

bool ServiceLink::Find(Name& name, struct stat& found) {
    if (lstat(name.path.c_str(), &found) != 0) {
        return errno == ENOENT ? false : Refuse(name, strerror(errno));
    }
    if (!S_ISFIFO(found.st_mode)) {
        return Refuse(name, "a plain file or a link, not a FIFO: move it away");
    }
    return true;
}

// That nobody reads is no reason to complain.
bool ServiceLink::Open(Name& name, int direction, std::optional<Descriptor>& opened) {
    opened.emplace(open(name.path.c_str(), direction | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (opened->IsOpen() && fstat(opened->Get(), &status) == 0 && S_ISFIFO(status.st_mode)) {
        name.isRefused = false;
        return true;
    }
    const int error = opened->IsOpen() ? ENOENT : errno;  // exchanged since it was found
    opened.reset();
    return error == ENXIO || error == ENOENT ? false : Refuse(name, strerror(error));
}

// Who prepares the folder for the next service may have removed the FIFO and made another one.
bool ServiceLink::HasOpened(const struct stat& found) const {
    struct stat own = {};
    return m_reader && fstat(m_reader->Get(), &own) == 0 && own.st_dev == found.st_dev &&
           own.st_ino == found.st_ino;
}

void ServiceLink::OpenReader() {
    Close();
    if (Open(m_fromService, O_RDONLY, m_reader)) {
        WatchWriters();
    }
}

// A service that is killed and started anew within a moment opens the FIFOs again before the end of the
// former one was seen on them. The kernel's notice remains. Where there are no more notices to be had, the
// rest still does its work. Held by AgentLink.AnEndIsSeenHoweverShort.
void ServiceLink::WatchWriters() {
    m_notices.emplace(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string opened = "/proc/self/fd/" + std::to_string(m_reader->Get());
    if (m_notices->IsOpen() && inotify_add_watch(m_notices->Get(), opened.c_str(), IN_CLOSE_WRITE) >= 0) {
        m_noticed = m_loop.OnDescriptor(m_notices->Get(), EPOLLIN, [this](uint32_t) { Lose(); });
    }
}

void ServiceLink::Attach() {
    m_lookTimer.Reset();
    m_readable = m_loop.OnDescriptor(m_reader->Get(), EPOLLIN, [this](uint32_t) {
        if (ReadSome() == Reading::kEnd) {
            Lose();
        }
    });
    m_unread = m_loop.OnDescriptor(m_writer->Get(), EPOLLERR, [this](uint32_t) { Lose(); });
    m_listener.LinkAttached();
}

ServiceLink::Reading ServiceLink::ReadSome() {
    char buffer[kReadSize];
    const ssize_t count = read(m_reader->Get(), buffer, sizeof(buffer));
    if (count > 0) {
        HandOn({buffer, static_cast<size_t>(count)});
        return Reading::kSome;
    }
    return count == 0 ? Reading::kEnd : Reading::kNothing;
}

// The listener may destroy the link.
void ServiceLink::HandOn(std::string_view bytes) {
    const std::weak_ptr<bool> life = m_life;
    while (!life.expired() && !bytes.empty()) {
        const size_t nul = bytes.find('\0');
        const std::string_view piece = bytes.substr(0, nul);
        m_isTooLong = m_isTooLong || m_pending.size() + piece.size() > kLongestReceived;
        m_pending.append(m_isTooLong ? "" : piece);
        if (nul == std::string_view::npos) {
            return;
        }
        bytes.remove_prefix(nul + 1);
        std::string message;
        message.swap(m_pending);
        if (!std::exchange(m_isTooLong, false)) {
            m_listener.LinkMessage(message);
        }
    }
}

// The listener may destroy the link.
void ServiceLink::Lose() {
    const std::weak_ptr<bool> life = m_life;
    const bool wasAttached = IsAttached();
    for (int reading = 0; wasAttached && reading < kMostLastReads && ReadSome() == Reading::kSome;
         ++reading) {
        if (life.expired()) {
            return;
        }
    }
    Close();
    LookLater(kLookPause);
    if (wasAttached) {
        m_listener.LinkLost();
    }
}

void ServiceLink::Close() {
    m_readable.Reset();
    m_unread.Reset();
    m_noticed.Reset();
    m_reader.reset();
    m_writer.reset();
    m_notices.reset();
    m_pending.clear();
    m_isTooLong = false;
}

// The service has one read for a message: it has to come in one piece, or not at all. When the other side has
// gone, the loop sees that by itself.
bool ServiceLink::Send(const std::string& message) {
    const size_t size = message.size() + 1;
    if (!IsAttached() || size > PIPE_BUF) {
        return false;
    }
    ssize_t written = 0;
    do {
        written = write(m_writer->Get(), message.c_str(), size);
    } while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(size);
}
