#include "SettingsMending.h"

#include <unistd.h>

#include <string>

#include "FileUtil.h"
#include "Markup.h"
#include "SimpleFile.h"
#include "comm.h"

namespace {

constexpr char kBrokenMark[] = ".broken-";
constexpr char kBrokenDate[] = "%Y%m%d-%H%M%S";
constexpr char kAnyDate[] = "[0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]-[0-9]*";
constexpr size_t kMostBroken = 10;  // a machine that loses its power at every start must not fill its disk
constexpr char kEmptySettings[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings>\n</settings>\n";

// A name that no file has, also for the second one of a second.
std::string NameForBroken(const std::string& path) {
    std::string name = path + kBrokenMark + CommFunc::GetLocalTime(kBrokenDate).GetText();
    while (CSimpleFile::IsFileExist(name.c_str())) {
        name += '_';
    }
    return name;
}

// Before the next one is written, or one whose date lies behind, because the clock does, would go at once.
void MakeRoomForOneMore(const std::string& path) {
    const std::vector<std::string> broken = CFileUtil::FindFiles(path + kBrokenMark, kAnyDate);
    for (size_t index = 0; index + kMostBroken <= broken.size(); ++index) {
        (void)unlink(broken[index].c_str());  // the next time tries again
    }
}

}  // namespace

CAutoString MendSettings(const char* path, const char* defaults) {
    std::string content;
    if (!CFileUtil::ReadWholeFile(path, content)) {
        return {};
    }
    CMarkup settings;
    if (settings.Load(path)) {
        return {};
    }
    const CAutoString fault = CAutoString(path) + ": " + settings.GetResult() + "; ";
    MakeRoomForOneMore(path);
    // A copy, for renaming would leave no file at all if the machine stopped here.
    const std::string broken = NameForBroken(path);
    if (!CFileUtil::ReplaceFile(broken.c_str(), content, WriteTo::kDisk)) {
        return fault + "it cannot be put aside, so no settings are read or saved";
    }
    const bool installed = settings.Load(defaults);
    if (!installed) {
        (void)settings.SetDoc(kEmptySettings);  // is a document
    }
    if (!settings.Save(path, WriteTo::kDisk)) {
        (void)unlink(broken.c_str());  // it stands where it stood, and would be put aside at each start
        return fault + "it cannot be replaced, so no settings are read or saved";
    }
    return fault + "it was put aside as " + broken.c_str() + " and replaced by " +
           (installed ? "the installed settings" : "empty settings");
}
