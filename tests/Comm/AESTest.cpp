#include "AES.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

std::string FromHex(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// The AES-128 vectors of NIST SP 800-38A; what goes beyond their blocks is the padding.
TEST(AES, MatchesThePublishedVectorsAndPadsToWholeBlocks) {
    const std::string key = FromHex("2b7e151628aed2a6abf7158809cf4f3c");
    const std::string iv = FromHex("000102030405060708090a0b0c0d0e0f");
    const std::string block = "6bc1bee22e409f96e93d7e117393172a";
    const std::tuple<AESMode, AESPadding, std::string, std::string> rows[] = {
        {AESMode::kCbc, AESPadding::kPkcs7, block + "ae2d8a571e03ac9c9eb76fac45af8e51",
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
         "55e21d7100b988ffec32feeafaf23538"},
        {AESMode::kEcb, AESPadding::kZero, block, "3ad77bb40d7a3660a89ecaf32466ef97"},
        {AESMode::kEcb, AESPadding::kZero, "00", "7df76b0c1ab899b33e42f047b91b546f"},
        {AESMode::kCfb, AESPadding::kZero, block + "ae", "3b3fd92eb72dad20333449f8e83cfb4ac8"},
    };
    for (const auto& [mode, padding, plain, expected] : rows) {
        std::string cipher = "old";
        EXPECT_TRUE(CAES::Encrypt(mode, padding, FromHex(plain),
                                  reinterpret_cast<const unsigned char*>(key.data()),
                                  reinterpret_cast<const unsigned char*>(iv.data()), cipher));
        EXPECT_EQ(cipher, FromHex(expected)) << expected;
    }
}

}  // namespace
