#include "XMLOpt.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

TEST(XMLOpt, ReadsDottedPaths) {
    constexpr char kEnvelope[] =
        "<M><OpT>Portal</OpT><P><user>u</user><code>12ab</code><sub><a>1</a><a>2</a></sub></P></M>";
    const std::tuple<const char*, const char*, const char*, int, const char*> rows[] = {
        {"child of the root", "OpT", "Portal", 0, "<OpT>Portal</OpT>"},
        {"two levels, digits first", "P.code", "12ab", 12, "<code>12ab</code>"},
        {"the first of one name", "P.sub.a", "1", 1, "<a>1</a>"},
        {"element with children", "P.sub", "", 0, "<sub><a>1</a><a>2</a></sub>"},
        {"trailing dot", "P.user.", "u", 0, "<user>u</user>"},
        {"root's own name", "M", "", 0, ""},
        {"below a leaf", "OpT.x", "", 0, ""},
        {"empty name", "P..user", "", 0, ""},
        {"empty path", "", "", 0, ""},
        {"null path", nullptr, "", 0, kEnvelope},
    };
    CXMLOpt document(kEnvelope);
    for (const auto& [what, path, value, number, markup] : rows) {
        SCOPED_TRACE(what);
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
    EXPECT_STREQ(document.GetDoc(),
                 "<conf><PID>43</PID><Account><Save></Save><Portal>a&lt;b&amp;c</Portal></Account></conf>");
}

TEST(XMLOpt, CreatesNothingWithoutAPlaceOrAName) {
    const std::array<const char*, 2> rows[] = {
        {"", "a"},         {"<?xml version='1.0'?>", "a"},
        {"<a", "a"},       {"<r/>", ""},
        {"<r/>", nullptr}, {"<r/>", ".a"},
        {"<r/>", "a/><b"}, {"<r/>", "a b"},
    };
    for (const auto& [text, path] : rows) {
        CXMLOpt document(text);
        EXPECT_FALSE(document.SetValue(path, "1"));
        EXPECT_STREQ(document.GetDoc(), text);
    }
}

TEST(XMLOpt, StringSplitCutsAtTheFirstDot) {
    const std::tuple<const char*, const char*, const char*, bool> rows[] = {
        {"P.a.b", "P", "a.b", true}, {"P", "P", "", false}, {".a", "", "a", true}, {"", "", "", false}};
    for (const auto& [source, expectedHead, expectedRest, split] : rows) {
        CAutoString head;
        CAutoString rest = source;
        EXPECT_EQ(CXMLOpt::StringSplit(rest, head, rest), split);
        EXPECT_STREQ(head, expectedHead);
        EXPECT_STREQ(rest, expectedRest);
    }
}
