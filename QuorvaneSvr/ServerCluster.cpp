#include "ServerCluster.h"

#include <string>

#include "HttpData.h"
#include "HttpHelper.h"
#include "InfoCenter.h"
#include "Log.h"
#include "SettingsKeys.h"
#include "guard.h"

namespace {

// A host name of full length with a port. Portals name their servers and the addresses that these replace: a
// long text put many times into a long address would fill the memory.
constexpr size_t kLongestServer = 253 + 1 + 5;

void LoadEmpty(HashBalance& balance, const CAutoString& servers) {
    if (balance.Size() == 0 && !servers.IsEmpty()) {
        balance.SetIpList(servers.GetText());
    }
}

// The client's next server; empty when none is left. One with a name that is too long would be met again and
// again, and keep the others from their turn.
std::string NextServer(HashBalance& balance, const CAutoString& client) {
    std::string server = balance.getServer(client.GetText());
    while (server.size() > kLongestServer) {
        balance.deleteIp(server);
        server = balance.getServer(client.GetText());
    }
    return server;
}

}  // namespace

void CServerCluster::SetKnown(const CAutoString& servers, const CAutoString& serversIPv6) {
    const CLockGuard<GLockObj> guard(m_lock);
    m_serversIPv4 = servers;
    m_serversIPv6 = serversIPv6;
}

void CServerCluster::Reload() {
    const CLockGuard<GLockObj> guard(m_lock);
    LoadEmpty(m_hashBalance4, m_serversIPv4);
    LoadEmpty(m_hashBalance6, m_serversIPv6);
}

bool CServerCluster::MoveToNext(CAutoString& url, bool isIPv6, const CAutoString& client) {
    CAutoString oldAddress;
    if (url.GetLength() > CHttpData::kLongestAddress || CHttpHelper::ParseIP(url, oldAddress) == 0 ||
        oldAddress.IsEmpty()) {
        return false;
    }
    const CLockGuard<GLockObj> guard(m_lock);
    HashBalance& balance = isIPv6 ? m_hashBalance6 : m_hashBalance4;
    const std::string server = NextServer(balance, client);
    if (server.empty()) {
        return false;
    }
    CAutoString moved = url;
    moved.Replace(oldAddress, server.c_str());
    if (moved.GetLength() > CHttpData::kLongestAddress) {
        return false;
    }
    url = moved;
    balance.deleteIp(server);
    CLog::GetInst()->WriteLog(INFO, "GetNewServerIP old url %s, new url %s", oldAddress.GetBuffer(),
                              url.GetBuffer());
    return true;
}

void CServerCluster::Store(CInfoCenter& settings, bool isIPv6, const CAutoString& servers) {
    const CLockGuard<GLockObj> guard(m_lock);
    CAutoString& known = isIPv6 ? m_serversIPv6 : m_serversIPv4;
    settings.SetLocalValue(isIPv6 ? SettingsKey::kServersIPv6 : SettingsKey::kServers, known);
    if (servers == known) {
        return;
    }
    known = servers;
    LoadEmpty(isIPv6 ? m_hashBalance6 : m_hashBalance4, known);
}
