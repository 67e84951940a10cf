#include "comm.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>

TEST(Comm, ATelephoneNumberHasElevenDigits) {
    EXPECT_TRUE(IsTelNum("13800138000"));
    for (const char* text : {"1380013800", "138001380000", "1380013800a", "-3800138000", ""}) {
        EXPECT_FALSE(IsTelNum(text)) << text;
    }
    EXPECT_FALSE(IsTelNum(nullptr));
}

TEST(Comm, ItoaAnswersTheEndOfTheDigits) {
    char buffer[16];
    EXPECT_EQ(buffer + 10, itoa(INT_MAX, buffer, 16));
    EXPECT_EQ(std::to_string(INT_MAX), buffer);
}

TEST(Comm, QuotedTextIsOneWordForTheShell) {
    for (const std::string text : {"", "a b", "it's", "$(id)`id`\"\\;|&", "-n", "''"}) {
        char buffer[256];
        const CAutoString command = "printf '[%s]' " + CommFunc::ShellQuote(text.c_str());
        EXPECT_EQ("[" + text + "]", CommFunc::GetShellLine(command, buffer, sizeof(buffer)));
    }
}

TEST(Comm, ShellLineIsTheFirstLineTrimmed) {
    char buffer[8] = "old";
    const std::tuple<const char*, const char*, size_t, const char*> rows[] = {
        {"first of two lines", "printf ' \\ta b \\r\\nc\\n'", 8, "a b"},
        {"no output", "true", 8, ""},
        {"longer than the buffer", "echo 123456789", 8, "1234567"},
        {"no command", "", 8, nullptr},
        {"null command", nullptr, 8, nullptr},
        {"no room", "echo a", 0, nullptr},
    };
    for (const auto& [what, command, size, expected] : rows) {
        SCOPED_TRACE(what);
        EXPECT_STREQ(expected, CommFunc::GetShellLine(command, buffer, size));
    }
    EXPECT_TRUE(CommFunc::ShellExecute("exit 1"));
    EXPECT_FALSE(CommFunc::ShellExecute("./no-such-program 2>&-"));
}
