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
        {"pieces without =", "http://p/?x&a=1&flag&&b=2", 1, "http://p/", "1", "2"},
        {"pieces without = behind a pair", "http://p/?a=1&b&c", 0, "http://p/", "1", ""},
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

TEST(HttpHelper, LaterHopsAddToWhatEarlierOnesBrought) {
    CHttpHelper helper;
    EXPECT_EQ(helper.SetAddress("http://p/1?a=1&b=2"), 1);
    EXPECT_EQ(helper.SetAddress("http://p/2"), 1);
    EXPECT_EQ(helper.SetAddress("https://p/3?a=9"), 0);
    EXPECT_EQ(helper.SetAddress("http://p/4?a=4&c=5"), 1);
    EXPECT_EQ(helper.GetParam("a") + helper.GetParam("b") + helper.GetParam("c"), "425");
}

// A portal page may carry an address of any length; reading it must not take longer than receiving it did.
TEST(HttpHelper, HugeQueriesAreReadInOnePassAndKeptWithinBounds) {
    CHttpHelper helper;
    EXPECT_EQ(helper.SetAddress(("http://p/?a=0" + std::string(8 * 1024 * 1024, '&') + "a=1").c_str()), 1);
    EXPECT_EQ(helper.GetParam("a"), "1");
    CAutoString names = "http://p/?";
    for (int i = 0; i < 5000; ++i) {
        names += (std::to_string(i) + "=x&").c_str();
    }
    EXPECT_EQ(helper.SetAddress(names + "a=2"), 1);
    EXPECT_EQ(helper.GetParam("4000") + helper.GetParam("4999") + helper.GetParam("a"), "x2");
}

}  // namespace
