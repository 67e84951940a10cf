// The protocol engine's life: construction, and the record's start values from the settings.
#include "PortalConn.h"

#include <cstdio>
#include <cstdlib>

#include "Deployment.h"
#include "EmptiedNumber.h"
#include "InfoCenter.h"
#include "Log.h"
#include "PortalCodes.h"
#include "ProbeWords.h"
#include "RecordSettings.h"
#include "SettingsKeys.h"

namespace {

constexpr char kSystemTag[] = "linux64";

// Values of this run that the record takes over.
constexpr RecordText kIdentityTexts[] = {
    {SettingsKey::kHostName, &CAuthConfig::hostName},
    {SettingsKey::kClientId, &CAuthConfig::strClientId},
    {SettingsKey::kVersion, &CAuthConfig::version},
};

CAutoString ValueOr(CAutoString value, const char* fallback) {
    return value.IsEmpty() ? CAutoString(fallback) : value;
}

void LogUserAgent(const CAuthConfig& record) {
    CLog::GetInst()->WriteLog(INFO, "sysVer is %s,agent is %s", record.ostag.GetBuffer(),
                              record.strUserAgent.GetBuffer());
}

}  // namespace

CPortalConn::CPortalConn() : CPortalConn(DefaultPortalHost()) {}

CPortalConn::CPortalConn(IPortalHost& host)
    : m_host(host),
      m_pushedServers([&host](CAutoString& dns1, CAutoString& dns2) { return host.SetDNS(dns1, dns2); }) {}

CPortalConn::~CPortalConn() {
    delete m_pPortalConf;
}

int CPortalConn::Init() {
    InitPortalConf();
    InitEnviromment();
    return m_portalParse.Init() == 1 ? 1 : 0;
}

int CPortalConn::InitPortalConf() {
    printf("svr start success");
    delete m_pPortalConf;
    m_pPortalConf = new CAuthConfig;
    CAuthConfig& record = *m_pPortalConf;
    CInfoCenter& settings = *m_host.GetInfoCenter();

    for (const RecordText& text : kIdentityTexts) {
        record.*text.field = settings.GetValue(text.name);
    }
    CLog::GetInst()->WriteLog(INFO, "version is %s", record.version.GetBuffer());
    record.ostag = kSystemTag;
    record.strUserAgent.Format(kUserAgentIPv4, record.version.GetBuffer());
    LogUserAgent(record);

    m_redirectUrl = ValueOr(settings.GetLocalValue(SettingsKey::kProbeUrl), QUORVANE_PROBE_URL);
    m_redirectUrlIpv6 = ValueOr(settings.GetLocalValue(SettingsKey::kProbeUrlIPv6), QUORVANE_PROBE_URL_IPV6);
    m_portalParse.SetMarkerHost(settings.GetLocalValue(SettingsKey::kMarkerHost));
    LoadRecord(settings, record);
    if (record.nDefaultAuth == 0) {
        record.nDefaultAuth = 1;
    }
    m_DisasterUrl = settings.GetLocalValue(SettingsKey::kDisasterMarker);
    m_cluster.SetKnown(record.m_strServersIPv4, record.m_strServersIPv6);
    m_cluster.Reload();
    m_DisasterUrl.MakeLower();
    return 0;
}

void CPortalConn::InitEnviromment() {}

void CPortalConn::SetServerIp() {
    CAuthConfig& record = *m_pPortalConf;
    if (record.m_afType == kIPv4Family) {
        record.strUserAgent.Format(kUserAgentIPv4, record.version.GetBuffer());
    } else if (record.m_afType == kIPv6Family) {
        record.strUserAgent.Format(kUserAgentIPv6, record.version.GetBuffer());
    }
    LogUserAgent(record);
}

int CPortalConn::GetConnCfg() {
    return atoi(m_host.GetInfoCenter()->GetLocalValue(SettingsKey::kConnected));
}

// Only a settings file written by hand (or by another program) makes a later start find a recorded login and
// log it out.
void CPortalConn::SetConnCfg(int connected) {
    CLog::GetInst()->WriteLog(INFO, connected != 0 ? "record connected" : "record not connect");
    m_host.GetInfoCenter()->SetLocalValue(SettingsKey::kConnected, EmptiedNumber(connected));
}

void CPortalConn::ResetNetConfig() {
    NoteAddresses("", "", "");
}

void CPortalConn::NoteAddresses(const CAutoString& ip4, const CAutoString& ip6, const CAutoString& mac) {
    m_pPortalConf->ip4 = ip4;
    m_pPortalConf->ip6 = ip6;
    m_pPortalConf->mac = mac;
}

int CPortalConn::AskAddresses(CAutoString& ip4, CAutoString& ip6, CAutoString& mac) {
    int family = kNoAddressFamily;
    const int result = m_host.GetIpAndMac(ip4, ip6, mac, family);
    NoteAddressFamily(family);
    return result;
}

int CPortalConn::IsPhisycalConnect() {
    return 1;
}

int CPortalConn::CheckIP() {
    return _RequestTicket();
}

void CPortalConn::ExitPrepare() {}
