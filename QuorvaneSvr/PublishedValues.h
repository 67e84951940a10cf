#pragma once

#include "IPortalHost.h"

struct CAuthConfig;

// Values that front ends are told, each under a name that they know; also kept for those that attach later.

// A null `value` and the program's own empty literal are skipped; an empty text from anywhere else is sent.
void PublishValue(IPortalHost& host, const char* key, const char* value);
// What the portal's configuration and its redirects have told.
void PublishConfig(IPortalHost& host, const CAuthConfig& record);
