#include "md5.h"

#include <gtest/gtest.h>

namespace {

TEST(MD5, DigestsOfTheStandardsTestSuite) {
    struct Row {
        const char* text;
        const char* digest;
    };
    const Row rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(CMD5::MDString(row.text), row.digest);
    }
}

}  // namespace
