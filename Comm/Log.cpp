#include "Log.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "TextUtil.h"

namespace {

constexpr mode_t kLogFolderMode = 0700;           // the log names the account
constexpr int kDateBufferSize = 50;               // bytes of a date
constexpr char kLineStamp[] = "%m-%d %H:%M:%S ";  // the blank parts stamp and message

}  // namespace

// Never deleted: threads may still write while the process ends.
CLog* CLog::m_pLog = new CLog;

int CLog::Create(const char* dir, const char* name, const char* dateFormat) {
    std::string path;
    if (!IsNullOrEmpty(dir) && (IsFileExist(dir) || RecuMkDir(dir, kLogFolderMode, false))) {
        path = dir;
        if (path.back() != '/' && path.back() != '\\') {
            path += '/';
        }
    }
    if (!IsNullOrEmpty(dateFormat)) {
        char date[kDateBufferSize];
        getTimeNow(date, sizeof(date), dateFormat);
        path.append(date).append("_");
    }
    path += name;
    return CreateFile(path.c_str(), "a+");
}

void CLog::WriteLog(int level, const char* format, ...) {
    if (m_level < level) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    char* message = nullptr;
    const int length = vasprintf(&message, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    if (length > 0) {
        char stamp[kDateBufferSize];
        getTimeNow(stamp, sizeof(stamp), kLineStamp);
        // A line that cannot be written has nobody to be reported to.
        (void)WriteFile(stamp, strlen(stamp));
        (void)WriteFile(message, static_cast<size_t>(length));
        (void)WriteFile("\n", 1);
    }
    free(message);
}

int CLog::getTimeNow(char* out, int size, const char* format) {
    memset(out, 0, static_cast<size_t>(size));
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    if (strftime(out, static_cast<size_t>(size), format, &local) == 0) {
        out[0] = '\0';
    }
    return 1;
}
