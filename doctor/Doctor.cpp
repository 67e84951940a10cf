// The spine: which checks there are, what each depends on, and how their outcome becomes a diagnosis.
#include "Doctor.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

#include "BoundedChild.h"
#include "Examination.h"
#include "FolderCopy.h"
#include "ReadableText.h"
#include "Texts.h"

namespace {

// Of the ten seconds the rest is for copying and for removing the copy.
constexpr std::chrono::milliseconds kLookTime(9000);
constexpr size_t kLongestText = 3000;

struct CheckRow {
    const char* name;
    Verdict (*look)(Examination& examination);
    std::array<const char*, 2> needs;  // checks without whose success this one says nothing
};
constexpr CheckRow kChecks[] = {
    {"route", LookAtRoute, {}},           {"adapter", LookAtAdapter, {"route"}},
    {"probe", LookAtProbe, {"settings"}}, {"hops", LookAtHops, {"adapter", "probe"}},
    {"marker", LookAtMarker, {"hops"}},   {"configuration", LookAtConfiguration, {"marker"}},
    {"module", LookAtModule, {}},         {"folder", LookAtFolder, {}},
    {"settings", LookAtSettings, {}},     {"resolver", LookAtResolver, {}},
    {"process", LookAtProcess, {}},       {"fifos", LookAtFifos, {}},
    {"agent", LookAtAgent, {}},           {"clock", LookAtClock, {}},
};
constexpr size_t kCheckCount = std::size(kChecks);
constexpr char kLateText[] = "not looked at, for the time was up";

using Results = std::array<std::optional<Verdict>, kCheckCount>;

size_t IndexOf(const char* name) {
    const auto* row = std::find_if(std::begin(kChecks), std::end(kChecks),
                                   [name](const CheckRow& check) { return strcmp(check.name, name) == 0; });
    return static_cast<size_t>(row - kChecks);
}

bool IsFailed(const Verdict& verdict) {
    return verdict.result == CheckResult::kFault || verdict.result == CheckResult::kSkipped;
}

// The examining side, in the child process. Each verdict is told before the next check begins: what the time
// cuts off does not take the others along.
class Examiner {
  public:
    Examiner(const DoctorOptions& options, const std::string& copy, int output)
        : m_examination(options, copy), m_output(output) {}

    void LookAtEverything() {
        for (size_t index = 0; index < kCheckCount; ++index) {
            (void)LookAt(index);
        }
    }

  private:
    // What a check needs is looked at first, wherever it stands in the order.
    const Verdict& LookAt(size_t index) {
        std::optional<Verdict>& verdict = m_results[index];
        if (!verdict) {
            const char* failed = FailedNeed(kChecks[index]);
            Announce(index);
            verdict = failed != nullptr ? Skipped("the check `" + std::string(failed) + "` failed")
                                        : kChecks[index].look(m_examination);
            Tell(*verdict);
        }
        return *verdict;
    }

    const char* FailedNeed(const CheckRow& check) {
        for (const char* need : check.needs) {
            if (need != nullptr && IsFailed(LookAt(IndexOf(need)))) {
                return need;
            }
        }
        return nullptr;
    }

    void Announce(size_t index) { Write(std::to_string(index)); }

    void Tell(const Verdict& verdict) {
        Write(" " + std::to_string(static_cast<int>(verdict.result)) + " " +
              std::to_string(static_cast<int>(verdict.finding)) + " " +
              ReadableText(Shortened(verdict.text, kLongestText)) + "\n");
    }

    void Write(const std::string& text) const {
        (void)!write(m_output, text.data(), text.size());  // without a listener nobody waits for it
    }

    Examination m_examination;
    const int m_output;
    Results m_results;
};

void Examine(const DoctorOptions& options, const std::string& copy, int output) {
    DoctorOptions absolute = options;
    char* folder = realpath(options.folder.empty() ? "." : options.folder.c_str(), nullptr);
    absolute.folder = folder != nullptr ? folder : options.folder;
    free(folder);
    // The algorithm module is unpacked in the working folder. Without a folder of our own none is tried.
    const bool isInCopy = !copy.empty() && chdir(copy.c_str()) == 0;
    Examiner(absolute, isInCopy ? copy : "", output).LookAtEverything();
}

// The first check without a verdict when none is known to be the one that took the time.
void NoteFirstMissing(Results& results) {
    const auto missing =
        std::find_if(results.begin(), results.end(), [](const auto& verdict) { return !verdict; });
    const bool isNoted = std::any_of(results.begin(), results.end(), [](const auto& verdict) {
        return verdict && verdict->finding == Finding::kNotEnded;
    });
    if (missing != results.end() && !isNoted) {
        *missing = Found(Finding::kNotEnded, "");
    }
}

// What the examiner told. The check that it did not finish is a finding of its own.
Results ReadResults(const std::string& told) {
    Results results;
    std::istringstream lines(told);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        size_t index = 0;
        int result = 0;
        int finding = 0;
        if (!(words >> index) || index >= kCheckCount) {
            continue;
        }
        if (words >> result >> finding) {
            std::string text;
            std::getline(words.ignore(), text);
            results[index] = Verdict{static_cast<CheckResult>(result), text, static_cast<Finding>(finding)};
        } else {
            results[index] = Found(Finding::kNotEnded, "");
        }
    }
    NoteFirstMissing(results);
    return results;
}

std::string AdviceFor(const Check& check, const Verdict& verdict) {
    return std::string(check.name) + ": " + verdict.text + "; " + RowOf(verdict.finding).remedy + ".";
}

// The first fault counts, without one the first warning.
std::string Advise(const std::vector<Check>& checks, const Results& results) {
    for (const CheckResult wanted : {CheckResult::kFault, CheckResult::kWarning}) {
        for (size_t index = 0; index < kCheckCount; ++index) {
            if (checks[index].result == wanted) {
                return AdviceFor(checks[index], *results[index]);
            }
        }
    }
    return "Nothing is wrong here: a machine that is not online yet lacks a login, or time.";
}

// Holds back what would end the process, so that no copy stays behind.
class SignalPause {
  public:
    SignalPause() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            struct sigaction action = {};
            // One that is ignored would count as pending all the same.
            if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
                sigaddset(&held, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &held, &m_former);
    }
    ~SignalPause() { pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }
    SignalPause(const SignalPause&) = delete;
    SignalPause& operator=(const SignalPause&) = delete;

  private:
    sigset_t m_former = {};
};

}  // namespace

int Diagnosis::Findings() const {
    return static_cast<int>(std::count_if(checks.begin(), checks.end(), [](const Check& check) {
        return check.result == CheckResult::kWarning || check.result == CheckResult::kFault;
    }));
}

Diagnosis Diagnose(const DoctorOptions& options) {
    const SignalPause pause;
    const FolderCopy copy;
    const auto spent =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - options.start);
    const ChildOutcome outcome =
        RunInChild([&](int output) { Examine(options, copy.Path(), output); }, kLookTime - spent);
    const Results results = ReadResults(outcome.output);
    Diagnosis diagnosis;
    for (size_t index = 0; index < kCheckCount; ++index) {
        const Verdict verdict =
            results[index].value_or(Verdict{CheckResult::kSkipped, kLateText, Finding::kNone});
        diagnosis.checks.push_back({kChecks[index].name, verdict.result, verdict.text});
    }
    diagnosis.advice = Advise(diagnosis.checks, results);
    return diagnosis;
}
