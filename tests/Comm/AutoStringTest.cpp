#include "AutoString.h"

#include <gtest/gtest.h>

TEST(AutoString, PositionsOutsideTheTextMoveToItsEnds) {
    CAutoString text = "portal";
    EXPECT_EQ("al-po-", text.Mid(4, 99) + "-" + text.Mid(-3, 2) + "-" + text.Mid(7, -1));
    EXPECT_TRUE(text.Find("") == -1 && text.Find("p", 99) == -1 && text.ReverseFind('l') == 5);
    EXPECT_TRUE(text.Insert(99, "!") == 7 && text.Insert(-1, "?") == 8);
    EXPECT_EQ("?PORTAL!", text.MakeUpper());
}

TEST(AutoString, ChangesInPlace) {
    CAutoString text = " \t<a>&<b>\r\n";
    EXPECT_EQ("<a>&<b>", text.Trim());
    EXPECT_TRUE(text.Replace("<", "<<") == 2 && text.Replace("", "x") == 0);
    text.Format("%s%d%s", text.GetBuffer(), -7, std::string(5000, 'x').c_str());
    EXPECT_EQ("<<a>&<<b>-7" + std::string(5000, 'x'), text.GetText());
    EXPECT_LT(CAutoString("z"), CAutoString("\xe4")) << "the order in which settings are walked";
}
