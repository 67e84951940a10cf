#include "XMLOpt.h"

#include <gtest/gtest.h>

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
