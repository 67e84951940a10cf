#pragma once

#include <functional>
#include <string>

#include "EventLoop.h"

// The way out of this machine. Texts are empty when there is none.
struct NetworkPath {
    std::string interface;  // of the default route with the lowest metric, IPv4 before IPv6
    std::string address;    // the interface's IPv4 address; without one its global IPv6 address
    std::string gateway;    // of that route; empty for a route without one
};
inline bool operator==(const NetworkPath& one, const NetworkPath& other) {
    return one.interface == other.interface && one.address == other.address && one.gateway == other.gateway;
}

// Listens to the kernel's routes and addresses, whoever changes them, and notices that the machine slept.
class NetworkWatch {
  public:
    // `changed` is called on the loop's thread when Path() has another value after 2 s of quiet, and when a
    // suspend is over (then with the path as it may still be). Not for the first value.
    NetworkWatch(EventLoop& loop, std::function<void()> changed);
    ~NetworkWatch();
    NetworkWatch(const NetworkWatch&) = delete;
    NetworkWatch& operator=(const NetworkWatch&) = delete;

    // As it was when it was last quiet.
    const NetworkPath& Path() const;
};
