// What the agent shows: its status, the events and history of its states, and words for people.
#include <algorithm>

#include "Agent.h"
#include "AgentLog.h"
#include "ClientOperations.h"
#include "MessageJson.h"
#include "ReadableText.h"

namespace {

constexpr std::time_t kDay = 24 * 60 * 60;
constexpr std::time_t kSummaryAge = 10;  // seconds for which the summary is good

}  // namespace

void Agent::NoteState() {
    const AgentState state = m_keeper.State();
    const HistoryEntry entry = EntryOfState();
    m_endings = m_keeper.Endings();
    if (state == m_state) {
        return;
    }
    m_state = state;
    m_since = entry.time;
    m_history.Add(entry);
    m_summary.reset();
    LogLine(Urgency::kNotice, StateWords());
    m_notifier.Status(StateWords());
    if (m_server.HasWatchers()) {
        const JsonOwner event = NewJsonObject();
        AddText(*event, AgentField::kEvent, AgentEvent::kState);
        AddStatus(*event);
        m_server.Publish(OneLine(*event));
    }
}

// What ended something is told in words; the code of a report that only led on stands by itself.
HistoryEntry Agent::EntryOfState() const {
    HistoryEntry entry = {std::time(nullptr), WordOf(m_keeper.State()).name, 0, "", ""};
    if (m_keeper.Endings() != m_endings) {
        const LastEnding& last = *m_keeper.Last();
        entry.code = last.code;
        entry.subCode = last.subCode;
        entry.text = last.text;
    } else if (m_message != nullptr && m_message->IsState()) {
        entry.code = m_message->errorCode;
    }
    return entry;
}

// A clock that was ahead when the state began would keep it out of the record.
void Agent::KeepHistory() {
    const std::time_t now = std::time(nullptr);
    if (m_history.Entries().back().time > now) {
        m_since = now;
        m_history.Add({now, WordOf(m_state).name, 0, "", ""});
        m_summary.reset();
    }
    m_history.Touch(now);
}

void Agent::NoteValue(const Report& message) {
    if (message.opcode != ClientReport::kValue) {
        return;
    }
    const std::string key = message.Parameter(PublishedValue::kKeyElement);
    for (PortalValue& value : m_portal) {
        if (key == value.key) {
            value.text = InUtf8(message.Parameter(PublishedValue::kValueElement));
        }
    }
}

std::string Agent::StateWords() const {
    const std::string words = WordOf(m_state).words;
    return m_state == AgentState::kOnline && !m_keeper.AccountName().empty()
               ? words + " as " + ReadableText(m_keeper.AccountName())
               : words;
}

std::string Agent::StatusLine() {
    const JsonOwner answer = NewJsonObject();
    cJSON_AddTrueToObject(answer.get(), AgentField::kOk);
    AddStatus(*answer);
    return OneLine(*answer);
}

void Agent::AddStatus(cJSON& object) {
    AddText(object, AgentField::kState, WordOf(m_keeper.State()).name);
    AddText(object, AgentField::kSince, TimeText(m_since));
    AddTextOrNull(object, AgentField::kAccount, InUtf8(m_keeper.AccountName()));
    AddTextOrNull(object, AgentField::kAccountFile, InUtf8(m_settings.accountFile));
    cJSON_AddBoolToObject(&object, AgentField::kWanted, m_keeper.IsWanted());
    cJSON_AddNumberToObject(&object, AgentField::kAttempts, m_keeper.Attempts());
    AddNextTry(object);
    AddLast(object);
    AddNetwork(object);
    AddPortal(object);
    AddService(object);
    AddRecord(object);
}

void Agent::AddNextTry(cJSON& object) const {
    const std::optional<LoginKeeper::Moment> next = m_keeper.NextTry();
    if (!next.has_value()) {
        cJSON_AddNullToObject(&object, AgentField::kNextTry);
        return;
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(*next - std::chrono::steady_clock::now());
    cJSON_AddNumberToObject(&object, AgentField::kNextTry, std::max<double>(0, left.count()));
}

void Agent::AddLast(cJSON& object) const {
    const std::optional<LastEnding>& last = m_keeper.Last();
    if (!last.has_value()) {
        cJSON_AddNullToObject(&object, AgentField::kLast);
        return;
    }
    cJSON& ending = *cJSON_AddObjectToObject(&object, AgentField::kLast);
    cJSON_AddNumberToObject(&ending, AgentField::kCode, last->code);
    AddText(ending, AgentField::kSubCode, InUtf8(last->subCode));
    AddText(ending, AgentField::kText, InUtf8(last->text));
}

void Agent::AddNetwork(cJSON& object) const {
    const NetworkPath path = m_network.has_value() ? m_network->Path() : NetworkPath();
    cJSON& network = *cJSON_AddObjectToObject(&object, AgentField::kNetwork);
    AddTextOrNull(network, AgentField::kInterface, InUtf8(path.interface));
    AddTextOrNull(network, AgentField::kAddress, path.address);
    AddTextOrNull(network, AgentField::kGateway, path.gateway);
}

void Agent::AddPortal(cJSON& object) const {
    cJSON& portal = *cJSON_AddObjectToObject(&object, AgentField::kPortal);
    for (const PortalValue& value : m_portal) {
        AddText(portal, value.field, value.text);
    }
}

void Agent::AddService(cJSON& object) const {
    cJSON& service = *cJSON_AddObjectToObject(&object, AgentField::kService);
    const int pid = m_link.ServicePid();
    pid > 0 ? cJSON_AddNumberToObject(&service, AgentField::kPid, pid)
            : cJSON_AddNullToObject(&service, AgentField::kPid);
    AddText(service, AgentField::kFolder, InUtf8(m_settings.folder));
}

void Agent::AddRecord(cJSON& object) {
    const std::time_t now = std::time(nullptr);
    if (!m_summary.has_value() || now - m_summaryTime >= kSummaryAge || now < m_summaryTime) {
        m_summary = Summarize(m_history.Entries(), now - kDay, now);
        m_summaryTime = now;
    }
    cJSON_AddNumberToObject(&object, AgentField::kInterruptions, m_summary->interruptions);
    cJSON_AddNumberToObject(&object, AgentField::kOnlineShare, m_summary->onlineShare);
}
