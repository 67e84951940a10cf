#pragma once

#include <ctime>
#include <string>

#include "AgentProtocol.h"

// What the command line says. Texts that were not given are empty.
struct CtlOptions {
    std::string socket;
    bool asJson = false;
    unsigned timeoutSeconds = kDefaultTimeoutSeconds;

    std::string account;
    bool passwordFromInput = false;
    std::string passwordFile;
    std::string accountFile;
    std::string ticket;
    std::time_t historySeconds = 24 * 60 * 60;
    std::string svgFile;
    std::string folder;
};
