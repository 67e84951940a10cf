#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The way out of this machine. Texts are empty when there is none.
struct NetworkPath {
    std::string interface;  // of the default route with the lowest metric, IPv4 before IPv6
    std::string address;    // the interface's IPv4 address; without one its global IPv6 address
    std::string gateway;    // of that route; empty for a route without one
};
// Another interface with the same address and gateway is the same way.
inline bool IsSameWay(const NetworkPath& one, const NetworkPath& other) {
    return one.address == other.address && one.gateway == other.gateway;
}

// Finds the way out in what the kernel answers when it is asked for all routes and addresses. The answers are
// believed as far as their lengths allow: what is cut short or of no known form is passed over.
class PathFinder {
  public:
    enum class Progress {
        kMore,
        kDone,
        kFailed,  // refused, or the tables changed meanwhile: to be asked anew
    };

    // One datagram of the answer to the request with this number; messages for others are passed over.
    Progress Take(std::string_view datagram, uint32_t request);
    NetworkPath Best() const;

  private:
    struct Route {
        uint32_t metric = 0;
        uint32_t interface = 0;
        std::string gateway;
    };
    struct Address {
        uint32_t interface = 0;
        std::string text;
    };

    void TakeMessage(uint16_t type, std::string_view body);
    void TakeRoute(std::string_view body);
    void TakeAddress(std::string_view body);

    std::optional<Route> m_routeIPv4;
    std::optional<Route> m_routeIPv6;
    std::vector<Address> m_addressesIPv4;
    std::vector<Address> m_addressesIPv6;
};
