#include "SimpleFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

constexpr char kHere[] = ".";
constexpr char kCloseOnExec[] = "e";  // no command that the service starts gets a file of its own

bool MakeFolder(const std::string& path, mode_t mode) {
    return mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
}

}  // namespace

CSimpleFile::~CSimpleFile() {
    (void)CloseFile();  // nobody is left to tell
}

int CSimpleFile::CreateFile(const char* path, const char* mode) {
    (void)CloseFile();  // the new file is wanted either way
    m_pFile = fopen(path, (std::string(mode) + kCloseOnExec).c_str());
    return m_pFile != nullptr ? 0 : -1;
}

int CSimpleFile::CloseFile() {
    if (m_pFile == nullptr) {
        return 0;
    }
    // The handle is gone even when fclose fails; keeping it would close it twice.
    const int result = fclose(m_pFile);
    m_pFile = nullptr;
    return result == 0 ? 0 : -1;
}

int CSimpleFile::WriteFile(const void* buffer, size_t size) {
    if (m_pFile == nullptr) {
        return -2;
    }
    const size_t written = fwrite(buffer, 1, size, m_pFile);
    const bool flushed = fflush(m_pFile) == 0;
    return written == size && flushed ? 0 : -1;
}

bool CSimpleFile::IsFileExist(const char* path) {
    return access(path, F_OK) == 0;
}

bool CSimpleFile::RecuMkDir(const char* path, mode_t mode, bool lastIsFile) {
    const std::string whole = path;
    size_t segmentStart = 0;
    for (size_t slash = whole.find('/', 1); slash != std::string::npos; slash = whole.find('/', slash + 1)) {
        if (!MakeFolder(whole.substr(0, slash), mode)) {
            return false;
        }
        segmentStart = slash + 1;
    }
    if (lastIsFile || segmentStart >= whole.size()) {
        return true;
    }
    return MakeFolder(whole, mode);
}

int CSimpleFile::GetModulePath(char* buffer, size_t size) {
    if (getcwd(buffer, size) == nullptr && size >= sizeof(kHere)) {
        memcpy(buffer, kHere, sizeof(kHere));
    }
    return 1;
}

bool CSimpleFile::PathCombine(char* buffer, size_t size, const char* folder, const char* name) {
    const size_t length = strlen(folder);
    const char* separator = length > 0 && folder[length - 1] != '/' ? "/" : "";
    const int needed = snprintf(buffer, size, "%s%s%s", folder, separator, name);
    return needed >= 0 && static_cast<size_t>(needed) < size;
}

int CSimpleFile::ReadFile(void* buffer, size_t size) {
    if (m_pFile == nullptr) {
        return -2;
    }
    return static_cast<int>(fread(buffer, 1, size, m_pFile));
}
