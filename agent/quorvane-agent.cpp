// Entry point of the agent: what has to be so before any part of it is made.
#include <cjson/cJSON.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <system_error>

#include "Agent.h"
#include "AgentLog.h"
#include "AgentOptions.h"
#include "FolderLock.h"

namespace {

// Larger blocks, such as the room for a request, go back to the system when they are freed.
constexpr int kLargestKeptBlock = 32 * 1024;

constexpr mode_t kPrivate = 0077;  // what is made is for this user alone; the parts say where it is not

void WipeAndFree(void* block) {
    if (block != nullptr) {
        explicit_bzero(block, malloc_usable_size(block));
        free(block);
    }
}

// Passwords are in this process's memory: no core file, no debugger of the same user, and nothing left of
// what the JSON library read, also when it did not come to the end of a line.
void ProtectMemory() {
    cJSON_Hooks hooks = {malloc, WipeAndFree};
    cJSON_InitHooks(&hooks);
    const rlimit none = {0, 0};
    (void)setrlimit(RLIMIT_CORE, &none);       // lowering it is always allowed
    (void)prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);  // so is this
}

int Serve(const AgentSettings& settings) {
    const FolderLock lock(settings.folder);
    if (!lock.Fault().empty()) {
        LogLine(Urgency::kError, lock.Fault());
        return static_cast<int>(ExitStatus::kFailed);
    }
    EventLoop loop;
    Agent agent(loop, settings);
    const ExitStatus status = agent.Start();
    return status == ExitStatus::kDone ? loop.Run() : static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) {
    (void)mallopt(M_MMAP_THRESHOLD, kLargestKeptBlock);  // a value that is allowed
    ProtectMemory();
    umask(kPrivate);
    int status = 0;
    const std::optional<AgentSettings> settings = ReadAgentOptions(argc, argv, status);
    if (!settings.has_value()) {
        return status;
    }
    try {
        return Serve(*settings);
    } catch (const std::system_error& fault) {
        LogLine(Urgency::kError, fault.what());
        return static_cast<int>(ExitStatus::kFailed);
    }
}
