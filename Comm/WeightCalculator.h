#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The equal servers of a portal, of which each client chooses one by the hash of its own address. So a client
// keeps its server while the list stays, and the clients spread over the list. A chosen server is removed
// by its owner, so that the next choice is another one. Not synchronised: the owner has a lock.
class HashBalance {
  public:
    int Size() const { return static_cast<int>(serverMap.size()); }
    // Replaces the list by the comma-separated addresses of `list`, empty ones included. A last entry of
    // fewer than two characters is dropped.
    void SetIpList(const std::string& list);
    // h = h * 31 + c over the bytes of the NUL-terminated `key`, wrapping at 32 bits.
    static uint32_t hash_index(const char* key);
    // The server for the client address `key`; empty when the key or the list is.
    std::string getServer(const std::string& key) const;
    // Removes the first entry equal to `ip`, if there is one.
    void deleteIp(const std::string& ip);

    // Not used by the service. Puts `ip` behind the last entry, for a server that answers again.
    void addIp(const std::string& ip);

  private:
    std::vector<std::string> serverMap;
};
