#pragma once

#include <cstdlib>

// True in a test program that runs in the network and mount namespaces of scripts/sandbox, where links,
// routes and /etc/resolv.conf may be changed. A test that changes them skips itself elsewhere.
inline bool InSandbox() {
    return getenv("QUORVANE_SANDBOX") != nullptr;
}

// The sandbox's only real link and the neighbour at its other end, which carries the default route.
constexpr char kSandboxLink[] = "campus0";
constexpr char kSandboxMac[] = "02-51-56-4e-00-02";
constexpr char kSandboxAddress[] = "192.0.2.10";
constexpr char kSandboxPeerMac[] = "02:51:56:4e:00:01";
constexpr char kSandboxPeerAddress[] = "192.0.2.1";

#define SKIP_OUTSIDE_SANDBOX()                                                            \
    if (!InSandbox()) {                                                                   \
        GTEST_SKIP() << "needs network and mount namespaces, which are not allowed here"; \
    }
