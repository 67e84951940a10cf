// Reads the input as the container of an algorithm module; nothing of it is loaded.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ZsmHelper.h"

namespace {

// Reads all that the record claims to hold, so that a sanitizer sees what is not there.
void ReadAll(const __ZsoFile& module) {
    if (std::string(reinterpret_cast<const char*>(module.data), module.size).empty() ||
        strlen(module.keyid) > 3) {
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
