#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "EventLoop.h"
#include "FileUtil.h"
#include "RequestReader.h"

// Who is at the other end of the socket, as the kernel tells.
struct Peer {
    uid_t uid = 0;
    pid_t pid = 0;
};

// How a client is answered: one line without its line feed. May be kept and called later, also when the
// client is gone; only the first call counts.
using Reply = std::function<void(const std::string& line)>;

// Carries out requests.
class IRequestHandler {
  public:
    // Starts a request; `reply` is called at once or later. When it takes longer than the request's timeout
    // the client is told so, and what was begun goes on.
    virtual void StartRequest(const AgentRequest& request, const Peer& peer, const Reply& reply) = 0;

  protected:
    ~IRequestHandler() = default;
};

// The lines that tell that a request is done, with nothing more to say, and of a failure.
std::string DoneLine();
std::string ErrorLine(const AgentError& error, const std::string& message);

// One client: reads its requests one after the other, starts each when the answer to the one before it has
// been taken, and sends answers and events without ever waiting. So a client holds one line and one answer in
// memory, and a watcher the events that it has not read. Belongs to the loop's thread.
//
// When the client ends its side only, it still gets its answers. When it goes, the request that was begun
// goes on and those behind it fall away.
class ClientConnection {
  public:
    // Takes the connected, non-blocking socket. `handler` and `loop` outlive the connection.
    ClientConnection(EventLoop& loop, int socket, IRequestHandler& handler);
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    // Done with: may be destroyed, but not from within its own calls.
    bool IsClosed() const { return !m_source.IsActive(); }
    // Closes it when the client has gone already and this is not known yet.
    void NoticeHangUp();
    void Close();

    // It asked for events.
    bool IsWatcher() const { return m_isWatcher; }
    // Sends a line to a watcher; closes one that is too far behind.
    void SendEvent(const std::string& line);
    // Bytes that it has not taken yet.
    size_t Backlog() const { return m_output.size(); }

  private:
    void OnSocket(uint32_t events);
    bool Read();
    void ServeOneThatLeft();
    bool StartNext();
    void Start(std::string_view line);
    void Answer(unsigned number, const std::string& line);
    void AnswerAndClose(const AgentError& error, const std::string& message);
    void Queue(const std::string& line);
    void Flush();
    void DropInput();
    void Continue();

    EventLoop& m_loop;
    const Descriptor m_socket;
    IRequestHandler& m_handler;
    Peer m_peer;
    EventSource m_source;
    EventSource m_turn;      // when the next request's turn comes
    EventSource m_deadline;  // of the request that is being carried out, or of the end
    RequestLines m_input;
    std::string m_output;
    unsigned m_number = 0;  // of the request begun last
    bool m_isBusy = false;  // it has not been answered
    bool m_isWatcher = false;
    bool m_hasEnded = false;                                // the client sends nothing more
    bool m_isGone = false;                                  // nor takes anything
    bool m_isEnding = false;                                // closed as soon as it has read why
    std::shared_ptr<int> m_life = std::make_shared<int>();  // tells replies that come late
};
