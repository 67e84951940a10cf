#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "AgentProtocol.h"
#include "AgentState.h"
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
class LoginKeeper {
  public:
    using Moment = std::chrono::steady_clock::time_point;

    // `chance` gives numbers from 0 up to 1. `host` outlives the keeper.
    LoginKeeper(IKeeperHost& host, std::function<double()> chance);

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

    // Requests of users. Each `settle` is called exactly once, possibly at once, unless the keeper ends
    // before; how long to wait for it is the caller's business.
    void Login(std::optional<Account> account, Settle settle, Moment now);
    void Logout(const std::string& reason, Settle settle, Moment now);
    void Check(Settle settle, Moment now);
    // A client sent an operation by itself that counts as a request of the user: the operation has been sent.
    void LoginWasSent(Moment now);
    void LogoutWasSent(Moment now);

    // When Tick has to be called at the latest; none: nothing is waited for.
    std::optional<Moment> NextDue() const;
    void Tick(Moment now);

    // What status shows.
    AgentState State() const;
    const std::string& AccountName() const;  // empty without one
    bool IsWanted() const;
    int Attempts() const;
    // The moment of the next try by itself; none when none is planned.
    std::optional<Moment> NextTry() const;
    const std::optional<LastEnding>& Last() const;
};
