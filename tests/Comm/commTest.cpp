#include "comm.h"

#include <gtest/gtest.h>

TEST(Comm, ATelephoneNumberHasElevenDigits) {
    EXPECT_TRUE(IsTelNum("13800138000"));
    for (const char* text : {"1380013800", "138001380000", "1380013800a", "-3800138000", ""}) {
        EXPECT_FALSE(IsTelNum(text)) << text;
    }
}
