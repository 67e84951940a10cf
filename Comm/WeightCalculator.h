#pragma once

#include <cstdint>
#include <string>
#include <vector>

class HashBalance {
  public:
    int Size() const;
    void SetIpList(const std::string& list);
    static uint32_t hash_index(const char* key);
    std::string getServer(const std::string& key) const;
    void deleteIp(const std::string& ip);

  private:
    std::vector<std::string> serverMap;
};
