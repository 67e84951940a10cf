#include "Log.h"

#include <algorithm>
#include <chrono>
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
constexpr size_t kStampSize = sizeof("03-15 08:02:11 ") - 1;

constexpr size_t kLongestLine = 8 * 1024;  // bytes; a portal's head or configuration usually fits
constexpr int kCutNoteSize = 50;           // bytes, for "... (cut, N bytes in all)" and its NUL

// What the log may grow by: many times what a session writes, and less than 10 MB in the worst hour. Lines
// are paid off at the rate, up to the burst they are written ahead of it.
constexpr int64_t kBytesPerSecond = 1500;
constexpr int64_t kBurstBytes = 4 * 1000 * 1000;
constexpr int64_t kMsPerSecond = 1000;
constexpr char kGapNote[] = "%d lines were left out: the log would grow too fast";
constexpr size_t kGapNoteSize = 100;  // bytes, with its stamp

int64_t CostMs(int64_t bytes) {
    return (bytes * kMsPerSecond + kBytesPerSecond - 1) / kBytesPerSecond;
}

int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Shortens the message to what a line may hold and notes at its end how long it was. It has been allocated as
// long as it is, so there is room for the note. Returns the new length.
size_t CutToLine(char* message, size_t length) {
    if (length <= kLongestLine + kCutNoteSize) {
        return length;
    }
    return kLongestLine + static_cast<size_t>(snprintf(message + kLongestLine, kCutNoteSize,
                                                       "... (cut, %zu bytes in all)", length));
}

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
        WriteLine(message, CutToLine(message, static_cast<size_t>(length)));
    }
    free(message);
}

void CLog::WriteLine(const char* message, size_t length) {
    const bool hasGap = m_leftOut > 0;
    if (!HasRoom(kStampSize + length + 1 + (hasGap ? kGapNoteSize : 0))) {
        ++m_leftOut;
        return;
    }
    if (const int leftOut = m_leftOut.exchange(0); leftOut > 0) {
        char note[kGapNoteSize];
        const int noted = snprintf(note, sizeof(note), kGapNote, leftOut);
        PutLine(note, static_cast<size_t>(noted));
    }
    PutLine(message, length);
}

void CLog::PutLine(const char* message, size_t length) {
    char stamp[kDateBufferSize];
    getTimeNow(stamp, sizeof(stamp), kLineStamp);
    // A line that cannot be written has nobody to be reported to.
    (void)WriteFile(stamp, strlen(stamp));
    (void)WriteFile(message, length);
    (void)WriteFile("\n", 1);
}

bool CLog::HasRoom(size_t length) {
    const int64_t now = NowMs();
    int64_t paidUntil = m_paidUntil;
    int64_t next = 0;
    do {
        next = std::max(paidUntil, now) + CostMs(static_cast<int64_t>(length));
        if (next - now > CostMs(kBurstBytes)) {
            return false;
        }
    } while (!m_paidUntil.compare_exchange_weak(paidUntil, next));
    return true;
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
