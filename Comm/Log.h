#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "SimpleFile.h"

// How urgent a log line is; a line is written when its level is at most the logger's.
enum LEVEL { ERROR = 0, WARN = 1, NOTICE = 2, INFO = 3, DEBUG = 4 };

// The process-wide log file. It exists before main runs. No lock is taken: the parts of lines that two
// threads write at the same moment may mix. Each line is "month-day hour:minute:second message" without a
// year; the year is in the file name.
//
// Portals and front ends say much of what is logged, as often as they like, so the log is bounded: a line is
// cut at 8 KiB, and the file grows by less than 10 MB in any hour. What goes beyond is left out, and the next
// line that fits says how many those were.
class CLog : public CSimpleFile {
  public:
    static CLog* GetInst() { return m_pLog; }

    void SetLevel(int level) { m_level = level; }
    // Opens "dir/date_name" for appending and creates the folder. `dateFormat` is strftime's; an empty or
    // null `dir` or `dateFormat` leaves that part out. When the folder cannot be made, the file lands in the
    // working folder. The date is that of the call: the file does not change at midnight. 0, or -1 when
    // the file cannot be opened; every later line is then dropped.
    int Create(const char* dir, const char* name, const char* dateFormat);
    // Writes one line printf-style. An empty text writes nothing, not even a time stamp.
    void WriteLog(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // Local time by strftime into `out` of `size` bytes, cleared first. Always 1.
    int getTimeNow(char* out, int size, const char* format);

    // Not used by the service.
    char buf[1024] = {};  // room for a line that a caller puts together

  private:
    bool HasRoom(size_t length);
    void WriteLine(const char* message, size_t length);
    void PutLine(const char* message, size_t length);

    static CLog* m_pLog;

    int m_level = ERROR;
    // When the lines so far are paid off, in ms of a clock that is never set.
    std::atomic<int64_t> m_paidUntil{0};
    std::atomic<int> m_leftOut{0};  // lines since the last one that was written
};
