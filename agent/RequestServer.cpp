#include "RequestServer.h"

#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "AgentLog.h"

namespace {

constexpr size_t kMostClients = 64;
constexpr size_t kCrowd = 16;                     // clients whose room is given back when they have left
constexpr mode_t kOthers = 0117;                  // what the socket file does not allow: its mode is 0660
constexpr auto kPause = std::chrono::seconds(1);  // until clients are taken again
constexpr size_t kUnreadBytes = 64 * 1024;        // of a client that is turned away
constexpr char kTooMany[] = "64 clients are connected already";

std::string Fault(const std::string& path, const char* what) {
    return path + ": " + what;
}

// False for a path that is too long for a socket.
bool MakeAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    path.copy(address.sun_path, path.size());
    return true;
}

const sockaddr* Plain(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// Removes what an agent left that was killed. Empty when nothing is in the way any more.
std::string ClearPath(const std::string& path, const sockaddr_un& address) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return "";  // whatever is wrong with it, binding will tell
    }
    if (!S_ISSOCK(status.st_mode)) {
        return Fault(path, "is there already and no socket");
    }
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(probe.Get(), Plain(address), sizeof(address)) == 0 || errno == EAGAIN) {
        return Fault(path, "is served by another program");
    }
    if (errno != ECONNREFUSED || unlink(path.c_str()) != 0) {
        return Fault(path, strerror(errno));
    }
    return "";
}

}  // namespace

RequestServer::RequestServer(EventLoop& loop, IRequestHandler& handler) : m_loop(loop), m_handler(handler) {}

RequestServer::~RequestServer() {
    if (!m_path.empty()) {
        (void)unlink(m_path.c_str());  // somebody may have removed it
    }
    if (m_listener >= 0) {
        (void)close(m_listener);  // nothing was written to it
    }
}

std::string RequestServer::Open(const std::string& path) {
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_listener < 0) {
        return Fault(path, strerror(errno));
    }
    std::string fault = Bind(path);
    if (fault.empty()) {
        m_path = path;
        m_source = m_loop.OnDescriptor(m_listener, EPOLLIN, [this](uint32_t) { AcceptSome(); });
    }
    return fault;
}

std::string RequestServer::Bind(const std::string& path) {
    sockaddr_un address = {};
    if (!MakeAddress(path, address)) {
        return Fault(path, "the path is too long for a socket");
    }
    std::string fault = ClearPath(path, address);
    if (!fault.empty()) {
        return fault;
    }
    const mode_t previous = umask(kOthers);
    const int bound = bind(m_listener, Plain(address), sizeof(address));
    const int error = errno;
    umask(previous);
    if (bound != 0) {
        return Fault(path, strerror(error));
    }
    return listen(m_listener, SOMAXCONN) == 0 ? "" : Fault(path, strerror(errno));
}

void RequestServer::AcceptSome() {
    for (size_t taken = 0; taken < kMostClients; ++taken) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket >= 0) {
            Accept(socket);
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            Pause(strerror(errno));
            return;
        }
    }
}

// Without it the loop would spin for as long as clients wait and nothing can be done for them.
void RequestServer::Pause(const char* reason) {
    LogLine(Urgency::kError, std::string("no client can be taken: ") + reason);
    m_source.WatchFor(0);
    m_pause = m_loop.After(kPause, [this] { m_source.WatchFor(EPOLLIN); });
}

void RequestServer::Accept(int socket) {
    if (CountClients() < kMostClients) {
        m_clients.emplace_back(m_loop, socket, m_handler);
        return;
    }
    const Descriptor owner(socket);
    const std::string line = ErrorLine(AgentErrors::kBusy, kTooMany) + "\n";
    (void)send(socket, line.data(), line.size(), MSG_NOSIGNAL);  // the client may be gone already
    // What a client has sent and nobody read would keep the answer from it.
    char unread[kUnreadBytes];
    (void)recv(socket, unread, sizeof(unread), MSG_TRUNC);
}

// Those that are gone make room first, also those of which the loop does not know it yet.
size_t RequestServer::CountClients() {
    if (m_clients.size() >= kMostClients) {
        std::for_each(m_clients.begin(), m_clients.end(),
                      [](ClientConnection& client) { client.NoticeHangUp(); });
    }
    const bool wereMany = m_clients.size() >= kCrowd;
    m_clients.remove_if([](const ClientConnection& client) { return client.IsClosed(); });
    if (wereMany && m_clients.size() < kCrowd) {
        // Whatever came about among them and stays would keep the room of all of them.
        (void)malloc_trim(0);
    }
    return m_clients.size();
}

bool RequestServer::HasWatchers() const {
    return std::any_of(m_clients.begin(), m_clients.end(), [](const ClientConnection& client) {
        return client.IsWatcher() && !client.IsClosed();
    });
}

void RequestServer::Publish(const std::string& event) {
    for (ClientConnection& client : m_clients) {
        if (client.IsWatcher()) {
            client.SendEvent(event);
        }
    }
}

size_t RequestServer::Backlog() const {
    size_t bytes = 0;
    for (const ClientConnection& client : m_clients) {
        bytes += client.Backlog();
    }
    return bytes;
}
