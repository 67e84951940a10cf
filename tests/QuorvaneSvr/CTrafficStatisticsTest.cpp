// What the reports of a whole session hold is judged by the simulator in the end-to-end tests.
#include "CTrafficStatistics.h"

#include <gtest/gtest.h>

#include <string>

#include "LocalHttpServer.h"
#include "Sandbox.h"

TEST(TrafficStatistics, OnlyACompleteSessionIsReported) {
    SKIP_OUTSIDE_SANDBOX();
    LocalHttpServer server({HttpAnswer("200 OK", "", ""), HttpAnswer("503 Service Unavailable", "", "")});
    const std::string there = server.Url("/stats");
    const char* url = there.c_str();
    const auto unknown = static_cast<tag_STATISTICS_TYPE>(3);
    CTrafficStatistics statistics;
    EXPECT_NE(statistics.NetworkTrafficStatistics(url, "user", "1", "192.0.2.10", "", TIMING), 0)
        << "no login, hence no start time";
    ASSERT_EQ(statistics.NetworkTrafficStatistics(url, "user", "1", "192.0.2.10", "", LOGIN), 0);
    EXPECT_NE(statistics.NetworkTrafficStatistics(url, "user", "1", "192.0.2.10", "", unknown), 0);
    EXPECT_NE(statistics.NetworkTrafficStatistics(url, "", "1", "192.0.2.10", "", TIMING), 0);
    EXPECT_NE(statistics.NetworkTrafficStatistics(url, "user", "1", nullptr, "", LOGOUT), 0);
    EXPECT_EQ(statistics.NetworkTrafficStatistics("", "user", "1", "192.0.2.10", "", TIMING), -1);
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_EQ(statistics.NetworkTrafficStatistics(url, "user", nullptr, "192.0.2.10", nullptr, TIMING), 0);
    EXPECT_EQ(statistics.NetworkTrafficStatistics(url, "user", "1", "192.0.2.10", "", LOGOUT), -3);
}

TEST(TrafficReport, KilobytesHaveThreeDecimalsAndSixDigits) {
    const std::pair<int64_t, std::string> rows[] = {
        {2, "0.001"}, {1536, "1.5"}, {1264214, "1234.58"}, {-1024, "1.80144e+16"}};
    for (const auto& [bytes, text] : rows) {
        std::string token;
        CTrafficStatistics::BuildToken("u\"@x", "", 2, "i", "", "s", "e",
                                       CTrafficStatistics::Kilobytes(static_cast<uint64_t>(bytes)), 0, TIMING,
                                       1, token);
        EXPECT_EQ(token,
                  "{\"account\":\"u\\\"@x\",\"schoolid\":\"\",\"ostype\":2,\"ipv4\":\"i\",\"brasip\":\"\","
                  "\"start\":\"s\",\"stop\":\"e\",\"up\":\"" +
                      text + "\",\"down\":\"0\",\"stattype\":2,\"timestamp\":1}");
    }
}
