#include "WeightCalculator.h"

#include <gtest/gtest.h>

TEST(HashBalance, HashesUnsignedBytesAndWraps) {
    EXPECT_EQ(HashBalance::hash_index("AB"), 2081u);
    EXPECT_EQ(HashBalance::hash_index("\xff"), 255u);
    EXPECT_EQ(HashBalance::hash_index("192.168.100.200"), 172665622u);
}

TEST(HashBalance, RepeatedFailuresWalkThroughTheList) {
    HashBalance servers;
    for (const char* list : {"s0,s1,s2,", "s0,s1,s2,x"}) {
        servers.SetIpList(list);
        EXPECT_EQ(servers.Size(), 3) << "a last entry of one character is none";
    }
    servers.addIp("s1");
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
