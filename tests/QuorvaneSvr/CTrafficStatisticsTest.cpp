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
    CTrafficStatistics statistics;
    const auto report = [&](tag_STATISTICS_TYPE type, const char* user = "user",
                            const char* ip = "192.0.2.10") {
        return statistics.NetworkTrafficStatistics(there.c_str(), user, nullptr, ip, nullptr, type);
    };
    EXPECT_NE(report(TIMING), 0) << "no login, hence no start time";
    ASSERT_EQ(report(LOGIN), 0);
    EXPECT_NE(report(static_cast<tag_STATISTICS_TYPE>(3)), 0);
    EXPECT_NE(report(TIMING, ""), 0);
    EXPECT_NE(report(LOGOUT, "user", nullptr), 0);
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_EQ(report(TIMING), 0);
    EXPECT_EQ(report(LOGOUT), -3);
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
