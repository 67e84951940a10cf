#include "comm.h"

#include <gtest/gtest.h>

TEST(Comm, ATelephoneNumberHasElevenDigits) {
    EXPECT_TRUE(IsTelNum("13800138000"));
    for (const char* text : {"1380013800", "138001380000", "1380013800a", "-3800138000", ""}) {
        EXPECT_FALSE(IsTelNum(text)) << text;
    }
}

TEST(Comm, ShellLineIsTheFirstLineTrimmed) {
    char buffer[8] = "old";
    const char* const rows[][3] = {
        {"first of two lines", "printf ' \\ta b \\r\\nc\\n'", "a b"},
        {"no output", "true", ""},
        {"longer than the buffer", "echo 123456789", "1234567"},
    };
    for (const auto& [what, command, expected] : rows) {
        SCOPED_TRACE(what);
        EXPECT_STREQ(expected, CommFunc::GetShellLine(command, buffer, sizeof(buffer)));
    }
}
