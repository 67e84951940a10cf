#include "TerminalDesk.h"

#include "AgentProtocol.h"
#include "AgentState.h"
#include "ClientOperations.h"
#include "Json.h"
#include "MessageJson.h"

namespace {

constexpr auto kListWait = std::chrono::seconds(10);
// After a list that did not come in time: it still may, for the portal answers slowly at times.
constexpr auto kLateListWait = std::chrono::seconds(16);
constexpr auto kLogoutWait = std::chrono::seconds(30);  // two exchanges with the portal
constexpr char kCodeOfTerm[] = "code";

constexpr char kNoList[] = "no list of terminals came within 10 s";
constexpr char kNoOutcome[] = "the portal did not tell within 30 s that the terminal is logged out";

std::string ListLine(const Report& message) {
    const JsonOwner answer = NewJsonObject();
    cJSON_AddTrueToObject(answer.get(), AgentField::kOk);
    cJSON_AddItemToObject(answer.get(), AgentField::kTerminals, TerminalsOf(message).release());
    return OneLine(*answer);
}

}  // namespace

TerminalDesk::TerminalDesk(EventLoop& loop, Send send) : m_loop(loop), m_send(std::move(send)) {}

void TerminalDesk::List(const Reply& reply) {
    const auto added = m_lists.insert(m_lists.end(), {"", reply, {}});
    added->deadline = m_loop.After(kListWait, [this, added] {
        const Reply late = added->reply;
        m_lists.erase(added);
        late(ErrorLine(AgentErrors::kFailed, kNoList));
    });
    Proceed();
}

void TerminalDesk::LogOut(const std::string& ticket, const Reply& reply) {
    m_logouts.push_back({ticket, reply, {}});
    Proceed();
}

// Does the next thing that may be done now.
void TerminalDesk::Proceed() {
    if (m_isLoggingOut || m_listOut.IsActive()) {
        return;
    }
    if (!m_lists.empty()) {
        SendListQuestion();
    } else if (!m_logouts.empty()) {
        SendLogout();
    }
}

void TerminalDesk::SendListQuestion() {
    if (!m_send(ClientOperation::kTerminalData, "")) {
        AnswerLists(ErrorLine(AgentErrors::kNoService, kNoServiceRuns));
        Proceed();
        return;
    }
    ExpectList();
}

void TerminalDesk::ExpectList() {
    ++m_listsOut;
    m_listOut = m_loop.After(kLateListWait, [this] {
        ExpectNoList();
        Proceed();
    });
}

void TerminalDesk::ExpectNoList() {
    m_listsOut = 0;
    m_listOut.Reset();
}

void TerminalDesk::SendLogout() {
    m_isLoggingOut = m_send(ClientOperation::kTerminalTerm, TicketParameter(m_logouts.front().ticket));
    if (!m_isLoggingOut) {
        AnswerLogout(ErrorLine(AgentErrors::kNoService, kNoServiceRuns));
        return;
    }
    m_logouts.front().deadline = m_loop.After(kLogoutWait, [this] {
        ExpectList();  // that of its success, which must not pass for the success of the next one
        AnswerLogout(ErrorLine(AgentErrors::kFailed, kNoOutcome));
    });
}

void TerminalDesk::Received(const Report& message) {
    if (message.opcode == ClientReport::kTerminalData) {
        if (!m_isLoggingOut && --m_listsOut <= 0) {
            ExpectNoList();
        }
        AnswerLists(ListLine(message));
        m_isLoggingOut ? AnswerLogout(DoneLine()) : Proceed();
    } else if (message.opcode == ClientReport::kTerminalTerm && m_isLoggingOut) {
        AnswerLogout(ErrorLine(AgentErrors::kFailed,
                               "the terminal was not logged out, code " + message.Parameter(kCodeOfTerm)));
    }
}

void TerminalDesk::ServiceGone() {
    ExpectNoList();
    m_isLoggingOut = false;
    const std::string line = ErrorLine(AgentErrors::kNoService, kNoServiceRuns);
    AnswerLists(line);
    while (!m_logouts.empty()) {
        AnswerLogout(line);
    }
}

void TerminalDesk::AnswerLists(const std::string& line) {
    std::list<Waiting> answered;
    answered.swap(m_lists);
    for (const Waiting& waiting : answered) {
        waiting.reply(line);
    }
}

void TerminalDesk::AnswerLogout(const std::string& line) {
    m_isLoggingOut = false;
    const Reply reply = m_logouts.front().reply;
    m_logouts.pop_front();
    reply(line);
    Proceed();
}
