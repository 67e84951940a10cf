#include "AgentClient.h"

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// The whole history as JSON is a little over 1 MiB, and more with characters that JSON writes in six.
constexpr size_t kLongestAnswer = 8 * 1024 * 1024;
constexpr size_t kReadBlock = 64 * 1024;

// Who can do without the agent does not wait for one that hangs.
constexpr std::chrono::seconds kPatience{2};

constexpr char kHereSocket[] = "./agent.sock";

// That of its folder where only the group may look into that. Empty when neither can be looked at, or nobody
// joins it.
std::string GroupOf(const std::string& path) {
    struct stat found = {};
    const std::string folder = path.substr(0, path.rfind('/'));
    if (stat(path.c_str(), &found) != 0 && stat(folder.c_str(), &found) != 0) {
        return "";
    }
    const group* owner = found.st_gid != 0 ? getgrgid(found.st_gid) : nullptr;
    return owner != nullptr ? owner->gr_name : "";
}

CtlFault Denied(const std::string& path) {
    const std::string group = GroupOf(path);
    const std::string advice = group.empty() ? "use sudo" : "use sudo, or join the group " + group;
    return {ExitStatus::kDenied, "no right to use the agent's socket " + path + ": " + advice};
}

CtlFault NobodyAt(const std::string& places) {
    return {ExitStatus::kNoService, "no agent answers at " + places + "; does quorvane-agent run?"};
}

CtlFault TimedOut() {
    return {ExitStatus::kTimeout, "the agent does not answer in time"};
}

CtlFault AgentGone() {
    return {ExitStatus::kNoService, "the agent has ended the connection"};
}

timeval TimevalOf(std::chrono::seconds duration) {
    timeval value = {};
    value.tv_sec = duration.count();
    return value;
}

// A failure that the agent tells, in the terms of this program.
CtlFault FaultOf(const cJSON& answer) {
    const cJSON* isFine = cJSON_GetObjectItemCaseSensitive(&answer, AgentField::kOk);
    if (cJSON_IsTrue(isFine)) {
        return {};
    }
    if (!cJSON_IsFalse(isFine)) {
        return {ExitStatus::kFailed, "the agent's answer cannot be understood"};
    }
    const cJSON* number = cJSON_GetObjectItemCaseSensitive(&answer, AgentField::kStatusNumber);
    const int status = cJSON_IsNumber(number) ? number->valueint : 0;
    const bool isKnown =
        status > static_cast<int>(ExitStatus::kDone) && status <= static_cast<int>(ExitStatus::kDenied);
    const std::string word = TextOf(&answer, AgentField::kError);
    const std::string text = TextOf(&answer, AgentField::kMessage);
    return {isKnown ? static_cast<ExitStatus>(status) : ExitStatus::kFailed,
            text.empty() ? "the agent answers " + word : text, word};
}

}  // namespace

void CtlRequest::AddUncopied(const char* name, const Secret& text) {
    cJSON_AddItemToObject(fields.get(), name, cJSON_CreateStringReference(text.Text().data()));
}

Secret CtlRequest::Line() const {
    std::string line(kLongestRequest + 1, '\0');
    const bool fits =
        cJSON_PrintPreallocated(fields.get(), line.data(), static_cast<int>(line.size()), 0) != 0;
    Secret secret;
    if (fits) {
        line[strlen(line.c_str())] = '\n';
        secret = Secret(std::string_view(line).substr(0, line.find('\n') + 1));
    }
    Wipe(line);
    return secret;
}

AgentClient::~AgentClient() {
    if (m_socket >= 0) {
        (void)close(m_socket);
    }
}

CtlFault AgentClient::Ask(const std::string& path, CtlRequest request, JsonOwner& answer) {
    const CtlFault fault = Connect(path);
    return fault.IsNone() ? Exchange(std::move(request), answer) : fault;
}

CtlFault AgentClient::Connect(const std::string& path) {
    if (!path.empty()) {
        return ConnectTo(path);
    }
    CtlFault fault = ConnectTo(kSystemSocket);
    if (fault.status != ExitStatus::kNoService) {
        return fault;
    }
    const CtlFault faultHere = ConnectTo(kHereSocket);
    return faultHere.status == ExitStatus::kNoService
               ? NobodyAt(std::string(kSystemSocket) + " or " + kHereSocket)
               : faultHere;
}

