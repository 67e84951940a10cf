// The way out of this machine: the default route, and the adapter that it leads to.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/route.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "AdapterCard.h"
#include "Examination.h"
#include "TextUtil.h"

namespace {

// Of the kernel's tables.
constexpr char kTableIPv4[] = "/proc/net/route";
constexpr char kTableIPv6[] = "/proc/net/ipv6_route";
constexpr char kLoopback[] = "lo";
constexpr char kNoLength[] = "00";  // of the prefix of a default route
constexpr char kNoGateway6[] = "00000000000000000000000000000000";
constexpr char kZero[] = "00000000";
constexpr size_t kShownRoutes = 4;
constexpr char kSelfAssigned[] = "169.254.";

// Where the program ip may be, besides the caller's search path.
constexpr const char* kIpProgram[] = {"/usr/sbin/ip", "/sbin/ip", "/usr/bin/ip", "/bin/ip"};

struct Route {
    std::string adapter;
    std::string gateway;  // empty when it has none
    unsigned long metric = 0;
};

unsigned long FromHex(const std::string& digits) {
    return strtoul(digits.c_str(), nullptr, 16);
}

bool IsUsable(unsigned long flags) {
    return (flags & RTF_UP) != 0 && (flags & RTF_REJECT) == 0;
}

std::string AddressText(unsigned long networkOrder) {
    in_addr address = {};
    address.s_addr = static_cast<in_addr_t>(networkOrder);
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof(text));
}

// Adapter, destination, gateway, flags, references, uses, metric, mask.
bool ReadIPv4(const std::string& line, Route& route) {
    std::istringstream words(line);
    std::string destination, gateway, flags, references, uses, mask;
    words >> route.adapter >> destination >> gateway >> flags >> references >> uses >> route.metric >> mask;
    route.gateway = gateway == kZero ? "" : AddressText(FromHex(gateway));
    return words && destination == kZero && mask == kZero && IsUsable(FromHex(flags));
}

// Destination, its length, source, its length, gateway, metric, references, uses, flags, adapter.
bool ReadIPv6(const std::string& line, Route& route) {
    std::istringstream words(line);
    std::string destination, length, source, sourceLength, gateway, metric, references, uses, flags;
    words >> destination >> length >> source >> sourceLength >> gateway >> metric >> references >> uses >>
        flags >> route.adapter;
    route.gateway = gateway == kNoGateway6 ? "" : "a router";
    route.metric = FromHex(metric);
    return words && length == kNoLength && route.adapter != kLoopback && IsUsable(FromHex(flags));
}

// The default routes, the one of the lowest metric first.
std::vector<Route> DefaultRoutes(const char* table, bool (*read)(const std::string&, Route&)) {
    std::vector<Route> routes;
    std::ifstream file(table);
    for (std::string line; std::getline(file, line);) {
        Route route;
        if (read(line, route)) {
            routes.push_back(route);
        }
    }
    std::stable_sort(routes.begin(), routes.end(),
                     [](const Route& left, const Route& right) { return left.metric < right.metric; });
    return routes;
}

std::string Describe(const std::vector<Route>& routes) {
    std::string text;
    for (size_t i = 0; i < std::min(routes.size(), kShownRoutes); ++i) {
        text += i == 0 ? "default" : ", default";
        text += routes[i].gateway.empty() ? "" : " via " + routes[i].gateway;
        text += " dev " + routes[i].adapter + " metric " + std::to_string(routes[i].metric);
    }
    return text;
}

bool HasIpProgram() {
    return std::any_of(std::begin(kIpProgram), std::end(kIpProgram),
                       [](const char* path) { return access(path, X_OK) == 0; });
}

// The administrator's paths are not in everybody's; the service has them.
void CompleteSearchPath() {
    const std::string path = OrEmpty(getenv("PATH"));
    (void)setenv("PATH", (path + ":/usr/sbin:/sbin:/usr/bin:/bin").c_str(), 1);
}

Verdict WhyNotFound(const std::vector<Route>& routes) {
    if (routes.empty()) {
        return Found(Finding::kNoDefaultRoute, "");
    }
    if (!HasIpProgram()) {
        return Found(Finding::kNoRouteProgram, Describe(routes));
    }
    return Found(
        routes.front().gateway.empty() ? Finding::kRouteWithoutGateway : Finding::kRouteNotUnderstood,
        Describe(routes));
}

unsigned FlagsOf(const CAutoString& adapter) {
    unsigned flags = 0;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) == 0) {
        for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
            flags |= adapter == entry->ifa_name ? entry->ifa_flags : 0;
        }
        freeifaddrs(list);
    }
    return flags;
}

}  // namespace

// The service's own look decides; the kernel's tables tell why.
Verdict LookAtRoute(Examination& examination) {
    CompleteSearchPath();
    const std::vector<Route> ipv4 = DefaultRoutes(kTableIPv4, ReadIPv4);
    const std::vector<Route> ipv6 = DefaultRoutes(kTableIPv6, ReadIPv6);
    const std::vector<Route>& routes = ipv4.empty() ? ipv6 : ipv4;
    CAdapterCard card;
    CAutoString& adapter = examination.adapter;
    const bool isFound =
        card.GetActiveCardName(adapter) == 0 || card.GetActiveInterfaceNameIPv6(adapter) == 0;
    if (!isFound || routes.empty()) {
        return WhyNotFound(routes);
    }
    // Several routers on one link are usual with IPv6.
    const auto isOther = [&](const Route& route) {
        return !ipv4.empty() || route.adapter != routes.front().adapter;
    };
    const bool areSeveral = std::any_of(routes.begin() + 1, routes.end(), isOther);
    return areSeveral ? Found(Finding::kSeveralRoutes, Describe(routes)) : Good(Describe(routes));
}

Verdict LookAtAdapter(Examination& examination) {
    const CAutoString& name = examination.adapter;
    if ((FlagsOf(name) & IFF_RUNNING) == 0) {
        return Found(Finding::kNoLink, name.GetText());
    }
    CAdapterCard card;
    CAutoString ipv4;
    CAutoString ipv6;
    CAutoString hardware;
    examination.isIPv6 = card.GetIpAndMac(name, ipv4, hardware) < 0;
    if (examination.isIPv6) {
        (void)card.GetIPAddress(AF_INET6, name, ipv6);  // the empty address tells
    }
    examination.address = examination.isIPv6 ? ipv6 : ipv4;
    const std::string text = name.GetText() + " " + examination.address.GetText();
    if (examination.address.IsEmpty()) {
        return Found(Finding::kNoAddress, name.GetText());
    }
    return StartsWith(examination.address.GetText(), kSelfAssigned)
               ? Found(Finding::kSelfAssignedAddress, text)
               : Good(text + ", hardware " + hardware.GetText());
}
