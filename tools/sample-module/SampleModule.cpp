// The three entry points of an algorithm module. Compiled once for each version of the transform:
// SAMPLE_VERSION names the function that gives it.
#include <cstdlib>
#include <cstring>

#include "SampleTransform.h"

#define SAMPLE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Called with a text that is not used, the result, and the caller's own record.
using ResultCallback = void (*)(const char*, const char*, void*);

std::string TextOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

// The encoded text, to be handed back to FreeResult.
SAMPLE_EXPORT char* Code(const char* text) {
    return strdup(sample::SAMPLE_VERSION().encode(TextOrEmpty(text)).c_str());
}

SAMPLE_EXPORT void FreeResult(char* result) {
    free(result);
}

// 1 when the callback was given the decoded text, 0 for a key id that is not this module's.
SAMPLE_EXPORT int Prepare(const char* keyId, const char* text, ResultCallback callback, void* record) {
    const sample::Version& version = sample::SAMPLE_VERSION();
    if (callback == nullptr || TextOrEmpty(keyId) != version.keyId) {
        return 0;
    }
    const std::string decoded = version.decode(TextOrEmpty(text));
    callback("", decoded.c_str(), record);
    return 1;
}
