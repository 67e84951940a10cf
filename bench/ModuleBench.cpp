// One whole Code call with a module of 100 KiB, next to its bare steps.
#include <LzmaDec.h>
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "FileUtil.h"
#include "ModuleContainer.h"
#include "SampleTransform.h"
#include "TemporaryFolder.h"
#include "ZsmHelper.h"

namespace {

constexpr size_t kModuleSize = 100 * 1024;
constexpr char kContainer[] = "zxmAlogic.zxm";
constexpr char kBareContainer[] = "bare.bin";
constexpr char kBareModule[] = "bare.so";
constexpr char kText[] = "<request><userid>20240001@campus</userid></request>";

[[noreturn]] void Stop(const char* what) {
    fprintf(stderr, "ModuleBench: %s\n", what);
    exit(1);
}

// The sample module with data behind it that cannot be compressed, as the tables of a real one.
std::string LargeModule() {
    std::ifstream file(SAMPLE_MODULE, std::ios::binary);
    std::string module(std::istreambuf_iterator<char>(file), {});
    std::mt19937 random(1);
    while (module.size() < kModuleSize) {
        module += static_cast<char>(random());
    }
    return module;
}

// Where the parts of the container lie, for the bare steps.
struct Layout {
    size_t propertiesAt;
    size_t streamAt;
    size_t moduleSize;
};

Layout WriteContainers(const TemporaryFolder& folder) {
    const sample::Version& version = sample::FirstVersion();
    const ModuleContainer content = {version.keyId, "", version.algorithmId, LargeModule()};
    std::string bytes;
    std::string error;
    if (!PackContainer(content, StreamEnd::kBySize, bytes, error)) {
        Stop(error.c_str());
    }
    folder.Write(kContainer, bytes);
    const size_t propertiesAt = content.keyId.size() + 1 + 1 + content.algorithmId.size();
    const size_t streamAt = propertiesAt + LZMA_PROPS_SIZE + 4;
    for (size_t index = bytes.size() - 1; index > streamAt; --index) {
        bytes[index - 1] = static_cast<char>(bytes[index - 1] ^ bytes[index]);
    }
    folder.Write(kBareContainer, bytes);
    return {propertiesAt, streamAt, content.module.size()};
}

void CallService() {
    char* const encoded = CZsmHelper::GetInst()->Code(kText);
    if (sample::FirstVersion().decode(encoded) != kText) {
        Stop("the module did not encode");
    }
    CZsmHelper::GetInst()->FreeResult(encoded);
}

std::vector<unsigned char> ReadBare() {
    const Descriptor file(open(kBareContainer, O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0) {
        Stop("the container cannot be opened");
    }
    std::vector<unsigned char> bytes(static_cast<size_t>(status.st_size));
    if (read(file.Get(), bytes.data(), bytes.size()) != status.st_size) {
        Stop("the container cannot be read");
    }
    return bytes;
}

void WriteBare(const std::vector<unsigned char>& module) {
    const Descriptor file(open(kBareModule, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRWXU));
    if (write(file.Get(), module.data(), module.size()) != static_cast<ssize_t>(module.size())) {
        Stop("the module cannot be written");
    }
}

void CallBare() {
    void* const handle = dlopen("./bare.so", RTLD_NOW);
    if (handle == nullptr) {
        Stop("the module cannot be loaded");
    }
    char* const encoded = reinterpret_cast<char* (*)(const char*)>(dlsym(handle, "Code"))(kText);
    if (sample::FirstVersion().decode(encoded) != kText) {
        Stop("the module did not encode");
    }
    reinterpret_cast<void (*)(char*)>(dlsym(handle, "FreeResult"))(encoded);
    dlclose(handle);
}

void RunBare(const Layout& layout) {
    static ISzAlloc allocator = {[](void*, size_t size) { return malloc(size); },
                                 [](void*, void* address) { free(address); }};
    const std::vector<unsigned char> bytes = ReadBare();
    std::vector<unsigned char> module(layout.moduleSize);
    SizeT produced = module.size();
    SizeT consumed = bytes.size() - layout.streamAt;
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    if (LzmaDecode(module.data(), &produced, bytes.data() + layout.streamAt, &consumed,
                   bytes.data() + layout.propertiesAt, LZMA_PROPS_SIZE, LZMA_FINISH_ANY, &status,
                   &allocator) != SZ_OK) {
        Stop("the module cannot be unpacked");
    }
    WriteBare(module);
    CallBare();
    unlink(kBareModule);
}

// The container is in the working folder and the service's module is the one in it, as long as this lives.
class Setting {
  public:
    Setting() : m_layout(WriteContainers(m_folder)) { CZsmHelper::GetInst()->Init(kContainer, nullptr, 0); }
    const Layout& Bare() const { return m_layout; }

  private:
    TemporaryFolder m_folder;
    const Layout m_layout;
};

void ModuleCallOwn(benchmark::State& state) {
    const Setting setting;
    for (auto _ : state) {
        CallService();
    }
}
BENCHMARK(ModuleCallOwn)->Name("ModuleCall<Own>");

void ModuleCallBare(benchmark::State& state) {
    const Setting setting;
    for (auto _ : state) {
        RunBare(setting.Bare());
    }
}
BENCHMARK(ModuleCallBare)->Name("ModuleCall<Bare>");

}  // namespace
