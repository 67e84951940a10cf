// What each report of the service means for the login.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "ClientOperations.h"
#include "LoginKeeper.h"
#include "Markup.h"
#include "PortalCodes.h"
#include "ReadableText.h"
#include "ReportWords.h"

namespace {

using std::chrono::seconds;

// Nothing reports that a portal has come up in an open network.
constexpr seconds kOpenNetworkLook(300);

constexpr char kOpenNetworkText[] = "the network is open: there is no portal to log in to";
constexpr char kNoReason[] = "the login came to nothing, the portal gave no reason";

// As the service judges: one that is switched off asks for nothing. What does not say asks.
bool AsksForStatistics(const std::string& value) {
    CMarkup element;
    const bool isElement = element.SetDoc(value.c_str()) && element.FindElem();
    const CAutoString enable = isElement ? element.GetAttrib("enable") : CAutoString();
    return enable.IsEmpty() || atoi(enable) == 1;
}

// The portal's sub-codes are numbers or a few words.
constexpr size_t kLongestSubCode = 200;

// Every other failure is "offline".
struct FailureState {
    int code;
    AgentState state;
};
constexpr FailureState kFailureStates[] = {
    {StateCode::kPortalErrorBase + PortalError::kAccountRefused, AgentState::kRefused},
    {StateCode::kAccountRefusedWithLastLogin, AgentState::kRefused},
    {StateCode::kAccountNotTelephone, AgentState::kRefused},
    {StateCode::kPortalErrorBase + PortalError::kVersionLimit, AgentState::kRefused},
    {StateCode::kNoAdapter, AgentState::kNoAdapter},
    {StateCode::kAddressesUnavailable, AgentState::kNoAdapter},
    {StateCode::kDiscoveryFailed, AgentState::kNoPortal},
    {StateCode::kTicketExchangeFailed, AgentState::kNoPortal},
    {StateCode::kLoginExchangeFailed, AgentState::kNoPortal},
};

AgentState StateOf(int failureCode) {
    const auto found =
        std::find_if(std::begin(kFailureStates), std::end(kFailureStates),
                     [failureCode](const FailureState& failure) { return failure.code == failureCode; });
    return found != std::end(kFailureStates) ? found->state : AgentState::kOffline;
}

// The progress codes are greater than those of failures.
bool IsProgressCode(int code) {
    return code == StateCode::kTicketObtained ||
           (code >= StateCode::kCheckStarted && code <= StateCode::kRecordedLogoutStarted);
}

bool IsFailure(const Report& report) {
    return report.newState == INetConn::ES_CONNECTFAIL || report.newState == INetConn::ES_PRECONNECTFAIL ||
           (report.newState == INetConn::ES_PRECONNECTING && !IsProgressCode(report.errorCode));
}

// Whether a failure says that a standing login is gone, not only that a log-out was turned down.
bool IsLoss(int code) {
    return code == StateCode::kKeepAliveFailed || code == StateCode::kLoginUnknown;
}

std::string SubCodeOf(const Report& report) {
    std::string text = InUtf8(report.Parameter(kSubErrorCodeElement));
    if (text.size() > kLongestSubCode) {
        size_t end = kLongestSubCode;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
            --end;  // not within a character
        }
        text.resize(end);
    }
    return text;
}

// Codes 0 and 1 are explained by the state, as are those without words.
LastEnding EndingOf(const Report& report) {
    std::string words = report.errorCode > StateCode::kSuccess ? CodeWords(report.errorCode) : "";
    const ReportWord* state = FindState(report.newState);
    if (words.empty() && state != nullptr) {
        words = state->words;
    }
    return {report.errorCode, SubCodeOf(report), words};
}

}  // namespace

void LoginKeeper::Received(const Report& report, Moment now) {
    m_hasSpoken = true;
    if (report.opcode == ClientReport::kValue) {
        NoteValue(report);
    } else if (report.opcode == ClientReport::kStartComplete) {
        BeginTry(now);
    } else if (report.IsState()) {
        TakeState(report, now);
    }
    Finish(now);
}

