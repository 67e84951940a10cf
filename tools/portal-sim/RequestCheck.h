#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Scenario.h"

namespace portal_sim {

// One request as it arrived, and what was made of it.
struct Request {
    Endpoint endpoint = Endpoint::Probe;
    std::chrono::steady_clock::time_point arrival;
    std::string path;
    std::string server;                          // the Host header, "host:port"
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;                            // as sent
    // The decoded document of a portal request, or the decrypted record of a statistics upload.
    std::string document;
    // Its elements (or members) with their texts, in document order.
    std::vector<std::pair<std::string, std::string>> elements;
    std::string complaint;  // the first rule of the protocol that the request breaks; empty when none
    std::string outcome;    // the answer in a word or two, such as "ok" or "error 105"

    // The text of the first element of that name; empty when there is none.
    std::string Element(const std::string& name) const;
    // The header's value; the name in lower case. Empty when it was not sent.
    std::string Header(const std::string& name) const;
    bool Has(const std::string& name) const;
};

// What a request is held against.
struct Expectations {
    std::string schoolId;
    std::string domain;
    std::string area;
    std::set<std::string> tickets;  // every ticket that a request may name
};

// Whether the client says that it has no algorithm module. Nothing it sends can then be decoded.
bool LacksModule(const Request& request);

// The checksum of a body, in lower-case hexadecimal digits.
std::string Md5Of(const std::string& text);

// Decodes the body with the module that the request names, reads its elements and judges the whole request:
// headers, checksum, document, values. Fills `document`, `elements` and `complaint`.
void CheckPortalRequest(const Expectations& expectations, Request& request);

// Judges the headers of the probe and of the hops after it.
void CheckProbe(Request& request);

// Decrypts a statistics upload and judges it; fills the same fields as CheckPortalRequest.
void CheckStatistics(Request& request);

}  // namespace portal_sim
