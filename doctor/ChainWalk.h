#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AutoString.h"
#include "Findings.h"

// One request of the chain.
struct Hop {
    std::string url;
    int status = 0;  // 0 when there was no answer
};

// The way from the probe address to the page that leads nowhere else, walked as the service walks it.
struct Chain {
    std::vector<Hop> hops;
    Finding fault = Finding::kNone;         // what ended the walk before the last page
    std::string reason;                     // the fault's particulars
    CAutoString page;                       // the last page, when there was no fault
    bool isCampus = false;                  // something on the way is a campus portal's
    std::optional<long> clockAheadSeconds;  // of ours, against the first answer that tells the time
};

struct ChainStart {
    CAutoString probe;
    CAutoString userAgent;
    CAutoString client;  // own address, by which the portal's servers are chosen
    bool isIPv6 = false;
    CAutoString servers;  // the portal's servers for that family, as the settings know them
};

// Whether it is an address with a host, to which a request can be sent.
bool IsAddress(const CAutoString& text);

// Follows the redirects with GETs, at most 30 and for 5 s; a connection has 2 s. The classification of
// answers, the lower case of addresses and the choice among servers are the service's own.
Chain WalkChain(const ChainStart& start);

// "GET ADDRESS 302, GET ADDRESS 200", shortened where the portal talks too much.
std::string DescribeHops(const Chain& chain);
