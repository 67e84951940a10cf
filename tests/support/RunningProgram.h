#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// A program that runs under the given name, out of the working directory, as long as the object lives.
class RunningProgram {
  public:
    explicit RunningProgram(std::string name) {
        const std::string path = "./" + name;
        std::filesystem::copy_file("/bin/sleep", path);
        char seconds[] = "600";
        char* arguments[] = {name.data(), seconds, nullptr};
        EXPECT_EQ(posix_spawn(&m_pid, path.c_str(), nullptr, nullptr, arguments, environ), 0);
    }
    ~RunningProgram() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

  private:
    pid_t m_pid = 0;
};
