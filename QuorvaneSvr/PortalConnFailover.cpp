// What the engine does when a portal server fails: another server of the cluster, or recovery.
#include <atomic>

#include "HttpHelper.h"
#include "Log.h"
#include "PortalConn.h"

namespace {

// A host name of full length with a port. Portals name their servers and the addresses that these replace: a
// long text put many times into a long address would fill the memory.
constexpr size_t kLongestServer = 253 + 1 + 5;

std::atomic<bool> recoveryOpened{false};

}  // namespace

int CPortalConn::GetNewServerIP(CAutoString& url) {
    CAutoString oldAddress;
    if (url.GetLength() > CHttpData::kLongestAddress || CHttpHelper::ParseIP(url, oldAddress) == 0 ||
        oldAddress.IsEmpty()) {
        return 0;
    }
    const CLockGuard<GLockObj> guard(m_serverLock);
    // The key is this client's own address: each client has its own first choice, which spreads the load.
    const bool useIPv6 = m_pPortalConf->m_afType == kIPv6Family && !m_pPortalConf->ip6.IsEmpty();
    HashBalance& balance = useIPv6 ? m_hashBalance6 : m_hashBalance4;
    const CAutoString& key = useIPv6 ? m_pPortalConf->ip6 : m_pPortalConf->ip4;
    const std::string server = balance.getServer(key.GetText());
    if (server.empty() || server.size() > kLongestServer) {
        return 0;
    }
    CAutoString moved = url;
    moved.Replace(oldAddress, server.c_str());
    if (moved.GetLength() > CHttpData::kLongestAddress) {
        return 0;
    }
    url = moved;
    // A server that was chosen once is not chosen again: repeated failures walk through the whole list.
    balance.deleteIp(server);
    CLog::GetInst()->WriteLog(INFO, "GetNewServerIP old url %s, new url %s", oldAddress.GetBuffer(),
                              url.GetBuffer());
    return 1;
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
