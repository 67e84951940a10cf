#include "UserInfo.h"

#include "AdapterCard.h"
#include "InfoCenter.h"
#include "uuid32.h"

namespace {

constexpr char kClientIdKey[] = "clientId";
constexpr char kHostNameKey[] = "hostName";
constexpr char kVersionKey[] = "version";

}  // namespace

int CUserInfo::Init() {
    m_clientId = GetClientId();
    m_hostName = GetHostName();
    m_version = GetVersion();

    CInfoCenter* settings = CInfoCenter::GetInst();
    settings->SetValue(kClientIdKey, m_clientId);
    settings->SetValue(kHostNameKey, m_hostName);
    settings->SetValue(kVersionKey, m_version);
    // Written at every start, also when it was read from there.
    settings->SetLocalValue(kClientIdKey, m_clientId);
    return 1;
}

CAutoString CUserInfo::GetClientId() {
    const CAutoString stored = CInfoCenter::GetInst()->GetLocalValue(kClientIdKey);
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
    return m_version.IsEmpty() ? CInfoCenter::GetInst()->GetLocalValue(kVersionKey) : m_version;
}
