#pragma once

#include <sys/types.h>

#include <list>
#include <string>

#include "ClientConnection.h"

// The agent's socket: takes clients, at most 64 at a time, and hands their requests to the handler. The
// socket file belongs to the agent's user and group, who may both write to it. Belongs to the loop's thread.
class RequestServer {
  public:
    // `loop` and `handler` outlive the server. Nobody is served before Open.
    RequestServer(EventLoop& loop, IRequestHandler& handler);
    // Removes the socket file.
    ~RequestServer();
    RequestServer(const RequestServer&) = delete;
    RequestServer& operator=(const RequestServer&) = delete;

    // Makes the socket file and serves it. A socket file that nobody serves any more is replaced; one that is
    // served, or a file that is none, stays. Empty when it went well, else one sentence of what is in the
    // way.
    std::string Open(const std::string& path);

    bool HasWatchers() const;
    // Sends an event to every watcher.
    void Publish(const std::string& event);
    // Bytes that clients have not taken yet, all together.
    size_t Backlog() const;

  private:
    std::string Bind(const std::string& path);
    void AcceptSome();
    void Pause(const char* reason);
    void Accept(int socket);
    size_t CountClients();

    EventLoop& m_loop;
    IRequestHandler& m_handler;
    std::string m_path;   // of the socket file; empty without one
    int m_listener = -1;  // owned
    EventSource m_source;
    EventSource m_pause;  // until the machine has descriptors again
    std::list<ClientConnection> m_clients;
};
