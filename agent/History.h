#pragma once

#include <cstddef>
#include <ctime>
#include <deque>
#include <string>
#include <vector>

// One change of state as it is kept.
struct HistoryEntry {
    std::time_t time = 0;
    std::string state;  // a name of AgentState.h, or kAgentStopped
    int code = 0;       // of the report that led there; 0: none did
    std::string subCode;
    std::string text;  // what ended the state before; empty when it only led on
};

// Ends the time in which an agent looked on. After a kill it is written by the next agent, with the time at
// which the former one was last known to live.
constexpr char kAgentStopped[] = "agent-stopped";

// How well a stretch of time went. What lies before the first entry, and time without an agent, is left out.
struct HistorySummary {
    // Of the time that was looked at, 0 to 1; 0 when there was none. A machine is online in the states
    // `online` and `open-network`.
    double onlineShare = 0;
    // How often `online` ended, except by a log-out that somebody asked for or by the end of the agent.
    int interruptions = 0;
    std::time_t lookedAt = 0;  // seconds
};
// Without the entries of a time that is yet to come, which a clock that was ahead has left.
std::deque<HistoryEntry> HistoryUntil(const std::deque<HistoryEntry>& entries, std::time_t now);

// Of `all` entries in their order, from `since` to `now`; the last entry before `since` tells the state at
// its beginning. An entry that is older than the one before it, as after the clock was put back, counts from
// then, one that is yet to come not at all.
HistorySummary Summarize(const std::deque<HistoryEntry>& all, std::time_t since, std::time_t now);

// As a line of the file, without the line feed, and back; what is no such line gives false, with `entry` as
// it was.
std::string HistoryLine(const HistoryEntry& entry);
bool ReadHistoryLine(const std::string& line, HistoryEntry& entry);

// RFC 3339 in UTC, to the second, and back; 0 for what does not have this form.
std::string TimeText(std::time_t time);
std::time_t TimeOfText(const std::string& text);

// The file FOLDER/history.jsonl, mode 0640, 1 MiB at most: beyond it the oldest quarter of the lines is
// dropped, here as well. A line that cannot be read or written is passed over; the entries hold for the run.
// One agent has it at a time.
class History {
  public:
    explicit History(const std::string& folder);

    // Reads what is there, and closes the time of an earlier agent that was killed.
    void Open(std::time_t now);
    void Add(const HistoryEntry& entry);
    // Marks that the agent lives by the file's time, without writing data; to be called every few minutes.
    void Touch(std::time_t now);
    const std::deque<HistoryEntry>& Entries() const { return m_entries; }

  private:
    void Read();
    void Keep(const HistoryEntry& entry);
    std::time_t LastSignOfLife(std::time_t now) const;
    size_t Append(const std::string& line);
    void DropOldest();

    const std::string m_path;
    std::deque<HistoryEntry> m_entries;
    size_t m_bytes = 0;         // of the entries as lines
    bool m_isLineOpen = false;  // the file's last line lacks its line feed
};
