#include "History.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include "AgentProtocol.h"
#include "AgentState.h"
#include "FileUtil.h"
#include "Json.h"

namespace {

constexpr char kFileName[] = "/history.jsonl";
constexpr mode_t kFileMode = 0640;  // who may follow the service may see what became of it

// In bytes. Dropping more than has to go keeps the file from being rewritten at every line from then on.
constexpr size_t kLargestFile = 1024 * 1024;
constexpr size_t kKeptBytes = kLargestFile / 4 * 3;

constexpr char kTimeFormat[] = "%Y-%m-%dT%H:%M:%SZ";

bool IsState(const HistoryEntry& entry, AgentState state) {
    return entry.state == WordOf(state).name;
}

bool IsKnownState(const std::string& name) {
    return name == kAgentStopped || FindAgentState(name) != nullptr;
}

bool IsMachineOnline(const HistoryEntry& entry) {
    return IsState(entry, AgentState::kOnline) || IsState(entry, AgentState::kOpenNetwork);
}

bool Interrupts(const HistoryEntry& before, const HistoryEntry& entry) {
    return IsState(before, AgentState::kOnline) && !IsState(entry, AgentState::kOnline) &&
           !IsState(entry, AgentState::kLoggingOut) && entry.state != kAgentStopped;
}

std::string FileLine(const HistoryEntry& entry) {
    return HistoryLine(entry) + "\n";
}

// Owner of a line that getline fills.
struct LineBuffer {
    ~LineBuffer() { free(bytes); }
    char* bytes = nullptr;
    size_t size = 0;
};

// What a foreign hand made longer is read from its last MiB on; the first line is then half a one, which no
// reader takes for a whole.
FileOwner OpenForReading(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    FileOwner file(descriptor >= 0 ? fdopen(descriptor, "re") : nullptr);
    struct stat status = {};
    if (file == nullptr || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    const off_t excess = status.st_size - static_cast<off_t>(kLargestFile);
    (void)fseeko(file.get(), std::max<off_t>(excess, 0), SEEK_SET);  // a regular file has every position
    return file;
}

}  // namespace

std::deque<HistoryEntry> HistoryUntil(const std::deque<HistoryEntry>& entries, std::time_t now) {
    std::deque<HistoryEntry> possible;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(possible),
                 [now](const HistoryEntry& entry) { return entry.time <= now; });
    return possible;
}

HistorySummary Summarize(const std::deque<HistoryEntry>& all, std::time_t since, std::time_t now) {
    const std::deque<HistoryEntry> entries = HistoryUntil(all, now);
    HistorySummary summary;
    std::time_t online = 0;
    std::time_t begin = since;
    for (size_t i = 0; i < entries.size(); ++i) {
        const HistoryEntry& entry = entries[i];
        begin = std::max(begin, entry.time);
        const std::time_t next = i + 1 < entries.size() ? entries[i + 1].time : now;
        const std::time_t duration = std::max<std::time_t>(next - begin, 0);
        summary.lookedAt += entry.state != kAgentStopped ? duration : 0;
        online += IsMachineOnline(entry) ? duration : 0;
        const bool isWithin = entry.time >= since;
        summary.interruptions += isWithin && i > 0 && Interrupts(entries[i - 1], entry) ? 1 : 0;
    }
    if (summary.lookedAt > 0) {
        summary.onlineShare = static_cast<double>(online) / static_cast<double>(summary.lookedAt);
    }
    return summary;
}

std::string HistoryLine(const HistoryEntry& entry) {
    const JsonOwner line = NewJsonObject();
    AddText(*line, AgentField::kTime, TimeText(entry.time));
    AddText(*line, AgentField::kState, entry.state);
    cJSON_AddNumberToObject(line.get(), AgentField::kCode, entry.code);
    AddText(*line, AgentField::kSubCode, entry.subCode);
    AddText(*line, AgentField::kText, entry.text);
    return OneLine(*line);
}

