#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "FileUtil.h"
#include "Json.h"

// A client of the agent's socket, as simple as one can be.
class SocketClient {
  public:
    using Milliseconds = std::chrono::milliseconds;

    explicit SocketClient(const std::string& path)
        : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        m_isConnected =
            connect(m_socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    bool IsConnected() const { return m_isConnected; }
    int Get() const { return m_socket.Get(); }
    bool Send(const std::string& bytes) {
        return send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // The next line without its line feed; none when it does not come in time or the agent hangs up.
    std::optional<std::string> Line(Milliseconds timeOut = std::chrono::seconds(10)) {
        const auto end = std::chrono::steady_clock::now() + timeOut;
        size_t feed = 0;
        while ((feed = m_pending.find('\n')) == std::string::npos) {
            const auto left =
                std::chrono::duration_cast<Milliseconds>(end - std::chrono::steady_clock::now()).count();
            pollfd waiting = {m_socket.Get(), POLLIN, 0};
            char block[4096];
            ssize_t count = 0;
            if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) != 1 ||
                (count = read(m_socket.Get(), block, sizeof(block))) <= 0) {
                return std::nullopt;
            }
            m_pending.append(block, static_cast<size_t>(count));
        }
        std::string line = m_pending.substr(0, feed);
        m_pending.erase(0, feed + 1);
        return line;
    }
    // Sends one request and returns the next line as JSON; null when there is none.
    JsonOwner Ask(const std::string& request, Milliseconds timeOut = std::chrono::seconds(40)) {
        Send(request + "\n");
        return JsonOwner(cJSON_Parse(Line(timeOut).value_or("").c_str()));
    }

  private:
    const Descriptor m_socket;
    bool m_isConnected = false;
    std::string m_pending;
};
