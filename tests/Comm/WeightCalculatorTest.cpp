#include "WeightCalculator.h"

#include <gtest/gtest.h>

TEST(HashBalance, ReadsLists) {
    const std::pair<const char*, const char*> rows[] = {
        {"a,b,cc", "[a][b][cc]"},
        {"10.0.0.1,x", "[10.0.0.1]"},
        {"a,b,", "[a][b]"},
        {",,bb", "[][][bb]"},
        {"x", ""},
        {"", ""},
    };
    HashBalance servers;
    for (const auto& [list, expected] : rows) {
        servers.SetIpList(list);
        std::string entries;
        while (servers.Size() > 0) {
            // A key of one byte hashes to its value: this one chooses the first entry for every size up to 4.
            const std::string first = servers.getServer("\x0c");
            entries += "[" + first + "]";
            servers.deleteIp(first);
        }
        EXPECT_EQ(entries, expected) << list;
    }
}

TEST(HashBalance, HashesUnsignedBytesAndWraps) {
    EXPECT_EQ(HashBalance::hash_index("AB"), 2081u);
    EXPECT_EQ(HashBalance::hash_index("\xff"), 255u);
    EXPECT_EQ(HashBalance::hash_index("192.168.100.200"), 172665622u);
}

TEST(HashBalance, RepeatedFailuresWalkThroughTheList) {
    HashBalance servers;
    servers.SetIpList("s0,s1,s2,s1");
    EXPECT_EQ(servers.getServer(""), "");
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 4
    servers.deleteIp("s1");                   // only the first of the two
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 3 of s0, s2, s1
    servers.deleteIp("s1");
    servers.deleteIp("unknown");
    EXPECT_EQ(servers.getServer("A"), "s2");  // 65 % 2
    servers.deleteIp("s2");
    servers.deleteIp("s0");
    EXPECT_EQ(servers.getServer("A"), "");
}
