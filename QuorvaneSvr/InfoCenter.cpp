#include "InfoCenter.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "ClientOperations.h"
#include "Log.h"
#include "SettingsKeys.h"
#include "SettingsMending.h"
#include "SimpleFile.h"
#include "guard.h"

namespace {

constexpr char kSettingsFile[] = "/conf/conf.xml";
constexpr char kDefaultSettings[] = QUORVANE_DEFAULT_SETTINGS;  // where the installation keeps them

// Portals name function settings as they like, and other ones each time may not fill the memory of a service
// that runs for months. The service's own values are few, and those that it reads are set at the start.
constexpr size_t kMostValues = 320;

void KeepFirst(std::map<CAutoString, CAutoString>& values, const char* key, const char* value) {
    if (values.size() < kMostValues) {
        values.emplace(key, value);
    }
}

CAutoString SettingsPath() {
    char folder[PATH_MAX];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));  // always 1
    return CAutoString(folder) + kSettingsFile;
}

}  // namespace

CInfoCenter* CInfoCenter::m_pInfoCenter = nullptr;

CInfoCenter* CInfoCenter::GetInst() {
    if (m_pInfoCenter == nullptr) {
        m_pInfoCenter = new CInfoCenter;
        m_pInfoCenter->LoadOrMendLocalValue(SettingsPath());
    }
    return m_pInfoCenter;
}

void CInfoCenter::Release() {
    delete m_pInfoCenter;
    m_pInfoCenter = nullptr;
}

// Without a settings file every key reads as empty, and the service goes on.
void CInfoCenter::LoadOrMendLocalValue(const char* path) {
    if (LoadLocalValue(path)) {
        return;
    }
    m_strMended = MendSettings(path, kDefaultSettings);
    if (!m_strMended.IsEmpty()) {
        (void)fprintf(stderr, "%s\n", m_strMended.GetBuffer());
    }
    (void)LoadLocalValue(path);  // fails again where there is no file, or none that could be mended
}

void CInfoCenter::CompleteStart() {
    if (!m_strMended.IsEmpty()) {
        CLog::GetInst()->WriteLog(ERROR, "%s", m_strMended.GetBuffer());
    }
    CFileUtil::RemoveLeftOvers(SettingsPath());
}

bool CInfoCenter::LoadLocalValue(const char* path) {
    CLockGuard<GLockObj> guard(m_xmlLock);
    return m_xmlOpt.LoadFile(path);
}

CAutoString CInfoCenter::GetLocalValue(const char* key) {
    CLockGuard<GLockObj> guard(m_xmlLock);
    return m_xmlOpt.GetValue(key);
}

bool CInfoCenter::SetLocalValue(const char* key, const char* value) {
    CLockGuard<GLockObj> guard(m_xmlLock);
    const WriteTo target = IsNewClientId(key, value) ? WriteTo::kDisk : WriteTo::kCache;
    if (!m_xmlOpt.SetValue(key, value)) {
        return false;
    }
    (void)m_xmlOpt.SaveFile(target);  // the value holds for this run in any case
    return true;
}

// Without its id this installation is another client to the portal. The same one, which each start saves
// again, does not let the start wait for the disk.
bool CInfoCenter::IsNewClientId(const char* key, const char* value) {
    return strcmp(key, SettingsKey::kClientId) == 0 && m_xmlOpt.GetValue(key) != value;
}

void CInfoCenter::SyncLocalValue(WriteTo target) {
    CLockGuard<GLockObj> guard(m_xmlLock);
    (void)m_xmlOpt.SaveFile(target);
}

void CInfoCenter::SetValue(const char* key, const char* value) {
    CLockGuard<GLockObj> guard(m_dataMapLock, RWLock::kExclusive);
    KeepFirst(m_dataMap, key, value);
}

CAutoString CInfoCenter::GetValue(const char* key) {
    CLockGuard<GLockObj> guard(m_dataMapLock, RWLock::kShared);
    const auto entry = m_dataMap.find(key);
    return entry != m_dataMap.end() ? entry->second : CAutoString();
}

void CInfoCenter::SetGlobalValue(const char* key, const char* value) {
    SetValue(key, value);
    {
        CLockGuard<GLockObj> guard(m_globalDataMapLock, RWLock::kExclusive);
        KeepFirst(m_globalDataMap, key, value);
    }
    Announce(key, value);
}

void CInfoCenter::SynchroGlobalValue() {
    CLockGuard<GLockObj> guard(m_globalDataMapLock, RWLock::kShared);
    for (const auto& entry : m_globalDataMap) {
        Announce(entry.first, entry.second);
    }
}

void CInfoCenter::Announce(const CAutoString& key, const CAutoString& value) {
    CAutoString parameters;
    parameters.Format(kValueFormat, key.GetBuffer(), value.GetBuffer());
    PostMsg(kPortalBusiness, kValueStore, ClientReport::kValue, parameters);
}

void CInfoCenter::PostMsg(const char* /*source*/, const char* /*target*/, const char* /*opcode*/,
                          const char* /*parameters*/) {}
