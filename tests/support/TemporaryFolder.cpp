#include "TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() : m_previous(fs::current_path()) {
    std::string pattern = fs::temp_directory_path() / "quorvane-test-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        throw std::runtime_error("no temporary folder can be made");
    }
    m_path = pattern;
    fs::current_path(m_path);
}

TemporaryFolder::~TemporaryFolder() {
    fs::current_path(m_previous);
    std::error_code ignored;  // a folder that is left behind does no harm to the next test
    fs::remove_all(m_path, ignored);
}

void TemporaryFolder::Write(const std::string& name, const std::string& content) const {
    const fs::path path = fs::path(m_path) / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string TemporaryFolder::Read(const std::string& name) const {
    std::ifstream file(fs::path(m_path) / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool TemporaryFolder::Has(const std::string& name) const {
    return fs::exists(fs::symlink_status(fs::path(m_path) / name));
}
