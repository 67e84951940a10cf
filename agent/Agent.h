#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "AccountFile.h"
#include "AgentOptions.h"
#include "ClientConnection.h"
#include "EventLoop.h"
#include "History.h"
#include "Json.h"
#include "LoginKeeper.h"
#include "LoginRecord.h"
#include "NetworkWatch.h"
#include "Notifier.h"
#include "RequestServer.h"
#include "ServiceLink.h"
#include "TerminalDesk.h"

// Puts the parts together: hands what comes over the link, from the kernel, from the account file and from
// clients to the keeper, and shows what the keeper decides to clients, history, log and service manager.
// Belongs to the loop's thread.
class Agent final : public ILinkListener, public IKeeperHost, public IRequestHandler {
  public:
    // `loop` outlives the agent.
    Agent(EventLoop& loop, AgentSettings settings);

    // Starts all parts. kDone: from now on the loop has to run, and returns the exit status; otherwise what
    // is in the way has been logged.
    ExitStatus Start();

    // ILinkListener
    void LinkAttached() override;
    void LinkLost() override;
    void LinkMessage(const std::string& message) override;
    // IKeeperHost
    bool SendOperation(const char* opcode, const std::string& parameters) override;
    void KeeperChanged() override;
    // IRequestHandler
    void StartRequest(const AgentRequest& request, const Peer& peer, const Reply& reply) override;

  private:
    // What the portal told about the login, by the names of the service's values.
    struct PortalValue {
        const char* key;
        const char* field;
        std::string text;
    };

    // Runs an operation of the keeper at this moment and waits anew for what is due.
    template <typename Operation>
    void Keep(Operation operation);
    void AwaitDue();
    // Sends an operation to the service, and leaves no copy of it. False when it does not take it.
    bool Write(std::string_view opcode, std::string_view parameters);

    // The account file.
    ExitStatus ReadFirstAccount();
    void ReadAccountAgain();

    // A run that logs in once.
    void StartOnce();
    void TryOnce();
    void EndOnce(ExitStatus status, const std::string& fault);

    // The end.
    void Stop();
    void End(ExitStatus status);

    // Requests (AgentRequests.cpp).
    Reply Counted(const Reply& reply);
    void LogRequest(const AgentRequest& request, const Peer& peer) const;
    Settle AnswerWithStatus(const Reply& reply);
    void AnswerStatus(const AgentRequest& request, const Reply& reply);
    void Login(const AgentRequest& request, const Reply& reply);
    void Logout(const AgentRequest& request, const Reply& reply);
    void Check(const AgentRequest& request, const Reply& reply);
    void ListTerminals(const AgentRequest& request, const Reply& reply);
    void LogTerminalOut(const AgentRequest& request, const Reply& reply);
    void SendAsTold(const AgentRequest& request, const Reply& reply);
    void ShowHistory(const AgentRequest& request, const Reply& reply);

    // What is shown (AgentStatus.cpp).
    void NoteState();
    HistoryEntry EntryOfState() const;
    void KeepHistory();
    void NoteValue(const Report& message);
    std::string StateWords() const;
    void AddStatus(cJSON& object);
    void AddNextTry(cJSON& object) const;
    void AddLast(cJSON& object) const;
    void AddNetwork(cJSON& object) const;
    void AddPortal(cJSON& object) const;
    void AddService(cJSON& object) const;
    void AddRecord(cJSON& object);
    std::string StatusLine();

    EventLoop& m_loop;
    const AgentSettings m_settings;
    History m_history;
    Notifier m_notifier;
    RequestServer m_server;
    ServiceLink m_link;
    LoginKeeper m_keeper;
    LoginRecord m_login;
    TerminalDesk m_terminals;
    std::optional<NetworkWatch> m_network;
    std::optional<AccountWatch> m_accountWatch;
    EventSource m_signals[3];
    EventSource m_due;    // the keeper's
    EventSource m_touch;  // the history's
    // How long a run that logs in once waits for the service, or the end for a log-out.
    EventSource m_waiting;
    EventSource m_limit;  // of a run that logs in once

    bool m_isStopping = false;

    AgentState m_state = AgentState::kServiceGone;  // as it was shown last
    std::time_t m_since;                            // when it began
    unsigned m_endings = 0;                         // that the history knows of
    const Report* m_message = nullptr;              // that the keeper is dealing with
    PortalValue m_portal[4];
    std::optional<HistorySummary> m_summary;  // of the last day; none: to be made again
    std::time_t m_summaryTime = 0;
    unsigned m_unanswered = 0;  // requests on the way, also those of clients that left
};
