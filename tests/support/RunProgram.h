#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

// Runs a command line of the shell to its end. Returns its exit status; `output` holds what was printed on
// both streams.
inline int RunProgram(const std::string& commandLine, std::string& output) {
    FILE* pipe = popen(("{ " + commandLine + "; } 2>&1").c_str(), "r");
    char line[1024];
    for (output.clear(); fgets(line, sizeof(line), pipe) != nullptr;) {
        output += line;
    }
    return WEXITSTATUS(pclose(pipe));
}
