#include "WeightCalculator.h"

#include <gtest/gtest.h>

TEST(HashBalance, RepeatedFailuresWalkThroughTheList) {
    EXPECT_EQ(HashBalance::hash_index("192.168.100.200\xff"), 1057667241u) << "unsigned bytes, and it wraps";
    HashBalance servers;
    servers.SetIpList("s0,s1,s2, ");
    servers.addIp("s1");
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 4
    servers.deleteIp("s1");                   // only the first of the two
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 3 of s0, s2, s1
    servers.deleteIp("s1");
    EXPECT_EQ(servers.getServer("A"), "s2");  // 65 % 2
    servers.deleteIp("s2");
    servers.deleteIp("s0");
    EXPECT_EQ(servers.getServer("A"), "");
}