bool ReadHistoryLine(const std::string& line, HistoryEntry& entry) {
    const JsonOwner read(cJSON_ParseWithLength(line.data(), line.size()));
    const cJSON* code = cJSON_GetObjectItemCaseSensitive(read.get(), AgentField::kCode);
    const std::time_t time = TimeOfText(TextOf(read.get(), AgentField::kTime));
    const std::string state = TextOf(read.get(), AgentField::kState);
    if (time == 0 || !IsKnownState(state) || !cJSON_IsNumber(code)) {
        return false;
    }
    entry = {time, state, code->valueint, TextOf(read.get(), AgentField::kSubCode),
             TextOf(read.get(), AgentField::kText)};
    return true;
}

std::string TimeText(std::time_t time) {
    char text[sizeof("-2147481748-01-01T00:00:00Z")] = "";  // the year is an int
    std::tm parts = {};
    if (gmtime_r(&time, &parts) != nullptr) {
        (void)strftime(text, sizeof(text), kTimeFormat, &parts);  // every time has room
    }
    return text;
}

// The way back tells a time from what only begins like one, or has a 31st of February.
std::time_t TimeOfText(const std::string& text) {
    std::tm parts = {};
    if (strptime(text.c_str(), kTimeFormat, &parts) == nullptr) {
        return 0;
    }
    const std::time_t time = timegm(&parts);
    return TimeText(time) == text ? time : 0;
}

History::History(const std::string& folder) : m_path(folder + kFileName) {}

void History::Open(std::time_t now) {
    Read();
    if (m_entries.empty() || m_entries.back().state == kAgentStopped) {
        return;
    }
    HistoryEntry stopped;
    stopped.time = LastSignOfLife(now);
    stopped.state = kAgentStopped;
    Add(stopped);
}

void History::Read() {
    const FileOwner file = OpenForReading(m_path);
    if (file == nullptr) {
        return;
    }
    LineBuffer buffer;
    ssize_t length = 0;
    while ((length = getline(&buffer.bytes, &buffer.size, file.get())) > 0) {
        const std::string line(buffer.bytes, static_cast<size_t>(length));
        HistoryEntry entry;
        m_isLineOpen = line.back() != '\n';
        if (ReadHistoryLine(line, entry)) {
            Keep(entry);
        }
    }
}

void History::Keep(const HistoryEntry& entry) {
    m_entries.push_back(entry);
    m_bytes += FileLine(entry).size();
}

// The file's time is that of the last line or of the last Touch. A clock that went wrong meanwhile must not
// stretch the time of the former agent.
std::time_t History::LastSignOfLife(std::time_t now) const {
    struct stat status = {};
    const bool isThere = lstat(m_path.c_str(), &status) == 0;
    const std::time_t last = m_entries.back().time;
    return std::max(last, std::min(isThere ? status.st_mtime : last, now));
}

void History::Add(const HistoryEntry& entry) {
    Keep(entry);
    const size_t fileSize = Append(FileLine(entry));
    if (fileSize > kLargestFile || m_bytes > kLargestFile) {
        DropOldest();
    }
}

// Returns the size of the file, 0 when there is none to write. A line that is torn, by a power cut or a full
// disk, must not take the next one with it.
size_t History::Append(const std::string& line) {
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const Descriptor file(open(m_path.c_str(), kFlags, kFileMode));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return 0;
    }
    if (status.st_size == 0) {
        (void)fchmod(file.Get(), kFileMode);  // whatever the mask of the process; the file is its own
    }
    const std::string bytes = (m_isLineOpen && status.st_size > 0 ? "\n" : "") + line;
    const ssize_t written = write(file.Get(), bytes.data(), bytes.size());
    m_isLineOpen = written > 0 ? static_cast<size_t>(written) < bytes.size() : m_isLineOpen;
    return static_cast<size_t>(status.st_size) + bytes.size();
}

void History::DropOldest() {
    while (m_bytes > kKeptBytes) {
        m_bytes -= FileLine(m_entries.front()).size();
        m_entries.pop_front();
    }
    std::string lines;
    lines.reserve(m_bytes);
    for (const HistoryEntry& entry : m_entries) {
        lines += FileLine(entry);
    }
    if (CFileUtil::ReplaceFile(m_path.c_str(), lines)) {
        m_isLineOpen = false;
    }
}

// Without a file there is no time to be kept.
void History::Touch(std::time_t now) {
    const timespec times[2] = {{0, UTIME_OMIT}, {now, 0}};
    (void)utimensat(AT_FDCWD, m_path.c_str(), times, AT_SYMLINK_NOFOLLOW);
}
