// Opens the text up to the first "|" as a settings file and sets what the lines behind say, "path=value".
// What was set last is read back, also from the saved file. A file that is no document is mended, and nothing
// of it is lost.
#include "Fuzz.h"
#include "MemoryFiles.h"
#include "ReadableText.h"
#include "SettingsMending.h"
#include "XMLOpt.h"

constexpr char kFile[] = "conf.xml";

void Try(std::string_view input) {
    const std::string content(input.substr(0, input.find('|')));
    (void)Take(input, '|');
    memoryFiles = {{kFile, content}};
    CXMLOpt settings;
    if (!settings.LoadFile(kFile)) {
        Require(!MendSettings(kFile, "").IsEmpty() && settings.LoadFile(kFile));
        Require(memoryFiles.size() == 2 && memoryFiles.rbegin()->second == content);
    }
    std::map<std::string, std::string> values;
    while (!input.empty()) {
        std::string_view value = input.substr(0, input.find('\n'));
        std::string path = Take(value, '=');
        const std::string text = Take(value, '\0');
        (void)Take(input);
        // Keys are the service's own; one that the file's encoding lacks could not be saved.
        const bool isKey = path.find_first_not_of("abcdefghijklmnopqrstuvwxyz.") == std::string::npos;
        if (isKey && settings.SetValue(path.c_str(), text.c_str())) {
            path.resize(path.size() - (path.back() == '.' ? 1 : 0));
            // Nothing is left below an element whose text is set; "/" follows ".".
            values.erase(values.lower_bound(path + "."), values.lower_bound(path + "/"));
            values[path] = text;
        }
    }
    const std::string document = settings.GetDoc().GetText();
    CXMLOpt saved;
    Require(settings.SaveFile() && saved.LoadFile(kFile));
    for (const auto& [path, value] : values) {
        Require(settings.GetValue(path.c_str()) == value.c_str());
        Require(saved.GetValue(path.c_str()) == value.c_str() || InUtf8(document) != document);
    }
}
