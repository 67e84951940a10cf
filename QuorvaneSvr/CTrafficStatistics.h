#pragma once

enum tag_STATISTICS_TYPE { LOGOUT = 0, LOGIN = 1, TIMING = 2 };

class CTrafficStatistics {
  public:
    int NetworkTrafficStatistics(const char* url, const char* account, const char* schoolid, const char* ipv4,
                                 const char* brasip, tag_STATISTICS_TYPE type);
};