// The values of one check come together and before its ticket: without that of the statistics among them the
// portal asks for none.
void LoginKeeper::NoteValue(const Report& report) {
    if (report.target != kValueStore) {
        return;
    }
    if (report.Parameter(PublishedValue::kKeyElement) == PublishedValue::kStatistics) {
        const std::string value = report.Parameter(PublishedValue::kValueElement);
        m_statistics = AsksForStatistics(value) ? Statistics::kAsked : Statistics::kNotAsked;
    } else if (m_statistics == Statistics::kUnknown) {
        m_statistics = Statistics::kNotAsked;
    }
}

void LoginKeeper::TakeState(const Report& report, Moment now) {
    // A service that runs already answers a start with this, and then with its last report once more.
    if (report.oldState == INetConn::ES_NONE && report.newState == INetConn::ES_PRECONNECTED) {
        m_isRepeatNext = true;
        return;
    }
    const bool isRepeat = std::exchange(m_isRepeatNext, false);
    const bool isEnd = report.newState == INetConn::ES_DISCONNECTED;
    if (isRepeat && !m_onlineSince && (isEnd || IsFailure(report))) {
        TakeFoundEnd(report, now);
    } else if (isEnd) {
        TakeEnd(report, now);
    } else if (IsFailure(report)) {
        TakeFailure(report, now);
    } else if (report.IsOpenNetwork()) {
        TakeOpenNetwork(now);
    } else if (report.newState == INetConn::ES_PRECONNECTING) {
        TakeProgress(report.errorCode, now);
    } else if (report.newState == INetConn::ES_PRECONNECTED) {
        TakeTicket(now);
    } else if (report.newState == INetConn::ES_CONNECTING) {
        TakeLoginBegun(now);
    } else if (report.newState == INetConn::ES_CONNECTED) {
        TakeOnline(now);
    }
}

// How a login ended before the keeper came. A refusal was perhaps not that of the account in use.
void LoginKeeper::TakeFoundEnd(const Report& report, Moment now) {
    EndTry();
    SetLast(EndingOf(report));
    SetState(StateOf(report.errorCode));
    Plan(now);
    AwaitTicket(now);
}

void LoginKeeper::TakeProgress(int code, Moment now) {
    if (m_logout || (m_onlineSince && m_step != Step::kChecking)) {
        return;
    }
    if (m_step == Step::kNone && code == StateCode::kCheckStarted) {
        AwaitReports(Step::kChecking, now);  // a check that a client asked for
    } else if (m_step == Step::kNone && m_plannedTry && *m_plannedTry <= now) {
        AwaitReports(Step::kTicket, now);
    } else if (m_step == Step::kNone) {
        AwaitTicket(now);
    } else {
        AwaitReports(m_step, now);
    }
    if (m_step == Step::kChecking && !m_isRefused) {
        SetState(AgentState::kChecking);
    }
}

void LoginKeeper::TakeTicket(Moment now) {
    m_hasTicket = true;
    const bool saysNothing = m_logout || (m_onlineSince && m_step != Step::kChecking) ||
                             (m_step == Step::kLoggingIn && !m_isLoginBegun);
    if (saysNothing) {
        return;
    }
    const bool isOfFormerNetwork = m_step == Step::kTicket && m_hasMoved;
    m_ticketWaitEnds = {};
    if (m_step == Step::kLoggingIn) {
        FailTry({AgentState::kOffline, {0, "", kNoReason}}, now);
    }
    EndLogin(now);
    EndTry();
    if (IsPausing(now)) {
        return;
    }
    if (MayLogIn() && m_ends > 0 && m_ends < m_lostPulses) {
        Plan(now);
        AwaitTicket(now);
        return;
    }
    if (MayLogIn()) {
        isOfFormerNetwork ? BeginTry(now) : LogIn(now);
        return;
    }
    Plan(std::nullopt);
    SetState(m_isRefused ? AgentState::kRefused : AgentState::kReady);
    SettleAll(RequestKind::kCheck, {});
}

