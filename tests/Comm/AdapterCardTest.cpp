#include "AdapterCard.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>

#include "Sandbox.h"
#include "TemporaryFolder.h"
#include "comm.h"

namespace {

bool Shell(const std::string& command) {
    return system(("{ " + command + "\n} >/dev/null 2>&1").c_str()) == 0;
}

// Gives the sandbox its links, addresses and routes back after each case.
class AdapterCard : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }
    void TearDown() override { Restore(); }

    static void Restore() {
        if (InSandbox()) {
            Shell("ip link del second; ip link del \"o'brien\"");
            Shell("ip -6 route flush default; ip -6 address flush dev campus0 scope global");
            Shell("ip -6 address flush dev campus0 scope site; ip address flush dev campus0 scope global");
            Shell("ip address add 192.0.2.10/24 dev campus0; ip route replace default via 192.0.2.1");
        }
    }

    CAdapterCard card;
};

constexpr char kBefore[] = "as before";

// A default route over a further link with the given name, preferred to the one that stands.
std::string RouteOver(const std::string& link) {
    return "ip link add " + link + " type veth peer name other && ip link set other up && ip address add " +
           "198.51.100.2/24 dev " + link + " && ip link set " + link + " up && ip route del default && " +
           "ip route add default via 192.0.2.1 metric 50 && ip route add default via 198.51.100.1 metric 10";
}

std::string Add6(const std::string& address) {
    return "ip address add dev campus0 nodad " + address;
}

}  // namespace

TEST_F(AdapterCard, FindsTheInterfaceOfTheFirstDefaultRoute) {
    constexpr auto kFind4 = &CAdapterCard::GetActiveCardName;
    constexpr auto kFind6 = &CAdapterCard::GetActiveInterfaceNameIPv6;
    const std::string route6 = Add6("2001:db8::2/64") + " && ip -6 route add default via 2001:db8::1";
    const std::tuple<const char*, std::string, decltype(kFind4), int, const char*> rows[] = {
        {"the campus link", "true", kFind4, 0, kSandboxLink},
        {"no default route", "ip route del default", kFind4, -1, kBefore},
        {"two default routes", RouteOver("second"), kFind4, 0, "second"},
        {"a quote in the name", RouteOver("\"o'brien\""), kFind4, 0, "o'brien"},
        {"no gateway, another word in its place", "ip route replace default dev campus0", kFind4, -1, "link"},
        {"no IPv6 default route", Add6("2001:db8::2/64"), kFind6, -1, kBefore},
        {"IPv6 over the campus link", route6, kFind6, 0, kSandboxLink},
    };
    for (const auto& [what, setUp, find, result, expected] : rows) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(Shell(setUp));
        CAutoString name = kBefore;
        EXPECT_EQ((card.*find)(name), result);
        EXPECT_STREQ(name, expected);
        Restore();
    }
}

TEST_F(AdapterCard, ReadsAddressesOfTheLink) {
    const std::tuple<const char*, const char*, const char*, int, const char*, const char*> rows[] = {
        {"both", "true", kSandboxLink, 0, kSandboxAddress, kSandboxMac},
        {"no IPv4 address", "ip address flush dev campus0", kSandboxLink, -1, kBefore, kSandboxMac},
        {"no such interface", "true", "campus1", -1, kBefore, kBefore},
        {"a long name is not cut to that of another link",
         "ip link del campus-link-no1; ip link add campus-link-no1 type veth peer name second",
         "campus-link-no1x", -1, kBefore, kBefore},
    };
    for (const auto& [what, setUp, interface, result, expectedIp, expectedMac] : rows) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(Shell(setUp));
        CAutoString ip = kBefore;
        CAutoString mac = kBefore;
        EXPECT_EQ(card.GetIpAndMac(interface, ip, mac), result);
        EXPECT_STREQ(ip, expectedIp);
        EXPECT_STREQ(mac, expectedMac);
        Restore();
    }
}

TEST_F(AdapterCard, AnswersOnlyAddressesThatTheInternetReaches) {
    const std::string second = "ip link add second type veth peer name other && ip address add dev second ";
    const std::tuple<const char*, std::string, const char*, const char*> rows[] = {
        {"none", "true", kSandboxLink, kBefore},
        {"global", Add6("2001:db8::2"), kSandboxLink, "2001:db8::2"},
        {"global, name in capitals", Add6("2001:db8::2"), "CAMPUS0", "2001:db8::2"},
        {"link-local", Add6("fe80::99"), kSandboxLink, kBefore},
        {"site-local", Add6("fec0::2"), kSandboxLink, kBefore},
        {"compatible", Add6("::192.0.2.5"), kSandboxLink, kBefore},
        {"loopback", "true", "lo", kBefore},
        {"another link's", Add6("2001:db8::2"), "campus1", kBefore},
        {"of a link that is down", second + "2001:db8::4/64", "second", kBefore},
    };
    for (const auto& [what, setUp, interface, expected] : rows) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(Shell(setUp));
        CAutoString out = kBefore;
        EXPECT_EQ(card.GetIPAddress(AF_INET6, interface, out), 0);
        EXPECT_STREQ(out, expected);
        Restore();
    }
}

TEST_F(AdapterCard, NeighbourIsLookedUpWithAnyTextAsItsAddress) {
    TemporaryFolder folder;
    folder.Write("arp", "#!/bin/sh\necho \"? ($2) at 02:51:56:4e:00:01 [ether] on campus0\"\n");
    std::filesystem::permissions("arp", std::filesystem::perms::owner_all);
    const std::string path = getenv("PATH");
    char mac[64];
    EXPECT_STREQ(CommFunc::GetMacFromIPv4("192.0.2.77", mac, sizeof(mac)), "");
    setenv("PATH", (folder.Path() + ":" + path).c_str(), 1);
    EXPECT_STREQ(CommFunc::GetMacFromIPv4(kSandboxPeerAddress, mac, sizeof(mac)), kSandboxPeerMac);
    CommFunc::GetMacFromIPv4("192.0.2.1; touch injected", mac, sizeof(mac));
    EXPECT_FALSE(folder.Has("injected"));
    setenv("PATH", path.c_str(), 1);
}

TEST(AdapterCardSystem, NamesTheMachine) {
    CAutoString host;
    CAutoString node;
    EXPECT_EQ(CAdapterCard().GetHostName(host), 0);
    EXPECT_EQ(CAdapterCard().GetSystemInfo("nodename", node), 0);
    EXPECT_EQ(host, node);
    EXPECT_EQ(CAdapterCard().GetSystemInfo("domainname", node), -1);
}
