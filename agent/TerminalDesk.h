#pragma once

#include <functional>
#include <list>
#include <string>

#include "ClientConnection.h"
#include "EventLoop.h"
#include "FrontEndMessages.h"

// Asks the service for the user's terminals and has one of them logged out.
//
// The service answers a question for the terminals with their list, and says nothing when that fails. A
// log-out of a terminal that fails is reported; one that succeeds is followed by the list, which carries no
// mark of what it answers. So no log-out is begun while a list may be on its way, and questions that come
// while anything is on its way share the next list. The service takes them in their order: the list that a
// client asks for behind a log-out comes behind its outcome; of questions that meet in the queue it answers
// one. Belongs to the loop's thread.
class TerminalDesk {
  public:
    // Sends an operation to the service; false when there is none.
    using Send = std::function<bool(const char* opcode, const std::string& parameters)>;

    TerminalDesk(EventLoop& loop, Send send);
    TerminalDesk(const TerminalDesk&) = delete;
    TerminalDesk& operator=(const TerminalDesk&) = delete;

    void List(const Reply& reply);
    void LogOut(const std::string& ticket, const Reply& reply);

    // A client sent that question by itself: its list will come, too.
    void ListWasAsked() { ExpectList(); }

    // Every message of the service.
    void Received(const Report& message);
    // Whoever waits is told.
    void ServiceGone();

  private:
    struct Waiting {
        std::string ticket;  // of a log-out
        Reply reply;
        EventSource deadline;
    };

    void Proceed();
    void SendListQuestion();
    void ExpectList();
    void ExpectNoList();
    void SendLogout();
    void AnswerLists(const std::string& line);
    void AnswerLogout(const std::string& line);

    EventLoop& m_loop;
    const Send m_send;
    std::list<Waiting> m_lists;
    std::list<Waiting> m_logouts;  // the first one is on its way when m_isLoggingOut
    EventSource m_listOut;         // active while lists may still come, besides that of a log-out
    int m_listsOut = 0;            // how many, at most
    bool m_isLoggingOut = false;
};
