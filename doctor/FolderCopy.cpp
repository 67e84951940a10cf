#include "FolderCopy.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "FileUtil.h"
#include "TextUtil.h"

namespace fs = std::filesystem;

namespace {

constexpr char kName[] = "/quorvane-doctor-XXXXXX";  // for mkdtemp

std::string MakeBelow(const std::string& parent) {
    std::string path = parent + kName;
    return mkdtemp(path.data()) != nullptr ? path : std::string();
}

std::string MakeFolder() {
    const std::string wanted = OrEmpty(getenv("TMPDIR"));
    for (const bool needsPrograms : {true, false}) {
        for (const std::string& parent : {wanted, std::string("/tmp"), std::string("/var/tmp"),
                                          std::string("/dev/shm"), std::string(OrEmpty(getenv("HOME")))}) {
            const bool isCandidate = StartsWith(parent, "/") && AllowsPrograms(parent) == needsPrograms;
            std::string path = isCandidate ? MakeBelow(parent) : "";
            if (!path.empty()) {
                return path;
            }
        }
    }
    return {};
}

// The algorithm module may have left folders that even their owner may not enter. Root may, and must not
// follow what another user exchanges meanwhile.
void AllowRemoval(const fs::path& folder) {
    std::error_code failure;
    fs::permissions(folder, fs::perms::owner_all, failure);
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (fs::symlink_status(entry->path(), failure).type() == fs::file_type::directory) {
            AllowRemoval(entry->path());
        }
    }
}

}  // namespace

FolderCopy::FolderCopy() : m_path(MakeFolder()) {}

FolderCopy::~FolderCopy() {
    if (m_path.empty()) {
        return;
    }
    std::error_code failure;
    fs::remove_all(m_path, failure);
    if (failure && geteuid() != 0) {
        AllowRemoval(m_path);
        fs::remove_all(m_path, failure);
    }
}

int CopyFile(const std::string& from, const std::string& to, uint64_t most, struct stat* original) {
    std::string content;
    const int failure = ReadFile(from, content, most, original);
    if (failure != 0) {
        return failure;
    }
    std::ofstream file(to, std::ios::binary);
    file << content << std::flush;
    return file.good() ? 0 : ENOSPC;
}

int ReadFile(const std::string& path, std::string& content, uint64_t most, struct stat* original) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    if (original != nullptr) {
        *original = status;
    }
    content.clear();
    char block[64 * 1024];
    ssize_t count = 0;
    while ((count = read(file.Get(), block, sizeof(block))) > 0) {
        if (content.size() + static_cast<size_t>(count) > most) {
            return EFBIG;
        }
        content.append(block, static_cast<size_t>(count));
    }
    return count == 0 ? 0 : errno;
}

bool AllowsPrograms(const std::string& folder) {
    struct statvfs system = {};
    return statvfs(folder.c_str(), &system) == 0 && (system.f_flag & ST_NOEXEC) == 0;
}
