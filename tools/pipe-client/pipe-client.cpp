// A front end for the terminal: carries out its commands one after the other and prints every report
// meanwhile.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "ClientOperations.h"
#include "FrontEnd.h"
#include "ReportWords.h"

namespace {

using Arguments = std::vector<std::string>;
using Milliseconds = FrontEnd::Milliseconds;

enum Outcome { kDone = 0, kFailed = 1, kUsage = 2, kTimedOut = 3 };  // also the exit status

constexpr long kDefaultTimeOutSeconds = 30;
constexpr long kLongestTimeOutSeconds = 24 * 60 * 60;
constexpr char kDefaultReason[] = "1";      // the user wants to
constexpr Milliseconds kWatchSlice(60000);  // any length: watching goes on after it

// The states that tell how a request has gone.
struct Answer {
    INetConn::ESTATE good;
    INetConn::ESTATE bad;
};
constexpr Answer kCheckAnswer = {INetConn::ES_PRECONNECTED, INetConn::ES_PRECONNECTFAIL};
constexpr Answer kLoginAnswer = {INetConn::ES_CONNECTED, INetConn::ES_CONNECTFAIL};
constexpr Answer kLogoutAnswer = {INetConn::ES_DISCONNECTED, INetConn::ES_CONNECTFAIL};

Outcome NoAnswer(const FrontEnd& frontEnd) {
    if (frontEnd.IsServiceGone()) {
        fprintf(stderr, "pipe-client: the service has ended\n");
        return kFailed;
    }
    fprintf(stderr, "pipe-client: nothing came in time\n");
    return kTimedOut;
}

Outcome AwaitAnswer(FrontEnd& frontEnd, const Answer& answer, Milliseconds timeOut) {
    Outcome outcome = kTimedOut;
    const auto judge = [&](const Report& report) {
        const bool isGood = report.IsState() && report.newState == answer.good;
        // A failed exchange comes with the state of the step that it belonged to.
        const bool isBad =
            report.IsState() && (report.newState == answer.bad || !report.Parameter("subType").empty());
        outcome = isGood ? kDone : kFailed;
        return isGood || isBad;
    };
    return frontEnd.Await(judge, timeOut) ? outcome : NoAnswer(frontEnd);
}

// A service that was started before answers with its state instead.
Outcome Start(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kStart);
    const auto isAnswer = [](const Report& report) {
        return report.IsState() || report.opcode == ClientReport::kStartComplete;
    };
    return frontEnd.Await(isAnswer, timeOut) ? kDone : NoAnswer(frontEnd);
}

Outcome Check(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kCheckEnvironment);
    return AwaitAnswer(frontEnd, kCheckAnswer, timeOut);
}

Outcome Login(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.Login(arguments[0], arguments[1]);
    return AwaitAnswer(frontEnd, kLoginAnswer, timeOut);
}

Outcome Logout(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.Logout(arguments.empty() ? kDefaultReason : arguments[0]);
    return AwaitAnswer(frontEnd, kLogoutAnswer, timeOut);
}

Outcome Terminal(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds timeOut) {
    frontEnd.Send(ClientOperation::kTerminalData);
    return frontEnd.AwaitOpcode(ClientReport::kTerminalData, timeOut) ? kDone : NoAnswer(frontEnd);
}

Outcome TerminalTerm(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    frontEnd.TerminalLogout(arguments[0]);
    Outcome outcome = kTimedOut;
    const auto judge = [&](const Report& report) {
        outcome = report.opcode == ClientReport::kTerminalData ? kDone : kFailed;
        return report.opcode == ClientReport::kTerminalData || report.opcode == ClientReport::kTerminalTerm;
    };
    return frontEnd.Await(judge, timeOut) ? outcome : NoAnswer(frontEnd);
}

Outcome Send(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds /*timeOut*/) {
    return frontEnd.Send(arguments[0].c_str(), arguments.size() > 1 ? arguments[1] : "") ? kDone : kFailed;
}

Outcome Expect(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut) {
    const std::optional<INetConn::ESTATE> state = StateByName(arguments[0]);
    if (!state) {
        fprintf(stderr, "pipe-client: there is no state %s\n", arguments[0].c_str());
        return kUsage;
    }
    return frontEnd.AwaitState(*state, timeOut) ? kDone : NoAnswer(frontEnd);
}

