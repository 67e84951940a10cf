#include "WeightCalculator.h"

#include <gtest/gtest.h>

namespace {

// What is left of a list, in order, seen through the only way to get at it.
std::string ListOf(HashBalance servers) {
    std::string list;
    while (servers.Size() > 0) {
        // A key of one byte hashes to its value: this one chooses the first entry for every size up to 4.
        const std::string first = servers.getServer("\x0c");
        list += "[" + first + "]";
        servers.deleteIp(first);
    }
    return list;
}

TEST(HashBalance, ReadsLists) {
    struct Row {
        const char* what;
        const char* list;
        const char* entries;
    };
    const Row rows[] = {
        {"three", "10.0.0.1,10.0.0.2,10.0.0.3", "[10.0.0.1][10.0.0.2][10.0.0.3]"},
        {"short ones in front", "a,b,cc", "[a][b][cc]"},
        {"last one of one character", "10.0.0.1,x", "[10.0.0.1]"},
        {"comma at the end", "a,b,", "[a][b]"},
        {"empty ones in front", ",,bb", "[][][bb]"},
        {"only one character", "x", ""},
        {"nothing", "", ""},
    };
    HashBalance servers;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        servers.SetIpList(row.list);
        EXPECT_EQ(ListOf(servers), row.entries);
    }
}

TEST(HashBalance, HashesUnsignedBytesAndWraps) {
    struct Row {
        const char* key;
        uint32_t hash;
    };
    const Row rows[] = {
        {"", 0}, {"A", 65}, {"AB", 2081}, {"\xff", 255}, {"192.168.100.200", 172665622u},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(HashBalance::hash_index(row.key), row.hash);
    }
}

TEST(HashBalance, RepeatedFailuresWalkThroughTheList) {
    HashBalance servers;
    servers.SetIpList("s0,s1,s2,s1");
    EXPECT_EQ(servers.getServer(""), "");
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 4
    servers.deleteIp("s1");                   // only the first of the two
    EXPECT_EQ(servers.Size(), 3);
    EXPECT_EQ(servers.getServer("A"), "s1");  // 65 % 3 of s0, s2, s1
    servers.deleteIp("s1");
    servers.deleteIp("unknown");
    EXPECT_EQ(servers.getServer("A"), "s2");  // 65 % 2
    servers.deleteIp("s2");
    servers.deleteIp("s0");
    EXPECT_EQ(servers.getServer("A"), "");
}

}  // namespace
