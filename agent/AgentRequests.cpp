// What clients ask the agent for.
#include <algorithm>
#include <iterator>

#include "Agent.h"
#include "AgentLog.h"
#include "AgentState.h"
#include "ClientOperations.h"
#include "PortalCodes.h"
#include "ReadableText.h"

namespace {

// Requests on the way at the same time, those of clients that left included.
constexpr unsigned kMostUnanswered = 256;
// Bytes of answers that wait to be read, beyond which no long answer is begun.
constexpr size_t kLargestBacklog = 4 * 1024 * 1024;

using Entries = std::deque<HistoryEntry>;

Entries::const_iterator FirstSince(const Entries& entries, std::optional<std::chrono::seconds> since) {
    if (!since.has_value()) {
        return entries.begin();
    }
    const std::time_t begin = std::time(nullptr) - since->count();
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [begin](const HistoryEntry& entry) { return entry.time >= begin; });
    return found == entries.begin() ? found : std::prev(found);
}

}  // namespace

void Agent::StartRequest(const AgentRequest& request, const Peer& peer, const Reply& reply) {
    struct Row {
        const char* name;
        void (Agent::*start)(const AgentRequest& request, const Reply& reply);
        bool changesSomething;
        bool mayWait;
    };
    static constexpr Row kRows[] = {
        {AgentOp::kStatus, &Agent::AnswerStatus, false, false},
        {AgentOp::kWatch, &Agent::AnswerStatus, false, false},
        {AgentOp::kLogin, &Agent::Login, true, true},
        {AgentOp::kLogout, &Agent::Logout, true, true},
        {AgentOp::kCheck, &Agent::Check, true, true},
        {AgentOp::kTerminals, &Agent::ListTerminals, false, true},
        {AgentOp::kTerminalLogout, &Agent::LogTerminalOut, true, true},
        {AgentOp::kSend, &Agent::SendAsTold, true, false},
        {AgentOp::kHistory, &Agent::ShowHistory, false, false},
    };
    for (const Row& row : kRows) {
        if (request.operation != std::string_view(row.name)) {
            continue;
        }
        if (row.mayWait && m_unanswered >= kMostUnanswered) {
            reply(ErrorLine(AgentErrors::kBusy, "too many requests are on the way"));
            return;
        }
        if (row.changesSomething) {
            LogRequest(request, peer);
        }
        (this->*row.start)(request, row.mayWait ? Counted(reply) : reply);
        return;
    }
}

Reply Agent::Counted(const Reply& reply) {
    ++m_unanswered;
    return [this, reply](const std::string& line) {
        --m_unanswered;
        reply(line);
    };
}

void Agent::LogRequest(const AgentRequest& request, const Peer& peer) const {
    std::string words = "user " + std::to_string(peer.uid) + ", process " + std::to_string(peer.pid) +
                        " asks: " + request.operation;
    if (request.account.has_value()) {
        words += " of " + ReadableText(request.account->name);
    }
    for (const std::string& detail : {request.opcode, request.ticket}) {
        words += detail.empty() ? "" : " " + ReadableText(detail);
    }
    LogLine(Urgency::kNotice, words);
}

Settle Agent::AnswerWithStatus(const Reply& reply) {
    return [this, reply](const Outcome& outcome) {
        reply(outcome.error == nullptr ? StatusLine() : ErrorLine(*outcome.error, outcome.message));
    };
}

void Agent::AnswerStatus(const AgentRequest& /*request*/, const Reply& reply) {
    reply(StatusLine());
}

void Agent::Login(const AgentRequest& request, const Reply& reply) {
    m_keeper.Login(request.account, AnswerWithStatus(reply), std::chrono::steady_clock::now());
    AwaitDue();
}

void Agent::Logout(const AgentRequest& /*request*/, const Reply& reply) {
    m_keeper.Logout(LogoutReason::kUser, AnswerWithStatus(reply), std::chrono::steady_clock::now());
    AwaitDue();
}

void Agent::Check(const AgentRequest& /*request*/, const Reply& reply) {
    m_keeper.Check(AnswerWithStatus(reply), std::chrono::steady_clock::now());
    AwaitDue();
}

void Agent::ListTerminals(const AgentRequest& /*request*/, const Reply& reply) {
    m_terminals.List(reply);
}

void Agent::LogTerminalOut(const AgentRequest& request, const Reply& reply) {
    m_terminals.LogOut(request.ticket, reply);
}

void Agent::SendAsTold(const AgentRequest& request, const Reply& reply) {
    if (!Write(request.opcode, request.parameters.Text())) {
        reply(ErrorLine(AgentErrors::kNoService, m_link.IsAttached() ? kNotTaken : kNoServiceRuns));
        return;
    }
    const LoginKeeper::Moment now = std::chrono::steady_clock::now();
    if (request.opcode == ClientOperation::kConnect) {
        m_keeper.LoginWasSent(request.account, now);
    } else if (request.opcode == ClientOperation::kDisconnect) {
        m_keeper.LogoutWasSent(now);
    } else if (request.opcode == ClientOperation::kTerminalData) {
        m_terminals.ListWasAsked();
    }
    AwaitDue();
    reply(DoneLine());
}

// From the entry on that tells the state at `since`. Put together as text: thousands of entries as a document
// would take many times their size.
void Agent::ShowHistory(const AgentRequest& request, const Reply& reply) {
    if (m_server.Backlog() > kLargestBacklog) {
        reply(ErrorLine(AgentErrors::kBusy, "too many answers wait to be read"));
        return;
    }
    const Entries& entries = m_history.Entries();
    std::string list;
    for (auto entry = FirstSince(entries, request.since); entry != entries.end(); ++entry) {
        list.append(list.empty() ? "" : ",").append(HistoryLine(*entry));
    }
    reply(std::string("{\"") + AgentField::kOk + "\":true,\"" + AgentField::kHistory + "\":[" + list + "]}");
}
