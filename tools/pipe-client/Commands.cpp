#include "Commands.h"

#include <algorithm>
#include <cstdio>

#include "ClientOperations.h"
#include "PasswordInput.h"
#include "ReportWords.h"

namespace {

using Milliseconds = FrontEnd::Milliseconds;

constexpr char kDefaultReason[] = "1";         // the user wants to
constexpr char kFromInput[] = "-";             // a password that is read from standard input
constexpr Milliseconds kWatchSlice(60000);     // any length: watching goes on after it
constexpr Milliseconds kLastReportWait(2000);  // it follows at once

// The states that tell how a request has gone.
struct Ending {
    INetConn::ESTATE good;
    INetConn::ESTATE bad;
};
constexpr Ending kCheckEnding = {INetConn::ES_PRECONNECTED, INetConn::ES_PRECONNECTFAIL};
constexpr Ending kLoginEnding = {INetConn::ES_CONNECTED, INetConn::ES_CONNECTFAIL};
constexpr Ending kLogoutEnding = {INetConn::ES_DISCONNECTED, INetConn::ES_CONNECTFAIL};

Outcome Fail(Outcome outcome, const char* words) {
    fprintf(stderr, "pipe-client: %s\n", words);
    return outcome;
}

Outcome NoReport(const FrontEnd& frontEnd) {
    return frontEnd.IsServiceGone() ? Fail(kFailed, "the service has ended")
                                    : Fail(kTimedOut, "nothing came in time");
}

Outcome AwaitEnding(FrontEnd& frontEnd, const Ending& ending, Milliseconds timeOut) {
    Outcome outcome = kTimedOut;
    bool isOpenNetwork = false;
    const auto judge = [&](const Report& report) {
        isOpenNetwork = report.IsOpenNetwork();
        const bool isGood = report.IsState() && report.newState == ending.good && !isOpenNetwork;
        // A failed exchange comes with the state of the step that it belonged to.
        const bool isBad =
            report.IsState() && (report.newState == ending.bad || !report.Parameter("subType").empty());
        outcome = isGood ? kDone : kFailed;
        return isGood || isBad || isOpenNetwork;
    };
    if (!frontEnd.Await(judge, timeOut)) {
        return NoReport(frontEnd);
    }
    return isOpenNetwork ? Fail(kFailed, "the network is open: there is no portal to log in to") : outcome;
}

// A service that was started before reports its state instead: first that it is ready, which says no more
// than that it works, and then its last report once more, which is the one that counts.
Outcome Start(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kStart);
    bool isAnnouncement = false;
    const auto isOutcome = [&](const Report& report) {
        isAnnouncement = report.IsState() && report.oldState == INetConn::ES_NONE &&
                         report.newState == INetConn::ES_PRECONNECTED;
        return report.IsState() || report.opcode == ClientReport::kStartComplete;
    };
    if (!frontEnd.Await(isOutcome, timeOut)) {
        return NoReport(frontEnd);
    }
    if (isAnnouncement) {
        (void)frontEnd.Await([](const Report& report) { return report.IsState(); },
                             std::min(timeOut, kLastReportWait));
    }
    return kDone;
}

Outcome Check(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kCheckEnvironment);
    return AwaitEnding(frontEnd, kCheckEnding, timeOut);
}

Outcome Login(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.Login(arguments[0], arguments[1]);
    return AwaitEnding(frontEnd, kLoginEnding, timeOut);
}

Outcome Logout(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.Logout(arguments.empty() ? kDefaultReason : arguments[0]);
    return AwaitEnding(frontEnd, kLogoutEnding, timeOut);
}

Outcome Terminal(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kTerminalData);
    return frontEnd.AwaitOpcode(ClientReport::kTerminalData, timeOut) ? kDone : NoReport(frontEnd);
}

Outcome TerminalTerm(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.TerminalLogout(arguments[0]);
    Outcome outcome = kTimedOut;
    const auto judge = [&](const Report& report) {
        outcome = report.opcode == ClientReport::kTerminalData ? kDone : kFailed;
        return report.opcode == ClientReport::kTerminalData || report.opcode == ClientReport::kTerminalTerm;
    };
    return frontEnd.Await(judge, timeOut) ? outcome : NoReport(frontEnd);
}

Outcome Send(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds /*timeOut*/) {
    const bool isSent = frontEnd.Send(arguments[0].c_str(), arguments.size() > 1 ? arguments[1] : "");
    return isSent ? kDone : Fail(kFailed, "the service has ended");
}

Outcome Expect(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    const auto state = static_cast<INetConn::ESTATE>(FindState(arguments[0])->number);
    return frontEnd.AwaitState(state, timeOut) ? kDone : NoReport(frontEnd);
}

Outcome Watch(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds /*timeOut*/) {
    while (!frontEnd.IsServiceGone()) {
        (void)frontEnd.Receive(kWatchSlice);  // the listener has printed it
    }
    return NoReport(frontEnd);
}

// Empty when the arguments suit the command.
std::string FaultOf(const Step& step) {
    if (step.arguments.size() < step.command->required) {
        return std::string(step.command->name) + " needs " + step.command->arguments;
    }
    if (step.command->run == Expect && FindState(step.arguments[0]) == nullptr) {
        return "there is no state " + step.arguments[0];
    }
    return "";
}

}  // namespace

const std::vector<Command>& AllCommands() {
    static const std::vector<Command> commands = {
        {"start", "", "attach to the service", 0, 0, Start},
        {"check", "", "look for the portal", 0, 0, Check},
        {"login", "ACCOUNT PASSWORD", "log in; the password - is read from standard input", 2, 0, Login},
        {"logout", "[REASON]", "log out", 0, 1, Logout},
        {"terminal", "", "fetch the data of the account's terminals", 0, 0, Terminal},
        {"terminal-term", "TICKET", "log another terminal out", 1, 0, TerminalTerm},
        {"send", "OPCODE [PARAMETERS]", "send any message; the parameters are XML", 1, 1, Send},
        {"expect", "STATE", "wait until the service reports the state, e.g. connected", 1, 0, Expect},
        {"watch", "", "print reports until the service ends", 0, 0, Watch},
    };
    return commands;
}

const Command* FindCommand(const std::string& name) {
    const std::vector<Command>& commands = AllCommands();
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&name](const Command& command) { return command.name == name; });
    return found != commands.end() ? &*found : nullptr;
}

bool ReadSteps(const Arguments& words, std::vector<Step>& steps, std::string& fault) {
    for (size_t i = 0; i < words.size();) {
        Step step = {FindCommand(words[i]), {}};
        if (step.command == nullptr) {
            fault = "there is no command " + words[i];
            return false;
        }
        const size_t most = step.command->required + step.command->optional;
        for (++i; i < words.size() && step.arguments.size() < most; ++i) {
            if (step.arguments.size() >= step.command->required && FindCommand(words[i]) != nullptr) {
                break;
            }
            step.arguments.push_back(words[i]);
        }
        fault = FaultOf(step);
        if (!fault.empty()) {
            return false;
        }
        steps.push_back(step);
    }
    fault = steps.empty() ? "no command is given" : "";
    return fault.empty();
}

bool ReadPasswords(std::vector<Step>& steps) {
    for (Step& step : steps) {
        if (step.command->run != Login || step.arguments[1] != kFromInput) {
            continue;
        }
        const std::optional<std::string> password = ReadPassword("Password of " + step.arguments[0] + ": ");
        if (!password) {
            return false;
        }
        step.arguments[1] = *password;
    }
    return true;
}