void LoginKeeper::TakeLoginBegun(Moment now) {
    EndLogin(now);
    m_hasTicket = false;
    if (m_step != Step::kLoggingIn) {
        m_sentName.clear();
        m_sentNumber = 0;
    }
    if (!m_logout) {
        AwaitReports(Step::kLoggingIn, now);
        SetState(AgentState::kLoggingIn);
    }
    m_isLoginBegun = true;
}

void LoginKeeper::TakeOnline(Moment now) {
    const bool isAnswer = m_step == Step::kLoggingIn;
    if (isAnswer) {
        m_loginName = m_sentName;
    } else if (m_loginName.empty()) {
        m_loginName = AccountName();  // a login that is found is taken for ours
    }
    const std::optional<std::string> leaveReason = m_leaveReason;
    const bool hasMoved = m_hasMoved;
    EndTry();
    Plan(std::nullopt);
    m_attempts = 0;
    m_onlineSince = m_onlineSince.value_or(now);
    if (m_logout) {
        return;
    }
    SetState(AgentState::kOnline);
    SettleAll(RequestKind::kCheck, {});
    if (leaveReason && m_hasLeft && m_statistics != Statistics::kNotAsked) {
        StartLogout(*leaveReason, now);
    } else if (IsWanted() && !m_loginName.empty() && m_loginName != AccountName()) {
        ReplaceLogin(now);
    } else {
        SettleAll(RequestKind::kLogin, {});
        if (hasMoved && MayLogIn()) {
            BeginTry(now);
        }
    }
}

void LoginKeeper::TakeOpenNetwork(Moment now) {
    if (m_logout) {
        return;
    }
    m_attempts += m_step == Step::kLoggingIn ? 1 : 0;
    EndLogin(now);
    EndTry();
    SetState(AgentState::kOpenNetwork);
    Plan(now + kOpenNetworkLook);
    SettleAll(RequestKind::kLogin, {&AgentErrors::kNoPortal, kOpenNetworkText});
    SettleAll(RequestKind::kCheck, {});
}

// 12: after a log-out, after the loss that was reported before it, or as the first word of a loss.
void LoginKeeper::TakeEnd(const Report& report, Moment now) {
    m_hasTicket = false;
    if (m_logout) {
        FinishLogout(EndingOf(report), now);
    } else if (m_onlineSince) {
        LoseLogin({AgentState::kOffline, EndingOf(report)}, now);
    } else if (m_step == Step::kNone && !m_isRefused) {
        SetState(AgentState::kOffline);
    }
    ++m_ends;
    AwaitTicket(now);
}

void LoginKeeper::TakeFailure(const Report& report, Moment now) {
    m_hasTicket = false;
    const Failure failure = {StateOf(report.errorCode), EndingOf(report)};
    if (m_logout && !IsLoss(report.errorCode)) {
        SetLast(failure.ending);
        StopLogout(failure.ending.text);
        return;
    }
    if (m_logout) {
        FinishLogout(failure.ending, now);
        AwaitTicket(now);
        return;
    }
    if (m_onlineSince && m_step != Step::kChecking) {
        LoseLogin(failure, now);
        AwaitTicket(now);
        return;
    }
    m_lostPulses += report.errorCode == StateCode::kKeepAliveFailed ? 1 : 0;
    EndLogin(now);
    const bool wasLogin = m_step == Step::kLoggingIn;
    const bool wasOtherAccount = wasLogin && m_sentNumber != m_accountNumber;
    m_isRefused =
        m_isRefused || (failure.state == AgentState::kRefused && m_step != Step::kNone && !wasOtherAccount);
    FailTry(failure, now);
    if (wasLogin || report.newState == INetConn::ES_CONNECTFAIL) {
        AwaitTicket(now);
    }
}

// A check that runs anyway goes on as the next try.
void LoginKeeper::LoseLogin(const Failure& failure, Moment now) {
    EndLogin(now);
    m_lostPulses = failure.ending.code == StateCode::kKeepAliveFailed ? 1 : 0;
    m_ends = 0;
    SetLast(failure.ending);
    SetState(failure.state);
    if (MayLogIn() && m_step == Step::kNone) {
        Plan(now + m_backOff.Next(m_chance()));
    }
}
