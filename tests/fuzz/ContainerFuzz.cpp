// Reads the input as the container of an algorithm module, of which nothing is loaded: as it stands, and with
// what follows the first "|" taken for the packed stream in the form in which it is stored. What the packer
// of containers reads, too, is the same.
#include <sys/mman.h>

#include <cstring>

#include "FileUtil.h"
#include "Fuzz.h"
#include "ModuleContainer.h"
#include "ZsmHelper.h"

// A stream that claims to be long finds no memory: getting so much takes time.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
    return size < 1024 * 1024 ? __real_malloc(size) : nullptr;
}

static void Open(std::string_view container) {
    const Descriptor file(memfd_create("container", MFD_CLOEXEC));
    Require(write(file.Get(), container.data(), container.size()) == static_cast<ssize_t>(container.size()));
    __ZsoFile* module = CZsmHelper::loadZsoModule(("/proc/self/fd/" + std::to_string(file.Get())).c_str());
    if (module != nullptr) {
        // Reads all that the record claims to hold, so that a sanitizer sees what is not there.
        const std::string data(reinterpret_cast<char*>(module->data), module->size);
        ModuleContainer content;
        std::string fault;
        Require(!UnpackContainer(std::string(container), content, fault) ||
                (data == content.module && !strcmp(module->keyid, content.keyId.c_str())));
    }
    CZsmHelper::FreeZsoFile(module);
}

void Try(std::string_view input) {
    Open(input);
    const size_t bar = input.find('|');
    if (bar != std::string_view::npos) {
        std::string container = std::string(input).erase(bar, 1);
        for (size_t at = bar; at + 1 < container.size(); ++at) {
            container[at] = static_cast<char>(container[at] ^ container[at + 1]);
        }
        Open(container);
    }
}