Outcome Watch(FrontEnd& frontEnd, const Arguments& /*arguments*/, Milliseconds /*timeOut*/) {
    while (!frontEnd.IsServiceGone()) {
        (void)frontEnd.Receive(kWatchSlice);  // the listener has printed it
    }
    return NoAnswer(frontEnd);
}

struct Command {
    const char* name;
    const char* arguments;
    const char* purpose;
    size_t required;
    size_t optional;
    Outcome (*run)(FrontEnd& frontEnd, const Arguments& arguments, Milliseconds timeOut);
};
constexpr Command kCommands[] = {
    {"start", "", "attach to the service", 0, 0, Start},
    {"check", "", "look for the portal", 0, 0, Check},
    {"login", "ACCOUNT PASSWORD", "log in", 2, 0, Login},
    {"logout", "[REASON]", "log out", 0, 1, Logout},
    {"terminal", "", "fetch the data of the account's terminals", 0, 0, Terminal},
    {"terminal-term", "TICKET", "log another terminal out", 1, 0, TerminalTerm},
    {"send", "OPCODE [PARAMETERS]", "send any message; the parameters are XML", 1, 1, Send},
    {"expect", "STATE", "wait until the service reports the state, e.g. connected", 1, 0, Expect},
    {"watch", "", "print reports until the service ends", 0, 0, Watch},
};

int PrintUsage() {
    fprintf(stderr,
            "Usage: pipe-client [--dir FOLDER] [--timeout SECONDS] COMMAND...\n"
            "Talks to the service that works in FOLDER (the current one) and prints its reports.\n"
            "Each command waits for its outcome, at most SECONDS (%ld) long.\n",
            kDefaultTimeOutSeconds);
    for (const Command& command : kCommands) {
        fprintf(stderr, "  %-13s %-19s %s\n", command.name, command.arguments, command.purpose);
    }
    fprintf(stderr, "Exit status: 0 done, 1 failed, 2 wrong usage, 3 no answer in time.\n");
    return kUsage;
}

const Command* FindCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

struct Step {
    const Command* command;
    Arguments arguments;
};

// False when a command is unknown or lacks arguments. An optional argument is any word that is no command.
bool ReadSteps(const Arguments& words, std::vector<Step>& steps) {
    for (size_t i = 0; i < words.size();) {
        Step step = {FindCommand(words[i++]), {}};
        if (step.command == nullptr || words.size() - i < step.command->required) {
            return false;
        }
        const size_t most = step.command->required + step.command->optional;
        while (i < words.size() && step.arguments.size() < most &&
               (step.arguments.size() < step.command->required || FindCommand(words[i]) == nullptr)) {
            step.arguments.push_back(words[i++]);
        }
        steps.push_back(step);
    }
    return !steps.empty();
}

struct Options {
    std::string folder = ".";
    Milliseconds timeOut = std::chrono::seconds(kDefaultTimeOutSeconds);
};

bool ReadOptions(int argc, char** argv, Options& options) {
    const option known[] = {
        {"dir", required_argument, nullptr, 'd'}, {"timeout", required_argument, nullptr, 't'}, {}};
    int found = 0;
    while ((found = getopt_long(argc, argv, "+", known, nullptr)) != -1) {
        if (found == 'd') {
            options.folder = optarg;
            continue;
        }
        char* end = nullptr;
        const long seconds = found == 't' ? strtol(optarg, &end, 10) : 0;
        if (seconds <= 0 || seconds > kLongestTimeOutSeconds || *end != '\0') {
            return false;
        }
        options.timeOut = std::chrono::seconds(seconds);
    }
    return true;
}

Outcome RunSteps(FrontEnd& frontEnd, const std::vector<Step>& steps, Milliseconds timeOut) {
    for (const Step& step : steps) {
        const Outcome outcome = step.command->run(frontEnd, step.arguments, timeOut);
        if (outcome != kDone) {
            return outcome;
        }
    }
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<Step> steps;
    if (!ReadOptions(argc, argv, options) || !ReadSteps(Arguments(argv + optind, argv + argc), steps)) {
        return PrintUsage();
    }
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever reads the output sees each report as it comes
    FrontEnd frontEnd(options.folder);
    frontEnd.SetListener([](const Report& report) { printf("%s\n", DescribeReport(report).c_str()); });
    if (!frontEnd.Connect(options.timeOut)) {
        fprintf(stderr, "pipe-client: no service answers in %s\n", options.folder.c_str());
        return kTimedOut;
    }
    return RunSteps(frontEnd, steps, options.timeOut);
}
