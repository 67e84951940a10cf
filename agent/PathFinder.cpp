#include "PathFinder.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// The first bytes as a structure of the kernel, copied, for they need not be aligned. False when there are
// fewer.
template <typename Structure>
bool ReadStart(std::string_view bytes, Structure& structure) {
    if (bytes.size() < sizeof(structure)) {
        return false;
    }
    memcpy(&structure, bytes.data(), sizeof(structure));
    return true;
}

void Skip(std::string_view& bytes, size_t count) {
    bytes.remove_prefix(std::min(count, bytes.size()));
}

// The attributes behind a structure: calls `use` with the type and the value of each that is whole.
template <typename Use>
void ForEachAttribute(std::string_view bytes, Use use) {
    rtattr head = {};
    while (ReadStart(bytes, head) && head.rta_len >= sizeof(head) && head.rta_len <= bytes.size()) {
        use(static_cast<uint16_t>(head.rta_type & NLA_TYPE_MASK),
            bytes.substr(sizeof(head), head.rta_len - sizeof(head)));
        Skip(bytes, RTA_ALIGN(head.rta_len));
    }
}

// As text; empty for what is no address of the family.
std::string AddressText(int family, std::string_view bytes) {
    const size_t length = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    char text[INET6_ADDRSTRLEN];
    return bytes.size() == length && inet_ntop(family, bytes.data(), text, sizeof(text)) != nullptr ? text
                                                                                                    : "";
}

// A gateway of another family than the route's.
std::string ForeignGateway(std::string_view bytes) {
    uint16_t family = 0;
    if (!ReadStart(bytes, family)) {
        return "";
    }
    return AddressText(family, bytes.substr(sizeof(family)));
}

// What the attributes of a route, or of one of its next hops, tell.
struct RouteAttributes {
    void Take(int family, std::string_view attributes) {
        ForEachAttribute(attributes, [&](uint16_t type, std::string_view value) {
            switch (type) {
                case RTA_TABLE: (void)ReadStart(value, table); break;
                case RTA_PRIORITY: (void)ReadStart(value, metric); break;
                case RTA_OIF: (void)ReadStart(value, interface); break;
                case RTA_GATEWAY: gateway = AddressText(family, value); break;
                case RTA_VIA: gateway = ForeignGateway(value); break;
                case RTA_MULTIPATH: TakeFirstHop(family, value); break;
                default: break;
            }
        });
    }
    // Of several next hops the first stands for the route.
    void TakeFirstHop(int family, std::string_view hops) {
        rtnexthop hop = {};
        if (ReadStart(hops, hop) && hop.rtnh_len >= sizeof(hop) && hop.rtnh_len <= hops.size()) {
            interface = static_cast<uint32_t>(hop.rtnh_ifindex);
            Take(family, hops.substr(sizeof(hop), hop.rtnh_len - sizeof(hop)));
        }
    }

    uint32_t table = RT_TABLE_UNSPEC;
    uint32_t metric = 0;
    uint32_t interface = 0;
    std::string gateway;
};

std::string InterfaceName(uint32_t interface) {
    char name[IF_NAMESIZE];
    return if_indextoname(interface, name) != nullptr ? name : "";
}

}  // namespace

PathFinder::Progress PathFinder::Take(std::string_view datagram, uint32_t request) {
    nlmsghdr head = {};
    while (ReadStart(datagram, head) && head.nlmsg_len >= sizeof(head) && head.nlmsg_len <= datagram.size()) {
        if (head.nlmsg_seq == request) {
            if ((head.nlmsg_flags & NLM_F_DUMP_INTR) != 0 || head.nlmsg_type == NLMSG_ERROR) {
                return Progress::kFailed;
            }
            if (head.nlmsg_type == NLMSG_DONE) {
                return Progress::kDone;
            }
            TakeMessage(head.nlmsg_type,
                        datagram.substr(NLMSG_HDRLEN, head.nlmsg_len - static_cast<size_t>(NLMSG_HDRLEN)));
        }
        Skip(datagram, NLMSG_ALIGN(head.nlmsg_len));
    }
    return Progress::kMore;
}

void PathFinder::TakeMessage(uint16_t type, std::string_view body) {
    if (type == RTM_NEWROUTE) {
        TakeRoute(body);
    } else if (type == RTM_NEWADDR) {
        TakeAddress(body);
    }
}

// Of routes with the same metric the first counts, as it does for the kernel.
void PathFinder::TakeRoute(std::string_view body) {
    rtmsg route = {};
    if (!ReadStart(body, route) || route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST ||
        (route.rtm_flags & RTNH_F_DEAD) != 0) {
        return;
    }
    RouteAttributes attributes;
    attributes.table = route.rtm_table;
    Skip(body, NLMSG_ALIGN(sizeof(route)));
    attributes.Take(route.rtm_family, body);
    std::optional<Route>& best = route.rtm_family == AF_INET ? m_routeIPv4 : m_routeIPv6;
    const bool isOne = attributes.table == RT_TABLE_MAIN && attributes.interface != 0 &&
                       (route.rtm_family == AF_INET || route.rtm_family == AF_INET6);
    if (isOne && (!best || attributes.metric < best->metric)) {
        best = Route{attributes.metric, attributes.interface, std::move(attributes.gateway)};
    }
}

// Addresses that are not in use yet are no way out. IPv6 has no own address beside the one that IPv4 calls
// the local one.
void PathFinder::TakeAddress(std::string_view body) {
    ifaddrmsg head = {};
    if (!ReadStart(body, head) || head.ifa_scope != RT_SCOPE_UNIVERSE ||
        (head.ifa_flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) != 0) {
        return;
    }
    const bool isIPv4 = head.ifa_family == AF_INET;
    std::string text;
    Skip(body, NLMSG_ALIGN(sizeof(head)));
    ForEachAttribute(body, [&](uint16_t type, std::string_view value) {
        if (type == (isIPv4 ? IFA_LOCAL : IFA_ADDRESS)) {
            text = AddressText(head.ifa_family, value);
        }
    });
    if (!text.empty()) {
        (isIPv4 ? m_addressesIPv4 : m_addressesIPv6).push_back({head.ifa_index, std::move(text)});
    }
}

// Of several addresses the oldest counts, so that further ones, as IPv6 makes them every day, are no change.
// The kernel lists it first for IPv4 and last for IPv6.
NetworkPath PathFinder::Best() const {
    const std::optional<Route>& route = m_routeIPv4 ? m_routeIPv4 : m_routeIPv6;
    if (!route) {
        return {};
    }
    const auto isThere = [&](const Address& address) { return address.interface == route->interface; };
    const auto first = std::find_if(m_addressesIPv4.begin(), m_addressesIPv4.end(), isThere);
    const auto last = std::find_if(m_addressesIPv6.rbegin(), m_addressesIPv6.rend(), isThere);
    NetworkPath path = {InterfaceName(route->interface), "", route->gateway};
    if (first != m_addressesIPv4.end()) {
        path.address = first->text;
    } else if (last != m_addressesIPv6.rend()) {
        path.address = last->text;
    }
    return path;
}
