#pragma once

#include <cstdint>
#include <string>

// What an algorithm module's container file holds.
struct ModuleContainer {
    std::string keyId;        // 3 bytes; tells the module which of its keys to use
    std::string key;          // at most 255 bytes, may be empty
    std::string algorithmId;  // at most 255 bytes, usually a 36-character GUID text
    std::string module;       // the shared object, not packed
};

// How the packed stream says where it ends. Both occur; without a mark the reader relies on the size field.
enum class StreamEnd { kBySize, kByMark };

// A shared object larger than this is refused when packing and when unpacking.
constexpr uint32_t kMaxModuleSize = 16 * 1024 * 1024;

// The container file of `content` in `bytes`. On failure false, with a sentence for the user in `error`, and
// `bytes` is untouched.
bool PackContainer(const ModuleContainer& content, StreamEnd streamEnd, std::string& bytes,
                   std::string& error);

// The reverse. Refuses a container that is short or whose stream does not end at exactly the recorded size.
// On failure false, with a sentence in `error`, and `content` is untouched.
bool UnpackContainer(const std::string& bytes, ModuleContainer& content, std::string& error);
