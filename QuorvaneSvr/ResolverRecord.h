#pragma once

#include <optional>
#include <string>

// What is needed to give the resolver file back as it was, in a file of the working folder: so it outlives a
// kill, a crash and a power cut. Not synchronised; CPushedServers holds the lock.
struct ResolverRecord {
    std::string former;      // the text to give back: the one before the first push
    std::string formerDNS1;  // the servers that the first push replaced
    std::string formerDNS2;
    std::string pushed;  // the servers of all pushes since, the newest last, parted by blanks
    std::string before;  // the text that is being written over; once it is, the same as the next one
    std::string left;    // the text that this service left; empty when somebody else wrote to it between

    // Writes the file, mode 0600, and waits until the disk has it. On failure errno tells why, and what was
    // on the disk before is still there.
    bool Save() const;
    // The record on the disk; nothing when there is none, or none that is whole.
    static std::optional<ResolverRecord> Load();
    // Removes it, and what a killed Save left beside it.
    static void Remove();
    // Removes only what a killed Save left.
    static void RemoveLeftOvers();
};
