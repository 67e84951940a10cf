#include "Processes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "SystemNames.h"

namespace fs = std::filesystem;

namespace {

std::string PathOf(pid_t pid, const char* entry) {
    return "/proc/" + std::to_string(pid) + "/" + entry;
}

std::string LinkTarget(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof(target));
    return {target, static_cast<size_t>(std::max<ssize_t>(length, 0))};
}

// Processes may come and go meanwhile.
std::vector<pid_t> AllProcesses() {
    std::vector<pid_t> processes;
    std::error_code failure;
    for (fs::directory_iterator entry("/proc", failure), end; !failure && entry != end;
         entry.increment(failure)) {
        const std::string name = entry->path().filename();
        if (std::isdigit(static_cast<unsigned char>(name.front())) != 0) {
            processes.push_back(static_cast<pid_t>(strtol(name.c_str(), nullptr, 10)));
        }
    }
    std::sort(processes.begin(), processes.end());
    return processes;
}

bool IsSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool SharesNetwork(pid_t pid) {
    const std::string theirs = LinkTarget(PathOf(pid, "ns/net"));
    return theirs.empty() || theirs == LinkTarget("/proc/self/ns/net");
}

bool HasEnded(pid_t pid) {
    char target[PATH_MAX];
    return readlink(PathOf(pid, "cwd").c_str(), target, sizeof(target)) < 0 && errno == ENOENT;
}

RunningService Describe(pid_t pid, const struct stat& folder) {
    RunningService service;
    service.pid = pid;
    struct stat status = {};
    if (stat(PathOf(pid, "").c_str(), &status) == 0) {
        service.user = status.st_uid;
    }
    service.workingFolder = LinkTarget(PathOf(pid, "cwd"));
    if (!service.workingFolder.empty() && stat(PathOf(pid, "cwd").c_str(), &status) == 0) {
        service.isInFolder = IsSame(status, folder);
        service.isElsewhere = !service.isInFolder;
    }
    return service;
}

bool Reads(pid_t pid, const struct stat& fifo) {
    std::error_code failure;
    for (fs::directory_iterator entry(PathOf(pid, "fd"), failure), end; !failure && entry != end;
         entry.increment(failure)) {
        struct stat link = {};
        struct stat file = {};
        const char* path = entry->path().c_str();
        if (lstat(path, &link) == 0 && (link.st_mode & S_IRUSR) != 0 && stat(path, &file) == 0 &&
            IsSame(file, fifo)) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<RunningService> FindServices(const std::string& folder) {
    std::vector<RunningService> services;
    struct stat wanted = {};
    (void)stat(folder.c_str(), &wanted);  // one that is missing is nobody's
    for (const pid_t pid : AllProcesses()) {
        if (IsServiceProcess(pid) && !HasEnded(pid) && SharesNetwork(pid)) {
            services.push_back(Describe(pid, wanted));
        }
    }
    return services;
}

std::vector<pid_t> ReadersOf(const std::string& path) {
    struct stat fifo = {};
    std::vector<pid_t> readers;
    if (stat(path.c_str(), &fifo) != 0) {
        return readers;
    }
    for (const pid_t pid : AllProcesses()) {
        if (pid != getpid() && Reads(pid, fifo)) {
            readers.push_back(pid);
        }
    }
    return readers;
}
