#include "LocalHttpServer.h"

#include <openssl/bio.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

constexpr char kHeadEnd[] = "\r\n\r\n";
constexpr char kLengthHeader[] = "\r\nContent-Length:";

bool IsWhole(const std::string& request) {
    const size_t headEnd = request.find(kHeadEnd);
    const char* length = strcasestr(request.c_str(), kLengthHeader);
    const size_t bodyLength =
        length != nullptr ? strtoul(length + sizeof(kLengthHeader) - 1, nullptr, 10) : 0;
    return headEnd != std::string::npos && request.size() >= headEnd + sizeof(kHeadEnd) - 1 + bodyLength;
}

// Ends early when the peer does.
std::string Receive(int socket) {
    std::string request;
    char block[4096];
    ssize_t count = 0;
    while (!IsWhole(request) && (count = recv(socket, block, sizeof(block), 0)) > 0) {
        request.append(block, static_cast<size_t>(count));
    }
    return request;
}

LocalHttpServer::Handler OneByOne(std::vector<std::string> answers) {
    auto next = std::make_shared<size_t>(0);
    return [answers = std::move(answers), next](int socket) {
        LocalHttpServer::Send(socket, answers[std::min((*next)++, answers.size() - 1)]);
    };
}

}  // namespace

LocalHttpServer::LocalHttpServer(Handler handler)
    : m_handler(std::move(handler)), m_listener(BIO_new_accept("127.0.0.1:0")) {
    if (BIO_do_accept(m_listener) != 1) {
        throw std::runtime_error("no port of the loopback interface can be opened");
    }
    m_thread = std::thread([this] { Serve(); });
}

LocalHttpServer::LocalHttpServer(std::vector<std::string> answers)
    : LocalHttpServer(OneByOne(std::move(answers))) {}

LocalHttpServer::~LocalHttpServer() {
    (void)shutdown(static_cast<int>(BIO_get_fd(m_listener, nullptr)),
                   SHUT_RDWR);  // ends the accept that waits
    m_thread.join();
    BIO_free_all(m_listener);
}

std::string LocalHttpServer::Url(const std::string& path) const {
    return std::string("http://127.0.0.1:") + BIO_get_accept_port(m_listener) + path;
}

std::vector<std::string> LocalHttpServer::Requests() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_requests;
}

void LocalHttpServer::Serve() {
    while (BIO_do_accept(m_listener) == 1) {
        BIO* const connection = BIO_pop(m_listener);
        const int socket = static_cast<int>(BIO_get_fd(connection, nullptr));
        const std::string request = Receive(socket);
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_requests.push_back(request);
        }
        m_handler(socket);
        BIO_free_all(connection);
    }
}

bool LocalHttpServer::Send(int socket, const std::string& bytes) {
    return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

std::string HttpAnswer(const std::string& status, const std::string& headerLines, const std::string& body) {
    return "HTTP/1.1 " + status + "\r\n" + headerLines +
           "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + kHeadEnd + body;
}
