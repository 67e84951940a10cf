#include "ClientConnection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Json.h"

namespace {

constexpr size_t kReadSize = 4096;                     // bytes
constexpr size_t kLongestBacklog = 256 * 1024;         // of a watcher
constexpr auto kEndingTime = std::chrono::seconds(2);  // for a client to read why it is closed
constexpr char kTooLong[] = "a request has at most 65536 bytes";
constexpr char kTooLate[] = "there was no outcome in time";

Peer PeerOf(int socket) {
    ucred credentials = {};
    socklen_t size = sizeof(credentials);
    (void)getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size);  // a connected socket has them
    return {credentials.uid, credentials.pid};
}

bool MayComeLater(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

std::string DoneLine() {
    const JsonOwner answer = NewJsonObject();
    cJSON_AddTrueToObject(answer.get(), AgentField::kOk);
    return OneLine(*answer);
}

std::string ErrorLine(const AgentError& error, const std::string& message) {
    const JsonOwner answer = NewJsonObject();
    cJSON_AddFalseToObject(answer.get(), AgentField::kOk);
    AddText(*answer, AgentField::kError, error.word);
    AddText(*answer, AgentField::kMessage, message);
    cJSON_AddNumberToObject(answer.get(), AgentField::kStatusNumber, static_cast<int>(error.status));
    return OneLine(*answer);
}

ClientConnection::ClientConnection(EventLoop& loop, int socket, IRequestHandler& handler)
    : m_loop(loop), m_socket(socket), m_handler(handler), m_peer(PeerOf(socket)) {
    m_source = m_loop.OnDescriptor(socket, EPOLLIN, [this](uint32_t events) { OnSocket(events); });
}

void ClientConnection::OnSocket(uint32_t events) {
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        ServeOneThatLeft();
        return;
    }
    if ((events & EPOLLOUT) != 0) {
        Flush();
    }
    if (m_isEnding) {
        DropInput();
    } else if ((events & EPOLLIN) != 0 && Read()) {
        (void)StartNext();
    }
    Continue();
}

void ClientConnection::NoticeHangUp() {
    pollfd state = {m_socket.Get(), 0, 0};
    if (!IsClosed() && poll(&state, 1, 0) > 0) {
        ServeOneThatLeft();
    }
}

// It may have sent something before it left, which need not come to nothing: `logout` and away.
void ClientConnection::ServeOneThatLeft() {
    m_isGone = true;
    while (!m_isBusy && !m_isEnding && (StartNext() || Read())) {
    }
    Close();
}

void ClientConnection::Close() {
    m_source.Reset();
    m_turn.Reset();
    m_deadline.Reset();
    (void)shutdown(m_socket.Get(), SHUT_RDWR);  // the client may be gone already
    std::string().swap(m_output);               // nobody takes it any more
}

// False when nothing came.
bool ClientConnection::Read() {
    char chunk[kReadSize];
    const size_t room = std::min(sizeof(chunk), m_input.Room());
    if (m_hasEnded || room == 0) {
        return false;
    }
    const ssize_t count = recv(m_socket.Get(), chunk, room, MSG_DONTWAIT);
    if (count > 0) {
        m_input.Add(std::string_view(chunk, static_cast<size_t>(count)));
        explicit_bzero(chunk, static_cast<size_t>(count));
        return true;
    }
    if (count == 0 || !MayComeLater(errno)) {
        m_hasEnded = true;
        m_input.End();
    }
    return m_hasEnded;
}

// False when there is none to start now.
bool ClientConnection::StartNext() {
    if (m_isBusy || m_isEnding || Backlog() > 0) {
        return false;
    }
    if (m_input.IsTooLong()) {
        AnswerAndClose(AgentErrors::kBadRequest, kTooLong);
        return false;
    }
    const std::optional<std::string_view> line = m_input.Line();
    if (!line.has_value()) {
        return false;
    }
    Start(*line);
    return true;
}

void ClientConnection::Start(std::string_view line) {
    AgentRequest request;
    std::string fault;
    const bool isRequest = ReadRequest(line, request, fault);
    m_input.Drop();
    const unsigned number = ++m_number;
    m_isBusy = true;
    if (!isRequest) {
        Answer(number, ErrorLine(AgentErrors::kBadRequest, fault));
        return;
    }
    m_deadline = m_loop.After(request.timeout,
                              [this, number] { Answer(number, ErrorLine(AgentErrors::kTimeout, kTooLate)); });
    if (request.operation == std::string_view(AgentOp::kWatch)) {
        m_isWatcher = true;
    }
    m_handler.StartRequest(request, m_peer,
                           [this, number, life = std::weak_ptr<int>(m_life)](const std::string& answer) {
                               if (!life.expired()) {
                                   Answer(number, answer);
                               }
                           });
}

void ClientConnection::Answer(unsigned number, const std::string& line) {
    if (!m_isBusy || number != m_number || IsClosed()) {
        return;
    }
    m_isBusy = false;
    m_deadline.Reset();
    Queue(line);
    Flush();
    Continue();
}

void ClientConnection::AnswerAndClose(const AgentError& error, const std::string& message) {
    Queue(ErrorLine(error, message));
    Flush();
    m_isEnding = true;
    (void)shutdown(m_socket.Get(), SHUT_WR);  // the client may be gone already
    m_deadline = m_loop.After(kEndingTime, [this] { Close(); });
}

void ClientConnection::SendEvent(const std::string& line) {
    if (IsClosed() || m_isEnding) {
        return;
    }
    Queue(line);
    Flush();
    Backlog() > kLongestBacklog ? Close() : Continue();
}

void ClientConnection::Queue(const std::string& line) {
    if (!m_isGone) {
        m_output.append(line).append("\n");
    }
}

void ClientConnection::Flush() {
    while (Backlog() > 0) {
        const ssize_t count = send(m_socket.Get(), m_output.data(), Backlog(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            m_isGone = !MayComeLater(errno);
            break;
        }
        m_output.erase(0, static_cast<size_t>(count));
    }
    if (m_isGone || Backlog() == 0) {
        std::string().swap(m_output);  // a long answer leaves no room behind
    }
}

// Whoever is still sending would lose the answer if the socket were closed at once.
void ClientConnection::DropInput() {
    char chunk[kReadSize];
    const ssize_t count = recv(m_socket.Get(), chunk, sizeof(chunk), MSG_DONTWAIT);
    if (count == 0 || (count < 0 && !MayComeLater(errno))) {
        Close();
    }
}

// Decides what to wait for next.
void ClientConnection::Continue() {
    if (IsClosed()) {
        return;
    }
    const bool isFree = !m_isBusy && Backlog() == 0;
    const bool hasLine = m_input.Line().has_value();
    if (m_hasEnded && isFree && !hasLine && !m_isWatcher && !m_isEnding) {
        Close();
        return;
    }
    // A turn of its own: clients share the loop, and whoever calls may not be called back.
    if (isFree && hasLine && !m_isEnding && !m_turn.IsActive()) {
        m_turn = m_loop.After(EventLoop::Duration::zero(), [this] {
            m_turn.Reset();
            (void)StartNext();
            Continue();
        });
    }
    const bool mayRead = m_isEnding || (isFree && !hasLine && !m_hasEnded);
    m_source.WatchFor((mayRead ? EPOLLIN : 0u) | (Backlog() > 0 ? EPOLLOUT : 0u));
}
