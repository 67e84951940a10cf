#include "FrontEnd.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "ClientOperations.h"
#include "FileUtil.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = FrontEnd::Milliseconds;

constexpr Milliseconds kOpenPause(20);
constexpr size_t kReadSize = 4096;

// Opens a FIFO without waiting inside open(), which could not be ended: tries until `end`. -1 when the FIFO
// is missing or, for writing, nobody reads it by then.
int OpenBy(const std::string& path, int direction, Clock::time_point end) {
    int descriptor = -1;
    while ((descriptor = open(path.c_str(), direction | O_NONBLOCK | O_CLOEXEC)) < 0 && Clock::now() < end) {
        std::this_thread::sleep_for(kOpenPause);
    }
    return descriptor;
}

// Whether something of that name is there by `end`.
bool AppearsBy(const std::string& path, Clock::time_point end) {
    while (access(path.c_str(), F_OK) != 0) {
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(kOpenPause);
    }
    return true;
}

Milliseconds TimeUntil(Clock::time_point end) {
    return std::max(Milliseconds(0), std::chrono::ceil<Milliseconds>(end - Clock::now()));
}

}  // namespace

FrontEnd::FrontEnd(const std::string& folder)
    : m_fromService(folder + "/serverpipe"), m_toService(folder + "/clientpipe") {}

// The service opens the FIFO once in its life. A new one of the same name would never be read, so the next
// front end has to find this one.
FrontEnd::~FrontEnd() {
    m_pipeName = nullptr;
}

// The service opens "serverpipe" first and waits for a reader, then "clientpipe" and waits for a writer.
// Opening them in the same order is what keeps both from waiting for ever. Once each could be opened for a
// moment the service stands at the other ends, and opening them for good does not wait.
//
// A working service is one that reads "clientpipe": "serverpipe" may be what a killed one left. The FIFO that
// was made for a service that is none is removed; one that was found belongs to somebody.
bool FrontEnd::Connect(Milliseconds timeOut) {
    const auto end = Clock::now() + timeOut;
    if (!AppearsBy(m_fromService, end)) {
        return false;
    }
    const bool isOwn = CreateNamedPipeInServer(m_toService.c_str(), nullptr) == 0;
    const Descriptor reader(OpenBy(m_fromService, O_RDONLY, end));
    const Descriptor writer(OpenBy(m_toService, O_WRONLY, end));
    if (reader.IsOpen() && writer.IsOpen()) {
        return OpenNamePipeClient(m_fromService.c_str()) == 0;
    }
    if (isOwn) {
        (void)unlink(m_toService.c_str());  // somebody else may have removed it
    }
    return false;
}

bool FrontEnd::Send(const char* opcode, const std::string& parameters) {
    return WritePipe(OperationEnvelope(opcode, parameters).c_str()) == 1;
}

bool FrontEnd::Login(const std::string& account, const std::string& password) {
    return Send(ClientOperation::kConnect, LoginParameters(account, password));
}

bool FrontEnd::Logout(const std::string& reason) {
    return Send(ClientOperation::kDisconnect, ReasonParameter(reason));
}

bool FrontEnd::TerminalLogout(const std::string& ticket) {
    return Send(ClientOperation::kTerminalTerm, TicketParameter(ticket));
}

std::optional<Report> FrontEnd::Receive(Milliseconds timeOut) {
    const auto end = Clock::now() + timeOut;
    size_t nul = 0;
    while ((nul = m_pending.find('\0')) == std::string::npos) {
        if (!ReadMore(TimeUntil(end))) {
            return std::nullopt;
        }
    }
    const Report report(m_pending.substr(0, nul));
    m_pending.erase(0, nul + 1);
    m_received.push_back(report);
    if (m_listener) {
        m_listener(report);
    }
    return report;
}

bool FrontEnd::ReadMore(Milliseconds timeOut) {
    pollfd waiting = {m_fdClient, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(timeOut.count()));
    if (ready <= 0) {
        return ready < 0 && errno == EINTR;
    }
    char buffer[kReadSize];
    const ssize_t count = read(m_fdClient, buffer, sizeof(buffer));
    if (count <= 0) {
        m_serviceGone = true;
        return false;
    }
    m_pending.append(buffer, static_cast<size_t>(count));
    return true;
}

bool FrontEnd::Await(const std::function<bool(const Report&)>& wanted, Milliseconds timeOut) {
    const auto end = Clock::now() + timeOut;
    while (const std::optional<Report> report = Receive(TimeUntil(end))) {
        if (wanted(*report)) {
            return true;
        }
    }
    return false;
}

bool FrontEnd::AwaitOpcode(const char* opcode, Milliseconds timeOut) {
    return Await([opcode](const Report& report) { return report.opcode == opcode; }, timeOut);
}

bool FrontEnd::AwaitState(INetConn::ESTATE state, Milliseconds timeOut) {
    return HasState(state) || Await([&](const Report&) { return HasState(state); }, timeOut);
}

bool FrontEnd::HasState(INetConn::ESTATE state) const {
    const auto last = std::find_if(m_received.rbegin(), m_received.rend(),
                                   [](const Report& report) { return report.IsState(); });
    return last != m_received.rend() && last->newState == state;
}
