// First stage of every login: is there a portal, where does it lead us, and what does it want?
#include <utility>

#include "CurlHttp.h"
#include "HttpHelper.h"
#include "HttpStatus.h"
#include "InfoCenter.h"
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"
#include "ProbeWords.h"
#include "PublishedValues.h"
#include "RecordSettings.h"

namespace {

// The field that each of the school's headers fills.
constexpr CAutoString CAuthConfig::*kSchoolFields[kSchoolHeaderCount] = {
    &CAuthConfig::schoolId, &CAuthConfig::domain, &CAuthConfig::area};

// The number of hops has no limit, and a portal may send us round in a circle. From this many hops on each
// next one waits, so that a circle neither burns a core nor fills the disk with log lines.
constexpr int kHopsWithoutRest = 200;
constexpr unsigned kHopRestMs = 30 * 1000;

int Probe(const CAutoString& url, const CAutoString& userAgent, CHttpData& answer) {
    CAutoString head;
    head.Format(kProbeHead, userAgent.GetBuffer());
    answer.szUrl = url;
    answer.szVerb = "GET";
    answer.szHead = head;
    answer.dwTimeOut = RequestTimeOut::kStandard;
    answer.bRedirect = false;
    answer.bodyBound = [](const CHttpData&) { return kLargestPage; };
    CLog::GetInst()->WriteLog(INFO, "requestConfig is :%s", url.GetBuffer());
    const int failure = CCurlHttp().Perform(&answer);
    answer.szHead = nullptr;
    if (failure != 0) {
        CLog::GetInst()->WriteLog(INFO, "requestConfig http err is :%d", failure);
    }
    return failure;
}

void TakeSchool(const CHttpData& answer, CInfoCenter& settings, CAuthConfig& record) {
    CAutoString school[kSchoolHeaderCount];
    const bool complete = ReadSchool(answer, school);
    CLog::GetInst()->WriteLog(INFO, "schoolid length is %d", school[0].GetLength());
    CLog::GetInst()->WriteLog(INFO, "schoolid is %s,domain is %s,area is %s", school[0].GetBuffer(),
                              school[1].GetBuffer(), school[2].GetBuffer());
    if (!complete) {
        return;
    }
    for (size_t i = 0; i < kSchoolHeaderCount; ++i) {
        record.*kSchoolFields[i] = school[i];
    }
    SaveRecord(settings, record, RecordGroup::kSchool);
}

void TakeAccessController(CHttpHelper& address, const CAutoString& url, CInfoCenter& settings,
                          CAuthConfig& record) {
    if (address.SetAddress(url) != 1) {
        return;
    }
    ForEachText(RecordGroup::kAccess, [&](const RecordText& parameter) {
        record.*parameter.field = address.GetParam(parameter.name);
    });
    SaveRecord(settings, record, RecordGroup::kAccess);
    CLog::GetInst()->WriteLog(INFO, "wlanuserip is %s, wlanusermac is %s, wlanacip is %s",
                              record.wlanuserip.GetBuffer(), record.wlanusermac.GetBuffer(),
                              record.wlancip.GetBuffer());
}

}  // namespace

int CPortalConn::CheckNetEnv() {
    CLog::GetInst()->WriteLog(INFO, "CPortalConn::CheckConnState");
    CAutoString page;
    const int failure = FollowRedirects(page);
    if (failure != 0) {
        return failure;
    }
    return m_portalParse.GetConfigWithString(std::move(page), m_configXML) != 0 ? 1 : 0;
}

// Ends with the first page that leads nowhere, in `page`, or with the failure code of an exchange.
int CPortalConn::FollowRedirects(CAutoString& page) {
    CAuthConfig& record = *m_pPortalConf;
    CInfoCenter& settings = *m_host.GetInfoCenter();
    // One for the whole chain: what a hop does not say stays as an earlier hop said it.
    CHttpHelper address;
    CAutoString url = record.m_afType == kIPv6Family ? m_redirectUrlIpv6 : m_redirectUrl;
    for (int hops = 0;;) {
        if (hops >= kHopsWithoutRest) {
            Sleep(kHopRestMs);
        }
        CHttpData answer(true);
        const int failure = Probe(url, record.strUserAgent, answer);
        if (failure != 0) {
            if (IsPortalPage(url) && GetNewServerIP(url) != 0) {
                continue;  // no hop: the list of servers comes to its end by itself
            }
            return failure;
        }
        CLog::GetInst()->WriteLog(INFO, "portal test  request state code is %d", answer.retCode);
        CLog::GetInst()->WriteLog(INFO, "%s", answer.RespHead());
        TakeSchool(answer, settings, record);
        ++hops;
        m_lastRedirectUrl = url;
        url = answer.GetRedirectAddress();
        if (IsPortalPage(url)) {
            (void)GetNewServerIP(url);  // without another server the page is asked where it is
        }
        if (url.IsEmpty()) {
            page = answer.RespData();
            return 0;
        }
        TakeAccessController(address, url, settings, record);
    }
}

int CPortalConn::RequestConfig(int report) {
    CLog::GetInst()->WriteLog(INFO, "CPortalConn::RequestConfig");
    const int found = CheckNetEnv();
    if (found == 0) {
        return PortalResult::kNegative;
    }
    if (found != 1 && !GoOnAfterFailedProbe(found, report)) {
        return PortalResult::kFailure;
    }
    if (!IsServerUsable()) {
        return PortalResult::kFailure;
    }
    if (m_portalParse.ParserConfig(m_configXML, m_pPortalConf) == -1) {
        if (report != 0) {
            NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kConfigUnreadable, "");
        }
        return PortalResult::kFailure;
    }
    PublishConfig(m_host, *m_pPortalConf);
    StoreConfig();
    StoreServerList();
    m_bSetAuthConf = 1;
    SetConnCfg(0);
    return PortalResult::kSuccess;
}

// Only a server error leaves a way on: the configuration of the last time.
bool CPortalConn::GoOnAfterFailedProbe(int failure, int report) {
    if (failure == CCurlHttp::kNoUrl) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kNoProbeUrl, "");
        return false;
    }
    if (report != 0) {
        PostError(ES_PRECONNECTFAIL, StateCode::kProbeFailed, static_cast<unsigned long>(failure), 1);
    }
    if (!IsServerError(failure)) {
        return false;
    }
    m_nServerState = 0;
    return true;
}

void CPortalConn::StoreConfig() {
    const CAuthConfig& record = *m_pPortalConf;
    CInfoCenter& settings = *m_host.GetInfoCenter();
    settings.SetLocalValue(SettingsKey::kTicketUrl, record.strTickUrl);
    SaveRecord(settings, record, RecordGroup::kConfig);
    SendData(SettingsKey::kVersion, record.version);
    SendData(SettingsKey::kClientId, settings.GetLocalValue(SettingsKey::kClientId));
}

void CPortalConn::StoreServerList() {
    CAuthConfig& record = *m_pPortalConf;
    const bool isIPv6 = record.m_afType == kIPv6Family;
    m_cluster.Store(*m_host.GetInfoCenter(), isIPv6, record.m_strServers);
    (isIPv6 ? record.m_strServersIPv6 : record.m_strServersIPv4) = record.m_strServers;
}
