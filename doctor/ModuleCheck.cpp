// The algorithm module: foreign code, tried out in a process of its own, with no more rights than whoever put
// it there.
#include <dlfcn.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "BoundedChild.h"
#include "Examination.h"
#include "FolderCopy.h"
#include "SystemNames.h"
#include "TextUtil.h"
#include "Texts.h"
#include "ZsmHelper.h"

namespace {

constexpr char kModuleFile[] = "/zxmAlogic.zxm";
constexpr char kSample[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request></request>";
constexpr std::chrono::milliseconds kTrialTime(2000);  // encoding takes less than one
constexpr size_t kShownReason = 300;

// The user without rights, as Linux numbers him, and his group.
constexpr uid_t kNobody = 65534;

// How far the trial came: a line begins with each step, before it is taken, and goes on with what it learnt.
constexpr char kBecoming = 'b';
constexpr char kUnpacking = 'u';
constexpr char kLoading = 'l';
constexpr char kEncoding = 'e';
constexpr char kDone = 'd';

struct Step {
    char step;
    Finding finding;  // when the trial gave up there
};
constexpr Step kSteps[] = {{kUnpacking, Finding::kModuleDamaged},
                           {kLoading, Finding::kModuleNotLoaded},
                           {kEncoding, Finding::kModuleNotEncoding}};

void Tell(int output, const std::string& text) {
    (void)!write(output, text.data(), text.size());  // without a listener nobody waits for it
}

void TellStep(int output, char step) {
    Tell(output, std::string("\n") + step);
}

struct ModuleCloser {
    void operator()(__ZsoFile* module) const { CZsmHelper::FreeZsoFile(module); }
};
using ModuleOwner = std::unique_ptr<__ZsoFile, ModuleCloser>;

// The user whom the module is tried as: never root, for modules come from the network, whoever owns the file.
// None for an ordinary user and a module of another one.
std::optional<uid_t> TrialUser(const struct stat& module) {
    const uid_t caller = geteuid();
    const bool isRoots = module.st_uid == 0;
    if (caller != 0) {
        return isRoots || module.st_uid == caller ? std::optional(caller) : std::nullopt;
    }
    const bool isOpen = (module.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    return isRoots || isOpen ? kNobody : module.st_uid;
}

// The module's file and the folder, where it is unpacked, become the user's.
bool HandOver(const std::string& folder, uid_t user) {
    return geteuid() != 0 || (chown((folder + kModuleFile).c_str(), user, kNobody) == 0 &&
                              chown(folder.c_str(), user, kNobody) == 0);
}

// For good, and for all that the process may start. False when it may not, or when the user does not get to
// the folder.
bool Become(uid_t user, const std::string& folder) {
    const bool hasNoGroups =
        geteuid() != 0 || (setgroups(0, nullptr) == 0 && setresgid(kNobody, kNobody, kNobody) == 0);
    return hasNoGroups && setresuid(user, user, user) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 &&  // another user's process has lost it
           access(folder.c_str(), W_OK | X_OK) == 0;
}

// A text goes through the module as a request would. What comes back when there is no module is asked for
// first, to know it from an encoded text.
void TryModule(const std::string& path, int output) {
    CZsmHelper& helper = *CZsmHelper::GetInst();
    (void)helper.Init("", nullptr, 0);
    const std::string unencoded = helper.Code(kSample);
    (void)helper.Init(path.c_str(), nullptr, 0);
    TellStep(output, kUnpacking);
    if (!ModuleOwner(CZsmHelper::loadZsoModule(path.c_str()))) {
        return;
    }
    TellStep(output, kLoading);
    const ModuleOwner module(helper.openZsmModule());
    if (!module) {
        Tell(output, OrEmpty(dlerror()));
        return;
    }
    TellStep(output, kEncoding);
    const std::string encoded = helper.Code(kSample);
    if (encoded != unencoded && !encoded.empty()) {
        TellStep(output, kDone);
        Tell(output, OrEmpty(module->algoid));
    }
}

// The reason of a loader names the temporary file, which says nothing to the user.
std::string WithoutPath(std::string reason, const std::string& folder) {
    const size_t found = folder.empty() ? std::string::npos : reason.find(folder);
    return found == std::string::npos ? reason : reason.erase(found, folder.size() + 1);
}

Verdict Judge(const Examination& examination, const ChildOutcome& trial) {
    if (trial.end == ChildOutcome::End::kTimeUp) {
        return Found(Finding::kModuleHangs,
                     "no end within " + std::to_string(kTrialTime.count() / 1000) + " s");
    }
    if (trial.end == ChildOutcome::End::kCrashed) {
        return Found(Finding::kModuleCrashed,
                     trial.signal != 0 ? strsignal(trial.signal) : "it ends the process");
    }
    const std::string last = trial.output.substr(trial.output.rfind('\n') + 1);
    const std::string learnt =
        WithoutPath(Shortened(last.empty() ? "" : last.substr(1), kShownReason), examination.copy);
    for (const Step& step : kSteps) {
        if (StartsWith(last, {&step.step, 1})) {
            return Found(step.finding, learnt.empty() ? "zxmAlogic.zxm" : learnt);
        }
    }
    if (StartsWith(last, {&kBecoming, 1})) {
        return Skipped("it cannot be tried with fewer rights than yours here");
    }
    return Good("opens and encodes, algorithm id " + learnt);
}

}  // namespace

Verdict LookAtModule(Examination& examination) {
    const std::string path = examination.copy + kModuleFile;
    switch (examination.moduleFailure) {
        case 0: break;
        case ENOENT:
            return examination.folderFailure == 0 ? Found(Finding::kNoModule, "")
                                                  : Skipped("there is no folder");
        case Examination::kNoCopy: return Skipped("no folder for temporary files can be made");
        case EINVAL:
        case EFBIG: return Found(Finding::kModuleDamaged, strerror(examination.moduleFailure));
        default:
            return Skipped("zxmAlogic.zxm cannot be read: " +
                           std::string(strerror(examination.moduleFailure)));
    }
    if (!AllowsPrograms(examination.copy)) {
        return Skipped("no folder for temporary files allows programs");
    }
    const std::optional<uid_t> user = TrialUser(examination.moduleStatus);
    if (!user) {
        return Skipped("zxmAlogic.zxm belongs to another user, " + UserName(examination.moduleStatus.st_uid));
    }
    const auto work = [&](int output) {
        TellStep(output, kBecoming);
        if (HandOver(examination.copy, *user) && Become(*user, examination.copy)) {
            TryModule(path, output);
        }
    };
    return Judge(examination, RunInChild(work, kTrialTime));
}
