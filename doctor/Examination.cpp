// What the checks share: the verdicts, and what is gathered before the first of them.
#include "Examination.h"

#include <cJSON.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "FolderCopy.h"
#include "SettingsKeys.h"
#include "XMLOpt.h"
#include "ZsmHelper.h"
#include "agent/AgentProtocol.h"
#include "agent/AgentState.h"

namespace {

constexpr char kSettingsFile[] = "conf/conf.xml";
constexpr char kModuleFile[] = "zxmAlogic.zxm";
constexpr uint64_t kLargestSettings = 4 * 1024 * 1024;  // real ones have a few KiB

struct SettingText {
    const char* key;
    CAutoString Examination::*field;
};
constexpr SettingText kSettingTexts[] = {
    {SettingsKey::kVersion, &Examination::version},
    {SettingsKey::kProcessId, &Examination::recordedPid},
    {SettingsKey::kProbeUrl, &Examination::probeIPv4},
    {SettingsKey::kProbeUrlIPv6, &Examination::probeIPv6},
    {SettingsKey::kServers, &Examination::servers},
    {SettingsKey::kServersIPv6, &Examination::serversIPv6},
    {SettingsKey::kMarkerHost, &Examination::markerHost},
};

std::string Absolute(const std::string& folder) {
    std::error_code failure;
    const std::string path = std::filesystem::absolute(folder.empty() ? "." : folder, failure);
    return failure ? folder : path;
}

void LookAtFolderItself(Examination& examination) {
    struct stat status = {};
    if (stat(examination.folder.c_str(), &status) != 0) {
        examination.folderFailure = errno;
        return;
    }
    examination.folderFailure = S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    examination.folderOwner = status.st_uid;
    examination.folderMode = status.st_mode & 07777;
}

void CopyFiles(Examination& examination) {
    if (examination.copy.empty()) {
        examination.settingsFailure = examination.moduleFailure = Examination::kNoCopy;
        return;
    }
    const std::string settings = examination.copy + "/settings.xml";
    examination.settingsFailure = CopyFile(examination.InFolder(kSettingsFile), settings, kLargestSettings);
    examination.moduleFailure =
        CopyFile(examination.InFolder(kModuleFile), examination.copy + "/" + kModuleFile,
                 CZsmHelper::kMaxSize, &examination.moduleStatus);
    CXMLOpt document;
    examination.areSettingsWhole = examination.settingsFailure == 0 && document.LoadFile(settings.c_str());
    (void)unlink(settings.c_str());  // no business of the algorithm module, which is tried here
    if (examination.settingsFailure != 0) {
        return;
    }
    examination.settingsFault = document.GetResult();
    for (const SettingText& text : kSettingTexts) {
        examination.*text.field = examination.areSettingsWhole ? document.GetValue(text.key) : "";
    }
    examination.recordedPid.Trim();
}

std::string TextIn(const cJSON* object, const char* name) {
    const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, name));
    return text != nullptr ? text : "";
}

std::optional<AgentStatus> ReadAgentStatus(const std::string& answer) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> root(cJSON_Parse(answer.c_str()), cJSON_Delete);
    AgentStatus agent;
    agent.state = TextIn(root.get(), AgentField::kState);
    if (agent.state.empty()) {
        return std::nullopt;
    }
    const cJSON* last = cJSON_GetObjectItemCaseSensitive(root.get(), AgentField::kLast);
    const cJSON* code = cJSON_GetObjectItemCaseSensitive(last, AgentField::kCode);
    agent.hasLast = cJSON_IsObject(last) != 0;
    agent.lastCode = cJSON_IsNumber(code) != 0 ? code->valueint : 0;
    agent.lastSubCode = TextIn(last, AgentField::kSubCode);
    agent.lastText = TextIn(last, AgentField::kText);
    agent.folder =
        TextIn(cJSON_GetObjectItemCaseSensitive(root.get(), AgentField::kService), AgentField::kFolder);
    agent.hasAccount = !TextIn(root.get(), AgentField::kAccount).empty();
    agent.isWanted = cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(root.get(), AgentField::kWanted)) != 0;
    return agent;
}

}  // namespace

Verdict Good(std::string text) {
    return {CheckResult::kGood, std::move(text), Finding::kNone};
}

Verdict Found(Finding finding, const std::string& values) {
    const FindingRow& row = RowOf(finding);
    return {row.result, std::string(row.what) + (values.empty() ? "" : ": ") + values, finding};
}

Verdict Skipped(const std::string& reason) {
    return {CheckResult::kSkipped, "not looked at, for " + reason, Finding::kNone};
}

Verdict AsWarning(Verdict verdict) {
    verdict.result = CheckResult::kWarning;
    return verdict;
}

Examination::Examination(const DoctorOptions& options, const std::string& temporary)
    : folder(Absolute(options.folder)), copy(temporary) {
    LookAtFolderItself(*this);
    CopyFiles(*this);
    services = FindServices(folder);
    isAgentThere = options.agentStatus.find_first_not_of(" \t\r\n") != std::string::npos;
    agent = ReadAgentStatus(options.agentStatus);
}

bool Examination::IsOnline() const {
    return agent && agent->state == WordOf(AgentState::kOnline).name;
}

bool Examination::IsOpenNetwork() const {
    return agent && agent->state == WordOf(AgentState::kOpenNetwork).name;
}

std::vector<RunningService> Examination::OwnServices() const {
    const int recorded = atoi(recordedPid);
    std::vector<RunningService> own;
    std::copy_if(services.begin(), services.end(), std::back_inserter(own), [recorded](const auto& service) {
        return service.isInFolder || (service.workingFolder.empty() && service.pid == recorded);
    });
    return own;
}

uid_t Examination::ServiceUser() const {
    const std::vector<RunningService> own = OwnServices();
    return own.empty() ? folderOwner : own.front().user;
}
