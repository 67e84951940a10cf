// What the service reads from the machine and does to it: traffic, sharing, resolvers.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "RunningProgram.h"
#include "ServiceFixture.h"

using testing::HasSubstr;

namespace {

constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kFromThePeer[] = "nsenter --net=\"$QUORVANE_SANDBOX_PEER\" ";

// Sends datagrams of so many kilobytes in all to the address.
void SendTraffic(const std::string& address, int kilobytes, const std::string& sender = "") {
    const std::string datagrams =
        "for i in {1.." + std::to_string(kilobytes) + "}; do printf %1024s >/dev/udp/" + address + "/9; done";
    EXPECT_EQ(system((sender + "bash -c '" + datagrams + "'").c_str()), 0);
}

class Host : public ServiceTest {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }
};

}  // namespace

TEST_F(Host, TrafficSinceTheLoginIsReported) {
    constexpr int kSent = 300;
    constexpr int kReceived = 500;
    PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 2; });
    LogIn();
    const Request first = ExpectRequest(Endpoint::Statistics, 1);  // the baseline was taken before it
    SendTraffic(kSandboxPeerAddress, kSent);
    SendTraffic(kSandboxAddress, kReceived, kFromThePeer);
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

TEST_F(Host, MachineStaysLoggedInUntilAListedProgramRuns) {
    const std::string name = "spot" + std::to_string(getpid());
    PortalIs([&](Scenario& scenario) {
        scenario.statisticsInterval = 600;
        scenario.sharingSeconds = 1;
        scenario.sharingLogoutSeconds = 1;
        scenario.pulseSeconds = 1;
        scenario.forbidForwarding = true;
        scenario.forbiddenProcesses = {{name, "a hot spot"}};
    });
    folder.Write("/proc/sys/net/ipv4/ip_forward", "0\n");
    LogIn();
    ExpectRequest(Endpoint::Pulse, 6);  // several checks later
    EXPECT_TRUE(portal.Requests(Endpoint::Term).empty());
    EXPECT_FALSE(portal.Requests(Endpoint::Pulse).back().Has("shared"));
    const RunningProgram program(name);
    EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kSharing);
    ExpectReport(kLoggedOut);
    EXPECT_EQ(portal.Requests(Endpoint::Pulse).back().Element("shared"), "1");
}

TEST_F(Host, UsersResolverFileComesBackHoweverTheLoginEnds) {
    const std::string before = "nameserver 127.0.0.53\noptions edns0\nsearch campus.example\n";
    folder.Write(kResolverFile, before);
    PortalIs([](Scenario& scenario) {
        scenario.statisticsInterval = 600;
        scenario.dns1 = "198.51.100.21";
    });
    for (const int signal : {SIGTERM, SIGKILL}) {
        LogIn();
        EXPECT_THAT(folder.Read(kResolverFile), HasSubstr("198.51.100.21"));
        // Again and again, for the thread sanitizer keeps back one that comes in the midst of a read.
        DetachFrontEnd();
        siginfo_t end = {};
        EXPECT_TRUE(WaitUntil(
            [&] {
                kill(service->Pid(), signal);
                const auto process = static_cast<id_t>(service->Pid());
                return waitid(P_PID, process, &end, WEXITED | WNOWAIT | WNOHANG) == 0 && end.si_pid != 0;
            },
            kSoon));
        EXPECT_EQ(end.si_status, signal);
        EXPECT_EQ(folder.Read(kResolverFile) == before, signal == SIGTERM);
    }
    LogIn();
    EXPECT_THAT(folder.Read(kResolverFile), HasSubstr("198.51.100.21"));
    LogOut("1");
    EXPECT_EQ(folder.Read(kResolverFile), before) << "and not what the killed one left";
    const std::vector<Request> logins = portal.Requests(Endpoint::Login);
    EXPECT_EQ(logins.front().Element("client-id"), logins.back().Element("client-id")) << "one client";
}
