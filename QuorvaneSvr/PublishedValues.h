#pragma once

#include "IPortalHost.h"

struct CAuthConfig;

// Values that front ends are told as soon as the portal has told them, each under a name that they know. They
// are also kept among the values of the run (CInfoCenter::SetGlobalValue), which hold the first value of each
// name and reach nobody: a front end that attaches later is not told them.

// Skips a null `value`, and kNothingToPublish of PublishedValues.cpp, which is known by its address; any
// other empty text is sent.
void PublishValue(IPortalHost& host, const char* key, const char* value);
// What the portal's configuration and the heads of its redirects have told. What their addresses have told of
// the access controller is only kept.
void PublishConfig(IPortalHost& host, const CAuthConfig& record);
