#pragma once

#include <optional>
#include <string>

#include "FrontEnd.h"

// What a person reads of a report: states and codes by name, everything else as it came.
std::string DescribeReport(const Report& report);

// The state with the given name, for example "connected". None when there is no such state.
std::optional<INetConn::ESTATE> StateByName(const std::string& name);
