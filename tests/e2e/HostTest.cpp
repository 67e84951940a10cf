// What the service reads from the machine and does to it: traffic, sharing, resolvers.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "RunningProgram.h"
#include "ServiceFixture.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kForwarding[] = "/proc/sys/net/ipv4/ip_forward";

std::string ContentOf(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Sends datagrams of about `kilobytes` in all to the address, from the network namespace of the caller.
void SendTraffic(const char* address, int kilobytes) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(9);
    inet_pton(AF_INET, address, &target.sin_addr);
    const int sender = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const std::string kilobyte(1024, 'x');
    for (int i = 0; i < kilobytes; ++i) {
        (void)sendto(sender, kilobyte.data(), kilobyte.size(), 0, reinterpret_cast<sockaddr*>(&target),
                     sizeof target);  // what is counted, not what arrives, matters
    }
    close(sender);
}

// The same from the neighbour at the other end of the link.
void ReceiveTraffic(int kilobytes) {
    std::thread([kilobytes] {
        const int peer = open(getenv("QUORVANE_SANDBOX_PEER"), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(setns(peer, CLONE_NEWNET), 0);
        close(peer);
        SendTraffic(kSandboxAddress, kilobytes);
    }).join();
}

// A file of the system that has other content as long as the object lives.
class ChangedFile {
  public:
    ChangedFile(const char* path, const std::string& content) : m_path(path), m_before(ContentOf(path)) {
        std::ofstream(path) << content;
    }
    ~ChangedFile() { std::ofstream(m_path) << m_before; }
    ChangedFile(const ChangedFile&) = delete;
    ChangedFile& operator=(const ChangedFile&) = delete;

  private:
    const char* m_path;
    const std::string m_before;
};

class Host : public ServiceTest {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }

    void PortalChecksForSharing() {
        PortalIs([](Scenario& scenario) {
            scenario.statisticsInterval = 600;
            scenario.sharingSeconds = 1;
            scenario.sharingLogoutSeconds = 1;
            scenario.pulseSeconds = 1;
        });
    }
    void ExpectLogoutForSharing() {
        EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kSharing);
        ExpectReport(kLoggedOut);
    }
};

}  // namespace

TEST_F(Host, TrafficSinceTheLoginIsReported) {
    constexpr int kSent = 300;
    constexpr int kReceived = 500;
    PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 1; });
    LogIn();
    const Request first = ExpectRequest(Endpoint::Statistics, 1);  // the baseline was taken before it
    SendTraffic(kSandboxPeerAddress, kSent);
    ReceiveTraffic(kReceived);
    // The upload after the next one was built after the traffic.
    const Request periodic =
        ExpectRequest(Endpoint::Statistics, portal.Requests(Endpoint::Statistics).size() + 2);
    LogOut("1");
    const Request last = portal.Requests(Endpoint::Statistics).back();

    EXPECT_EQ(periodic.Element("account"), defaults.account);
    EXPECT_EQ(periodic.Element("schoolid"), defaults.schoolId);
    EXPECT_EQ(periodic.Element("ipv4"), kSandboxAddress);
    EXPECT_EQ(periodic.Element("brasip"), defaults.wlanAcIp);
    EXPECT_EQ(periodic.Element("stattype"), "2");
    EXPECT_EQ(periodic.Element("start"), first.Element("start"));
    EXPECT_EQ(last.Element("stattype"), "0");
    auto kilobytes = [](const Request& request, const char* way) { return std::stod(request.Element(way)); };
    EXPECT_LT(kilobytes(first, "up"), kSent);
    EXPECT_GT(kilobytes(periodic, "up"), kSent);
    EXPECT_GT(kilobytes(periodic, "down"), kReceived);
    EXPECT_GE(kilobytes(last, "down"), kilobytes(periodic, "down"));
}

TEST_F(Host, ListedProgramEndsTheLoginAfterTheDelay) {
    const std::string name = "spot" + std::to_string(getpid());
    RunningProgram program(name);
    PortalChecksForSharing();
    PortalIs([&](Scenario& scenario) { scenario.forbiddenProcesses = {{name, "a hot spot"}}; });
    LogIn();
    ExpectLogoutForSharing();
    EXPECT_EQ(portal.Requests(Endpoint::Pulse).back().Element("shared"), "1");
}

TEST_F(Host, ForwardingEndsTheLoginAfterTheDelay) {
    const ChangedFile forwarding(kForwarding, "1\n");
    if (ContentOf(kForwarding) != "1\n") {
        GTEST_SKIP() << "IP forwarding cannot be switched on here";
    }
    PortalChecksForSharing();
    PortalIs([](Scenario& scenario) { scenario.forbidForwarding = true; });
    LogIn();
    ExpectLogoutForSharing();
}

TEST_F(Host, MachineThatSharesNothingStaysLoggedIn) {
    PortalChecksForSharing();
    PortalIs([](Scenario& scenario) {
        scenario.forbidForwarding = true;
        scenario.forbiddenProcesses = {{"no-such-spot", "a hot spot"}};
    });
    LogIn();
    ExpectRequest(Endpoint::Pulse, 6);  // several checks later
    EXPECT_TRUE(portal.Requests(Endpoint::Term).empty());
    EXPECT_FALSE(portal.Requests(Endpoint::Pulse).back().Has("shared"));
}

TEST_F(Host, UsersResolverFileComesBackHoweverTheLoginEnds) {
    const std::string before = "nameserver 127.0.0.53\noptions edns0\nsearch campus.example\n";
    const ChangedFile resolvers(kResolverFile, before);
    PortalIs([](Scenario& scenario) {
        scenario.statisticsInterval = 600;
        scenario.dns1 = "198.51.100.21";
    });
    for (const int signal : {SIGTERM, SIGKILL}) {
        LogIn();
        EXPECT_THAT(ContentOf(kResolverFile), HasSubstr("198.51.100.21"));
        kill(service->Pid(), signal);
        siginfo_t end = {};
        ASSERT_EQ(waitid(P_PID, static_cast<id_t>(service->Pid()), &end, WEXITED | WNOWAIT), 0);
        EXPECT_EQ(end.si_status, signal);
        EXPECT_EQ(ContentOf(kResolverFile) == before, signal == SIGTERM);
    }
    LogIn();
    EXPECT_THAT(ContentOf(kResolverFile), HasSubstr("198.51.100.21"));
    LogOut("1");
    EXPECT_EQ(ContentOf(kResolverFile), before) << "and not what the killed one left";
}
