#include "AutoString.h"

#include <gtest/gtest.h>

#include <string>

TEST(AutoString, PositionsOutsideTheTextMoveToItsEnds) {
    const CAutoString text = "portal";
    const struct {
        const char* what;
        CAutoString result;
        const char* expected;
    } rows[] = {
        {"middle", text.Mid(2, 3), "rta"},
        {"middle, too many", text.Mid(4, 99), "al"},
        {"middle behind", text.Mid(7), ""},
        {"middle, negative", text.Mid(-3, 2), "po"},
        {"negative count", text.Mid(1, -1), ""},
        {"left", text.Left(4), "port"},
        {"left, too many", text.Left(7), "portal"},
        {"right", text.Right(2), "al"},
        {"right, too many", text.Right(7), "portal"},
        {"right, negative", text.Right(-1), ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.expected, row.result);
    }
}

TEST(AutoString, FindsFromBothEnds) {
    const CAutoString text = "a.b.a";
    EXPECT_EQ(1, text.Find("."));
    EXPECT_EQ(3, text.Find('.', 2));
    EXPECT_EQ(3, text.ReverseFind('.'));
    EXPECT_EQ(-1, text.Find("x"));
    EXPECT_EQ(-1, text.Find(""));
    EXPECT_EQ(-1, text.Find(".", 99));
    EXPECT_EQ(-1, text.ReverseFind(nullptr));
}

TEST(AutoString, FormatTakesItsOwnTextAndAnyLength) {
    CAutoString text = std::string(5000, 'x');
    text.Format("<%s>%d", text.GetBuffer(), -7);
    EXPECT_EQ(std::string("<") + std::string(5000, 'x') + ">-7", text.GetText());
    text.Format("%s", "");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(AutoString, EditsInPlace) {
    CAutoString text = " \t<a>&<b>\r\n";
    EXPECT_EQ("<a>&<b>", text.Trim());
    EXPECT_EQ(2, text.Replace("<", "&lt;"));
    EXPECT_EQ(0, text.Replace("", "x"));
    EXPECT_EQ("&lt;a>&&lt;b>", text);
    EXPECT_EQ(14, text.Insert(99, "!"));
    EXPECT_EQ(15, text.Insert(-1, "?"));
    EXPECT_EQ("?&LT;A>&&LT;B>!", text.MakeUpper());
    EXPECT_EQ("", CAutoString(" \n ").Trim());
}

// The order decides in which sequence settings and businesses are walked.
TEST(AutoString, OrdersByUnsignedBytes) {
    EXPECT_LT(CAutoString("z"), CAutoString("\xe4"));
    EXPECT_LT(CAutoString("a"), CAutoString("ab"));
    EXPECT_FALSE(CAutoString("Portal") == "portal");
    EXPECT_EQ(0, CAutoString("Portal").CompareNoCase("pORTAL"));
    EXPECT_EQ(0, CAutoString(nullptr).Compare(nullptr));
}
