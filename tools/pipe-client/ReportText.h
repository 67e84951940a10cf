#pragma once

#include <string>

#include "FrontEnd.h"

// What a person reads of a report: states and codes in words, everything else as it came, readable on a
// terminal.
std::string DescribeReport(const Report& report);
