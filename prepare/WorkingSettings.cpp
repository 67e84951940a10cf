#include "WorkingSettings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "ConfigKeys.h"
#include "SettingsKeys.h"
#include "SettingsMending.h"
#include "SystemNames.h"

namespace fs = std::filesystem;

namespace {

constexpr char kFolder[] = "conf";
constexpr char kFile[] = "conf/conf.xml";

// What a clone of this folder must not share with the machine it was made of.
constexpr const char* kIdentityKeys[] = {SettingsKey::kClientId, SettingsKey::kTicket,
                                         SettingsKey::kProcessId};

bool RunsAsService(const std::string& processId) {
    const bool isNumber = processId.find_first_not_of("0123456789") == std::string::npos;
    return isNumber && IsServiceProcess(static_cast<pid_t>(strtol(processId.c_str(), nullptr, 10)));
}

std::string ReplacedPath(const std::string& key) {
    return std::string(SettingsKey::kReplaced) + "." + key;
}

bool Fail(const std::string& file, const char* what) {
    (void)fprintf(stderr, "%s: %s: %s\n", file.c_str(), what, strerror(errno));
    return false;
}

}  // namespace

bool WorkingSettings::Open(const char* defaults) {
    std::error_code fault;
    if (!fs::exists(kFile, fault) && !fault) {
        return Create(defaults);
    }
    if (m_document.Load(kFile)) {
        return true;
    }
    const CAutoString mended = MendSettings(kFile, defaults);
    if (mended.IsEmpty()) {
        return m_document.Load(kFile) || Fail(kFile, "cannot be read");
    }
    (void)fprintf(stderr, "%s\n", mended.GetBuffer());
    return m_document.Load(kFile);
}

bool WorkingSettings::Create(const char* defaults) {
    std::error_code fault;
    fs::create_directory(kFolder, fault);  // saving tells when there is none
    m_isChanged = true;
    return m_document.Load(defaults) || Fail(defaults, "cannot be read");
}

void WorkingSettings::ForgetEndedProcess() {
    CAutoString processId = m_document.GetValue(SettingsKey::kProcessId);
    if (!RunsAsService(processId.Trim().GetText())) {
        Put(SettingsKey::kProcessId, "");
    }
}

void WorkingSettings::ForgetOtherMachine(const std::string& fingerprint) {
    if (fingerprint.empty()) {
        return;
    }
    const CAutoString known = m_document.GetValue(SettingsKey::kMachine);
    if (!known.IsEmpty() && known != fingerprint.c_str()) {
        for (const char* key : kIdentityKeys) {
            Put(key, "");
        }
    }
    Put(SettingsKey::kMachine, fingerprint);
}

void WorkingSettings::Merge(const ConfigValues& values) {
    const ConfigValues before = ReadReplaced();
    ConfigValues replaced;
    for (const ConfigKey& key : kConfigKeys) {
        const auto value = values.find(key.name);
        const auto former = before.find(key.name);
        if (value != values.end()) {
            replaced[key.name] =
                former != before.end() ? former->second : m_document.GetValue(key.name).GetText();
            Put(key.name, value->second);
        } else if (former != before.end()) {
            Put(key.name, former->second);
        }
    }
    if (replaced != before) {
        WriteReplaced(replaced);
    }
}

ConfigValues WorkingSettings::ReadReplaced() {
    ConfigValues replaced;
    for (const ConfigKey& key : kConfigKeys) {
        if (m_document.SetXMLPos(ReplacedPath(key.name).c_str())) {
            replaced[key.name] = m_document.GetData().GetText();
        }
    }
    return replaced;
}

void WorkingSettings::WriteReplaced(const ConfigValues& replaced) {
    m_isChanged = true;
    (void)m_document.SetValue(SettingsKey::kReplaced, "");  // a document has a root
    for (const auto& [key, value] : replaced) {
        (void)m_document.SetValue(ReplacedPath(key).c_str(), value.c_str());
    }
}

// An element that is missing and one that is empty read alike.
void WorkingSettings::Put(const std::string& key, const std::string& value) {
    if (m_document.GetValue(key.c_str()) != value.c_str()) {
        m_isChanged = true;
        (void)m_document.SetValue(key.c_str(), value.c_str());  // a document has a root
    }
}

// To the disk, because who this client is must survive a power cut.
bool WorkingSettings::Save() {
    return !m_isChanged || m_document.Save(kFile, WriteTo::kDisk) || Fail(kFile, "cannot be written");
}
