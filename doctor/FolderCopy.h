#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

// A folder of the doctor's own, mode 0700, below the system's folders for temporary files: one from which
// programs may be run, when there is such a one. Removed with all that is in it at the end of the object.
class FolderCopy {
  public:
    FolderCopy();
    ~FolderCopy();
    FolderCopy(const FolderCopy&) = delete;
    FolderCopy& operator=(const FolderCopy&) = delete;

    // Empty when no folder can be made.
    const std::string& Path() const { return m_path; }

  private:
    std::string m_path;
};

// Copies the file `from` of at most `most` bytes to `to`. Waits for nothing: what is no regular file is
// refused. 0, or the errno of what failed. `original`, unless null, is the status of the file that was read.
int CopyFile(const std::string& from, const std::string& to, uint64_t most, struct stat* original = nullptr);

// Reads a file of at most `most` bytes the same way.
int ReadFile(const std::string& path, std::string& content, uint64_t most, struct stat* original = nullptr);

// Whether programs may be run from the file system that holds `folder`.
bool AllowsPrograms(const std::string& folder);
