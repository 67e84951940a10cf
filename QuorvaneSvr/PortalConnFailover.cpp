// What the engine does when a portal server fails: another server of the cluster, or recovery.
#include <atomic>

#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"

namespace {

std::atomic<bool> recoveryOpened{false};

}  // namespace

int CPortalConn::GetNewServerIP(CAutoString& url) {
    const CAuthConfig& record = *m_pPortalConf;
    const bool isIPv6 = record.m_afType == kIPv6Family && !record.ip6.IsEmpty();
    return m_cluster.MoveToNext(url, isIPv6, isIPv6 ? record.ip6 : record.ip4) ? 1 : 0;
}

// Server errors. An exchange whose answer has a status of 400 or more ends with one failure code for all of
// them (CCurlHttp::kRefused), never with the status. So what follows waits for an exchange that returns a
// status of 500 to 599: until then no portal causes the reports 150009 and 20010206 or the result -9, and the
// disaster marker of the settings has no effect.
int CPortalConn::JudgeServerError(const char* url, int status) {
    CLog::GetInst()->WriteLog(INFO, "request url %s return server err %d", url, status);
    m_nServerState = 0;
    const bool recovers = DisasterRecovery(m_DisasterUrl) != 0;
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL,
                   recovers ? StateCode::kServerErrorRecovering : StateCode::kServerErrorFinal, "");
    return PortalResult::kServerError;
}

// After a probe: whether the configuration of the last time may be used.
bool CPortalConn::IsServerUsable() {
    if (m_nServerState == 0 && DisasterRecovery(m_DisasterUrl) == 0) {
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kServerErrorFinal, "");
        return false;
    }
    if (m_nServerState == 0) {  // on one thread never: a recovery has set it to 1
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kServerErrorRecovering, "");
        return false;
    }
    return true;
}

int CPortalConn::DisasterRecovery(CAutoString marker) {
    marker.MakeLower();
    if (marker.Find(m_DisasterUrl) < 0) {
        return 0;
    }
    recoveryOpened = true;
    m_nServerState = 1;
    return 1;
}

bool CPortalConn::IsRecoveryOpened() {
    return recoveryOpened;
}
