// The keeper as time goes on: the link comes and goes, tries begin and end, the account and the network
// change.
#include "LoginKeeper.h"

#include <algorithm>
#include <utility>

#include "AgentState.h"
#include "ClientOperations.h"

namespace {

using std::chrono::seconds;

// A try without any report for so long has failed.
constexpr seconds kSilence(60);
// For the ticket that the service fetches by itself after the end of a login.
constexpr seconds kTicketWait(5);
// A login that stood for so long was a good one: the pauses begin anew.
constexpr seconds kGoodLogin(60);

constexpr char kNoAnswer[] = "the portal does not answer";
constexpr char kServiceEnded[] = "the service has ended";
constexpr char kAccountGone[] = "there is no account any more";

const AgentError& ErrorOf(AgentState state) {
    switch (state) {
        case AgentState::kRefused: return AgentErrors::kRefused;
        case AgentState::kNoPortal: return AgentErrors::kNoPortal;
        default: return AgentErrors::kFailed;
    }
}

}  // namespace

LoginKeeper::LoginKeeper(IKeeperHost& host, std::function<double()> chance)
    : m_host(host), m_chance(std::move(chance)) {}

void LoginKeeper::Attached(Moment now) {
    m_isAttached = true;
    m_hasSpoken = false;
    m_isRepeatNext = false;
    SetState(AgentState::kChecking);
    BeginTry(now);
    Finish(now);
}

void LoginKeeper::ServiceGone(Moment now) {
    if (m_onlineSince || m_step != Step::kNone) {
        SetLast({0, "", kServiceEnded});
    }
    EndLogin(now);
    EndTry();
    Plan(std::nullopt);
    m_isAttached = false;
    m_hasTicket = false;
    m_loginName.clear();
    m_logout.reset();
    SetState(AgentState::kServiceGone);
    for (const RequestKind kind : {RequestKind::kLogin, RequestKind::kLogout, RequestKind::kCheck}) {
        SettleAll(kind, {&AgentErrors::kNoService, kNoServiceRuns});
    }
    Finish(now);
}

// A try that is running began on the network before; a login and a ticket request on their way can only be
// waited for, and what has become of them looked at then.
void LoginKeeper::NetworkChanged(bool isOther, Moment now) {
    if (!m_isAttached || !m_hasSpoken || m_isRefused || m_logout) {
        return;
    }
    if (m_onlineSince && !(isOther && MayLogIn())) {
        return;  // a check would spoil a login that stands, or one that could not be made again
    }
    m_backOff.Reset();
    if (m_onlineSince || m_step == Step::kChecking) {
        BeginTry(now);
    } else if (m_step == Step::kNone) {
        Plan(now);
    } else {
        m_hasMoved = m_hasMoved || isOther;
    }
    Finish(now);
}

void LoginKeeper::SetAccount(std::optional<Account> account, Moment now) {
    if (m_isLastOfFile) {
        m_last.reset();  // the file has been mended
        m_isLastOfFile = false;
        m_hasChanged = true;
    }
    if (account == m_fileAccount) {
        Finish(now);
        return;
    }
    const bool isOther = !(account && InUse() != nullptr && *InUse() == *account);
    m_givenAccount.reset();
    m_fileAccount = std::move(account);
    if (isOther) {
        ++m_accountNumber;
        m_hasChanged = true;
        m_backOff.Reset();
        ForgiveRefusal();
        FollowNewAccount(now);
    }
    Finish(now);
}

void LoginKeeper::FollowNewAccount(Moment now) {
    if (InUse() == nullptr) {
        DropPlan();
        SettleAll(RequestKind::kLogin, {&AgentErrors::kFailed, kAccountGone});
        return;
    }
    if (!m_isAttached || !IsWanted() || m_logout) {
        return;
    }
    if (!m_onlineSince) {
        if (m_step == Step::kNone) {
            Plan(now);
        }
    } else if (m_loginName.empty()) {
        m_loginName = AccountName();  // a login that was found is taken for that of the first account
    } else if (m_loginName != AccountName()) {
        ReplaceLogin(now);
    }
}

void LoginKeeper::NoteAccountFault(const std::string& fault, Moment now) {
    SetLast({0, "", fault});
    m_isLastOfFile = true;
    Finish(now);
}

void LoginKeeper::Tick(Moment now) {
    if (m_silenceEnds && now >= *m_silenceEnds) {
        EndLogin(now);
        FailTry({AgentState::kNoPortal, {0, "", kNoAnswer}}, now);
    }
    if (m_logout && now >= m_logout->nextAsk) {
        AskLogout(now);
    }
    Finish(now);
}

std::optional<LoginKeeper::Moment> LoginKeeper::NextDue() const {
    std::optional<Moment> due = NextTry();
    for (const std::optional<Moment>& other :
         {m_silenceEnds, m_logout ? std::optional(m_logout->nextAsk) : std::nullopt}) {
        if (other && (!due || *other < *due)) {
            due = other;
        }
    }
    return due;
}

std::optional<LoginKeeper::Moment> LoginKeeper::NextTry() const {
    return m_plannedTry ? std::optional(std::max(*m_plannedTry, m_ticketWaitEnds)) : std::nullopt;
}

