// A library to be loaded in front of the service's others (LD_PRELOAD): it writes down when a thread rested,
// exchanged something with the portal, ran a command, saved a file or had the algorithm module loaded. A line
// each in the file that QUORVANE_PARTS names: part, thread, begin and end in nanoseconds of the monotonic
// clock.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace {

constexpr std::string_view kContainerEnd = ".zxm";

int64_t Now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1'000'000'000) + now.tv_nsec;
}

void Note(const char* part, int64_t begin) {
    static FILE* const parts = fopen(getenv("QUORVANE_PARTS"), "ae");
    if (parts != nullptr) {
        const int64_t end = Now();
        (void)fprintf(parts, "%s %d %lld %lld\n", part, gettid(), static_cast<long long>(begin),
                      static_cast<long long>(end));
        (void)fflush(parts);
    }
}

// The function of that name that the program would call without this library.
template <typename Function>
Function* Next(Function* /*own*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Where the part that spans two calls has begun.
thread_local int64_t commandBegin = 0;
thread_local int64_t savingBegin = 0;
thread_local int64_t moduleBegin = 0;

}  // namespace

extern "C" {

int usleep(useconds_t microseconds) {
    static auto* const next = Next(&usleep, "usleep");
    const int64_t begin = Now();
    const int result = next(microseconds);
    Note("rest", begin);
    return result;
}

int curl_easy_perform(void* handle) {
    static auto* const next = Next(&curl_easy_perform, "curl_easy_perform");
    const int64_t begin = Now();
    const int result = next(handle);
    Note("exchange", begin);
    return result;
}

FILE* popen(const char* command, const char* mode) {
    static auto* const next = Next(&popen, "popen");
    commandBegin = Now();
    return next(command, mode);
}

int pclose(FILE* stream) {
    static auto* const next = Next(&pclose, "pclose");
    const int result = next(stream);
    Note("command", commandBegin);
    return result;
}

int mkostemp(char* path, int flags) {
    static auto* const next = Next(&mkostemp, "mkostemp");
    savingBegin = Now();
    return next(path, flags);
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next = Next(&rename, "rename");
    const int result = next(from, to);
    Note("saving", savingBegin);
    return result;
}

FILE* fopen(const char* path, const char* mode) {
    static auto* const next = Next(&fopen, "fopen");
    const std::string_view name = path;
    if (name.size() > kContainerEnd.size() &&
        name.substr(name.size() - kContainerEnd.size()) == kContainerEnd) {
        moduleBegin = Now();
    }
    return next(path, mode);
}

int dlclose(void* handle) noexcept {
    static auto* const next = Next(&dlclose, "dlclose");
    const int result = next(handle);
    if (moduleBegin != 0) {
        Note("module", moduleBegin);
    }
    return result;
}

}  // extern "C"
