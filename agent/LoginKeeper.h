#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "AgentProtocol.h"
#include "AgentState.h"
#include "BackOff.h"
#include "FrontEndMessages.h"
#include "Secret.h"

// The report that ended something last.
struct LastEnding {
    int code = 0;
    std::string subCode;
    std::string text;  // a sentence for people, in UTF-8
};

// What the keeper needs of the agent around it.
class IKeeperHost {
  public:
    // Sends an operation to the service. False when there is none, or it does not take it.
    virtual bool SendOperation(const char* opcode, const std::string& parameters) = 0;
    // The state, or what else the keeper shows, is another.
    virtual void KeeperChanged() = 0;

  protected:
    ~IKeeperHost() = default;
};

// How a request ended: null `error` for done.
struct Outcome {
    const AgentError* error = nullptr;
    std::string message;  // of an error, a sentence for people
};
using Settle = std::function<void(const Outcome&)>;

// Decides what the machine's login needs next: keeps the account logged in, with pauses that grow and differ
// by chance, asks a refused account once, repeats log-outs that the service dropped. It does no input and
// output and reads no clock: every event comes with its moment, which never runs back, and NextDue tells when
// Tick is due. Belongs to one thread; may be called again from within a Settle or a host's operation only to
// read.
//
// How it works:
// - A try is one network check and, when that ends with a ticket (31), one login. It fails by a failure
//   report, by a ticket where the answer to a login was due, or by silence.
// - After the end of a login or a failed one the service fetches a ticket by itself. It is waited for, and
//   when no pause is left its 31 leads straight to the login: a check of the keeper's own would make two
//   tickets cross, and a login must be made with the last one.
// - While a login stands, a check spoils it. Only another network is a reason for one.
// - What a 31 means depends on who asked: it ends a try, brings the next ticket after a loss, and says
//   nothing while a login stands or before the service has read the login that was sent.
class LoginKeeper {
  public:
    using Moment = std::chrono::steady_clock::time_point;

    // `chance` gives numbers from 0 up to 1. `host` outlives the keeper.
    LoginKeeper(IKeeperHost& host, std::function<double()> chance);

    // Whose login an agent before left behind, for one that is found; empty when that is not known, it is
    // then taken for that of the account in use. To be told before anything else.
    void KnowLogin(const std::string& name) { m_loginName = name; }

    // The link.
    void Attached(Moment now);
    void ServiceGone(Moment now);
    void Received(const Report& report, Moment now);
    // The way out of the machine is another, or the machine slept. `isOther` is false when only that is
    // known.
    void NetworkChanged(bool isOther, Moment now);

    // The account of the file; none when the file has gone. A standing login stays without an account;
    // another account takes its place.
    void SetAccount(std::optional<Account> account, Moment now);
    // The file has become unusable: the account before it stays in use, and `fault`, a sentence without the
    // password, is shown as what ended last until the next SetAccount.
    void NoteAccountFault(const std::string& fault, Moment now);

    // Requests of users. Each `settle` is called exactly once, possibly at once, unless the keeper ends
    // before; how long to wait for it is the caller's business.
    void Login(std::optional<Account> account, Settle settle, Moment now);
    void Logout(const std::string& reason, Settle settle, Moment now);
    void Check(Settle settle, Moment now);
    // A client sent an operation by itself that counts as a request of the user: the operation has been sent.
    // `account` is what it logs in; none when that could not be read.
    void LoginWasSent(std::optional<Account> account, Moment now);
    void LogoutWasSent(Moment now);

    // When Tick has to be called at the latest; none: nothing is waited for.
    std::optional<Moment> NextDue() const;
    void Tick(Moment now);

    // What status shows.
    AgentState State() const;
    const std::string& AccountName() const;  // empty without one
    // That of the login that stands, or stood last at this service; empty when it is not known.
    const std::string& LoginName() const { return m_loginName; }
    bool IsWanted() const;
    int Attempts() const;
    // The moment of the next try by itself; none when none is planned.
    std::optional<Moment> NextTry() const;
    const std::optional<LastEnding>& Last() const;
    // How many endings there were, to tell a new one from the same once more.
    unsigned Endings() const { return m_endings; }

