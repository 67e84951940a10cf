// What users ask for, and the log-out, which the service may drop.
#include <algorithm>
#include <utility>

#include "AgentState.h"
#include "ClientOperations.h"
#include "LoginKeeper.h"
#include "PortalCodes.h"

namespace {

using std::chrono::milliseconds;

// A log-out runs through a report of the traffic, and the end of another such report drops it without a word.
// It is asked for again. The pauses differ, for after a fixed one each further log-out could meet a report,
// too; a shorter one would log out twice.
constexpr milliseconds kShortestPatience(2500);
constexpr milliseconds kLongestPatience(4000);
constexpr int kLogoutAsks = 10;

// More than every client at once.
constexpr size_t kMostRequests = 256;

constexpr char kNoAccount[] = "there is no account to log in with";
constexpr char kNotLoggedIn[] = "not logged in";
constexpr char kNoStatistics[] =
    "the portal asks for no statistics, so the service cannot log out on request";
constexpr char kNothingCame[] = "nothing came of the log-out";
constexpr char kLeft[] = "a log-out was asked for meanwhile";
constexpr char kTooMany[] = "too many requests are waiting";

}  // namespace

void LoginKeeper::Login(std::optional<Account> account, Settle settle, Moment now) {
    if (account) {
        UseGiven(std::move(*account));
    } else if (m_fileAccount) {
        UseGiven(*m_fileAccount);
        m_givenAccount.reset();
    }
    m_hasLeft = false;
    m_hasChanged = true;
    m_leaveReason.reset();
    ForgiveRefusal();
    m_backOff.Reset();
    if (InUse() == nullptr) {
        SettleNow(std::move(settle), {&AgentErrors::kBadRequest, kNoAccount});
    } else if (!m_isAttached) {
        SettleNow(std::move(settle), {&AgentErrors::kNoService, kNoServiceRuns});
    } else if (m_onlineSince && !m_logout && m_loginName == AccountName()) {
        SettleNow(std::move(settle), {});
    } else {
        Await(RequestKind::kLogin, std::move(settle));
        if (m_onlineSince && !m_logout) {
            ReplaceLogin(now);
        } else if (m_step == Step::kNone && !m_logout) {
            Plan(now);
        }
    }
    Finish(now);
}

void LoginKeeper::LoginWasSent(std::optional<Account> account, Moment now) {
    const bool isKnown = account.has_value();
    if (account) {
        UseGiven(std::move(*account));
    }
    m_hasLeft = false;
    m_hasChanged = true;
    ForgiveRefusal();
    m_backOff.Reset();
    if (m_isAttached && !m_logout) {
        EndTry();
        AwaitReports(Step::kLoggingIn, now);
        m_isLoginBegun = false;
        m_sentName = isKnown ? AccountName() : "";
        m_sentNumber = isKnown ? m_accountNumber : 0;
    }
    Finish(now);
}

void LoginKeeper::UseGiven(Account account) {
    if (InUse() == nullptr || !(*InUse() == account)) {
        ++m_accountNumber;
    }
    m_givenAccount = std::move(account);
}

void LoginKeeper::Logout(const std::string& reason, Settle settle, Moment now) {
    m_hasLeft = true;
    m_hasChanged = true;
    DropPlan();
    FailLogins(kLeft);
    if (!m_isAttached) {
        SettleNow(std::move(settle), {&AgentErrors::kNoService, kNoServiceRuns});
    } else if (m_logout) {
        Await(RequestKind::kLogout, std::move(settle));
    } else if (!m_onlineSince) {
        if (m_step != Step::kNone) {
            m_leaveReason = reason;
        }
        SettleNow(std::move(settle), {&AgentErrors::kNotLoggedIn, kNotLoggedIn});
    } else if (m_statistics == Statistics::kNotAsked) {
        SettleNow(std::move(settle), {&AgentErrors::kNoLogout, kNoStatistics});
    } else {
        Await(RequestKind::kLogout, std::move(settle));
        StartLogout(reason, now);
    }
    Finish(now);
}

