// What runs: the service, its FIFOs, and the agent.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "Examination.h"
#include "PortalCodes.h"
#include "SystemNames.h"
#include "TextUtil.h"
#include "Texts.h"
#include "agent/AgentState.h"

namespace {

constexpr size_t kShownProcesses = 8;
constexpr size_t kShownText = 200;
constexpr pid_t kFirstProcess = 1;  // runs always, and as root

// What the service opens of each FIFO, as bits of the mode of its owner.
struct FifoRow {
    const char* name;
    mode_t needs;
};
constexpr FifoRow kFifos[] = {{"serverpipe", S_IWUSR}, {"clientpipe", S_IRUSR}};

std::string List(const std::vector<pid_t>& processes) {
    std::string text;
    for (size_t i = 0; i < std::min(processes.size(), kShownProcesses); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(processes[i]);
    }
    return text + (processes.size() > kShownProcesses ? " and more" : "");
}

std::vector<pid_t> IdsOf(const std::vector<RunningService>& services) {
    std::vector<pid_t> ids(services.size());
    std::transform(services.begin(), services.end(), ids.begin(),
                   [](const RunningService& service) { return service.pid; });
    return ids;
}

// A start asks whether a signal could be sent to the recorded process; 0 and what is no number name groups.
Verdict JudgeRecordedId(const Examination& examination) {
    const std::string& folder = examination.folder;
    const CAutoString& recorded = examination.recordedPid;
    const pid_t pid = atoi(recorded);
    const std::string shown = Shortened(recorded.GetText(), kShownText);
    if (recorded.IsEmpty()) {
        return Found(Finding::kNoService, folder);
    }
    if (pid <= 0) {
        return Found(Finding::kForeignProcess, "PID is " + shown + ", which is no process");
    }
    const std::string name = ProcessName(pid);
    if (name.empty()) {
        return Found(Finding::kNoService, folder + ", the last one was process " + std::to_string(pid));
    }
    return Found(Finding::kForeignProcess, std::to_string(pid) + " is " + Shortened(name, kShownText));
}

// Who may not read the recorded id still sees whether there is a service anywhere, if he sees others'
// processes.
Verdict JudgeNoService(const Examination& examination) {
    const bool isFolderHidden = examination.folderFailure == EACCES;
    const bool isIdHidden = isFolderHidden || examination.settingsFailure == EACCES;
    if (examination.folderFailure == 0 && !isIdHidden) {
        return JudgeRecordedId(examination);
    }
    const bool isNowhere = isIdHidden && examination.services.empty() && !ProcessName(kFirstProcess).empty();
    return isNowhere ? Found(Finding::kNoService, examination.folder)
                     : Skipped("the recorded process id cannot be read");
}

const RunningService* FindOther(const Examination& examination) {
    const auto other = std::find_if(examination.services.begin(), examination.services.end(),
                                    [](const RunningService& service) { return service.isElsewhere; });
    return other != examination.services.end() ? &*other : nullptr;
}

// Whether the service's user may open it as it has to; groups count as others of the same right.
bool MayOpen(const struct stat& fifo, mode_t needs, uid_t user) {
    const mode_t asOther = needs >> 3 | needs >> 6;
    return user == 0 || (fifo.st_mode & (fifo.st_uid == user ? needs : asOther)) != 0;
}

std::string DescribeFifo(const char* name, const struct stat& fifo) {
    char mode[sizeof("07777")];
    (void)snprintf(mode, sizeof(mode), "%04o", static_cast<unsigned>(fifo.st_mode & 07777));
    return std::string(name) + " of " + UserName(fifo.st_uid) + " mode " + mode;
}

Verdict JudgeFifo(const Examination& examination, const FifoRow& row, bool isServed) {
    struct stat status = {};
    if (lstat(examination.InFolder(row.name).c_str(), &status) != 0) {
        const bool isMissing = isServed && row.needs == S_IWUSR;
        return isMissing ? Found(Finding::kFifoMissing, row.name) : Good(std::string("no ") + row.name);
    }
    if (S_ISLNK(status.st_mode) && row.needs == S_IRUSR) {
        (void)stat(examination.InFolder(row.name).c_str(), &status);  // the service follows this one
    }
    const std::string described = DescribeFifo(row.name, status);
    if (!S_ISFIFO(status.st_mode)) {
        return Found(Finding::kNoFifo, described);
    }
    return MayOpen(status, row.needs, examination.ServiceUser()) ? Good(described)
                                                                 : Found(Finding::kFifoClosed, described);
}

// What keeps the agent from being online, by the state that it tells.
struct StateRow {
    AgentState state;
    Finding finding;
};
constexpr StateRow kStates[] = {
    {AgentState::kRefused, Finding::kRefusedLogin},  {AgentState::kServiceGone, Finding::kAgentAlone},
    {AgentState::kNoAdapter, Finding::kLoginFailed}, {AgentState::kNoPortal, Finding::kLoginFailed},
    {AgentState::kOffline, Finding::kLoginFailed},
};
// Those in which nothing has to be missing but the wish for a login.
constexpr AgentState kIdleStates[] = {AgentState::kReady, AgentState::kOffline};

Finding FindingOf(const AgentStatus& agent) {
    const auto isIn = [&agent](AgentState state) { return agent.state == WordOf(state).name; };
    const bool isIdle = std::any_of(std::begin(kIdleStates), std::end(kIdleStates), isIn);
    if (isIdle && !agent.isWanted) {
        return agent.hasAccount ? Finding::kNotWanted : Finding::kNoAccount;
    }
    for (const StateRow& row : kStates) {
        if (isIn(row.state)) {
            return row.finding;
        }
    }
    return Finding::kNone;
}

std::string Describe(const AgentStatus& agent) {
    std::string text = Shortened(agent.state, kShownText);
    if (agent.hasLast) {
        text +=
            ", last " + Shortened(agent.lastText, kShownText) + " (" + std::to_string(agent.lastCode) + ")";
    }
    return text;
}

bool IsOfFolder(const AgentStatus& agent, const std::string& folder) {
    std::error_code failure;
    return agent.folder.empty() || agent.folder == folder ||
           std::filesystem::equivalent(agent.folder, folder, failure);
}

}  // namespace

