// Reads the input as the container of an algorithm module; nothing of it is loaded.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ZsmHelper.h"

namespace {

size_t TextLength(const char* text) {
    return text != nullptr ? strlen(text) : 0;
}

// Reads all that the record claims to hold, so that a sanitizer sees what is not there.
void ReadAll(const __ZsoFile& module) {
    const std::string content(reinterpret_cast<const char*>(module.data), module.size);
    if (content.empty() || TextLength(module.keyid) > 3 || TextLength(module.key) > UINT8_MAX ||
        TextLength(module.algoid) > UINT8_MAX) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int descriptor = memfd_create("container", MFD_CLOEXEC);
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size)) {
        abort();
    }
    __ZsoFile* module = CZsmHelper::loadZsoModule(("/proc/self/fd/" + std::to_string(descriptor)).c_str());
    if (module != nullptr) {
        ReadAll(*module);
    }
    CZsmHelper::FreeZsoFile(module);
    close(descriptor);
    return 0;
}
