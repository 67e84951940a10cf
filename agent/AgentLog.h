#pragma once

#include <string>

// How urgent a line is, in the numbers of syslog.
enum class Urgency { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6 };

// Writes one line to standard error: `text` must be one line already and hold no password (what comes from
// outside goes through ReadableText). The journal is told how urgent it is; elsewhere only the text appears.
void LogLine(Urgency urgency, const std::string& text);
