#pragma once

#include <cstdlib>
#include <string>

// True in a test program that runs in the network and mount namespaces of scripts/sandbox, where links,
// routes and /etc/resolv.conf may be changed. A test that changes them skips itself elsewhere.
inline bool InSandbox() {
    return getenv("QUORVANE_SANDBOX") != nullptr;
}

// The sandbox's only real link and the neighbour at its other end, over which the default route leads.
constexpr char kSandboxLink[] = "campus0";
constexpr char kSandboxMac[] = "02-51-56-4e-00-02";
constexpr char kSandboxAddress[] = "192.0.2.10";
constexpr char kSandboxPeerAddress[] = "192.0.2.1";

inline bool Shell(const std::string& commands) {
    return system(("{ " + commands + "\n} >/dev/null 2>&1").c_str()) == 0;
}

// Gives the link its addresses and routes back, and takes every other link away.
inline void RestoreLinks() {
    if (!InSandbox()) {
        return;
    }
    Shell("ip link del second; ip link del campus-link-no1; ip link del \"o'brien\"");
    Shell("ip -6 route flush default; ip -6 address flush dev campus0 scope global");
    Shell("ip address flush dev campus0 scope global; ip address add 192.0.2.10/24 dev campus0");
    Shell("ip route replace default via 192.0.2.1");
}

#define SKIP_OUTSIDE_SANDBOX()                                                            \
    if (!InSandbox()) {                                                                   \
        GTEST_SKIP() << "needs network and mount namespaces, which are not allowed here"; \
    }
