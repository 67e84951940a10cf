#include "ServiceProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "WaitUntil.h"

ServiceProcess::ServiceProcess(const std::vector<std::string>& arguments, const std::string& program) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const int output = mkstemp(m_outputFile.data());
    m_pid = fork();
    if (m_pid == 0) {
        signal(SIGPIPE, SIG_DFL);  // the test ignores it; the service has to look after itself
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        closefrom(STDERR_FILENO + 1);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(output);
    if (m_pid < 0) {
        throw std::runtime_error("a program cannot be started");
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

std::chrono::nanoseconds ServiceProcess::ProcessorTime() const {
    clockid_t clock = 0;
    timespec used = {};
    if (clock_getcpuclockid(m_pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("the program has ended");
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

long ServiceProcess::ResidentKilobytes() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/status");
    const std::string status(std::istreambuf_iterator<char>(file), {});
    return std::stol(status.substr(status.find("VmRSS:") + 6));
}
