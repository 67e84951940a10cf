#include "BoundedChild.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "ZsmHelper.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr rlim_t kLargestFile = 2 * rlim_t{CZsmHelper::kMaxSize};  // the module is the largest it writes
constexpr size_t kMostOutput = 1024 * 1024;
constexpr milliseconds kSlice(50);  // between two looks whether the child has ended
constexpr int kOutput = STDERR_FILENO + 1;
constexpr int kWorkDone = 0;

void Limit(int resource, rlim_t value) {
    const rlimit limit = {value, value};
    (void)setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);  // refused: the time still bounds it
}

// The child's side. Does not return, so that nothing of the caller's is run twice.
[[noreturn]] void Work(const std::function<void(int)>& work, int output) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    (void)setpgid(0, 0);
    (void)signal(SIGCHLD, SIG_DFL);
    (void)signal(SIGPIPE, SIG_IGN);
    Limit(RLIMIT_FSIZE, kLargestFile);
    Limit(RLIMIT_CORE, 0);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        (void)dup2(nowhere, stream);
    }
    if (output == kOutput) {
        (void)fcntl(output, F_SETFD, 0);
    } else {
        (void)dup2(output, kOutput);
    }
    closefrom(kOutput + 1);
    work(kOutput);
    _exit(kWorkDone);
}

bool IsSignalPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigisemptyset(&pending) == 0;
}

// False at the end of the output.
bool ReadSome(int descriptor, std::string& output) {
    char block[4096];
    const ssize_t count = read(descriptor, block, sizeof(block));
    if (count > 0) {
        output.append(block, std::min(static_cast<size_t>(count), kMostOutput - output.size()));
    }
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

bool HasOutput(int descriptor, milliseconds patience) {
    pollfd output = {descriptor, POLLIN, 0};
    return poll(&output, 1, static_cast<int>(patience.count())) > 0;
}

milliseconds SliceUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    return std::clamp(left, milliseconds(0), kSlice);
}

// Gathers the output until the child has ended. False when it had not in time. Something that it started may
// hold the pipe open, so the child's own end is what counts.
bool Gather(pid_t child, int descriptor, Clock::time_point end, std::string& output, int& status) {
    bool isOpen = true;
    while (Clock::now() < end && !IsSignalPending()) {
        const bool ended = waitpid(child, &status, WNOHANG) != 0;
        if (!isOpen && !ended) {
            (void)poll(nullptr, 0, static_cast<int>(SliceUntil(end).count()));
        }
        milliseconds patience = ended ? milliseconds(0) : SliceUntil(end);
        while (isOpen && Clock::now() < end && HasOutput(descriptor, patience)) {
            isOpen = ReadSome(descriptor, output);
            patience = milliseconds(0);
        }
        if (ended) {
            return true;
        }
    }
    return false;
}

ChildOutcome::End EndOf(bool inTime, int status) {
    if (!inTime) {
        return ChildOutcome::End::kTimeUp;
    }
    const bool isDone = WIFEXITED(status) && WEXITSTATUS(status) == kWorkDone;
    return isDone ? ChildOutcome::End::kDone : ChildOutcome::End::kCrashed;
}

}  // namespace

ChildOutcome RunInChild(const std::function<void(int)>& work, milliseconds limit) {
    const Clock::time_point end = Clock::now() + limit;
    ChildOutcome outcome;
    outcome.end = ChildOutcome::End::kCrashed;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return outcome;
    }
    const pid_t child = fork();
    if (child == 0) {
        Work(work, ends[1]);
    }
    (void)close(ends[1]);
    if (child > 0) {
        (void)setpgid(child, child);  // the child does it as well: whoever comes first
        int status = 0;
        const bool inTime = Gather(child, ends[0], end, outcome.output, status);
        (void)kill(-child, SIGKILL);
        if (!inTime) {
            (void)waitpid(child, nullptr, 0);
        }
        outcome.end = EndOf(inTime, status);
        outcome.signal = inTime && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    (void)close(ends[0]);
    return outcome;
}
