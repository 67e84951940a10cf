#pragma once

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
    std::string text;
};

// Ends the time in which an agent looked on. After a kill it is written by the next agent, with the time at
// which the former one was last known to live.
constexpr char kAgentStopped[] = "agent-stopped";

// How well a stretch of time went. What lies before the first entry, and time without an agent, is left out.
struct HistorySummary {
    double onlineShare = 0;    // of the time that was looked at, 0 to 1; 0 when there was none
    int interruptions = 0;     // how often `online` ended without anybody asking for it
    std::time_t lookedAt = 0;  // seconds
};
// Of `entries` in their order, from `since` to `now`; the last entry before `since` tells the state at its
// beginning.
HistorySummary Summarize(const std::deque<HistoryEntry>& entries, std::time_t since, std::time_t now);

// As a line of the file, without the line feed, and back; what is no such line gives false.
std::string HistoryLine(const HistoryEntry& entry);
bool ReadHistoryLine(const std::string& line, HistoryEntry& entry);

// RFC 3339 in UTC, to the second, and back; 0 for what is none.
std::string TimeText(std::time_t time);
std::time_t TimeOfText(const std::string& text);

// The file FOLDER/history.jsonl, 1 MiB at most: beyond it the oldest lines are dropped. A line that cannot be
// read or written is passed over; the entries hold for the run. One agent has it at a time.
class History {
  public:
    explicit History(const std::string& folder);

    // Reads what is there, and closes the time of an earlier agent that was killed.
    void Open(std::time_t now);
    void Add(const HistoryEntry& entry);
    // Marks that the agent lives; cheap, to be called every few minutes.
    void Touch(std::time_t now);
    const std::deque<HistoryEntry>& Entries() const { return m_entries; }

  private:
    const std::string m_path;
    std::deque<HistoryEntry> m_entries;
};
