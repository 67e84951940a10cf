#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

// The real service, or another program, as a child process in the working directory. Whatever still runs at
// the end is killed.
class ServiceProcess {
  public:
    explicit ServiceProcess(const std::vector<std::string>& arguments = {},
                            const std::string& program = QUORVANE_SERVICE);
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    pid_t Pid() const { return m_pid; }
    // The exit status once the process has ended by itself; nothing when it runs on after the deadline, or
    // when a signal ended it.
    std::optional<int> WaitForExit(std::chrono::milliseconds deadline = std::chrono::seconds(10));
    // What it has written to standard output and standard error so far.
    std::string Output() const;
    // What it has used so far, and the memory that it has now.
    std::chrono::nanoseconds ProcessorTime() const;
    long ResidentKilobytes() const;

  private:
    bool Reap();

    std::string m_outputFile = "output-XXXXXX";
    pid_t m_pid = -1;
    bool m_ended = false;
    int m_waitStatus = 0;
};
