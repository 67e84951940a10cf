#include "XMLOpt.h"

#include <gtest/gtest.h>

#include "TemporaryFolder.h"

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
