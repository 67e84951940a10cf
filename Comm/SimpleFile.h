#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>

// Owner of one standard I/O stream; the destructor closes it. Results are 0 for success unless said
// otherwise.
class CSimpleFile {
  public:
    CSimpleFile() = default;
    ~CSimpleFile();
    CSimpleFile(const CSimpleFile&) = delete;
    CSimpleFile& operator=(const CSimpleFile&) = delete;

    // Closes any open stream, then opens `path` with the mode of fopen. -1 when it cannot be opened. Commands
    // that the program starts do not get the descriptor.
    int CreateFile(const char* path, const char* mode);
    // 0 also when nothing is open; -1 when closing fails.
    int CloseFile();
    // Writes `size` bytes and flushes them at once. -1 when fewer were written, -2 when no stream is open.
    int WriteFile(const void* buffer, size_t size);

    static bool IsFileExist(const char* path);
    // Creates every folder along `path`; folders that exist are no error. With `lastIsFile` the part behind
    // the last "/" is a file name and is left alone. Stops with false at the first folder that fails.
    static bool RecuMkDir(const char* path, mode_t mode, bool lastIsFile);
    // The folder that all relative names of the service belong to: the working folder, not the folder of
    // the executable. Always 1; a working folder whose name cannot be had, or does not fit, is ".".
    static int GetModulePath(char* buffer, size_t size);
    // Joins `folder` and `name` with exactly one "/" into `buffer`. False when the result does not fit.
    static bool PathCombine(char* buffer, size_t size, const char* folder, const char* name);

    // Not used by the service.
    // Reads up to `size` bytes. Returns the number of bytes read, or -2 when no stream is open.
    int ReadFile(void* buffer, size_t size);

  protected:
    FILE* m_pFile = nullptr;
};
