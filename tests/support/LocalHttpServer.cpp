#include "LocalHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

constexpr char kHeadEnd[] = "\r\n\r\n";
constexpr char kLengthHeader[] = "\r\nContent-Length:";

size_t BodyLength(const std::string& head) {
    const char* found = strcasestr(head.c_str(), kLengthHeader);
    return found != nullptr ? strtoul(found + sizeof(kLengthHeader) - 1, nullptr, 10) : 0;
}

// Appends what the peer sends until `text` has `length` bytes or `length` is 0 and it holds a whole head.
bool Receive(int socket, std::string& text, size_t length) {
    char block[4096];
    while (length > 0 ? text.size() < length : text.find(kHeadEnd) == std::string::npos) {
        const ssize_t count = recv(socket, block, sizeof(block), 0);
        if (count <= 0) {
            return false;
        }
        text.append(block, static_cast<size_t>(count));
    }
    return true;
}

LocalHttpServer::Handler OneByOne(std::vector<std::string> answers) {
    auto next = std::make_shared<size_t>(0);
    return [answers = std::move(answers), next](int socket, const LocalHttpServer::Request&) {
        LocalHttpServer::Send(socket, answers[std::min(*next, answers.size() - 1)]);
        ++*next;
    };
}

}  // namespace

LocalHttpServer::LocalHttpServer(Handler handler) : m_handler(std::move(handler)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(m_listener, SOMAXCONN) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("no port of the loopback interface can be opened");
    }
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Serve(); });
}

LocalHttpServer::LocalHttpServer(std::vector<std::string> answers)
    : LocalHttpServer(OneByOne(std::move(answers))) {}

LocalHttpServer::~LocalHttpServer() {
    (void)shutdown(m_listener, SHUT_RDWR);  // ends the accept that waits
    m_thread.join();
    close(m_listener);
}

std::string LocalHttpServer::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::vector<LocalHttpServer::Request> LocalHttpServer::Requests() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_requests;
}

void LocalHttpServer::Serve() {
    int connection = -1;
    while ((connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        ServeConnection(connection);
        close(connection);
    }
}

void LocalHttpServer::ServeConnection(int socket) {
    Request request;
    if (!Receive(socket, request.head, 0)) {
        return;
    }
    const size_t headLength = request.head.find(kHeadEnd) + sizeof(kHeadEnd) - 1;
    request.body = request.head.substr(headLength);
    request.head.resize(headLength);
    const size_t bodyLength = BodyLength(request.head);
    if (bodyLength > 0 && !Receive(socket, request.body, bodyLength)) {
        return;
    }
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_requests.push_back(request);
    }
    m_handler(socket, request);
}

bool LocalHttpServer::Send(int socket, const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<size_t>(count);
    }
    return true;
}

void LocalHttpServer::WaitForClose(int socket) {
    char ignored[4096];
    while (recv(socket, ignored, sizeof(ignored), 0) > 0) {
    }
}

std::string HttpAnswer(const std::string& status, const std::string& headerLines, const std::string& body) {
    return "HTTP/1.1 " + status + "\r\n" + headerLines + "Content-Length: " + std::to_string(body.size()) +
           kHeadEnd + body;
}
