#pragma once

#include <openssl/types.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A server on a free port of 127.0.0.1 that sends exactly the bytes it is told, so that a test can answer as
// no well-behaved server would. Takes one request per connection, one connection after the other, and then
// closes it. Stops in its destructor; a test may read Requests() at any time.
class LocalHttpServer {
  public:
    // Answers a request by sending on `socket`, which the server closes afterwards.
    using Handler = std::function<void(int socket)>;

    explicit LocalHttpServer(Handler handler);
    // Sends the answers one by one; the last one repeats.
    explicit LocalHttpServer(std::vector<std::string> answers);
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;

    // "http://127.0.0.1:port" and `path`.
    std::string Url(const std::string& path) const;
    std::vector<std::string> Requests() const;  // head and body as they came

    // False when the peer no longer takes the bytes.
    static bool Send(int socket, const std::string& bytes);

  private:
    void Serve();

    Handler m_handler;
    BIO* const m_listener;
    mutable std::mutex m_lock;
    std::vector<std::string> m_requests;  // guarded by m_lock
    std::thread m_thread;
};

// A complete answer with the status line's rest ("200 OK"), further header lines and a body. It announces
// that the server closes: a client that follows a redirect could send the next request into the closing
// connection.
std::string HttpAnswer(const std::string& status, const std::string& headerLines, const std::string& body);
