#include "comm.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

TEST(Comm, ATelephoneNumberHasElevenDigits) {
    EXPECT_TRUE(IsTelNum("13800138000"));
    for (const char* text : {"1380013800", "138001380000", "1380013800a", "-3800138000", ""}) {
        EXPECT_FALSE(IsTelNum(text)) << text;
    }
}

TEST(Comm, ShellLineIsTheFirstLineTrimmed) {
    char buffer[8] = "old";
    const std::tuple<const char*, const char*, size_t, const char*> rows[] = {
        {"first of two lines", "printf ' \\ta b \\r\\nc\\n'", 8, "a b"},
        {"no output", "true", 8, ""},
        {"longer than the buffer", "echo 123456789", 8, "1234567"},
        {"null command", nullptr, 8, nullptr},
    };
    for (const auto& [what, command, size, expected] : rows) {
        SCOPED_TRACE(what);
        EXPECT_STREQ(expected, CommFunc::GetShellLine(command, buffer, size));
    }
}
