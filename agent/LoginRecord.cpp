#include "LoginRecord.h"

#include <fcntl.h>
#include <unistd.h>

#include "FileUtil.h"

namespace {

constexpr char kFileName[] = "/agent.login";
constexpr mode_t kFileMode = 0600;
constexpr size_t kLongestName = 4096;  // as an account file may have it

std::string ReadName(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    std::string name(kLongestName, '\0');
    const ssize_t count = file.IsOpen() ? read(file.Get(), name.data(), name.size()) : 0;
    name.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return name;
}

}  // namespace

LoginRecord::LoginRecord(const std::string& folder) : m_path(folder + kFileName), m_name(ReadName(m_path)) {}

void LoginRecord::Keep(const std::string& name) {
    if (name == m_name) {
        return;
    }
    m_name = name;
    (void)unlink(m_path.c_str());  // the first time there is none
    if (!name.empty()) {
        const Descriptor file(open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
        (void)(file.IsOpen() && CFileUtil::WriteAll(file.Get(), name));
    }
}
