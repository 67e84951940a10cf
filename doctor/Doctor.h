#pragma once

#include <chrono>
#include <string>
#include <vector>

// Explains why this machine is not online. Looks at the network, the portal's pages and the service's folder
// and touches nothing that runs: of the folder it works in a temporary copy, to the network it sends GETs
// along the probe's chain, to processes nothing at all, and no FIFO is opened. An ordinary user may run it.

enum class CheckResult { kGood, kWarning, kFault, kSkipped };

// What was found at one place. The texts are one line each, UTF-8, without control characters.
struct Check {
    const char* name;  // "route" and so on; of the table of checks, never freed
    CheckResult result;
    std::string text;
};

struct Diagnosis {
    std::vector<Check> checks;  // all of them, in the order in which a login needs them
    std::string advice;         // one sentence: what is wrong and what to do about it

    // The number of warnings and faults.
    int Findings() const;
};

struct DoctorOptions {
    std::string folder;       // the working folder of the service
    std::string agentStatus;  // the agent's answer to a status request, one line of JSON; empty: no agent
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

// Looks at everything. Ends within 10 s of the start, whatever the network and the algorithm module do: the
// looking happens in a child process that is killed when its time is up. SIGINT, SIGTERM, SIGHUP and SIGQUIT
// end it early; they reach the caller once the temporary copy is removed. For one thread of the process at a
// time.
Diagnosis Diagnose(const DoctorOptions& options);

// One line of JSON, without a line end.
std::string DiagnosisAsJson(const Diagnosis& diagnosis);
// A line for each check, an empty line and the advice; with `colour` the results have terminal colours.
std::string DiagnosisAsWords(const Diagnosis& diagnosis, bool colour);