CtlFault AgentClient::ConnectTo(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return {ExitStatus::kUsage, "no path of a socket has more than " +
                                        std::to_string(sizeof(address.sun_path) - 1) + " bytes: " + path};
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    if (m_socket < 0) {
        m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval timeout = TimevalOf(m_timeout);  // for connecting, too, when many wait to be let in
        (void)setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
    }
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        return {};
    }
    switch (errno) {
        case EACCES:
        case EPERM: return Denied(path);
        case EAGAIN: return TimedOut();
        case ENOENT:
        case ENOTDIR:
        case ECONNREFUSED: return NobodyAt(path);
        default:
            return {ExitStatus::kNoService, "no agent can be reached at " + path + ": " + strerror(errno)};
    }
}

CtlFault AgentClient::Exchange(CtlRequest request, JsonOwner& answer) {
    cJSON_AddNumberToObject(request.fields.get(), AgentField::kTimeout,
                            static_cast<double>(m_timeout.count()));
    const Secret line = request.Line();
    if (line.Text().empty()) {
        return {ExitStatus::kUsage, "the request is longer than the agent takes"};
    }
    CtlFault fault = Send(line);
    if (fault.status == ExitStatus::kTimeout) {
        return fault;
    }
    // An agent that has too many clients says so and hangs up without reading.
    fault = Await(Clock::now() + m_timeout + m_grace);
    if (!fault.IsNone()) {
        return fault;
    }
    answer = Parsed();
    return answer != nullptr ? FaultOf(*answer)
                             : CtlFault{ExitStatus::kFailed, "the agent's answer is no JSON object"};
}

CtlFault AgentClient::Send(const Secret& line) const {
    for (std::string_view rest = line.Text(); !rest.empty();) {
        const ssize_t count = send(m_socket, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count > 0) {
            rest.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR) {
            return errno == EAGAIN ? TimedOut() : AgentGone();
        }
    }
    return {};
}

CtlFault AgentClient::Await(Clock::time_point deadline) {
    for (;;) {
        switch (Take()) {
            case Arrival::kLine: return {};
            case Arrival::kClosed: return AgentGone();
            case Arrival::kTooLong: return {ExitStatus::kFailed, "the agent's answer has no end"};
            case Arrival::kNothingYet: break;
        }
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd socket = {m_socket, POLLIN, 0};
        if (rest.count() <= 0 || poll(&socket, 1, static_cast<int>(rest.count())) == 0) {
            return TimedOut();
        }
    }
}

AgentClient::Arrival AgentClient::Take() {
    for (;;) {
        const size_t end = m_received.find('\n', m_searched);
        if (end != std::string::npos) {
            m_line = m_received.substr(0, end);
            m_received.erase(0, end + 1);
            m_searched = 0;
            return Arrival::kLine;
        }
        m_searched = m_received.size();
        if (m_isClosed) {
            return Arrival::kClosed;
        }
        if (m_received.size() > kLongestAnswer) {
            return Arrival::kTooLong;
        }
        const size_t length = m_received.size();
        m_received.resize(length + kReadBlock);
        const ssize_t count = recv(m_socket, &m_received[length], kReadBlock, MSG_DONTWAIT);
        m_received.resize(length + static_cast<size_t>(std::max<ssize_t>(count, 0)));
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return Arrival::kNothingYet;
        }
        m_isClosed = count <= 0;
    }
}

JsonOwner AgentClient::Parsed() const {
    const char* end = nullptr;
    JsonOwner value(cJSON_ParseWithLengthOpts(m_line.c_str(), m_line.size() + 1, &end, 1));
    return cJSON_IsObject(value.get()) ? std::move(value) : nullptr;
}

uid_t AgentClient::AgentUser() const {
    ucred agent = {};
    socklen_t length = sizeof(agent);
    return getsockopt(m_socket, SOL_SOCKET, SO_PEERCRED, &agent, &length) == 0 ? agent.uid : kNoUser;
}

StatusFound StatusIfThere(const std::string& socketPath) {
    AgentClient client(kPatience, std::chrono::seconds(0));
    StatusFound found;
    if (!client.Ask(socketPath, CtlRequest(AgentOp::kStatus), found.status).IsNone()) {
        return {};
    }
    found.agentUser = client.AgentUser();
    return found;
}
