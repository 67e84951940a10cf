#include "UserInfo.h"

#include "AdapterCard.h"
#include "InfoCenter.h"
#include "SettingsKeys.h"
#include "uuid32.h"

int CUserInfo::Init() {
    m_clientId = GetClientId();
    m_hostName = GetHostName();
    m_version = GetVersion();

    CInfoCenter* settings = CInfoCenter::GetInst();
    settings->SetValue(SettingsKey::kClientId, m_clientId);
    settings->SetValue(SettingsKey::kHostName, m_hostName);
    settings->SetValue(SettingsKey::kVersion, m_version);
    // Written at every start, also when it was read from there.
    settings->SetLocalValue(SettingsKey::kClientId, m_clientId);
    return 1;
}

CAutoString CUserInfo::GetClientId() {
    const CAutoString stored = CInfoCenter::GetInst()->GetLocalValue(SettingsKey::kClientId);
    return stored.IsEmpty() ? CreateClientId() : stored;
}

CAutoString CUserInfo::CreateClientId() {
    _uuid_t uuid;
    uuid_create(&uuid);
    return uuid_to_string(&uuid);
}

CAutoString CUserInfo::GetHostName() {
    CAutoString name;
    (void)CAdapterCard().GetHostName(name);  // a machine without a name is reported with an empty one
    return name;
}

CAutoString CUserInfo::GetVersion() {
    return m_version.IsEmpty() ? CInfoCenter::GetInst()->GetLocalValue(SettingsKey::kVersion) : m_version;
}
