// Walks through the servers of a cluster: the list, the client's address, and the address whose host is
// exchanged.
#include "Fuzz.h"
#include "HttpData.h"
#include "HttpHelper.h"
#include "ServerCluster.h"

constexpr size_t kLongestServer = 259;  // a host name of full length, a colon and a port

void Try(std::string_view input) {
    const std::string list = Take(input);
    const std::string client = Take(input);
    CAutoString url = Take(input, '\0');
    HashBalance left;
    left.SetIpList(list);
    CServerCluster cluster;
    cluster.SetKnown(list, "");
    cluster.Reload();
    CAutoString host;
    while (CHttpHelper::ParseIP(url, host) == 1 && !host.IsEmpty()) {
        std::string server = left.getServer(client);
        while (server.size() > kLongestServer) {
            left.deleteIp(server);
            server = left.getServer(client);
        }
        CAutoString moved = url;
        moved.Replace(host, server.c_str());
        const bool fits =
            url.GetLength() <= CHttpData::kLongestAddress && moved.GetLength() <= CHttpData::kLongestAddress;
        if (!cluster.MoveToNext(url, false, client)) {
            return Require(!fits || server.empty());
        }
        Require(fits && url == moved);
        left.deleteIp(server);
    }
    Require(!cluster.MoveToNext(url, false, client));
}
