#pragma once

#include <optional>
#include <string>

// What the command line settles.
struct AgentSettings {
    std::string folder;       // of the service, absolute
    std::string socket;       // path of the socket file
    std::string accountFile;  // absolute; empty: none
    bool logsOutOnStop = false;
    bool runsOnce = false;  // logs in once and ends, without a socket
};

// What the command line and the environment say, with all paths filled in. Without a value the program ends
// with `status`, and whatever there was to say has been printed.
std::optional<AgentSettings> ReadAgentOptions(int argc, char** argv, int& status);
