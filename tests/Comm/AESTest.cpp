#include "AES.h"

#include <gtest/gtest.h>

namespace {

std::string FromHex(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string Encrypt(const std::string& plain, const std::string& key, const std::string& iv) {
    std::string cipher = "old";
    EXPECT_TRUE(CAES::EncryptCbc(plain, reinterpret_cast<const unsigned char*>(key.data()),
                                 reinterpret_cast<const unsigned char*>(iv.data()), cipher));
    return cipher;
}

// The CBC-AES128 vectors of NIST SP 800-38A; what follows their four blocks is the padding.
TEST(AES, MatchesThePublishedVectorsAndPadsToWholeBlocks) {
    const std::string key = FromHex("2b7e151628aed2a6abf7158809cf4f3c");
    const std::string iv = FromHex("000102030405060708090a0b0c0d0e0f");
    const std::string plain = FromHex(
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    EXPECT_EQ(Encrypt(plain, key, iv),
              FromHex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
                      "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"
                      "8cb82807230e1321d3fae00d18cc2012"));
    for (size_t length = 0; length <= 2 * kAesBlockLength; ++length) {
        EXPECT_EQ(Encrypt(std::string(length, 'p'), key, iv).size(),
                  (length / kAesBlockLength + 1) * kAesBlockLength);
    }
}

}  // namespace
