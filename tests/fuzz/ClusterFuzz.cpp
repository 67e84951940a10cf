// Walks through the servers of a cluster: the list, the client's address, and the address whose host is
// exchanged. Which server comes next is told by the rule of docs/portal-protocol.md, "Failover".
#include <algorithm>
#include <numeric>
#include <vector>

#include "Fuzz.h"
#include "HttpData.h"
#include "HttpHelper.h"
#include "ServerCluster.h"

constexpr size_t kLongestServer = 259;

void Try(std::string_view input) {
    const std::string list = Take(input);
    const std::string client = Take(input);
    CAutoString url = Take(input, '\0');
    std::vector<std::string> left;
    // A single byte behind the last comma is no server.
    for (std::string_view rest = list; rest.size() > 1 || rest == ",";) {
        left.push_back(Take(rest, ','));
    }
    const auto add = [](uint32_t hash, unsigned char byte) { return 31 * hash + byte; };
    const uint32_t hash = std::accumulate(client.begin(), client.end(), uint32_t{0}, add);
    CServerCluster cluster;
    cluster.SetKnown(list, "");
    cluster.Reload();
    CAutoString host;
    while (!client.empty() && !left.empty() && CHttpHelper::ParseIP(url, host) == 1 && !host.IsEmpty()) {
        const std::string server = left[hash % left.size()];
        left.erase(std::find(left.begin(), left.end(), server));
        if (server.size() > kLongestServer) {
            continue;
        }
        CAutoString moved = url;
        moved.Replace(host, server.c_str());
        const bool fits = std::max(url.GetLength(), moved.GetLength()) <= CHttpData::kLongestAddress;
        if (!cluster.MoveToNext(url, false, client)) {
            return Require(!fits || server.empty());
        }
        Require(fits && !server.empty() && url == moved);
    }
    Require(!cluster.MoveToNext(url, false, client));
}
