// The three entry points of an algorithm module. Compiled once for each version of the transform:
// SAMPLE_CIPHER names its cipher.
#include <cstdlib>
#include <cstring>

#include "SampleCipher.h"

#define SAMPLE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Called with a text that is not used, the result, and the caller's own record.
using ResultCallback = void (*)(const char*, const char*, void*);

const char* TextOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

// The encoded text, to be handed back to FreeResult; null without memory.
SAMPLE_EXPORT char* Code(const char* text) {
    const size_t length = strlen(TextOrEmpty(text));
    auto* encoded = static_cast<char*>(malloc(2 * length + 1));
    if (encoded != nullptr) {
        sample::EncodeText(sample::SAMPLE_CIPHER, TextOrEmpty(text), length, encoded);
    }
    return encoded;
}

SAMPLE_EXPORT void FreeResult(char* result) {
    free(result);
}

// 1 when the callback was given the decoded text, 0 for a key id that is not this module's.
SAMPLE_EXPORT int Prepare(const char* keyId, const char* text, ResultCallback callback, void* record) {
    if (callback == nullptr || strcmp(TextOrEmpty(keyId), sample::SAMPLE_CIPHER.keyId) != 0) {
        return 0;
    }
    const size_t length = strlen(TextOrEmpty(text));
    auto* decoded = static_cast<char*>(malloc(length / 2 + 1));
    if (decoded == nullptr) {
        return 0;
    }
    // What is not of this version's making decodes to an empty text.
    (void)sample::DecodeText(sample::SAMPLE_CIPHER, TextOrEmpty(text), length, decoded);
    callback("", decoded, record);
    free(decoded);
    return 1;
}