// The end of every event: begins what is due, then tells the host and the users, who find all in order.
void LoginKeeper::Finish(Moment now) {
    const std::optional<Moment> next = NextTry();
    if (next && now >= *next) {
        BeginTry(now);
    }
    if (std::exchange(m_hasChanged, false)) {
        m_host.KeeperChanged();
    }
    for (const Settled& settled : std::exchange(m_settled, {})) {
        settled.settle(settled.outcome);
    }
}

// A service that has not said a word may never have got the start.
void LoginKeeper::BeginTry(Moment now) {
    AwaitReports(Step::kChecking, now);
    m_ticketWaitEnds = {};
    m_statistics = Statistics::kUnknown;
    m_lostPulses = m_ends = 0;
    const char* operation = m_hasSpoken ? ClientOperation::kCheckEnvironment : ClientOperation::kStart;
    if (!m_host.SendOperation(operation, "")) {
        FailTry({AgentState::kOffline, {0, "", kNotTaken}}, now);
    }
}

void LoginKeeper::LogIn(Moment now) {
    AwaitReports(Step::kLoggingIn, now);
    m_isLoginBegun = false;
    m_sentName = AccountName();
    m_sentNumber = m_accountNumber;
    SetState(AgentState::kLoggingIn);
    std::string parameters = LoginParameters(m_sentName, InUse()->password.Text());
    const bool isSent = m_host.SendOperation(ClientOperation::kConnect, parameters);
    Wipe(parameters);
    if (!isSent) {
        FailTry({AgentState::kOffline, {0, "", kNotTaken}}, now);
    }
}

void LoginKeeper::AwaitReports(Step step, Moment now) {
    m_step = step;
    m_silenceEnds = now + kSilence;
    Plan(std::nullopt);
}

void LoginKeeper::EndTry() {
    m_step = Step::kNone;
    m_silenceEnds.reset();
    m_leaveReason.reset();
    m_hasMoved = false;
}

// A failure outside of a try is one more word about a failure that is known: a try that is planned stays so.
void LoginKeeper::FailTry(const Failure& failure, Moment now) {
    const bool wasTry = m_step != Step::kNone;
    const bool wasOtherAccount = m_step == Step::kLoggingIn && m_sentNumber != m_accountNumber;
    const bool keepsPlan = !wasTry && m_plannedTry && m_state != AgentState::kOpenNetwork;
    EndTry();
    m_attempts += wasTry ? 1 : 0;
    SetLast(failure.ending);
    SetState(failure.state);
    if (keepsPlan) {
        return;
    }
    if (wasOtherAccount && MayLogIn()) {
        Plan(now);  // the requests wait for the account that is wanted now
        return;
    }
    const bool goesOn = MayLogIn() || !m_hasSpoken;
    Plan(goesOn ? std::optional(now + m_backOff.Next(m_chance())) : std::nullopt);
    SettleAll(RequestKind::kLogin, {&ErrorOf(failure.state), failure.ending.text});
    SettleAll(RequestKind::kCheck, {});  // it has told what it was asked for
}

// Besides a pause there is only the look at an open network to be planned for later.
bool LoginKeeper::IsPausing(Moment now) const {
    return m_plannedTry && *m_plannedTry > now && m_state != AgentState::kOpenNetwork;
}

void LoginKeeper::EndLogin(Moment now) {
    if (m_onlineSince && now - *m_onlineSince >= kGoodLogin) {
        m_backOff.Reset();
    }
    m_onlineSince.reset();
}

void LoginKeeper::AwaitTicket(Moment now) {
    m_ticketWaitEnds = now + kTicketWait;
    m_hasChanged = true;
}

void LoginKeeper::Plan(std::optional<Moment> moment) {
    m_hasChanged = m_hasChanged || moment != m_plannedTry;
    m_plannedTry = moment;
}

// A try that was planned for a login that nobody wants any more.
void LoginKeeper::DropPlan() {
    if (m_state != AgentState::kOpenNetwork && !IsAwaited(RequestKind::kCheck)) {
        Plan(std::nullopt);
    }
}

void LoginKeeper::ForgiveRefusal() {
    m_isRefused = false;
    if (m_state == AgentState::kRefused) {
        SetState(m_hasTicket ? AgentState::kReady : AgentState::kOffline);
    }
}

const Account* LoginKeeper::InUse() const {
    return m_givenAccount ? &*m_givenAccount : m_fileAccount ? &*m_fileAccount : nullptr;
}

void LoginKeeper::SetState(AgentState state) {
    m_hasChanged = m_hasChanged || state != m_state;
    m_state = state;
}

void LoginKeeper::SetLast(const LastEnding& ending) {
    m_last = ending;
    ++m_endings;
    m_isLastOfFile = false;
    m_hasChanged = true;
}

AgentState LoginKeeper::State() const {
    return m_state;
}

const std::string& LoginKeeper::AccountName() const {
    static const std::string none;
    return InUse() != nullptr ? InUse()->name : none;
}

bool LoginKeeper::IsWanted() const {
    return InUse() != nullptr && !m_hasLeft;
}

int LoginKeeper::Attempts() const {
    return m_attempts;
}

const std::optional<LastEnding>& LoginKeeper::Last() const {
    return m_last;
}
