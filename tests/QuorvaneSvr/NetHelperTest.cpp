#include <cerrno>
#include <vector>

#include "FileSizeLimit.h"
#include "ResolverFile.h"

namespace {

class NetHelper : public ResolverFileTest {
  protected:
    // Pushes two servers and returns what comes back as "first second".
    std::string Push(const char* dns1, const char* dns2, int result = 0) {
        CAutoString first = dns1;
        CAutoString second = dns2;
        EXPECT_EQ(helper.SetDNSServers(first, second), result);
        return first.GetText() + " " + second.GetText();
    }

    CNetHelper helper;
};

constexpr char kFirst[] = "202.96.128.86";
constexpr char kSecond[] = "2001:db8::53";
#define FIRST "nameserver 202.96.128.86\n"
#define SECOND "nameserver 2001:db8::53\n"

}  // namespace

TEST_F(NetHelper, PushesServersAndHandsTheFormerOnesBack) {
    const char* const rows[][4] = {
        // what, before, pushed, former
        {"two servers", "nameserver 9.9.9.9\nnameserver 8.8.4.4\noptions timeout:1\n",
         FIRST SECOND "options timeout:1\n", "9.9.9.9 8.8.4.4"},
        {"the third server goes", "nameserver 9.9.9.9\nnameserver 8.8.4.4\nnameserver 1.1.1.1\n",
         FIRST SECOND, "9.9.9.9 8.8.4.4"},
        {"tabs and an IPv6 server", "nameserver\t2001:db8::1\t# lab\nnameserver  9.9.9.9", FIRST SECOND,
         "2001:db8::1 9.9.9.9"},
        {"the search line comes first", "search campus.example\nnameserver 9.9.9.9\nnameserver 8.8.4.4\n",
         FIRST SECOND "search campus.example\n", " "},
        {"the search line comes behind one server", "nameserver 127.0.0.53\nsearch campus.example\n",
         FIRST SECOND "search campus.example\n", "127.0.0.53 "},
        {"the search line comes behind both", "nameserver 9.9.9.9\nnameserver 8.8.4.4\nsearch campus.example",
         FIRST SECOND, "9.9.9.9 8.8.4.4"},
        {"the local forwarder stays", "nameserver 127.0.1.1\nnameserver 9.9.9.9\n",
         "nameserver 127.0.1.1\n" FIRST, "9.9.9.9 "},
    };
    for (const auto& [what, before, pushed, former] : rows) {
        SCOPED_TRACE(what);
        FileHolds(before);
        EXPECT_EQ(Push(kFirst, kSecond), former);
        EXPECT_EQ(Content(), pushed);
    }
}

TEST_F(NetHelper, WritesOnlyValidServers) {
    const char* const rows[][3] = {
        {kFirst, "", FIRST}, {"10.0.0.1", kSecond, SECOND}, {"1.2.3.456", "portal.example", ""}};
    for (const auto& [dns1, dns2, written] : rows) {
        FileHolds("nameserver 9.9.9.9\nnameserver 8.8.4.4\n# end\n");
        EXPECT_EQ(Push(dns1, dns2), "9.9.9.9 8.8.4.4");
        EXPECT_EQ(Content(), std::string(written) + "# end\n") << dns1;
    }
}

TEST_F(NetHelper, CopiesLongFilesAndLinesFaithfully) {
    const std::string comment = "#nameserver " + std::string(5000, 'x') + "nameserver 7.7.7.7\n";
    FileHolds(comment + "nameserver 9.9.9.9\n" + comment);
    Push(kFirst, "");
    EXPECT_EQ(Content(), comment + FIRST + comment);
}

TEST_F(NetHelper, FailureLeavesFileAndServersAsTheyWere) {
    const std::string full = "nameserver 9.9.9.9\nnameserver 8.8.4.4\noptions timeout:1 attempts:1\n";
    FileHolds(full);
    {
        const FileSizeLimit fullDisk(20);
        EXPECT_EQ(Push(kFirst, kSecond, EFBIG), std::string(kFirst) + " " + kSecond);
    }
    EXPECT_EQ(Content(), full);
}

TEST(NetHelperAddress, ReasonIsTold) {
    const std::pair<int, std::vector<const char*>> rows[] = {
        {0, {"", "1.2.3.4", "255.255.255.255", "1.2.3.4x", "1.2.3.4.5", "1.2.3.4 5", "1.2.3.\n4"}},
        {CNetHelper::AF_LENGTH_IPV4, {"1.2.3.", "255.255.255.2550", "portal"}},
        {CNetHelper::AF_PARTS, {"1.2.3456", "..1.2.3"}},
        {CNetHelper::AF_PART_LENGTH, {"1234.2.3.4", "1.2.3.4.56"}},
        {CNetHelper::AF_NUMBERS, {"a.b.c.d", "1x.2.3.4"}},
        {CNetHelper::AF_RANGE, {"10.0.0.1", "1.2.3.256", "1.2.3.-4"}},
        {0, {"::1", "fe80::", "2001:DB8::53", "1:2:3:4:5:6:7:8", "1111:2222:3333:4444:5555:6666:7777:8888"}},
        {CNetHelper::AF_LENGTH_IPV6, {"::", "1111:2222:3333:4444:5555:6666:7777:88889"}},
        {CNetHelper::AF_CHARACTERS, {"::ffff:1.2.3.4", "fe80::1%eth0", "::1\n"}},
        {CNetHelper::AF_COLONS, {"1:2", "1:2:3:4:5:6:7:8:9", ":1:2", "1:2:", ":::", "1::2::3", "::1::"}},
        {CNetHelper::AF_GROUP_LENGTH, {"12345::1", "::12345"}},
    };
    for (const auto& [reason, addresses] : rows) {
        for (const char* address : addresses) {
            EXPECT_EQ(CNetHelper().IsValidAddress(address), reason) << address;
        }
    }
}
