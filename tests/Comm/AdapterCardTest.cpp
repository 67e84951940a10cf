#include "AdapterCard.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <tuple>

#include "Sandbox.h"

namespace {

// Gives the sandbox its links, addresses and routes back after each case.
class AdapterCard : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }
    void TearDown() override { RestoreLinks(); }
};

// The questions of the table fill in what is "-" before.
using Question = int (*)(const char* link, CAutoString& found, CAutoString& mac);
int Route4(const char*, CAutoString& name, CAutoString&) {
    return CAdapterCard().GetActiveCardName(name);
}
int Route6(const char*, CAutoString& name, CAutoString&) {
    return CAdapterCard().GetActiveInterfaceNameIPv6(name);
}
int Ip4(const char* link, CAutoString& ip, CAutoString& mac) {
    return CAdapterCard().GetIpAndMac(link, ip, mac);
}
int Ip6(const char* link, CAutoString& ip, CAutoString&) {
    return CAdapterCard().GetIPAddress(AF_INET6, link, ip);
}

std::string AddLink(const std::string& name, const std::string& address) {
    return "ip link add " + name + " type veth peer name other; ip address add dev " + name + " " + address;
}

// A default route over a further link with the given name, preferred to the one that stands.
std::string RouteOver(const std::string& link) {
    return AddLink(link, "198.51.100.2/24") + " && ip link set other up && ip link set " + link +
           " up && ip route del default && ip route add default via 192.0.2.1 metric 50 && " +
           "ip route add default via 198.51.100.1 metric 10";
}

}  // namespace

TEST_F(AdapterCard, ReadsRoutesAndAddresses) {
    const std::string add = "ip address add dev campus0 nodad ";
    const std::string global = add + "2001:db8::2/64";
    const std::string longName = AddLink("campus-link-no1", "192.0.2.9");
    const std::tuple<const char*, std::string, Question, const char*, const char*> rows[] = {
        {"the campus link", "true", Route4, "", "0 campus0 -"},
        {"no default route", "ip route del default", Route4, "", "-1 - -"},
        {"a quote in the name", RouteOver("\"o'brien\""), Route4, "", "0 o'brien -"},
        {"no gateway, another word", "ip route replace default dev campus0", Route4, "", "-1 link -"},
        {"no IPv6 default route", global, Route6, "", "-1 - -"},
        {"IPv6 route", global + "; ip -6 route add default via 2001:db8::1", Route6, "", "0 campus0 -"},
        {"both addresses", "true", Ip4, "campus0", "0 192.0.2.10 02-51-56-4e-00-02"},
        {"no address", "ip address flush dev campus0", Ip4, "campus0", "-1 - 02-51-56-4e-00-02"},
        {"no such link", "true", Ip4, "campus1", "-1 - -"},
        {"a name is not cut to another one", longName, Ip4, "campus-link-no1x", "-1 - -"},
        {"global, name in capitals", global, Ip6, "CAMPUS0", "0 2001:db8::2 -"},
        {"of a link that is down", AddLink("second", "2001:db8::4/64"), Ip6, "second", "0 - -"},
        {"link-local", add + "fe80::99", Ip6, "campus0", "0 - -"},
        {"loopback, not another link", global, Ip6, "lo", "0 - -"},
    };
    for (const auto& [what, setUp, ask, link, expected] : rows) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(Shell(setUp));
        CAutoString found = "-";
        CAutoString mac = "-";
        const std::string result = std::to_string(ask(link, found, mac));
        EXPECT_EQ(result + " " + found.GetText() + " " + mac.GetText(), expected);
        RestoreLinks();
    }
}