  private:
    // What the service is doing about a login. Each step ends after 60 s without a report.
    enum class Step {
        kNone,
        kChecking,   // a network check, or the answer to a start
        kTicket,     // fetching a ticket by itself, when the next try is due anyway
        kLoggingIn,  // a login was sent
    };
    // Whether the portal asks for statistics: without them the service cannot log out on request.
    enum class Statistics { kUnknown, kAsked, kNotAsked };
    enum class RequestKind { kLogin, kLogout, kCheck };
    struct Request {
        RequestKind kind;
        Settle settle;
    };
    struct Settled {
        Settle settle;
        Outcome outcome;
    };
    struct Failure {
        AgentState state;
        LastEnding ending;
    };
    struct PendingLogout {
        std::string reason;
        int asksLeft;
        Moment nextAsk;
    };

    // LoginKeeper.cpp
    const Account* InUse() const;
    bool MayLogIn() const { return IsWanted() && !m_isRefused; }
    bool IsPausing(Moment now) const;
    void BeginTry(Moment now);
    void AwaitReports(Step step, Moment now);
    void EndTry();
    void FailTry(const Failure& failure, Moment now);
    void LogIn(Moment now);
    void EndLogin(Moment now);
    void AwaitTicket(Moment now);
    void Plan(std::optional<Moment> moment);
    void DropPlan();
    void ForgiveRefusal();
    void FollowNewAccount(Moment now);
    void SetState(AgentState state);
    void SetLast(const LastEnding& ending);
    void Finish(Moment now);
    // LoginKeeperReports.cpp
    void NoteValue(const Report& report);
    void TakeState(const Report& report, Moment now);
    void TakeFoundEnd(const Report& report, Moment now);
    void TakeProgress(int code, Moment now);
    void TakeTicket(Moment now);
    void TakeLoginBegun(Moment now);
    void TakeOnline(Moment now);
    void TakeOpenNetwork(Moment now);
    void TakeEnd(const Report& report, Moment now);
    void TakeFailure(const Report& report, Moment now);
    void LoseLogin(const Failure& failure, Moment now);
    // LoginKeeperRequests.cpp
    void Await(RequestKind kind, Settle settle);
    bool IsAwaited(RequestKind kind) const;
    void SettleAll(RequestKind kind, const Outcome& outcome);
    void SettleNow(Settle settle, const Outcome& outcome);
    void FailLogins(const std::string& message);
    void UseGiven(Account account);
    void ReplaceLogin(Moment now);
    void StartLogout(const std::string& reason, Moment now);
    void AskLogout(Moment now);
    void FinishLogout(const LastEnding& ending, Moment now);
    void StopLogout(const std::string& message);

    IKeeperHost& m_host;
    const std::function<double()> m_chance;

    // What the service is known to be.
    bool m_isAttached = false;
    bool m_hasSpoken = false;     // since the attach
    bool m_isRepeatNext = false;  // the next state report tells an old story once more
    bool m_hasTicket = false;
    AgentState m_state = AgentState::kServiceGone;
    Statistics m_statistics = Statistics::kUnknown;

    // The standing login. Its account is empty when it is not known; it outlives the login, which may be
    // found again.
    std::optional<Moment> m_onlineSince;
    std::string m_loginName;
    // Since the loss of the last one. For each lost pulse the service logs out and fetches a ticket: a login
    // that is made before the last of these log-outs falls victim to it.
    int m_lostPulses = 0;
    int m_ends = 0;
    std::optional<PendingLogout> m_logout;
    std::optional<std::string> m_leaveReason;  // log out when the running try ends online

    // The accounts: that of a request goes before that of the file. Each change gives a new number.
    std::optional<Account> m_fileAccount;
    std::optional<Account> m_givenAccount;
    int m_accountNumber = 1;
    bool m_hasLeft = false;  // a user has logged out
    bool m_isRefused = false;

    // The running try and the next one.
    Step m_step = Step::kNone;
    std::optional<Moment> m_silenceEnds;
    bool m_isLoginBegun = false;  // the service has read the login that was sent
    std::string m_sentName;       // empty when a client sent a login and its account is not known
    int m_sentNumber = 0;         // likewise 0
    bool m_hasMoved = false;      // the machine has another way out since the step began
    std::optional<Moment> m_plannedTry;
    Moment m_ticketWaitEnds{};
    BackOff m_backOff;
    int m_attempts = 0;
    std::optional<LastEnding> m_last;
    unsigned m_endings = 0;
    bool m_isLastOfFile = false;  // it tells a fault of the account file

    // Told at the end of an event, when everything else is in order.
    std::vector<Request> m_requests;
    std::vector<Settled> m_settled;
    bool m_hasChanged = false;
};
