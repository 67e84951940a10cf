// What the engine does when a portal server fails: another server of the cluster, or recovery.
#include <atomic>

#include "PortalConn.h"

namespace {

std::atomic<bool> recoveryOpened{false};

}  // namespace

int CPortalConn::GetNewServerIP(CAutoString& url) {
    const CAuthConfig& record = *m_pPortalConf;
    const bool isIPv6 = record.m_afType == kIPv6Family && !record.ip6.IsEmpty();
    return m_cluster.MoveToNext(url, isIPv6, isIPv6 ? record.ip6 : record.ip4) ? 1 : 0;
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
