#pragma once

#include <sys/types.h>

#include <string>

// Names of what the kernel numbers, as files of this machine tell them: no name server is asked, which may be
// what is missing. Free to all threads.

// The name of the running process; empty when there is none.
std::string ProcessName(pid_t pid);

// Whether the service runs as that process. What is no process id is none.
bool IsServiceProcess(pid_t pid);

// "root (0)", or the number alone for a user without a name in /etc/passwd.
std::string UserName(uid_t user);
