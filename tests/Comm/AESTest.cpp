#include "AES.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <memory>

namespace {

std::string FromHex(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string Decrypt(const std::string& cipher, const std::string& key, const std::string& iv) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    std::string plain(cipher.size() + kAesBlockLength, '\0');
    auto* out = reinterpret_cast<unsigned char*>(&plain[0]);
    int length = 0;
    int rest = 0;
    EXPECT_EQ(EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, Bytes(key), Bytes(iv)), 1);
    EXPECT_EQ(EVP_DecryptUpdate(context.get(), out, &length, Bytes(cipher), static_cast<int>(cipher.size())),
              1);
    EXPECT_EQ(EVP_DecryptFinal_ex(context.get(), out + length, &rest), 1);
    plain.resize(static_cast<size_t>(length + rest));
    return plain;
}

// The CBC-AES128 vectors of NIST SP 800-38A; what follows their four blocks is the padding.
TEST(AES, MatchesThePublishedVectors) {
    const std::string key = FromHex("2b7e151628aed2a6abf7158809cf4f3c");
    const std::string iv = FromHex("000102030405060708090a0b0c0d0e0f");
    const std::string plain = FromHex(
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const std::string expected = FromHex(
        "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
        "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
    std::string cipher;
    ASSERT_TRUE(CAES::EncryptCbc(plain, Bytes(key), Bytes(iv), cipher));
    ASSERT_EQ(cipher.size(), plain.size() + kAesBlockLength);
    EXPECT_EQ(cipher.substr(0, plain.size()), expected);
}

TEST(AES, PadsEveryLengthToWholeBlocks) {
    const std::string key = "0123456789abcdef";
    const std::string iv = "fedcba9876543210";
    for (size_t length = 0; length <= 2 * kAesBlockLength; ++length) {
        SCOPED_TRACE(length);
        const std::string plain(length, 'p');
        std::string cipher = "old";
        ASSERT_TRUE(CAES::EncryptCbc(plain, Bytes(key), Bytes(iv), cipher));
        EXPECT_EQ(cipher.size(), (length / kAesBlockLength + 1) * kAesBlockLength);
        EXPECT_EQ(Decrypt(cipher, key, iv), plain);
    }
}

}  // namespace
