// A front end for the terminal: carries out its commands one after the other and prints every report
// meanwhile.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "Commands.h"
#include "ReportText.h"

namespace {

using Milliseconds = FrontEnd::Milliseconds;

constexpr long kDefaultTimeOutSeconds = 30;
constexpr long kLongestTimeOutSeconds = 24 * 60 * 60;

struct Options {
    bool wantsHelp = false;
    std::string folder = ".";
    Milliseconds timeOut = std::chrono::seconds(kDefaultTimeOutSeconds);
};

Outcome PrintHelp() {
    printf(
        "Usage: pipe-client [--dir FOLDER] [--timeout SECONDS] COMMAND...\n"
        "Talks to the service that works in FOLDER (the current one) and prints its reports.\n"
        "Each command waits for its outcome, at most SECONDS (%ld) long.\n",
        kDefaultTimeOutSeconds);
    for (const Command& command : AllCommands()) {
        printf("  %-13s %-19s %s\n", command.name, command.arguments, command.purpose);
    }
    printf("Exit status: 0 done, 1 failed, 2 wrong usage, 3 no answer in time.\n");
    return kDone;
}

Outcome RefuseUsage(const std::string& fault) {
    if (!fault.empty()) {
        fprintf(stderr, "pipe-client: %s\n", fault.c_str());
    }
    fprintf(stderr, "pipe-client --help tells how it is used.\n");
    return kUsage;
}

bool ReadTimeOut(const char* text, Milliseconds& timeOut) {
    char* end = nullptr;
    const long seconds = strtol(text, &end, 10);
    if (seconds <= 0 || seconds > kLongestTimeOutSeconds || *end != '\0') {
        return false;
    }
    timeOut = std::chrono::seconds(seconds);
    return true;
}

// The fault of an unknown option or a missing value is printed already, and then empty.
bool ReadOptions(int argc, char** argv, Options& options, std::string& fault) {
    const option known[] = {{"dir", required_argument, nullptr, 'd'},
                            {"help", no_argument, nullptr, 'h'},
                            {"timeout", required_argument, nullptr, 't'},
                            {}};
    int found = 0;
    while ((found = getopt_long(argc, argv, "+", known, nullptr)) != -1) {
        switch (found) {
            case 'd': options.folder = optarg; break;
            case 'h': options.wantsHelp = true; break;
            case 't':
                if (!ReadTimeOut(optarg, options.timeOut)) {
                    fault = "--timeout takes 1 to " + std::to_string(kLongestTimeOutSeconds) +
                            " seconds, not " + optarg;
                    return false;
                }
                break;
            default: return false;
        }
    }
    return true;
}

Outcome RunSteps(const Options& options, const std::vector<Step>& steps) {
    FrontEnd frontEnd(options.folder);
    frontEnd.SetListener([](const Report& report) { printf("%s\n", DescribeReport(report).c_str()); });
    if (!frontEnd.Connect(options.timeOut)) {
        fprintf(stderr, "pipe-client: no service answers in %s\n", options.folder.c_str());
        return kTimedOut;
    }
    for (const Step& step : steps) {
        const Outcome outcome = step.command->run(frontEnd, step.arguments, options.timeOut);
        if (outcome != kDone) {
            return outcome;
        }
    }
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::string fault;
    if (!ReadOptions(argc, argv, options, fault)) {
        return RefuseUsage(fault);
    }
    if (options.wantsHelp) {
        return PrintHelp();
    }
    std::vector<Step> steps;
    if (!ReadSteps(Arguments(argv + optind, argv + argc), steps, fault)) {
        return RefuseUsage(fault);
    }
    if (!ReadPasswords(steps)) {
        return RefuseUsage("standard input ends before the password");
    }
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever reads the output sees each report as it comes
    return RunSteps(options, steps);
}
