#include "FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr char kLockName[] = "/agent.lock";
constexpr mode_t kLockMode = 0600;  // whoever may open it could keep the agent out

std::string PidIn(int file) {
    char text[16] = {};
    const ssize_t count = pread(file, text, sizeof(text) - 1, 0);
    const std::string digits(text, strspn(text, "0123456789"));
    return count > 0 && !digits.empty() ? "process " + digits : "another process";
}

}  // namespace

FolderLock::FolderLock(const std::string& folder)
    : m_file(open((folder + kLockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode)) {
    if (!m_file.IsOpen()) {
        m_fault = folder + kLockName + ": " + strerror(errno);
        return;
    }
    if (flock(m_file.Get(), LOCK_EX | LOCK_NB) != 0) {
        m_fault = errno == EWOULDBLOCK ? "an agent works in " + folder + " already: " + PidIn(m_file.Get())
                                       : folder + kLockName + ": " + strerror(errno);
        return;
    }
    const std::string pid = std::to_string(getpid()) + "\n";
    // The lock is what counts; without the id a second agent is refused all the same.
    if (ftruncate(m_file.Get(), 0) != 0 || pwrite(m_file.Get(), pid.data(), pid.size(), 0) < 0) {
        return;
    }
}
