// The entry point of test programs that change links, routes or the resolver file: it starts the program once
// more inside scripts/sandbox. Where no sandbox can be made the program runs as it is and its tests skip.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Sandbox.h"

namespace {

constexpr char kTried[] = "QUORVANE_SANDBOX_TRIED";  // in the environment of the second start

void EnterSandbox(int argc, char** argv) {
    char script[] = QUORVANE_SANDBOX_SCRIPT;
    char orPlain[] = "--or-plain";
    std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<char*> arguments = {script, orPlain, self.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    arguments.push_back(nullptr);
    setenv(kTried, "1", 1);
    execv(script, arguments.data());
    perror(script);
}

}  // namespace

int main(int argc, char** argv) {
    if (!InSandbox() && getenv(kTried) == nullptr) {
        EnterSandbox(argc, argv);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
