#include "FileUtil.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

constexpr mode_t kNewFileMode = 0600;  // settings hold what identifies the user
constexpr size_t kReadBlock = 64 * 1024;

std::string ResolveLink(const char* path) {
    char resolved[PATH_MAX];
    return realpath(path, resolved) != nullptr ? resolved : path;
}

bool WriteAll(int descriptor, const std::string& content) {
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

// The new file takes over what other programs know the old one by. A user who may write a file but not give
// it away keeps it as his own.
void CopyModeAndOwner(const char* path, int descriptor) {
    struct stat old = {};
    if (stat(path, &old) == 0) {
        (void)!fchown(descriptor, old.st_uid, old.st_gid);
        (void)fchmod(descriptor, old.st_mode & 07777);
    }
}

// Writes the content beside the file and puts it in the file's place.
bool Exchange(const std::string& target, const std::string& content) {
    std::string temporary = target + ".XXXXXX";
    const int descriptor = mkostemp(&temporary[0], O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    (void)fchmod(descriptor, kNewFileMode);
    CopyModeAndOwner(target.c_str(), descriptor);
    // Not forced to the disk: a login saves dozens of settings, and waiting for the disk each time would cost
    // it more than all its exchanges with the portal.
    bool done = WriteAll(descriptor, content);
    done = close(descriptor) == 0 && done;
    done = done && rename(temporary.c_str(), target.c_str()) == 0;
    if (!done) {
        const int failure = errno;
        (void)unlink(temporary.c_str());  // the first failure is the one to report
        errno = failure;
    }
    return done;
}

bool MayOnlyBeWrittenOver(int failure) {
    return failure == EBUSY || failure == EXDEV || failure == EACCES || failure == EPERM || failure == EROFS;
}

bool WriteOver(const std::string& target, const std::string& content) {
    const int descriptor = open(target.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool written =
        WriteAll(descriptor, content) && ftruncate(descriptor, static_cast<off_t>(content.size())) == 0;
    return close(descriptor) == 0 && written;
}

}  // namespace

bool CFileUtil::ReadWholeFile(const char* path, std::string& content) {
    struct stat status = {};
    if (stat(path, &status) != 0 || S_ISDIR(status.st_mode)) {
        return false;
    }
    FileOwner file(fopen(path, "rb"));
    if (file == nullptr) {
        return false;
    }
    std::string read;
    size_t count = 0;
    do {
        const size_t end = read.size();
        read.resize(end + kReadBlock);
        count = fread(&read[end], 1, kReadBlock, file.get());
        read.resize(end + count);
    } while (count > 0);
    if (ferror(file.get()) != 0) {
        return false;
    }
    content = std::move(read);
    return true;
}

bool CFileUtil::ReplaceFile(const char* path, const std::string& content) {
    const std::string target = ResolveLink(path);
    return Exchange(target, content) || (MayOnlyBeWrittenOver(errno) && WriteOver(target, content));
}
