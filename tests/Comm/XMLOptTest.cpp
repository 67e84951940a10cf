#include "XMLOpt.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(XMLOpt, ReadsDottedPaths) {
    constexpr char kEnvelope[] =
        "<M><OpT>Portal</OpT><P><user>u</user><code>12ab</code><sub><a>1</a><a>2</a></sub></P></M>";
    const std::tuple<const char*, const char*, int, const char*> rows[] = {
        {"OpT", "Portal", 0, "<OpT>Portal</OpT>"},
        {"P.code", "12ab", 12, "<code>12ab</code>"},
        {"P.sub.a", "1", 1, "<a>1</a>"},
        {"P.user.", "u", 0, "<user>u</user>"},
        {"M", "", 0, ""},
        {"P..user", "", 0, ""},
        {"", "", 0, ""},
        {nullptr, "", 0, kEnvelope},
    };
    CXMLOpt document(kEnvelope);
    for (const auto& [path, value, number, markup] : rows) {
        SCOPED_TRACE(path != nullptr ? path : "null");
        EXPECT_STREQ(document.GetValue(path), value);
        EXPECT_EQ(document.GetIntValue(path), number);
        EXPECT_STREQ(document.GetDoc(path), markup);
    }
}

TEST(XMLOpt, CreatesWhatThePathLacks) {
    CXMLOpt document("<conf/>");
    EXPECT_TRUE(document.SetValue("Account.Portal", "a<b&c"));
    EXPECT_TRUE(document.SetValue("PID", 42));
    EXPECT_TRUE(document.SetValue("Account.Save", static_cast<const char*>(nullptr)));
    EXPECT_TRUE(document.SetValue("PID", 43));
    for (const char* path : {"", ".a", "a/><b", "a b", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(document.SetValue(path, "1"));
    }
    EXPECT_STREQ(document.GetDoc(),
                 "<conf><PID>43</PID><Account><Save></Save><Portal>a&lt;b&amp;c</Portal></Account></conf>");
    EXPECT_FALSE(CXMLOpt("<?xml version='1.0'?>").SetValue("a", "1")) << "there is no root to add to";
}
