#include "InstalledPlaces.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSystemPrefixes[] = {"/usr", "/usr/local"};

// Of the program itself; of the current folder where /proc is missing.
fs::path FromProgram(const char* path) {
    std::error_code noProc;
    const fs::path program = fs::read_symlink("/proc/self/exe", noProc);
    return (program.parent_path() / path).lexically_normal();
}

// Also through a link, as some systems have one at /usr/local.
bool IsSystemPrefix(const fs::path& prefix) {
    for (const char* known : kSystemPrefixes) {
        std::error_code missing;
        if (fs::equivalent(prefix, known, missing)) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string InstalledPlaces::ConfigFolder() {
    const fs::path prefix = FromProgram(QUORVANE_PATH_TO_PREFIX);
    return (IsSystemPrefix(prefix) ? "/" : prefix) / fs::path(QUORVANE_SYSCONFDIR) / "quorvane";
}

std::string InstalledPlaces::DefaultSettings() {
    return FromProgram(QUORVANE_PATH_TO_DEFAULTS);
}
