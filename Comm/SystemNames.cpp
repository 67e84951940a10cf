#include "SystemNames.h"

#include <pwd.h>

#include "FileUtil.h"

namespace {

constexpr char kServiceName[] = "QuorvaneSvr";

}  // namespace

std::string ProcessName(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/comm";
    std::string name;
    (void)CFileUtil::ReadWholeFile(path.c_str(), name);  // empty without one
    return name.substr(0, name.rfind('\n'));
}

bool IsServiceProcess(pid_t pid) {
    return ProcessName(pid) == kServiceName;
}

// The system's own way to a user's name may ask a server of the network.
std::string UserName(uid_t user) {
    const FileOwner file(fopen("/etc/passwd", "re"));
    const passwd* entry = nullptr;
    while (file && (entry = fgetpwent(file.get())) != nullptr) {
        if (entry->pw_uid == user) {
            return std::string(entry->pw_name) + " (" + std::to_string(user) + ")";
        }
    }
    return std::to_string(user);
}
