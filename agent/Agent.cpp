// The parts, and how what happens gets from one to the other.
#include "Agent.h"

#include <csignal>
#include <random>

#include "AgentLog.h"
#include "ClientOperations.h"
#include "MessageJson.h"
#include "PortalCodes.h"

namespace {

constexpr auto kTouchPeriod = std::chrono::minutes(2);  // how much is not known after a kill
constexpr auto kLogoutAtEnd = std::chrono::seconds(5);
constexpr auto kWaitForService = std::chrono::seconds(10);
constexpr auto kOnceLimit = std::chrono::seconds(60);

std::function<double()> Chance() {
    return [random = std::mt19937(std::random_device()())]() mutable {
        return std::uniform_real_distribution<double>(0, 1)(random);
    };
}

}  // namespace

Agent::Agent(EventLoop& loop, AgentSettings settings)
    : m_loop(loop),
      m_settings(std::move(settings)),
      m_history(m_settings.folder),
      m_notifier(loop),
      m_server(loop, *this),
      m_link(loop, m_settings.folder, *this),
      m_keeper(*this, Chance()),
      m_login(m_settings.folder),
      m_terminals(loop, [this](const char* opcode,
                               const std::string& parameters) { return SendOperation(opcode, parameters); }),
      m_since(std::time(nullptr)),
      m_portal{{PublishedValue::kAccount, AgentField::kAccount, ""},
               {PublishedValue::kSchoolId, AgentField::kSchoolId, ""},
               {PublishedValue::kDomain, AgentField::kDomain, ""},
               {PublishedValue::kArea, AgentField::kArea, ""}} {}

ExitStatus Agent::Start() {
    m_keeper.KnowLogin(m_login.Name());
    const ExitStatus status = ReadFirstAccount();
    if (status != ExitStatus::kDone) {
        return status;
    }
    const std::string fault = m_settings.runsOnce ? "" : m_server.Open(m_settings.socket);
    if (!fault.empty()) {
        LogLine(Urgency::kError, fault);
        return ExitStatus::kFailed;
    }
    m_signals[0] = m_loop.OnSignal(SIGTERM, [this] { Stop(); });
    m_signals[1] = m_loop.OnSignal(SIGINT, [this] { Stop(); });
    m_signals[2] = m_loop.OnSignal(SIGHUP, [this] { ReadAccountAgain(); });
    m_history.Open(std::time(nullptr));
    m_history.Add({m_since, WordOf(m_state).name, 0, "", ""});
    m_touch = m_loop.Every(kTouchPeriod, [this] { KeepHistory(); });
    m_network.emplace(m_loop, [this](bool isOther) {
        Keep(
            [isOther](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.NetworkChanged(isOther, now); });
    });
    if (m_settings.runsOnce) {
        StartOnce();
    }
    m_link.Start();
    m_notifier.Ready();
    m_notifier.Status(StateWords());
    return ExitStatus::kDone;
}

template <typename Operation>
void Agent::Keep(Operation operation) {
    operation(m_keeper, std::chrono::steady_clock::now());
    AwaitDue();
}

void Agent::AwaitDue() {
    const std::optional<LoginKeeper::Moment> due = m_keeper.NextDue();
    m_due.Reset();
    if (due.has_value()) {
        m_due = m_loop.After(*due - std::chrono::steady_clock::now(), [this] {
            Keep([](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.Tick(now); });
        });
    }
}

void Agent::LinkAttached() {
    LogLine(Urgency::kInfo, "attached to the service");
    Keep([](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.Attached(now); });
    if (m_settings.runsOnce && m_waiting.IsActive()) {
        TryOnce();
    }
}

void Agent::LinkLost() {
    LogLine(Urgency::kWarning, "the service is gone");
    m_terminals.ServiceGone();
    for (PortalValue& value : m_portal) {
        value.text.clear();
    }
    Keep([](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.ServiceGone(now); });
}

