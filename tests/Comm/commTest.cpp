#include "comm.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

TEST(Comm, ATelephoneNumberHasElevenDigits) {
    const struct {
        const char* text;
        bool expected;
    } rows[] = {{"13800138000", true},
                {"1380013800", false},
                {"138001380000", false},
                {"1380013800a", false},
                {" 3800138000", false},
                {"-3800138000", false},
                {"", false},
                {nullptr, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text != nullptr ? row.text : "null");
        EXPECT_EQ(row.expected, IsTelNum(row.text));
    }
}

TEST(Comm, ItoaAnswersTheEndOfTheDigits) {
    for (const int value : {0, 7, INT_MAX}) {
        char buffer[16];
        const char* const end = itoa(value, buffer, 16);
        EXPECT_EQ(std::to_string(value), buffer);
        EXPECT_EQ(buffer + strlen(buffer), end);
    }
}

TEST(Comm, TrimsInPlace) {
    char text[] = "\t a b \r\n";
    EXPECT_STREQ("a b", CommFunc::Trim(text, " \t\r\n"));
    char onlyBlanks[] = "  ";
    EXPECT_STREQ("", CommFunc::Trim(onlyBlanks, " "));
}

TEST(Comm, QuotedTextIsOneWordForTheShell) {
    for (const std::string text : {"plain", "", "a b", "it's", "$(id)`id`\"\\;|&", "-n", "''"}) {
        SCOPED_TRACE(text);
        char buffer[256];
        const CAutoString command = "printf '[%s]' " + CommFunc::ShellQuote(text.c_str());
        ASSERT_NE(nullptr, CommFunc::GetShellLine(command, buffer, sizeof(buffer)));
        EXPECT_EQ("[" + text + "]", std::string(buffer).substr(strspn(buffer, " ")));
    }
}

TEST(Comm, ShellLineIsTheFirstLineTrimmed) {
    char buffer[8] = "old";
    const struct {
        const char* what;
        const char* command;
        size_t size;
        const char* expected;  // null: refused
    } rows[] = {
        {"first of two lines", "printf ' a \\nb\\n'", 8, "a"},
        {"no output", "true", 8, ""},
        {"longer than the buffer", "echo 123456789", 8, "1234567"},
        {"no command", "", 8, nullptr},
        {"null command", nullptr, 8, nullptr},
        {"no room", "echo a", 0, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_STREQ(row.expected, CommFunc::GetShellLine(row.command, buffer, row.size));
    }
    EXPECT_TRUE(CommFunc::ShellExecute("exit 1"));
    EXPECT_FALSE(CommFunc::ShellExecute("./no-such-program 2>&-"));
}