Verdict LookAtProcess(Examination& examination) {
    const std::vector<RunningService> own = examination.OwnServices();
    if (own.empty()) {
        return JudgeNoService(examination);
    }
    if (own.size() > 1) {
        return Found(Finding::kSeveralServices, List(IdsOf(own)));
    }
    const std::string described =
        "process " + std::to_string(own.front().pid) + " as " + UserName(own.front().user);
    const RunningService* other = FindOther(examination);
    if (other != nullptr) {
        return Found(Finding::kOtherService, described + ", besides " + std::to_string(other->pid) + " in " +
                                                 Shortened(other->workingFolder, kShownText));
    }
    const size_t hidden = examination.services.size() - own.size();
    return Good(described +
                (hidden > 0 ? ", and " + std::to_string(hidden) + " that may not be looked at" : ""));
}

Verdict LookAtFifos(Examination& examination) {
    if (examination.folderFailure != 0 || euidaccess(examination.folder.c_str(), X_OK) != 0) {
        return Skipped("the folder cannot be looked into");
    }
    const bool isServed = !examination.OwnServices().empty();
    std::string text;
    for (const FifoRow& row : kFifos) {
        Verdict verdict = JudgeFifo(examination, row, isServed);
        if (verdict.finding != Finding::kNone) {
            return verdict;
        }
        text += (text.empty() ? "" : ", ") + verdict.text;
    }
    const std::vector<pid_t> frontEnds = ReadersOf(examination.InFolder(kFifos[0].name));
    return frontEnds.size() > 1
               ? Found(Finding::kSeveralFrontEnds, "processes " + List(frontEnds))
               : Good(text + (frontEnds.empty() ? "" : ", read by process " + List(frontEnds)));
}

Verdict LookAtAgent(Examination& examination) {
    if (!examination.isAgentThere) {
        return Found(Finding::kNoAgent, "");
    }
    if (!examination.agent) {
        return Found(Finding::kAgentUnreadable, "");
    }
    const AgentStatus& agent = *examination.agent;
    if (!IsOfFolder(agent, examination.folder)) {
        return Found(Finding::kAgentElsewhere, Shortened(agent.folder, kShownText));
    }
    const Finding finding = FindingOf(agent);
    return finding != Finding::kNone ? Found(finding, Describe(agent)) : Good(Describe(agent));
}
