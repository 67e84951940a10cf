#pragma once

#include <string>

namespace sample {

// One version of the sample transform. The module of that version computes `encode` in its "Code" and
// `decode` in its "Prepare"; a portal that talks to it works in the other direction.
struct Version {
    const char* algorithmId;  // 36-character GUID text
    const char* keyId;        // 3 characters; "Prepare" refuses every other key id
    // Printable text without white space, twice as long as `text`.
    std::string (*encode)(const std::string& text);
    // The text that `encode` was given; empty when `text` is not of this version's making.
    std::string (*decode)(const std::string& text);
};

// The two versions share no character of their encoded texts, so that neither decodes the other's.
const Version& FirstVersion();
const Version& SecondVersion();
// Null when no version has this algorithm id.
const Version* FindVersion(const std::string& algorithmId);

}  // namespace sample
