#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

#include "AutoString.h"
#include "SystemControlAdapter.h"

// The moments of a session at which its traffic is looked at. The portal reads the numbers.
enum tag_STATISTICS_TYPE { LOGOUT = 0, LOGIN = 1, TIMING = 2 };

// Counts the bytes of a session and reports them to the address that the portal names: nothing at the login,
// which is where counting starts, then the sum since the login every time. Used from the work thread only.
class CTrafficStatistics {
  public:
    // One step of the session. Texts may be null, which means empty. 0 when the baseline was taken or the
    // report was sent; otherwise why not: the result of the counters or of the exchange, or -1 for a session
    // without account, address or times, without `url`, or of another type.
    int NetworkTrafficStatistics(const char* url, const char* account, const char* schoolid, const char* ipv4,
                                 const char* brasip, tag_STATISTICS_TYPE type);

    // With at most three decimals, cut in single precision: of large numbers the last decimals are lost.
    static double Kilobytes(uint64_t bytes);
    // The report as JSON, with its members in the order of the arguments. `up` and `down` are kilobytes.
    // Empty when `account`, `ipv4`, `start` or `stop` is.
    static void BuildToken(const char* account, const char* schoolid, short ostype, const char* ipv4,
                           const char* brasip, const char* start, const char* stop, double up, double down,
                           tag_STATISTICS_TYPE type, time_t timestamp, std::string& token);
    // {"token":`token`}. 0, or -1 and an empty `out` without memory.
    static int BuildSubmitData(const char* token, std::string& out);
    // AES-128 in CBC mode with PKCS#7 padding, as lower-case hexadecimal digits; `key` and `iv` have 16
    // characters. False and an empty `out` when the crypto library refuses.
    static bool EncryptData(const std::string& plain, std::string& out, const char* key, const char* iv);
    static std::string Bytes2Hex(const unsigned char* bytes, size_t length);
    // The headers of every report.
    static const char* BuildHTTPHead();
    // Posts `body`. The exchange's result, or -1 without a request when `url` or `headers` is null or empty.
    static int SubmitData(const char* url, const char* headers, const std::string& body);

  private:
    int ReadCounters();
    void StartCounting();
    int Report(const char* url, const char* account, const char* schoolid, const char* ipv4,
               const char* brasip, tag_STATISTICS_TYPE type);

    // Bytes since the interface was made: at the login and at the latest look.
    uint64_t m_un64TransmitBytesStart = 0;
    uint64_t m_un64ReceiveBytesStart = 0;
    uint64_t m_un64TransmitBytesStatistics = 0;
    uint64_t m_un64ReceiveBytesStatistics = 0;
    CAutoString m_strTrafficStartTime;  // local times
    CAutoString m_strTrafficStatisticsTime;
    CSystemControlAdapter m_Adapter;
};
