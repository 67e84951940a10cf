#include "CTrafficStatistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <memory>
#include <regex>
#include <string>

#include "LocalHttpServer.h"
#include "Sandbox.h"

using testing::HasSubstr;

namespace {

constexpr char kReportKey[] = "Lr6Df0PkM2xZq8Vb";
constexpr char kReportIV[] = "Ty4Ws9JnB7cUh3Ke";
constexpr char kBodyKey[] = "Qm7Tz2LwX9bKp4Rd";
constexpr char kBodyIV[] = "H3vNc8YjW5sEa1Gu";

// What the portal's server does with lower-case hexadecimal digits; empty when it cannot read them.
std::string Decrypt(const std::string& hex, const char* key, const char* iv) {
    if (hex.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return "";
    }
    std::string cipher;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        cipher += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    std::string plain(cipher.size() + 16, '\0');
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                             EVP_CIPHER_CTX_free);
    const auto bytes = [](const char* text) { return reinterpret_cast<const unsigned char*>(text); };
    auto* out = reinterpret_cast<unsigned char*>(&plain[0]);
    int length = 0;
    int rest = 0;
    EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(key), bytes(iv));
    EVP_DecryptUpdate(context.get(), out, &length, bytes(cipher.data()), static_cast<int>(cipher.size()));
    if (EVP_DecryptFinal_ex(context.get(), out + length, &rest) != 1) {
        return "";
    }
    plain.resize(static_cast<size_t>(length + rest));
    return plain;
}

// The members of a report that differ from one to the next.
struct Report {
    std::string start, stop, up, down, type;
};

// A session on the sandbox's link with a statistics server that takes everything.
class TrafficStatistics : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }

    int Step(tag_STATISTICS_TYPE type) {
        return statistics.NetworkTrafficStatistics(server.Url("/stats").c_str(), "user\"@campus", "1005",
                                                   kSandboxAddress, "198.51.100.7", type);
    }
    void ReadReport(size_t index, Report& report) {
        ASSERT_GT(server.Requests().size(), index);
        std::smatch found;
        const std::string body = Decrypt(server.Requests()[index].body, kBodyKey, kBodyIV);
        const std::regex bodyForm(R"re(\{"token":"([0-9a-f]+)"\})re");
        ASSERT_TRUE(std::regex_match(body, found, bodyForm)) << body;
        const std::string record = Decrypt(found[1], kReportKey, kReportIV);
        const std::regex recordForm(
            R"re(\{"account":"user\\"@campus","schoolid":"1005","ostype":2,"ipv4":"192.0.2.10",)re"
            R"re("brasip":"198.51.100.7","start":"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)","stop":"([^"]{19})",)re"
            R"re("up":"([0-9.]+)","down":"([0-9.]+)","stattype":(\d),"timestamp":\d{10}\})re");
        ASSERT_TRUE(std::regex_match(record, found, recordForm)) << record;
        report = {found[1], found[2], found[3], found[4], found[5]};
    }

    LocalHttpServer server{{HttpAnswer("200 OK", "", "ok")}};
    CTrafficStatistics statistics;
};

}  // namespace

