#include "AgentOptions.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <cstdlib>

#include "AgentLog.h"
#include "AgentProtocol.h"
#include "TextUtil.h"

namespace {

constexpr char kName[] = "quorvane-agent";
constexpr char kVersion[] = "quorvane-agent " QUORVANE_VERSION;
constexpr char kPurpose[] =
    "Keeps this machine logged in through the service that works in FOLDER, and answers\n"
    "quorvane-ctl and other clients on a socket.";
constexpr char kCredentialName[] = "/account";
constexpr char kPathSeparator = ':';

// The first folder of a variable in which systemd may name several; empty without one.
std::string FolderOf(const char* variable) {
    const std::string folders = OrEmpty(getenv(variable));
    return folders.substr(0, folders.find(kPathSeparator));
}

bool IsFolder(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string Absolute(const std::string& path) {
    char folder[PATH_MAX];
    const bool isComplete = path.empty() || path[0] == '/' || getcwd(folder, sizeof(folder)) == nullptr;
    return isComplete ? path : std::string(folder) + "/" + path;
}

void FillIn(AgentSettings& settings) {
    if (settings.folder.empty()) {
        settings.folder = IsFolder(kSystemFolder) ? kSystemFolder : ".";
    }
    if (settings.socket.empty()) {
        const std::string runtime = FolderOf("RUNTIME_DIRECTORY");
        settings.socket = (runtime.empty() ? settings.folder : runtime) + "/" + kSocketName;
    }
    const std::string credentials = OrEmpty(getenv("CREDENTIALS_DIRECTORY"));
    if (settings.accountFile.empty() && !credentials.empty()) {
        settings.accountFile = credentials + kCredentialName;
    }
    settings.accountFile = Absolute(settings.accountFile);
}

bool FindFolder(std::string& folder) {
    char resolved[PATH_MAX];
    const bool isThere = realpath(folder.c_str(), resolved) != nullptr && IsFolder(resolved);
    if (isThere) {
        folder = resolved;
    }
    return isThere;
}

}  // namespace

std::optional<AgentSettings> ReadAgentOptions(int argc, char** argv, int& status) {
    AgentSettings settings;
    CLI::App app(kPurpose, kName);
    app.set_help_flag("--help", "show this text");
    app.set_version_flag("--version", kVersion, "show the version");
    app.add_option("--dir", settings.folder, "the service's working folder")->type_name("FOLDER");
    app.add_option("--socket", settings.socket, "where clients are served")->type_name("PATH");
    app.add_option("--account-file", settings.accountFile, "account and password, a line each")
        ->type_name("FILE");
    app.add_flag("--logout-on-stop", settings.logsOutOnStop, "log out at the end");
    app.add_flag("--once", settings.runsOnce, "log in once and end; the login stays");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        const bool isWrong = app.exit(end) != 0;
        status = static_cast<int>(isWrong ? ExitStatus::kUsage : ExitStatus::kDone);
        return std::nullopt;
    }
    FillIn(settings);
    if (!FindFolder(settings.folder)) {
        LogLine(Urgency::kError, settings.folder + ": no such folder");
        status = static_cast<int>(ExitStatus::kFailed);
        return std::nullopt;
    }
    return settings;
}
