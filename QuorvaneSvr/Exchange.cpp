#include "Exchange.h"

#include <cstring>

#include "Log.h"

namespace {

// Bytes of a head that reach the log.
constexpr size_t kLongestLoggedHead = 8 * 1024;

}  // namespace

void LogHead(const CHttpData& answer) {
    const char* const head = answer.RespHead();
    const size_t length = strlen(head);
    if (length <= kLongestLoggedHead) {
        CLog::GetInst()->WriteLog(INFO, "%s", head);
    } else {
        CLog::GetInst()->WriteLog(INFO, "%.*s... (cut, %zu bytes in all)",
                                  static_cast<int>(kLongestLoggedHead), head, length);
    }
}
