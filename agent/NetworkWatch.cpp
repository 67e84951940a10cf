#include "NetworkWatch.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "AgentLog.h"

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr seconds kQuiet(2);           // a lease that is renewed takes a route away and puts it back
constexpr seconds kLongestUnrest(10);  // other people's events must not hide one's own
constexpr seconds kSuspendPause(5);    // between two looks; they are due at once after a suspend
constexpr seconds kShortestSuspend(1);
constexpr nanoseconds kBetweenClocks(10'000'000);  // two clocks that are read within it belong together

constexpr unsigned kEventGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;

// The kernel sends no larger datagram to a reader that offers so much, in bytes.
constexpr size_t kLargestDatagram = 32 * 1024;

// The rest of a flood waits until other sources of the loop have had their turn.
constexpr int kMostEventsAtOnce = 100;

// How often the tables may change while they are being read.
constexpr int kMostReadings = 3;

nanoseconds Read(clockid_t clock) {
    timespec time = {};
    (void)clock_gettime(clock, &time);  // the kernel has both clocks
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// -1, with errno, when the kernel does not offer it.
int OpenNetlink(unsigned groups) {
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (netlink >= 0) {
        // A new socket has no name that could be in the way.
        (void)bind(netlink, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    return netlink;
}

// The whole size of the next datagram of the kernel, which may be more than there is room for; anybody else's
// is passed over. -1, with errno, when there is none.
ssize_t Receive(int netlink, char* buffer, size_t size) {
    sockaddr_nl sender = {};
    ssize_t count = 0;
    do {
        socklen_t length = sizeof(sender);
        count = recvfrom(netlink, buffer, size, MSG_TRUNC, reinterpret_cast<sockaddr*>(&sender), &length);
    } while (count < 0 ? errno == EINTR : sender.nl_pid != 0);
    return count;
}

bool Request(int netlink, uint16_t type) {
    struct {
        nlmsghdr head;
        rtgenmsg family;
    } request = {};
    request.head.nlmsg_len = NLMSG_LENGTH(sizeof(request.family));
    request.head.nlmsg_type = type;
    request.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.head.nlmsg_seq = type;
    request.family.rtgen_family = AF_UNSPEC;
    return send(netlink, &request, request.head.nlmsg_len, 0) >= 0;
}

// The kernel has answered when the request has been sent, so nothing is waited for.
bool ReadTable(int netlink, uint16_t type, PathFinder& finder) {
    char buffer[kLargestDatagram];
    if (!Request(netlink, type)) {
        return false;
    }
    PathFinder::Progress progress = PathFinder::Progress::kMore;
    while (progress == PathFinder::Progress::kMore) {
        const ssize_t size = Receive(netlink, buffer, sizeof(buffer));
        const bool isWhole = size >= 0 && static_cast<size_t>(size) <= sizeof(buffer);
        progress =
            isWhole ? finder.Take({buffer, static_cast<size_t>(size)}, type) : PathFinder::Progress::kFailed;
    }
    return progress == PathFinder::Progress::kDone;
}

// None when the tables cannot be read as a whole.
std::optional<NetworkPath> ReadPath() {
    for (int reading = 0; reading < kMostReadings; ++reading) {
        const Descriptor netlink(OpenNetlink(0));
        PathFinder finder;
        if (ReadTable(netlink.Get(), RTM_GETROUTE, finder) && ReadTable(netlink.Get(), RTM_GETADDR, finder)) {
            return finder.Best();
        }
    }
    return std::nullopt;
}

}  // namespace

// The process may have to wait between reading the one clock and the other.
nanoseconds TimeAsleep() {
    nanoseconds before(0);
    nanoseconds withSleep(0);
    nanoseconds after(0);
    do {
        before = Read(CLOCK_MONOTONIC);
        withSleep = Read(CLOCK_BOOTTIME);
        after = Read(CLOCK_MONOTONIC);
    } while (after - before > kBetweenClocks);
    return withSleep - after;
}

NetworkWatch::NetworkWatch(EventLoop& loop, Changed changed, std::function<nanoseconds()> timeAsleep)
    : m_changed(std::move(changed)),
      m_timeAsleep(std::move(timeAsleep)),
      m_events(OpenNetlink(kEventGroups)),
      m_slept(m_timeAsleep()),
      m_path(ReadPath().value_or(NetworkPath())),
      m_quiet(loop, kQuiet, kLongestUnrest, [this] { Look(); }),
      m_suspendTimer(loop.Every(
          kSuspendPause, [this] { LookForSuspend(); }, EventLoop::Clock::kBoot)) {
    if (m_events.IsOpen()) {
        m_happened = loop.OnDescriptor(m_events.Get(), EPOLLIN, [this](uint32_t) { DiscardEvents(); });
    } else {
        LogLine(Urgency::kWarning, std::string("changes of the network go unnoticed: ") + strerror(errno));
    }
}

NetworkWatch::~NetworkWatch() = default;

// That something happened is all that an event has to tell, be it malformed, cut short or lost in a full
// queue: what is so now is read when it is quiet.
void NetworkWatch::DiscardEvents() {
    char buffer[1];
    for (int event = 0; event < kMostEventsAtOnce; ++event) {
        if (Receive(m_events.Get(), buffer, sizeof(buffer)) < 0 && errno == EAGAIN) {
            return;
        }
        m_quiet.Note();
    }
}

void NetworkWatch::LookForSuspend() {
    const nanoseconds slept = m_timeAsleep();
    if (slept - m_slept > kShortestSuspend) {
        m_hasSlept = true;
        m_quiet.Note();
    }
    m_slept = slept;
}

void NetworkWatch::Look() {
    const std::optional<NetworkPath> path = ReadPath();
    if (!path && m_events.IsOpen()) {
        m_quiet.Note();
        return;
    }
    const bool isOther = path && !IsSameWay(*path, m_path);
    const bool hasSlept = std::exchange(m_hasSlept, false);
    m_path = path.value_or(m_path);
    if (isOther || hasSlept) {
        const Changed changed = m_changed;  // outlives this object
        changed(isOther);
    }
}
