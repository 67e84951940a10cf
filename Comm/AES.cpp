#include "AES.h"

#include <openssl/evp.h>

#include <climits>
#include <memory>

namespace {

struct ContextCloser {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// Looked up once, since the look-up takes longer than encrypting a report. Never freed: a thread may still be
// encrypting while the process ends.
const EVP_CIPHER* Aes128Cbc() {
    static const EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
    return cipher;
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
    cipher.clear();
    const std::unique_ptr<EVP_CIPHER_CTX, ContextCloser> context(EVP_CIPHER_CTX_new());
    if (context == nullptr || Aes128Cbc() == nullptr || plain.size() > INT_MAX - kAesBlockLength) {
        return false;
    }
    std::string encrypted(plain.size() + kAesBlockLength, '\0');
    int length = 0;
    int lastLength = 0;
    if (EVP_EncryptInit_ex2(context.get(), Aes128Cbc(), key, iv, nullptr) != 1 ||
        EVP_EncryptUpdate(context.get(), BytesOf(encrypted), &length, BytesOf(plain),
                          static_cast<int>(plain.size())) != 1 ||
        EVP_EncryptFinal_ex(context.get(), BytesOf(encrypted) + length, &lastLength) != 1) {
        return false;
    }
    encrypted.resize(static_cast<size_t>(length + lastLength));
    cipher = std::move(encrypted);
    return true;
}
