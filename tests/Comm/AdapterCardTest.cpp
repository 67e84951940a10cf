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

enum Question { kRoute4, kRoute6, kIp4, kIp6 };

// Fills in what is "-" before.
int Ask(Question question, const char* link, CAutoString& found, CAutoString& mac) {
    CAdapterCard card;
    switch (question) {
        case kRoute4: return card.GetActiveCardName(found);
        case kRoute6: return card.GetActiveInterfaceNameIPv6(found);
        case kIp4: return card.GetIpAndMac(link, found, mac);
        default: return card.GetIPAddress(AF_INET6, link, found);
    }
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
        {"the campus link", "true", kRoute4, "", "0 campus0 -"},
        {"no default route", "ip route del default", kRoute4, "", "-1 - -"},
        {"a quote in the name", RouteOver("\"o'brien\""), kRoute4, "", "0 o'brien -"},
        {"no gateway, another word", "ip route replace default dev campus0", kRoute4, "", "-1 link -"},
        {"no IPv6 default route", global, kRoute6, "", "-1 - -"},
        {"IPv6 route", global + "; ip -6 route add default via 2001:db8::1", kRoute6, "", "0 campus0 -"},
        {"both addresses", "true", kIp4, "campus0", "0 192.0.2.10 02-51-56-4e-00-02"},
        {"no address", "ip address flush dev campus0", kIp4, "campus0", "-1 - 02-51-56-4e-00-02"},
        {"no such link", "true", kIp4, "campus1", "-1 - -"},
        {"a name is not cut to another one", longName, kIp4, "campus-link-no1x", "-1 - -"},
        {"global, name in capitals", global, kIp6, "CAMPUS0", "0 2001:db8::2 -"},
        {"of a link that is down", AddLink("second", "2001:db8::4/64"), kIp6, "second", "0 - -"},
        {"link-local", add + "fe80::99", kIp6, "campus0", "0 - -"},
        {"loopback, not another link", global, kIp6, "lo", "0 - -"},
    };
    for (const auto& [what, setUp, question, link, expected] : rows) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(Shell(setUp));
        CAutoString found = "-";
        CAutoString mac = "-";
        const std::string result = std::to_string(Ask(question, link, found, mac));
        EXPECT_EQ(result + " " + found.GetText() + " " + mac.GetText(), expected);
        RestoreLinks();
    }
}
