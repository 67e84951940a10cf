#include "AdapterCard.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Sandbox.h"
#include "TemporaryFolder.h"
#include "comm.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

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
            Shell("ip link del second; ip link del \"o'brien\"; ip link del '$(touch x)'");
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

}  // namespace

TEST_F(AdapterCard, FindsTheInterfaceOfTheFirstDefaultRoute) {
    const struct {
        const char* what;
        std::string setUp;
        int (CAdapterCard::*find)(CAutoString&);
        int result;
        const char* name;
    } rows[] = {
        {"the campus link", "true", &CAdapterCard::GetActiveCardName, 0, kSandboxLink},
        {"no default route", "ip route del default", &CAdapterCard::GetActiveCardName, -1, kBefore},
        {"two default routes", RouteOver("second"), &CAdapterCard::GetActiveCardName, 0, "second"},
        {"a quote in the name", RouteOver("\"o'brien\""), &CAdapterCard::GetActiveCardName, 0, "o'brien"},
        {"a route without a gateway has another word there", "ip route replace default dev campus0",
         &CAdapterCard::GetActiveCardName, -1, "link"},
        {"no IPv6 default route", "ip -6 address add 2001:db8::2/64 dev campus0",
         &CAdapterCard::GetActiveInterfaceNameIPv6, -1, kBefore},
        {"IPv6 over the campus link",
         "ip -6 address add 2001:db8::2/64 dev campus0 && ip -6 route add default via 2001:db8::1",
         &CAdapterCard::GetActiveInterfaceNameIPv6, 0, kSandboxLink},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(Shell(row.setUp));
        CAutoString name = kBefore;
        EXPECT_EQ((card.*row.find)(name), row.result);
        EXPECT_STREQ(name, row.name);
        Restore();
    }
}

TEST_F(AdapterCard, ReadsAddressesOfTheLink) {
    const struct {
        const char* what;
        const char* setUp;
        const char* interface;
        int result;
        const char* ip;
        const char* mac;
        const char* printed;
    } rows[] = {
        {"both", "true", kSandboxLink, 0, kSandboxAddress, kSandboxMac, ""},
        {"no IPv4 address keeps the hardware address", "ip address flush dev campus0", kSandboxLink, -1,
         kBefore, kSandboxMac, "SIOCGIFADDR IOCTL error!"},
        {"no such interface", "true", "campus1", -1, kBefore, kBefore, "SIOCGIFHWADDR IOCTL error!"},
        {"a long name is not cut to that of another link",
         "ip link del campus-link-no1; ip link add campus-link-no1 type veth peer name second",
         "campus-link-no1x", -1, kBefore, kBefore, "SIOCGIFHWADDR IOCTL error!"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(Shell(row.setUp));
        CAutoString ip = kBefore;
        CAutoString mac = kBefore;
        testing::internal::CaptureStdout();
        EXPECT_EQ(card.GetIpAndMac(row.interface, ip, mac), row.result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed);
        EXPECT_STREQ(ip, row.ip);
        EXPECT_STREQ(mac, row.mac);
        Restore();
    }
}

TEST_F(AdapterCard, AnswersOnlyAddressesThatTheInternetReaches) {
    const struct {
        const char* what;
        const char* added;  // address of campus0, or null
        const char* interface;
        const char* out;
        const char* trace;
    } rows[] = {
        {"none", nullptr, kSandboxLink, kBefore, "IPv4 Address: 192.0.2.10"},
        {"global", "2001:db8::2", kSandboxLink, "2001:db8::2", "IPv6 address: 2001:db8::2"},
        {"global, name in capitals", "2001:db8::2", "CAMPUS0", "2001:db8::2", "IPv6 address: 2001:db8::2"},
        {"unique local", "fd00::2", kSandboxLink, "fd00::2", "IPv6 address: fd00::2"},
        {"link-local", "fe80::99", kSandboxLink, kBefore, "IPv6 Unicast link-local address: fe80::99"},
        {"site-local", "fec0::2", kSandboxLink, kBefore, "IPv6 Unicast site-local  address: fec0::2"},
        {"compatible", "::192.0.2.5", kSandboxLink, kBefore, "IPv6 IPv4-compatible address: ::192.0.2.5"},
        {"loopback", nullptr, "lo", kBefore, "IPv6 Loopback address: ::1"},
        {"no such interface", "2001:db8::2", "campus1", kBefore, "Interface name: campus0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(row.added == nullptr ||
                    Shell(std::string("ip address add dev campus0 nodad ") + row.added));
        CAutoString out = kBefore;
        testing::internal::CaptureStderr();
        EXPECT_EQ(card.GetIPAddress(AF_INET6, row.interface, out), 0);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    AllOf(StartsWith("[AdapterCard.cpp,GetIPAddress,"),
                          HasSubstr("]:" + std::string(row.trace) + "\n")));
        EXPECT_STREQ(out, row.out);
        Restore();
    }
}

TEST_F(AdapterCard, LastAddressOfTheInterfaceWinsAndALinkThatIsDownHasNone) {
    ASSERT_TRUE(Shell("ip address add 2001:db8::2/64 dev campus0 nodad"));
    ASSERT_TRUE(Shell("ip address add 2001:db8::3/64 dev campus0 nodad"));
    CAutoString out;
    testing::internal::CaptureStderr();
    card.GetIPAddress(AF_INET6, kSandboxLink, out);
    const std::string traces = testing::internal::GetCapturedStderr();
    const size_t last = traces.rfind("IPv6 address: ");
    ASSERT_NE(traces.find("IPv6 address: "), last);
    EXPECT_EQ(traces.substr(last, traces.find('\n', last) - last), "IPv6 address: " + out.GetText());

    ASSERT_TRUE(
        Shell("ip link add second type veth peer name other && ip address add 2001:db8::4/64 dev second"));
    out = kBefore;
    testing::internal::CaptureStderr();
    EXPECT_EQ(card.GetIPAddress(AF_INET6, "second", out), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_STREQ(out, kBefore);
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

TEST_F(AdapterCard, NamesTheMachine) {
    CAutoString host;
    CAutoString node;
    CAutoString unknown = kBefore;
    EXPECT_EQ(card.GetHostName(host), 0);
    EXPECT_EQ(card.GetSystemInfo("nodename", node), 0);
    EXPECT_EQ(host, node);
    EXPECT_EQ(card.GetSystemInfo("domainname", unknown), -1);
    EXPECT_STREQ(unknown, kBefore);
    EXPECT_EQ(card.IpString2Ulong("192.0.2.10"), htonl(0xc000020a));
}
