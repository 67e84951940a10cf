// The service's folder and the settings in it.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Examination.h"
#include "FolderCopy.h"
#include "SystemNames.h"

namespace {

constexpr char kSettingsFile[] = "conf/conf.xml";
constexpr char kSettingsFolder[] = "conf";
constexpr char kModuleFile[] = "zxmAlogic.zxm";
constexpr uint64_t kLeastRoom = 1024 * 1024;  // an unpacked module and the settings

// What the service runs as may differ from who asks, so rights are read off owner and mode. Groups are left
// out: a folder that belongs to the service's group only is not told from one that does not.
bool MayWrite(const std::string& path, uid_t user) {
    struct stat status = {};
    if (user == 0 || stat(path.c_str(), &status) != 0) {
        return true;  // what is missing or hidden is told elsewhere
    }
    if (user == geteuid()) {
        return euidaccess(path.c_str(), W_OK) == 0;
    }
    return (status.st_mode & (status.st_uid == user ? S_IWUSR : S_IWGRP | S_IWOTH)) != 0;
}

bool IsForbidden(int failure) {
    return failure == EACCES || failure == EPERM;
}

// All that the user may not read, in one text.
std::string Unreadable(const Examination& examination) {
    std::string names;
    if (IsForbidden(examination.settingsFailure)) {
        names = kSettingsFile;
    }
    if (IsForbidden(examination.moduleFailure)) {
        names += (names.empty() ? "" : ", ") + std::string(kModuleFile);
    }
    return names;
}

Verdict JudgeFileSystem(const Examination& examination, const std::string& described) {
    struct statvfs system = {};
    if (statvfs(examination.folder.c_str(), &system) != 0) {
        return Found(Finding::kUnreadable, examination.folder + ": " + strerror(errno));
    }
    if ((system.f_flag & ST_RDONLY) != 0) {
        return Found(Finding::kReadOnly, described);
    }
    if ((system.f_flag & ST_NOEXEC) != 0) {
        return Found(Finding::kNotExecutable, described);
    }
    const uint64_t room = system.f_bavail * system.f_frsize;
    const bool lacksNodes = system.f_files != 0 && system.f_favail == 0;
    if (room < kLeastRoom || lacksNodes) {
        return Found(Finding::kFull, described + ", " + std::to_string(room / 1024) + " KiB left");
    }
    return Good(described);
}

}  // namespace

Verdict LookAtFolder(Examination& examination) {
    const std::string& folder = examination.folder;
    if (IsForbidden(examination.folderFailure)) {
        return Found(Finding::kUnreadable, folder);
    }
    if (examination.folderFailure != 0) {
        return Found(Finding::kNoFolder, folder + ": " + strerror(examination.folderFailure));
    }
    const uid_t user = examination.ServiceUser();
    const std::string described = folder + ", service as " + UserName(user);
    Verdict system = JudgeFileSystem(examination, described);
    if (system.finding != Finding::kNone) {
        return system;
    }
    if (!MayWrite(folder, user)) {
        return Found(Finding::kNotWritable, described);
    }
    const std::string unreadable = Unreadable(examination);
    if (!unreadable.empty()) {
        return Found(Finding::kUnreadable, unreadable);
    }
    const bool isOpenToAll = (examination.folderMode & (S_IWOTH | S_ISVTX)) == S_IWOTH;
    return isOpenToAll ? Found(Finding::kOpenToAll, folder) : Good(described);
}

Verdict LookAtSettings(Examination& examination) {
    const std::string path = examination.InFolder(kSettingsFile);
    if (examination.folderFailure != 0) {
        return Skipped("the folder cannot be looked into");
    }
    if (examination.settingsFailure == Examination::kNoCopy) {
        return Skipped("no folder for temporary files can be made");
    }
    if (examination.settingsFailure == ENOENT) {
        return Found(Finding::kNoSettings, path);
    }
    if (IsForbidden(examination.settingsFailure)) {
        return Skipped(std::string(kSettingsFile) + " may not be read by you");
    }
    if (examination.settingsFailure != 0) {
        return Found(Finding::kSettingsBroken, path + ": " + strerror(examination.settingsFailure));
    }
    if (!examination.areSettingsWhole) {
        return Found(Finding::kSettingsBroken, path + ": " + examination.settingsFault);
    }
    if (examination.version.IsEmpty()) {
        return Found(Finding::kNoVersion, path);
    }
    const uid_t user = examination.ServiceUser();
    if (!MayWrite(path, user) && !MayWrite(examination.InFolder(kSettingsFolder), user)) {
        return Found(Finding::kSettingsFixed, path + ", service as " + UserName(user));
    }
    return Good("version " + examination.version.GetText());
}
