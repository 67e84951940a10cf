#include "md5.h"

#include <gtest/gtest.h>

// Of the standard's own test suite.
TEST(MD5, MatchesThePublishedDigests) {
    EXPECT_EQ(CMD5::MDString(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(CMD5::MDString("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(CMD5::MDString("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
}
