#pragma once

#include "AgentClient.h"
#include "CtlOptions.h"

// The commands of quorvane-ctl. Each prints its result on standard output, as words or as JSON, and what went
// wrong on standard error, and gives the exit status. Not the standard output's own faults: those are for
// whoever ends the program.

ExitStatus ShowStatus(const CtlOptions& options);
// Until SIGINT or SIGTERM, or until nobody reads the output any more; the agent's end is kNoService.
ExitStatus Watch(const CtlOptions& options);
ExitStatus Login(const CtlOptions& options);
ExitStatus Logout(const CtlOptions& options);
ExitStatus CheckNetwork(const CtlOptions& options);
ExitStatus ShowTerminals(const CtlOptions& options);
ExitStatus LogoutTerminal(const CtlOptions& options);
ExitStatus ShowHistory(const CtlOptions& options);
// With or without an agent; kFailed when something is amiss.
ExitStatus ExamineMachine(const CtlOptions& options);
// Of the account file, with or without an agent.
ExitStatus SetAccount(const CtlOptions& options);
ExitStatus ClearAccount(const CtlOptions& options);

// Says on standard error what is wrong, and gives the fault's status.
ExitStatus Complain(const CtlFault& fault);
// With --json also on standard output, in the form of the agent.
ExitStatus Refuse(const CtlOptions& options, const CtlFault& fault);
