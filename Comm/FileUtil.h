#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Owner of a FILE that closes it on every path.
struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using FileOwner = std::unique_ptr<FILE, FileCloser>;

// The same for a command that popen has started, and for uses that need not know how it ended. Started with
// the mode "re", so that no other command gets its descriptor.
struct CommandCloser {
    void operator()(FILE* command) const { (void)pclose(command); }
};
using CommandOwner = std::unique_ptr<FILE, CommandCloser>;

// The same for a descriptor; a negative one is none. For uses that need not know whether closing fails.
class Descriptor {
  public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (IsOpen()) {
            (void)close(m_descriptor);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpen() const { return m_descriptor >= 0; }
    int Get() const { return m_descriptor; }

  private:
    const int m_descriptor;
};

// Where a written file has got to when the operation ends. The end of this process harms it nowhere. A power
// cut can leave an empty file for one in the cache (some file systems put the name first), the former or the
// new file with kWhole, and nothing but the new one with kDisk, which takes tens of milliseconds.
enum class WriteTo { kCache, kWhole, kDisk };

// The step at which a file could not be replaced. kCreate is also that it could not be put in its place.
enum class FileFault { kNone, kCreate, kWrite, kClose };

// Whole files. On failure errno is as the failing call set it.
class CFileUtil {
  public:
    // Reads the file at `path` into `content`; what is no regular file is refused. `content` is untouched on
    // failure.
    static bool ReadWholeFile(const char* path, std::string& content);
    // Replaces the content of `path`: at any moment a reader, or the end of this process, meets either the
    // old or the new content as a whole. Keeps the file's mode and owner and follows a symbolic link to a
    // file that exists. Only where the file cannot be exchanged for another (it is a mount point or a device,
    // or the folder may not be written) its content is written over in place.
    static FileFault Replace(const char* path, std::string_view content, WriteTo target = WriteTo::kCache);
    // The same for whoever need not know the step.
    static bool ReplaceFile(const char* path, std::string_view content, WriteTo target = WriteTo::kCache) {
        return Replace(path, content, target) == FileFault::kNone;
    }
    // Writes over the content of an existing file, in place. A process that ends meanwhile leaves the first
    // bytes of the new content and the rest of the old one.
    static FileFault WriteOver(const char* path, std::string_view content, WriteTo target);
    // Writes all of it to an open file. False when a write failed.
    static bool WriteAll(int descriptor, std::string_view content);
    // Removes what replacing `path` left beside it when the process was killed meanwhile. Nobody may be
    // replacing it.
    static void RemoveLeftOvers(const char* path);
    // The paths that read `start` and then something that `pattern` matches as glob does, in byte order.
    static std::vector<std::string> FindFiles(const std::string& start, const char* pattern);
};
