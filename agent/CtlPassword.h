#pragma once

#include "AgentClient.h"
#include "CtlOptions.h"
#include "Secret.h"

// Whether the options say where the password comes from, or a person can be asked.
bool CanReadPassword(const CtlOptions& options);

// Reads the password for options.account from where the options say, else asks at the terminal without an
// echo. kUsage when there is nowhere to read it from or none there, kDenied when the file may not be read.
CtlFault ReadAccountPassword(const CtlOptions& options, Secret& password);
