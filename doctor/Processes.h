#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// What /proc tells about other processes. Nothing is opened, signalled or traced; of other users' processes
// an ordinary user sees little.

struct RunningService {
    pid_t pid = 0;
    uid_t user = 0;
    bool isInFolder = false;    // it works in the folder asked for
    bool isElsewhere = false;   // it works in another folder of this network
    std::string workingFolder;  // empty when it may not be seen
};

// All processes of the service's name, the ones of other networks (containers) left out. `folder` is the
// working folder that is looked for.
std::vector<RunningService> FindServices(const std::string& folder);

// The processes that have the FIFO at `path` open for reading, as far as they may be seen; without this one.
std::vector<pid_t> ReadersOf(const std::string& path);
