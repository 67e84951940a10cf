#include "md5.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>

#include "TextUtil.h"

namespace {

constexpr size_t kDigestLength = 16;

struct ContextCloser {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// A host that is set to certified methods only has MD5 all the same, where it is asked for as not one of
// them. The portal's checksum protects no secret.
constexpr char kNotCertified[] = "-fips";

// Looked up once, since the look-up takes longer than the digest of a request. Never freed: a thread may
// still be computing while the process ends.
const EVP_MD* Md5() {
    static const EVP_MD* const digest = EVP_MD_fetch(nullptr, "MD5", kNotCertified);
    return digest;
}

}  // namespace

CAutoString CMD5::MDString(const char* text) {
    // Kept for the thread: making one takes almost as long as the digest of a short text.
    thread_local const std::unique_ptr<EVP_MD_CTX, ContextCloser> context(EVP_MD_CTX_new());
    unsigned char digest[kDigestLength];
    if (context == nullptr || Md5() == nullptr || EVP_DigestInit_ex2(context.get(), Md5(), nullptr) != 1 ||
        EVP_DigestUpdate(context.get(), text, strlen(text)) != 1 ||
        EVP_DigestFinal_ex(context.get(), digest, nullptr) != 1) {
        return {};
    }
    return ToHex(digest, kDigestLength);
}
