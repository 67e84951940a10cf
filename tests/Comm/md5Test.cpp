#include "md5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

// Of the standard's own test suite, on a host that allows certified methods only, of which MD5 is none.
TEST(MD5, MatchesAPublishedDigestOnEveryHost) {
    ASSERT_EQ(EVP_default_properties_enable_fips(nullptr, 1), 1);
    EXPECT_EQ(CMD5::MDString("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EVP_default_properties_enable_fips(nullptr, 0);
}
