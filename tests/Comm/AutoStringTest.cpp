#include "AutoString.h"

#include <gtest/gtest.h>

#include <string>

TEST(AutoString, PositionsOutsideTheTextMoveToItsEnds) {
    CAutoString text = "portal";
    EXPECT_EQ("rta", text.Mid(2, 3));
    EXPECT_EQ("al", text.Mid(4, 99));
    EXPECT_EQ("", text.Mid(7));
    EXPECT_EQ("po", text.Mid(-3, 2));
    EXPECT_EQ("", text.Mid(1, -1));
    EXPECT_EQ("port", text.Left(4));
    EXPECT_EQ("al", text.Right(2));
    EXPECT_EQ("portal", text.Right(7));
    EXPECT_EQ(-1, text.Find(""));
    EXPECT_EQ(-1, text.Find("p", 99));
    EXPECT_EQ(5, text.ReverseFind('l'));
    EXPECT_EQ(7, text.Insert(99, "!"));
    EXPECT_EQ(8, text.Insert(-1, "?"));
    EXPECT_EQ("?PORTAL!", text.MakeUpper());
}

TEST(AutoString, FormatTakesItsOwnTextAndAnyLength) {
    CAutoString text = std::string(5000, 'x');
    text.Format("<%s>%d", text.GetBuffer(), -7);
    EXPECT_EQ("<" + std::string(5000, 'x') + ">-7", text.GetText());
    text.Format("%s", "");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(AutoString, ReplacesAndTrims) {
    CAutoString text = " \t<a>&<b>\r\n";
    EXPECT_EQ("<a>&<b>", text.Trim());
    EXPECT_EQ(2, text.Replace("<", "<<"));
    EXPECT_EQ(0, text.Replace("", "x"));
    EXPECT_EQ("<<a>&<<b>", text);
    EXPECT_EQ("", CAutoString(" \n ").Trim());
}

// The order decides in which sequence settings and businesses are walked.
TEST(AutoString, OrdersByUnsignedBytes) {
    EXPECT_LT(CAutoString("z"), CAutoString("\xe4"));
    EXPECT_LT(CAutoString("a"), CAutoString("ab"));
    EXPECT_FALSE(CAutoString("Portal") == "portal");
    EXPECT_EQ(0, CAutoString(nullptr).Compare(nullptr));
}
