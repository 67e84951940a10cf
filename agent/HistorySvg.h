#pragma once

#include <ctime>
#include <deque>
#include <string>

#include "History.h"

// A drawing of a stretch of time as a whole SVG document: a lane each for online, an open network, offline
// and no agent, with its share, over an axis of local time; a mark wherever being online ended, whose tooltip
// tells by what. It needs nothing beside it and can be read on light and dark grounds. `entries` are in
// their order; texts in them may hold anything.
std::string HistoryAsSvg(const std::deque<HistoryEntry>& entries, std::time_t since, std::time_t now);
