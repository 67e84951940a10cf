#include "AgentLog.h"

#include <unistd.h>

#include <cstdlib>

namespace {

constexpr char kJournalVariable[] = "JOURNAL_STREAM";  // set by systemd when standard error is the journal

}  // namespace

// In one write, so that lines of several programs do not mix.
void LogLine(Urgency urgency, const std::string& text) {
    static const bool hasJournal = getenv(kJournalVariable) != nullptr;
    const std::string level = hasJournal ? "<" + std::to_string(static_cast<int>(urgency)) + ">" : "";
    const std::string line = level + text + "\n";
    if (write(STDERR_FILENO, line.data(), line.size()) < 0) {
        return;  // there is nobody to tell
    }
}
