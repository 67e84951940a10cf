#pragma once

#include <optional>
#include <string>

// The next line of standard input as a password; it ends with LF or CR LF. On a terminal `prompt` is written
// to standard error and the line is not echoed. None at the end of the input.
std::optional<std::string> ReadPassword(const std::string& prompt);
