// What the reports of a whole session hold is judged by the simulator in the end-to-end tests.
#include "CTrafficStatistics.h"

#include <gtest/gtest.h>

#include <string>

#include "LocalHttpServer.h"
#include "Sandbox.h"

TEST(TrafficStatistics, OnlyACompleteSessionIsReported) {
    SKIP_OUTSIDE_SANDBOX();
    LocalHttpServer server({HttpAnswer("200 OK", "", "")});
    CTrafficStatistics statistics;
    const auto report = [&](tag_STATISTICS_TYPE type, const char* user, const char* ip) {
        (void)statistics.NetworkTrafficStatistics(server.Url("/").c_str(), user, nullptr, ip, nullptr, type);
        return server.Requests().size();
    };
    EXPECT_EQ(report(TIMING, "user", "192.0.2.10"), 0u) << "no login, hence no start time";
    EXPECT_EQ(report(LOGIN, "user", "192.0.2.10"), 0u);
    EXPECT_EQ(report(TIMING, "", "192.0.2.10") + report(LOGOUT, "user", nullptr), 0u);
    EXPECT_EQ(report(TIMING, "user", "192.0.2.10"), 1u);
}

TEST(TrafficReport, KilobytesHaveThreeDecimalsAndSixDigits) {
    const std::pair<int64_t, std::string> rows[] = {
        {2, "0.001"},
        {1536, "1.5"},
        {1264214, "1234.58"},
        {-1024, "1.80144e+16"},
        {1023915, "999.917"}};  // double precision would give 999.916
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
