#include "AutoString.h"

#include <gtest/gtest.h>

#include <string>

TEST(AutoString, PositionsOutsideTheTextMoveToItsEnds) {
    CAutoString text = "portal";
    EXPECT_EQ("al", text.Mid(4, 99));
    EXPECT_EQ("po", text.Mid(-3, 2));
    EXPECT_EQ("", text.Mid(7, -1));
    EXPECT_EQ("al", text.Right(2));
    EXPECT_EQ(-1, text.Find(""));
    EXPECT_EQ(-1, text.Find("p", 99));
    EXPECT_EQ(5, text.ReverseFind('l'));
    EXPECT_EQ(7, text.Insert(99, "!"));
    EXPECT_EQ(8, text.Insert(-1, "?"));
    EXPECT_EQ("?PORTAL!", text.MakeUpper());
}

TEST(AutoString, ChangesInPlace) {
    CAutoString text = " \t<a>&<b>\r\n";
    EXPECT_EQ("<a>&<b>", text.Trim());
    EXPECT_EQ(2, text.Replace("<", "<<"));
    EXPECT_EQ(0, text.Replace("", "x"));
    text.Format("%s%d%s", text.GetBuffer(), -7, std::string(5000, 'x').c_str());
    EXPECT_EQ("<<a>&<<b>-7" + std::string(5000, 'x'), text.GetText());
    EXPECT_EQ("", CAutoString(" \n ").Trim());
    EXPECT_LT(CAutoString("z"), CAutoString("\xe4")) << "the order in which settings are walked";
}
