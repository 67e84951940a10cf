#include "MemoryFiles.h"

#include <cerrno>

#include "FileUtil.h"

namespace {

FileFault Write(const char* path, std::string_view content, bool isOver) {
    if (!nextWriteFault || nextWriteFault->writesBefore-- > 0) {
        memoryFiles[path] = content;
        return FileFault::kNone;
    }
    const WriteFault fault = *nextWriteFault;
    nextWriteFault.reset();
    const std::string_view written = content.substr(0, isOver ? fault.bytesWritten : 0);
    memoryFiles[path].replace(0, written.size(), written);
    if (fault.isKill) {
        throw Killed();
    }
    errno = ENOSPC;
    return FileFault::kWrite;
}

}  // namespace

// The names that CMakeLists.txt leads the calls to.
// clang-format off
extern "C" bool
__wrap__ZN9CFileUtil13ReadWholeFileEPKcRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    const char* path, std::string& content) {
    const auto file = memoryFiles.find(path);
    errno = ENOENT;
    return file != memoryFiles.end() && (content = file->second, true);
}
extern "C" FileFault __wrap__ZN9CFileUtil9WriteOverEPKcSt17basic_string_viewIcSt11char_traitsIcEE7WriteTo(
    const char* path, std::string_view content, WriteTo /*target*/) { return Write(path, content, true); }
extern "C" FileFault __wrap__ZN9CFileUtil7ReplaceEPKcSt17basic_string_viewIcSt11char_traitsIcEE7WriteTo(
    const char* path, std::string_view content, WriteTo /*target*/) { return Write(path, content, false); }
extern "C" void __wrap__ZN9CFileUtil15RemoveLeftOversEPKc(const char* /*path*/) {}
extern "C" int __wrap_fsync(int /*descriptor*/) { return 0; }
extern "C" int __real_unlink(const char* path);
extern "C" int __wrap_unlink(const char* path) { return memoryFiles.erase(path) > 0 ? 0 : __real_unlink(path); }
// clang-format on
