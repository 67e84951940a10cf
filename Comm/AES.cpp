#include "AES.h"

#include <openssl/evp.h>

#include <climits>
#include <memory>

namespace {

struct ContextCloser {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// In the order of AESMode. Looked up once, since the look-up takes longer than encrypting a report. Never
// freed: a thread may still be encrypting while the process ends.
const EVP_CIPHER* CipherOf(AESMode mode) {
    static const EVP_CIPHER* const ciphers[] = {
        EVP_CIPHER_fetch(nullptr, "AES-128-ECB", nullptr),
        EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr),
        EVP_CIPHER_fetch(nullptr, "AES-128-CFB", nullptr),
    };
    return ciphers[static_cast<size_t>(mode)];
}

// The crypto library knows the other padding only. A stream takes none.
size_t MissingZeros(AESMode mode, AESPadding padding, size_t length) {
    const size_t over = length % kAesBlockLength;
    const bool filled = mode == AESMode::kCfb || padding != AESPadding::kZero || over == 0;
    return filled ? 0 : kAesBlockLength - over;
}

// A context pads in the first way by itself, and telling it so takes longer than encrypting a block.
bool SetPadding(EVP_CIPHER_CTX* context, AESPadding padding) {
    return padding == AESPadding::kPkcs7 || EVP_CIPHER_CTX_set_padding(context, 0) == 1;
}

unsigned char* BytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(&text[0]);
}

const unsigned char* BytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

bool CAES::EncryptCbc(const std::string& plain, const unsigned char key[AES_128],
                      const unsigned char iv[kAesBlockLength], std::string& cipher) {
    return Encrypt(AESMode::kCbc, AESPadding::kPkcs7, plain, key, iv, cipher);
}

bool CAES::Encrypt(AESMode mode, AESPadding padding, const std::string& plain,
                   const unsigned char key[AES_128], const unsigned char iv[kAesBlockLength],
                   std::string& cipher) {
    const size_t missing = MissingZeros(mode, padding, plain.size());
    if (missing > 0) {
        return Encrypt(mode, padding, plain + std::string(missing, '\0'), key, iv, cipher);
    }
    cipher.clear();
    const std::unique_ptr<EVP_CIPHER_CTX, ContextCloser> context(EVP_CIPHER_CTX_new());
    const EVP_CIPHER* const method = CipherOf(mode);
    if (context == nullptr || method == nullptr || plain.size() > INT_MAX - kAesBlockLength) {
        return false;
    }
    std::string encrypted(plain.size() + kAesBlockLength, '\0');
    int length = 0;
    int lastLength = 0;
    if (EVP_EncryptInit_ex2(context.get(), method, key, iv, nullptr) != 1 ||
        !SetPadding(context.get(), padding) ||
        EVP_EncryptUpdate(context.get(), BytesOf(encrypted), &length, BytesOf(plain),
                          static_cast<int>(plain.size())) != 1 ||
        EVP_EncryptFinal_ex(context.get(), BytesOf(encrypted) + length, &lastLength) != 1) {
        return false;
    }
    encrypted.resize(static_cast<size_t>(length + lastLength));
    cipher = std::move(encrypted);
    return true;
}
