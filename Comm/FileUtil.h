#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

// Owner of a FILE that closes it on every path.
struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using FileOwner = std::unique_ptr<FILE, FileCloser>;

// Whole files. Both answer false on any failure and leave errno as the failing call set it.
class CFileUtil {
  public:
    // Reads the file at `path` into `content`; a folder is refused. `content` is untouched on failure.
    static bool ReadWholeFile(const char* path, std::string& content);
    // Replaces the content of `path`: at any moment a reader, or the end of this process, meets either the
    // old or the new content as a whole. Keeps the file's mode and owner and follows a symbolic link to a
    // file that exists. Only where the file cannot be exchanged for another (it is a mount point, or the
    // folder may not be written) its content is written over in place.
    static bool ReplaceFile(const char* path, const std::string& content);
};
