#include "HttpHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

TEST(HttpHelper, ReadsTheQuery) {
    const std::tuple<const char*, const char*, int, const char*, const char*, const char*> rows[] = {
        {"white space around the address", " \r\nhttp://p/i.cgi?a=1&b=2 \n", 1, "http://p/i.cgi", "1", "2"},
        {"only the last pair is trimmed", "http://p/?a= 1 & b = 2 ", 1, "http://p/", " 1 ", "2"},
        {"the later of two values", "http://p/?a=1&a=3&b=2&b=4", 1, "http://p/", "3", "4"},
        {"a value with = and ?", "http://p/?a=x=y?z&b==", 1, "http://p/", "x=y?z", "="},
        {"empty values", "http://p/?a=&b=", 1, "http://p/", "", ""},
        {"a piece without = at the start", "http://p/?flag&a=1&b=2", 1, "http://p/", "1", "2"},
        {"pieces without = in the middle", "http://p/?a=1&flag&&b=2", 1, "http://p/", "1", "2"},
        {"a last piece without =", "http://p/?a=1&b", 1, "http://p/", "1", ""},
        {"pieces without = behind a pair", "http://p/?a=1&b&c", 0, "http://p/", "1", ""},
        {"no = anywhere", "http://p/?a&b", 0, "http://p/", "", ""},
        {"an empty query", "http://p/?", 1, "http://p/", "", ""},
        {"no query", "http://p/i.cgi", 1, "", "", ""},
        {"https", "https://p/?a=1&b=2", 0, "", "", ""},
    };
    for (const auto& [what, address, result, url, a, b] : rows) {
        SCOPED_TRACE(what);
        CHttpHelper helper;
        EXPECT_EQ(helper.SetAddress(address), result);
        EXPECT_EQ(helper.GetUrl(), url);
        EXPECT_EQ(helper.GetParam("a"), a);
        EXPECT_EQ(helper.GetParam("b"), b);
    }
}

TEST(HttpHelper, HopWithoutQueryKeepsWhatTheLastOneBrought) {
    CHttpHelper helper;
    helper.SetAddress("http://p/1?a=1&b=2");
    EXPECT_EQ(helper.SetAddress("http://p/2"), 1);
    EXPECT_EQ(helper.SetAddress("https://p/3?a=9"), 0);
    EXPECT_EQ(helper.GetUrl(), "http://p/1");
    EXPECT_EQ(helper.GetParam("a"), "1");
    EXPECT_EQ(helper.SetAddress("http://p/4?a=4"), 1);
    EXPECT_EQ(helper.GetParam("a"), "4");
    EXPECT_EQ(helper.GetParam("b"), "");
}

// A portal page may carry an address of any length; reading it must not take longer than receiving it did.
TEST(HttpHelper, HugeQueryIsReadInOnePass) {
    CHttpHelper helper;
    EXPECT_EQ(helper.SetAddress(("http://p/?" + std::string(8 * 1024 * 1024, '&') + "a=1").c_str()), 1);
    EXPECT_EQ(helper.GetParam("a"), "1");
}

TEST(HttpHelper, SplitsAddresses) {
    CAutoString url = "old";
    CAutoString query = "old";
    for (const char* refused : {"https://p/?a=1", "http://p/", "p?a=1", ""}) {
        EXPECT_EQ(CHttpHelper::ParseAddress(refused, url, query), 0) << refused;
        EXPECT_EQ(url + query, "oldold");
    }
    EXPECT_EQ(CHttpHelper::ParseAddress(" http://p/x?a=1?b ", url, query), 1);
    EXPECT_EQ(url + " " + query, "http://p/x a=1?b");
}

TEST(HttpHelper, FindsHostAndPort) {
    // The host by the form without a port, then host and port by the other one.
    const std::tuple<const char*, const char*, int, const char*, const char*, const char*> rows[] = {
        {"host and path", " http://10.0.0.1/x/y ", 1, "10.0.0.1", "10.0.0.1", "old"},
        {"https", "https://p/x", 1, "p", "p", "old"},
        {"port and path", "http://p:8080/x", 1, "p:8080", "p", "8080"},
        {"port without a path stays with the host", "http://p:8080", 1, "p:8080", "p:8080", "old"},
        {"colon only in the path", "http://p/x:y", 1, "p", "p", "old"},
        {"brackets are not known", "http://[fe80::1]:80/", 1, "[fe80::1]:80", "[fe80", ":1]:80"},
        {"http address inside of another one", "https://p/?u=http://q/", 1, "q", "q", "old"},
        {"empty host", "http:///x", 1, "", "", "old"},
        {"only a scheme", "http://", 0, "old", "old", "old"},
        {"no scheme", "10.0.0.1/x", 0, "old", "old", "old"},
    };
    for (const auto& [what, address, result, authority, host, port] : rows) {
        SCOPED_TRACE(what);
        CAutoString found[] = {"old", "old", "old"};
        EXPECT_EQ(CHttpHelper::ParseIP(address, found[0]), result);
        EXPECT_EQ(CHttpHelper::ParseIP(address, found[1], found[2]), result);
        EXPECT_EQ(found[0], authority);
        EXPECT_EQ(found[1], host);
        EXPECT_EQ(found[2], port);
    }
}

}  // namespace
