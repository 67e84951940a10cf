#include "ConfigFiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "ConfigKeys.h"
#include "ConsoleText.h"
#include "FileUtil.h"
#include "TextUtil.h"

namespace {

constexpr char kMainFile[] = "/quorvane.conf";
constexpr char kFurtherFiles[] = "/conf.d/";
constexpr char kAnyConfigFile[] = "*.conf";

constexpr uintmax_t kLargestFile = 64 * 1024;  // a file of seven keys that is larger is another one
constexpr int kLongestShown = 64;              // bytes of a name in a message

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr char kBlanks[] = " \t\r";
constexpr std::string_view kCommentMarks = "#;";
constexpr char kSectionMark = '[';
constexpr char kOurSection[] = "[quorvane]";

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// Cuts the first line, without its end, off the text.
std::string_view TakeLine(std::string_view& text) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::string Shown(std::string_view text) {
    return ConsoleText(CAutoString(std::string(text)).Left(kLongestShown)).GetText();
}

void Complain(const std::string& place, const std::string& text) {
    (void)fprintf(stderr, "%s: %s\n", place.c_str(),
                  text.c_str());  // without a reader there is nobody to tell
}

// False, and told, when the file is too large or cannot be read.
bool ReadBounded(const std::string& file, std::string& content) {
    std::error_code fault;
    if (std::filesystem::file_size(file, fault) > kLargestFile && !fault) {
        Complain(file, "not read: it has more than 64 KiB");
        return false;
    }
    if (!CFileUtil::ReadWholeFile(file.c_str(), content)) {
        Complain(file, std::string("cannot be read: ") + strerror(errno));
        return false;
    }
    return true;
}

// One file, line by line.
class ConfigFile {
  public:
    ConfigFile(std::string path, ConfigValues& values) : m_path(std::move(path)), m_values(values) {}

    void Read() {
        std::string content;
        if (!ReadBounded(m_path, content)) {
            return;
        }
        std::string_view text = content;
        text.remove_prefix(StartsWith(text, kUtf8Mark) ? kUtf8Mark.size() : 0);
        while (!text.empty()) {
            ++m_line;
            TakeLineOfFile(Trimmed(TakeLine(text)));
        }
    }

  private:
    void TakeLineOfFile(std::string_view line) {
        if (line.empty() || kCommentMarks.find(line.front()) != std::string_view::npos) {
            return;
        }
        if (line.front() == kSectionMark) {
            TakeSection(line);
        } else if (m_isOurSection) {
            TakeSetting(line);
        }
    }

    void TakeSection(std::string_view line) {
        m_isOurSection = line == kOurSection;
        if (!m_isOurSection) {
            ComplainOfLine(Shown(line) + " is no section of ours; its keys are skipped");
        }
    }

    void TakeSetting(std::string_view line) {
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            ComplainOfLine("no \"key = value\"");
            return;
        }
        const std::string_view name = Trimmed(line.substr(0, equals));
        const std::string_view value = Trimmed(line.substr(equals + 1));
        const ConfigKey* const key = FindConfigKey(name);
        if (key == nullptr) {
            ComplainOfLine("unknown key " + Shown(name));
        } else if (!key->isValid(value)) {
            ComplainOfLine(std::string(key->name) + " has to be " + key->rule);
        } else {
            m_values[key->name] = value;
        }
    }

    void ComplainOfLine(const std::string& text) const {
        Complain(m_path + ":" + std::to_string(m_line), text);
    }

    const std::string m_path;
    ConfigValues& m_values;
    int m_line = 0;
    bool m_isOurSection = true;  // keys in front of any section are ours
};

}  // namespace

ConfigValues ReadConfigFiles(const std::string& folder) {
    std::vector<std::string> files = CFileUtil::FindFiles(folder + kFurtherFiles, kAnyConfigFile);
    const std::string mainFile = folder + kMainFile;
    if (access(mainFile.c_str(), F_OK) == 0 || errno != ENOENT) {
        files.insert(files.begin(), mainFile);
    }
    ConfigValues values;
    for (const std::string& file : files) {
        ConfigFile(file, values).Read();
    }
    return values;
}
