#include "FileUtil.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr mode_t kNewFileMode = 0600;  // settings hold what identifies the user
constexpr size_t kReadBlock = 64 * 1024;

// What a file is called until it is whole. No file of the user's has such a name.
constexpr char kTemporaryMark[] = ".quorvane-save-";
constexpr char kTemporaryEnd[] = "XXXXXX";  // for mkostemp
constexpr char kAnyTemporaryEnd[] = "??????";

std::string ResolveLink(const char* path) {
    char resolved[PATH_MAX];
    return realpath(path, resolved) != nullptr ? resolved : path;
}

std::string TemporaryStart(const std::string& target) {
    const size_t name = target.rfind('/') + 1;  // 0 without a folder
    return target.substr(0, name) + "." + target.substr(name) + kTemporaryMark;
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

// A file system that knows no forcing to the disk is no failure.
bool Settle(int descriptor, WriteTo target) {
    return target == WriteTo::kCache || fdatasync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS;
}

// Ends the use of the descriptor either way.
FileFault Finish(int descriptor, bool written) {
    const int failure = errno;
    const bool closed = close(descriptor) == 0;
    if (!written) {
        errno = failure;
        return FileFault::kWrite;
    }
    return closed ? FileFault::kNone : FileFault::kClose;
}

// A name is on the disk when its folder is.
bool SettleName(const std::string& path, WriteTo target) {
    if (target != WriteTo::kDisk) {
        return true;
    }
    const Descriptor folder(
        open((path.substr(0, path.rfind('/') + 1) + ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.IsOpen() && (fsync(folder.Get()) == 0 || errno == EINVAL);
}

// Writes the content beside the file and puts it in the file's place.
FileFault Exchange(const std::string& path, std::string_view content, WriteTo target) {
    std::string temporary = TemporaryStart(path) + kTemporaryEnd;
    const int descriptor = mkostemp(&temporary[0], O_CLOEXEC);
    if (descriptor < 0) {
        return FileFault::kCreate;
    }
    (void)fchmod(descriptor, kNewFileMode);
    CopyModeAndOwner(path.c_str(), descriptor);
    FileFault fault =
        Finish(descriptor, CFileUtil::WriteAll(descriptor, content) && Settle(descriptor, target));
    if (fault == FileFault::kNone &&
        (rename(temporary.c_str(), path.c_str()) != 0 || !SettleName(path, target))) {
        fault = FileFault::kCreate;
    }
    if (fault != FileFault::kNone) {
        const int failure = errno;
        (void)unlink(temporary.c_str());  // the first failure is the one to report
        errno = failure;
    }
    return fault;
}

// Something else than a file keeps its place: a device must not become one.
bool IsNoFile(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

bool MayOnlyBeWrittenOver(int failure) {
    return failure == EBUSY || failure == EXDEV || failure == EACCES || failure == EPERM || failure == EROFS;
}

}  // namespace

bool CFileUtil::WriteAll(int descriptor, std::string_view content) {
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

bool CFileUtil::ReadWholeFile(const char* path, std::string& content) {
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    FileOwner file(fopen(path, "rbe"));
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

FileFault CFileUtil::Replace(const char* path, std::string_view content, WriteTo target) {
    const std::string resolved = ResolveLink(path);
    if (IsNoFile(resolved)) {
        return WriteOver(resolved.c_str(), content, target);
    }
    const FileFault fault = Exchange(resolved, content, target);
    return fault != FileFault::kNone && MayOnlyBeWrittenOver(errno)
               ? WriteOver(resolved.c_str(), content, target)
               : fault;
}

FileFault CFileUtil::WriteOver(const char* path, std::string_view content, WriteTo target) {
    const int descriptor = open(path, O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return FileFault::kCreate;
    }
    return Finish(descriptor, CFileUtil::WriteAll(descriptor, content) &&
                                  ftruncate(descriptor, static_cast<off_t>(content.size())) == 0 &&
                                  Settle(descriptor, target));
}

void CFileUtil::RemoveLeftOvers(const char* path) {
    for (const std::string& left : FindFiles(TemporaryStart(ResolveLink(path)), kAnyTemporaryEnd)) {
        (void)unlink(left.c_str());  // the next start tries again
    }
}

std::vector<std::string> CFileUtil::FindFiles(const std::string& start, const char* pattern) {
    std::string whole;
    for (const char byte : start) {
        whole.append(strchr("*?[\\", byte) != nullptr ? "\\" : "").append(1, byte);
    }
    whole += pattern;
    std::vector<std::string> paths;
    glob_t found = {};
    if (glob(whole.c_str(), 0, nullptr, &found) == 0) {
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    globfree(&found);
    return paths;
}
