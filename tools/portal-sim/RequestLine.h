#pragma once

#include <string>

#include "RequestCheck.h"

namespace portal_sim {

// Whether the endpoint is one of those that lead to the configuration; all others are asked with documents.
bool IsHop(Endpoint endpoint);

// The request as people read it, beginning with the time of day. It holds no password.
std::string LineOf(const Request& request);

}  // namespace portal_sim
