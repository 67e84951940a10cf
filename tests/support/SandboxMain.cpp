// The entry point of test programs that change links, routes or the resolver file: it starts the program once
// more inside scripts/sandbox. Where no sandbox can be made the program runs as it is and its tests skip.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <vector>

#include "Sandbox.h"

namespace {

constexpr char kScript[] = QUORVANE_SANDBOX_SCRIPT;

bool SandboxWorks() {
    char script[] = QUORVANE_SANDBOX_SCRIPT;
    char check[] = "--check";
    char* arguments[] = {script, check, nullptr};
    pid_t child = 0;
    int status = -1;
    return posix_spawn(&child, kScript, nullptr, nullptr, arguments, environ) == 0 &&
           waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void EnterSandbox(int argc, char** argv) {
    char self[PATH_MAX] = "";
    if (readlink("/proc/self/exe", self, sizeof(self) - 1) == -1) {
        return;
    }
    char script[] = QUORVANE_SANDBOX_SCRIPT;
    std::vector<char*> arguments = {script, self};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    arguments.push_back(nullptr);
    execv(kScript, arguments.data());
    perror(kScript);
}

}  // namespace

int main(int argc, char** argv) {
    if (!InSandbox() && SandboxWorks()) {
        EnterSandbox(argc, argv);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
