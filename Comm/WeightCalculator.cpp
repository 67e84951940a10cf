#include "WeightCalculator.h"

#include <algorithm>

namespace {

constexpr uint32_t kHashFactor = 31;

}  // namespace

void HashBalance::SetIpList(const std::string& list) {
    serverMap.clear();
    size_t start = 0;
    for (size_t comma = list.find(','); comma != std::string::npos; comma = list.find(',', start)) {
        serverMap.push_back(list.substr(start, comma - start));
        start = comma + 1;
    }
    // So a blank behind the last comma is not taken for a server.
    if (list.size() - start > 1) {
        serverMap.push_back(list.substr(start));
    }
}

uint32_t HashBalance::hash_index(const char* key) {
    uint32_t hash = 0;
    for (; *key != '\0'; ++key) {
        hash = hash * kHashFactor + static_cast<unsigned char>(*key);
    }
    return hash;
}

std::string HashBalance::getServer(const std::string& key) const {
    if (key.empty() || serverMap.empty()) {
        return {};
    }
    return serverMap[hash_index(key.c_str()) % serverMap.size()];
}

void HashBalance::deleteIp(const std::string& ip) {
    const auto found = std::find(serverMap.begin(), serverMap.end(), ip);
    if (found != serverMap.end()) {
        serverMap.erase(found);
    }
}

void HashBalance::addIp(const std::string& ip) {
    serverMap.push_back(ip);
}