void Agent::LinkMessage(const std::string& message) {
    const Report report(message);
    if (m_server.HasWatchers()) {
        m_server.Publish(OneLine(*EventOf(report)));
    }
    NoteValue(report);
    m_terminals.Received(report);
    m_message = &report;
    Keep([&report](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.Received(report, now); });
    m_message = nullptr;
}

bool Agent::SendOperation(const char* opcode, const std::string& parameters) {
    return Write(opcode, parameters);
}

bool Agent::Write(std::string_view opcode, std::string_view parameters) {
    std::string envelope = OperationEnvelope(opcode, parameters);
    const bool isSent = m_link.Send(envelope);
    Wipe(envelope);
    return isSent;
}

void Agent::KeeperChanged() {
    m_login.Keep(m_keeper.LoginName());
    NoteState();
}

// A file that is refused at the start is a mistake of whoever starts the agent, and told at once.
ExitStatus Agent::ReadFirstAccount() {
    AccountReading reading;
    if (!m_settings.accountFile.empty()) {
        m_accountWatch.emplace(m_loop, m_settings.accountFile, [this] { ReadAccountAgain(); });
        reading = ReadAccountFile(m_settings.accountFile);
    }
    if (reading.fault.empty() && m_settings.runsOnce && !reading.account.has_value()) {
        reading.status = ExitStatus::kUsage;
        reading.fault = "there is no account to log in";
    }
    if (!reading.fault.empty()) {
        LogLine(Urgency::kError, reading.fault);
        return reading.status;
    }
    Keep([&](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.SetAccount(reading.account, now); });
    return ExitStatus::kDone;
}

void Agent::ReadAccountAgain() {
    if (m_settings.accountFile.empty()) {
        return;
    }
    const AccountReading reading = ReadAccountFile(m_settings.accountFile);
    if (!reading.fault.empty()) {
        LogLine(Urgency::kError, reading.fault);
        Keep([&](LoginKeeper& keeper, LoginKeeper::Moment now) {
            keeper.NoteAccountFault(reading.fault, now);
        });
        return;
    }
    LogLine(Urgency::kInfo, "the account file was read");
    Keep([&](LoginKeeper& keeper, LoginKeeper::Moment now) { keeper.SetAccount(reading.account, now); });
}

void Agent::StartOnce() {
    m_waiting = m_loop.After(kWaitForService, [this] { EndOnce(ExitStatus::kNoService, "no service runs"); });
    m_limit = m_loop.After(kOnceLimit, [this] { EndOnce(ExitStatus::kTimeout, "no outcome within 60 s"); });
}

void Agent::TryOnce() {
    m_waiting.Reset();
    Keep([this](LoginKeeper& keeper, LoginKeeper::Moment now) {
        const auto settle = [this](const Outcome& outcome) {
            EndOnce(outcome.error == nullptr ? ExitStatus::kDone : outcome.error->status, outcome.message);
        };
        keeper.Login(std::nullopt, settle, now);
    });
}

void Agent::EndOnce(ExitStatus status, const std::string& fault) {
    if (status != ExitStatus::kDone) {
        LogLine(Urgency::kError, fault);
    }
    End(status);
}

// A second signal does not wait for the log-out. A run that was to log in once has not done so.
void Agent::Stop() {
    const bool isLoggedIn =
        m_keeper.State() == AgentState::kOnline || m_keeper.State() == AgentState::kLoggingOut;
    if (m_isStopping || !m_settings.logsOutOnStop || !isLoggedIn) {
        End(m_settings.runsOnce ? ExitStatus::kFailed : ExitStatus::kDone);
        return;
    }
    m_isStopping = true;
    m_notifier.Stopping();
    m_waiting = m_loop.After(kLogoutAtEnd, [this] { End(ExitStatus::kDone); });
    Keep([this](LoginKeeper& keeper, LoginKeeper::Moment now) {
        keeper.Logout(
            LogoutReason::kFinal, [this](const Outcome&) { End(ExitStatus::kDone); }, now);
    });
}

void Agent::End(ExitStatus status) {
    m_notifier.Stopping();
    m_history.Add({std::time(nullptr), kAgentStopped, 0, "", ""});
    m_loop.End(static_cast<int>(status));
}
