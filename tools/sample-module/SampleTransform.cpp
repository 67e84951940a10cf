#include "SampleTransform.h"

#include "SampleCipher.h"

namespace sample {
namespace {

template <const Cipher& cipher>
std::string Encode(const std::string& text) {
    std::string encoded(text.size() * 2, '\0');
    EncodeText(cipher, text.data(), text.size(), &encoded[0]);
    return encoded;
}

template <const Cipher& cipher>
std::string Decode(const std::string& text) {
    std::string decoded(text.size() / 2, '\0');
    return DecodeText(cipher, text.data(), text.size(), &decoded[0]) ? decoded : std::string();
}

template <const Cipher& cipher>
Version MakeVersion() {
    return {cipher.algorithmId, cipher.keyId, Encode<cipher>, Decode<cipher>};
}

}  // namespace

const Version& FirstVersion() {
    static const Version version = MakeVersion<kFirstCipher>();
    return version;
}

const Version& SecondVersion() {
    static const Version version = MakeVersion<kSecondCipher>();
    return version;
}

const Version* FindVersion(const std::string& algorithmId) {
    for (const Version* version : {&FirstVersion(), &SecondVersion()}) {
        if (algorithmId == version->algorithmId) {
            return version;
        }
    }
    return nullptr;
}

}  // namespace sample
