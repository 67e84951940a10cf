#pragma once

#include <cjson/cJSON.h>

#include <ctime>
#include <deque>
#include <string>

#include "AgentProtocol.h"
#include "History.h"

// What the agent says, in words for a terminal. Every text comes from outside and is made harmless here: no
// control character passes. Times are shown as this machine's local ones. With `inColour` states stand out.

// Whether standard output is a terminal that shows colours, and the user wants them (NO_COLOR).
bool WantsColour();

// One line of a terminal from a text of the agent, which is UTF-8.
std::string Shown(const std::string& text);
// A line of JSON as the agent sent it; control characters that a terminal would obey become references.
std::string ShownJson(const std::string& line);

// "2026-05-01 12:00:03", in the time of this machine.
std::string LocalTime(std::time_t time);
// "3 d", "2 h 5 min", "40 s": the two largest units, and nothing for one that is 0.
std::string DurationWords(std::time_t seconds);

// The exit status that tells a state; kFailed for one that is unknown.
ExitStatus StatusOfState(const std::string& state);

// The file that the agent's account is kept in: the one that it names, or what that is the copy of; empty
// without one. `status` may be null.
std::string AccountFileOf(const cJSON* status);
// The status fields: a line each for state, since when, account, address, last code, next try and the last
// day; without the last line feed, as everything here.
std::string StatusWords(const cJSON& status, std::time_t now, bool inColour);
// The same in one line: state, account and address.
std::string StateWords(const cJSON& status, bool inColour);
// An event of `watch` in one line.
std::string EventWords(const cJSON& event, std::time_t now, bool inColour);
// One line a terminal: its fields by their names.
std::string TerminalWords(const cJSON& terminals);

// The entries of an answer; what is none is passed over.
std::deque<HistoryEntry> ReadHistory(const cJSON& answer);
// A line for each entry.
std::string HistoryWords(const std::deque<HistoryEntry>& entries, bool inColour);
// "online 98.2 % of 23 h 10 min, 2 interruptions"
std::string SummaryWords(const HistorySummary& summary);
