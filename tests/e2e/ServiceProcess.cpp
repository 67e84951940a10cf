#include "ServiceProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "WaitUntil.h"

namespace {

// The working directory belongs to one test; a second process there gets an output file of its own.
std::string FreeOutputFile() {
    std::string name = "output-1";
    while (access(name.c_str(), F_OK) == 0) {
        ++name.back();
    }
    return name;
}

}  // namespace

ServiceProcess::ServiceProcess(const std::vector<std::string>& arguments) : m_outputFile(FreeOutputFile()) {
    std::vector<std::string> words = {QUORVANE_SERVICE};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_outputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    // The test ignores SIGPIPE; the service has to look after itself.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t ignoredHere;
    sigemptyset(&ignoredHere);
    sigaddset(&ignoredHere, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &ignoredHere);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int failure = posix_spawn(&m_pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::runtime_error("the service cannot be started");
    }
}

ServiceProcess::~ServiceProcess() {
    if (!Reap()) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, &m_waitStatus, 0);
    }
}

bool ServiceProcess::Reap() {
    if (!m_ended) {
        m_ended = waitpid(m_pid, &m_waitStatus, WNOHANG) == m_pid;
    }
    return m_ended;
}

bool ServiceProcess::Runs() {
    return !Reap();
}

std::optional<int> ServiceProcess::WaitForExit(std::chrono::milliseconds deadline) {
    if (!WaitUntil([this] { return Reap(); }, deadline) || !WIFEXITED(m_waitStatus)) {
        return std::nullopt;
    }
    return WEXITSTATUS(m_waitStatus);
}

std::string ServiceProcess::Output() const {
    std::ifstream file(m_outputFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