TEST_F(TrafficStatistics, SessionIsReportedAsTheSumSinceTheLogin) {
    ASSERT_TRUE(SendToSandboxPeer(5000));
    ASSERT_EQ(Step(LOGIN), 0);
    EXPECT_TRUE(server.Requests().empty());
    ASSERT_TRUE(SendToSandboxPeer(20000));
    ASSERT_EQ(Step(TIMING), 0);
    ASSERT_TRUE(SendToSandboxPeer(20000));
    ASSERT_EQ(Step(LOGOUT), 0);

    Report timing;
    Report logout;
    ASSERT_NO_FATAL_FAILURE(ReadReport(0, timing));
    ASSERT_NO_FATAL_FAILURE(ReadReport(1, logout));
    EXPECT_EQ(timing.type, "2");
    EXPECT_EQ(logout.type, "0");
    EXPECT_EQ(timing.start, logout.start);
    EXPECT_GE(std::stod(timing.up), 20000 / 1024.0);
    EXPECT_LT(std::stod(timing.up), 25000 / 1024.0);
    EXPECT_GE(std::stod(logout.up), 40000 / 1024.0);
    EXPECT_LT(std::stod(logout.up), 45000 / 1024.0);
    EXPECT_LT(std::stod(timing.down), std::stod(timing.up));
    EXPECT_THAT(server.Requests()[0].head,
                HasSubstr("Accept: text/javascript, text/html, application/xml, text/xml, */*\r\n"
                          "Content-type: text/plain; charset=utf-8\r\n"
                          "Accept-Encoding: gzip, deflate\r\n"
                          "Connection: close\r\n"
                          "Cache-Control: no-cache\r\n"));
    EXPECT_EQ(server.Requests()[0].head.find("POST /stats HTTP/1.1\r\n"), 0U);
}

TEST_F(TrafficStatistics, IncompleteSessionSendsNothing) {
    const std::string url = server.Url("/stats");
    EXPECT_NE(Step(TIMING), 0) << "no login, hence no start time";
    ASSERT_EQ(Step(LOGIN), 0);
    EXPECT_NE(Step(static_cast<tag_STATISTICS_TYPE>(3)), 0);
    EXPECT_NE(statistics.NetworkTrafficStatistics(url.c_str(), "", "1", "192.0.2.10", "", TIMING), 0);
    EXPECT_NE(statistics.NetworkTrafficStatistics(url.c_str(), "user", "1", nullptr, "", LOGOUT), 0);
    EXPECT_EQ(statistics.NetworkTrafficStatistics("", "user", "1", "192.0.2.10", "", TIMING), -1);
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_EQ(
        statistics.NetworkTrafficStatistics(url.c_str(), "user", nullptr, "192.0.2.10", nullptr, TIMING), 0);
}

TEST_F(TrafficStatistics, RefusalOfTheServerIsTheResult) {
    LocalHttpServer refusing({HttpAnswer("503 Service Unavailable", "", "")});
    ASSERT_EQ(Step(LOGIN), 0);
    EXPECT_EQ(
        statistics.NetworkTrafficStatistics(refusing.Url("/").c_str(), "user", "1", "192.0.2.10", "", TIMING),
        -3);
}

TEST(TrafficReport, KilobytesHaveThreeDecimalsAndSixDigits) {
    const struct {
        uint64_t bytes;
        const char* text;
    } rows[] = {
        {0, "0"},
        {1, "0"},
        {2, "0.001"},
        {1536, "1.5"},
        {1023, "0.999"},
        {1264214, "1234.58"},
        {1048576000, "1.024e+06"},
        {17179870, "16777.2"},
        {static_cast<uint64_t>(-1024), "1.80144e+16"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        std::string token;
        CTrafficStatistics::BuildToken("a", "", 2, "i", "", "s", "e",
                                       CTrafficStatistics::Kilobytes(row.bytes), 0, TIMING, 1, token);
        EXPECT_THAT(token, HasSubstr("\"up\":\"" + std::string(row.text) + "\",\"down\":\"0\""));
    }
}

TEST(TrafficReport, TextIsPaddedByUpToAWholeBlock) {
    const struct {
        size_t plain;
        size_t digits;
    } rows[] = {{0, 32}, {15, 32}, {16, 64}, {32, 96}, {33, 96}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.plain);
        const std::string plain(row.plain, '\xfe');
        std::string hex;
        EXPECT_TRUE(CTrafficStatistics::EncryptData(plain, hex, kBodyKey, kBodyIV));
        EXPECT_EQ(hex.size(), row.digits);
        EXPECT_EQ(Decrypt(hex, kBodyKey, kBodyIV), plain);
    }
}
