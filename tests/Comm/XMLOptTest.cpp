#include "XMLOpt.h"

#include <gtest/gtest.h>

namespace {

const char kEnvelope[] =
    "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>PortalConnect</OpC>"
    "<P><user>u</user><code>12ab</code><sub><a>1</a><a>2</a></sub></P></M>";

}  // namespace

TEST(XMLOpt, ReadsDottedPaths) {
    struct {
        const char* what;
        const char* path;
        const char* value;
        int number;
        const char* markup;
    } const rows[] = {
        {"child of the root", "OpT", "Portal", 0, "<OpT>Portal</OpT>"},
        {"two levels, digits first", "P.code", "12ab", 12, "<code>12ab</code>"},
        {"the first of one name", "P.sub.a", "1", 1, "<a>1</a>"},
        {"element with children", "P.sub", "", 0, "<sub><a>1</a><a>2</a></sub>"},
        {"trailing dot", "P.user.", "u", 0, "<user>u</user>"},
        {"root's own name", "M", "", 0, ""},
        {"missing child", "P.password", "", 0, ""},
        {"below a leaf", "OpT.x", "", 0, ""},
        {"empty name", "P..user", "", 0, ""},
        {"empty path", "", "", 0, ""},
    };
    CXMLOpt document(kEnvelope);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_STREQ(document.GetValue(row.path), row.value);
        EXPECT_EQ(document.GetIntValue(row.path), row.number);
        EXPECT_STREQ(document.GetDoc(row.path), row.markup);
    }
    EXPECT_STREQ(document.GetValue(nullptr), "");
    EXPECT_STREQ(document.GetDoc(nullptr), kEnvelope);
}

TEST(XMLOpt, CreatesWhatThePathLacks) {
    CXMLOpt document("<conf/>");
    EXPECT_TRUE(document.SetValue("Account.Portal", "a<b&c"));
    EXPECT_TRUE(document.SetValue("PID", 42));
    EXPECT_TRUE(document.SetValue("Account.Save", "1"));
    EXPECT_TRUE(document.SetValue("PID", 43));
    EXPECT_STREQ(document.GetValue("Account.Portal"), "a<b&c");
    EXPECT_EQ(document.GetIntValue("PID"), 43);
    EXPECT_STREQ(document.GetDoc(),
                 "<conf><PID>43</PID><Account><Save>1</Save><Portal>a&lt;b&amp;c</Portal></Account></conf>");
}

TEST(XMLOpt, CreatesNothingWithoutAPlaceOrAName) {
    const struct {
        const char* what;
        const char* document;
        const char* path;
    } rows[] = {
        {"no document", "", "a"},       {"no root", "<?xml version='1.0'?>", "a"},
        {"not well formed", "<a", "a"}, {"empty path", "<r/>", ""},
        {"null path", "<r/>", nullptr}, {"no name", "<r/>", ".a"},
        {"markup", "<r/>", "a/><b"},    {"blank", "<r/>", "a b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CXMLOpt document(row.document);
        EXPECT_FALSE(document.SetValue(row.path, "1"));
        EXPECT_STREQ(document.GetDoc(), row.document);
    }
}

TEST(XMLOpt, NullIsAnEmptyText) {
    CXMLOpt document(nullptr);
    EXPECT_FALSE(document.IsWellFormed());
    ASSERT_TRUE(document.SetDoc("<r><a>1</a></r>"));
    EXPECT_TRUE(document.SetValue("a", static_cast<const char*>(nullptr)));
    EXPECT_STREQ(document.GetDoc(), "<r><a></a></r>");
}

TEST(XMLOpt, StringSplitCutsAtTheFirstDot) {
    const struct {
        const char* source;
        const char* head;
        const char* rest;
        bool split;
    } rows[] = {
        {"P.a.b", "P", "a.b", true}, {"P", "P", "", false}, {"P.", "P", "", true},
        {".a", "", "a", true},       {"", "", "", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.source);
        CAutoString head = "old";
        CAutoString rest = row.source;
        EXPECT_EQ(CXMLOpt::StringSplit(rest, head, rest), row.split);
        EXPECT_STREQ(head, row.head);
        EXPECT_STREQ(rest, row.rest);
    }
}