// Whoever writes operations by himself repeats them by himself.
void LoginKeeper::LogoutWasSent(Moment now) {
    m_hasLeft = true;
    m_hasChanged = true;
    DropPlan();
    FailLogins(kLeft);
    if (m_onlineSince && !m_logout) {
        EndTry();
        m_logout = {"", 0, now + kLongestPatience};
        SetState(AgentState::kLoggingOut);
    }
    Finish(now);
}

void LoginKeeper::Check(Settle settle, Moment now) {
    if (!m_isAttached) {
        SettleNow(std::move(settle), {&AgentErrors::kNoService, kNoServiceRuns});
    } else if (m_onlineSince) {
        SettleNow(std::move(settle), {});
    } else {
        m_backOff.Reset();
        Await(RequestKind::kCheck, std::move(settle));
        if (m_step == Step::kNone) {
            Plan(now);
        }
    }
    Finish(now);
}

// The login of another account ends first; the next ticket is for the new one.
void LoginKeeper::ReplaceLogin(Moment now) {
    if (m_statistics != Statistics::kNotAsked) {
        StartLogout(LogoutReason::kUser, now);
        return;
    }
    SetLast({0, "", kNoStatistics});
    SettleAll(RequestKind::kLogin, {&AgentErrors::kNoLogout, kNoStatistics});
}

void LoginKeeper::StartLogout(const std::string& reason, Moment now) {
    EndTry();
    Plan(std::nullopt);
    m_logout = {reason, kLogoutAsks, now};
    SetState(AgentState::kLoggingOut);
    AskLogout(now);
}

void LoginKeeper::AskLogout(Moment now) {
    if (m_logout->asksLeft == 0) {
        SetLast({0, "", kNothingCame});
        StopLogout(kNothingCame);
        return;
    }
    --m_logout->asksLeft;
    const auto spread = std::chrono::duration<double, std::milli>(kLongestPatience - kShortestPatience);
    const auto more = std::chrono::duration_cast<milliseconds>(m_chance() * spread);
    m_logout->nextAsk = now + kShortestPatience + more;
    // One that is not taken is like one that is dropped.
    (void)m_host.SendOperation(ClientOperation::kDisconnect, ReasonParameter(m_logout->reason));
}

void LoginKeeper::FinishLogout(const LastEnding& ending, Moment now) {
    m_logout.reset();
    EndLogin(now);
    SetLast(ending);
    SetState(AgentState::kOffline);
    if (MayLogIn()) {
        Plan(now);
    }
    SettleAll(RequestKind::kLogout, {});
}

// The login stands as before: a portal that turned the log-out down is sent further pulses.
void LoginKeeper::StopLogout(const std::string& message) {
    m_logout.reset();
    SetState(m_onlineSince ? AgentState::kOnline : AgentState::kOffline);
    SettleAll(RequestKind::kLogout, {&AgentErrors::kFailed, message});
    FailLogins(message);
}

void LoginKeeper::Await(RequestKind kind, Settle settle) {
    if (m_requests.size() >= kMostRequests) {
        SettleNow(std::move(settle), {&AgentErrors::kBusy, kTooMany});
        return;
    }
    m_requests.push_back({kind, std::move(settle)});
}

bool LoginKeeper::IsAwaited(RequestKind kind) const {
    return std::any_of(m_requests.begin(), m_requests.end(),
                       [kind](const Request& request) { return request.kind == kind; });
}

void LoginKeeper::SettleAll(RequestKind kind, const Outcome& outcome) {
    const auto first = std::stable_partition(m_requests.begin(), m_requests.end(),
                                             [kind](const Request& request) { return request.kind != kind; });
    for (auto request = first; request != m_requests.end(); ++request) {
        SettleNow(std::move(request->settle), outcome);
    }
    m_requests.erase(first, m_requests.end());
}

void LoginKeeper::SettleNow(Settle settle, const Outcome& outcome) {
    m_settled.push_back({std::move(settle), outcome});
}

void LoginKeeper::FailLogins(const std::string& message) {
    SettleAll(RequestKind::kLogin, {&AgentErrors::kFailed, message});
}
