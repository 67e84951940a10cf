#include "CTrafficStatistics.h"

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdio>
#include <memory>

#include "AES.h"
#include "CurlHttp.h"
#include "PortalCodes.h"
#include "TextUtil.h"
#include "comm.h"

namespace {

// Keys and initialisation vectors: the ones for the report itself (_t), the others for the body around it.
constexpr char szSecretKey[] = "Qm7Tz2LwX9bKp4Rd";
constexpr char szSecretIV[] = "H3vNc8YjW5sEa1Gu";
constexpr char szSecretKey_t[] = "Lr6Df0PkM2xZq8Vb";
constexpr char szSecretIV_t[] = "Ty4Ws9JnB7cUh3Ke";
static_assert(sizeof(szSecretKey) == AES_128 + 1 && sizeof(szSecretKey_t) == AES_128 + 1);
static_assert(sizeof(szSecretIV) == kAesBlockLength + 1 && sizeof(szSecretIV_t) == kAesBlockLength + 1);

constexpr short kLinux = 2;  // "ostype" of this client

// Compressed answers are allowed to the server because the answer is not read.
constexpr char kHeaders[] =
    "Accept: text/javascript, text/html, application/xml, text/xml, */*\r\n"
    "Content-type: text/plain; charset=utf-8\r\n"
    "Accept-Encoding: gzip, deflate\r\n"
    "Connection: close\r\n"
    "Cache-Control: no-cache\r\n";

struct JsonDeleter {
    void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, JsonDeleter>;

// Leaves an empty text when there is no memory.
void Print(const Json& json, std::string& out) {
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_PrintUnformatted(json.get()), cJSON_free);
    out = text != nullptr ? text.get() : "";
}

void AddText(const Json& json, const char* name, const char* text) {
    cJSON_AddStringToObject(json.get(), name, OrEmpty(text));
}

// Numbers of bytes travel as texts of six significant digits.
void AddKilobytes(const Json& json, const char* name, double kilobytes) {
    char text[32];
    snprintf(text, sizeof(text), "%g", kilobytes);
    AddText(json, name, text);
}

}  // namespace

int CTrafficStatistics::NetworkTrafficStatistics(const char* url, const char* account, const char* schoolid,
                                                 const char* ipv4, const char* brasip,
                                                 tag_STATISTICS_TYPE type) {
    const int counters = ReadCounters();
    if (counters != 0) {
        return counters;
    }
    switch (type) {
        case LOGIN: StartCounting(); return 0;
        case LOGOUT:
        case TIMING: return Report(url, account, schoolid, ipv4, brasip, type);
    }
    return -1;
}

int CTrafficStatistics::ReadCounters() {
    unsigned long transmitted = 0;
    unsigned long received = 0;
    const int result = m_Adapter.GetSystemControl()->NetworkTrafficStatistics(transmitted, received);
    if (result == 0) {
        m_un64TransmitBytesStatistics = transmitted;
        m_un64ReceiveBytesStatistics = received;
    }
    return result;
}

void CTrafficStatistics::StartCounting() {
    m_strTrafficStartTime = CommFunc::GetLocalTime(kPortalTimeFormat);
    m_un64TransmitBytesStart = m_un64TransmitBytesStatistics;
    m_un64ReceiveBytesStart = m_un64ReceiveBytesStatistics;
}

int CTrafficStatistics::Report(const char* url, const char* account, const char* schoolid, const char* ipv4,
                               const char* brasip, tag_STATISTICS_TYPE type) {
    m_strTrafficStatisticsTime = CommFunc::GetLocalTime(kPortalTimeFormat);
    const double up = Kilobytes(m_un64TransmitBytesStatistics - m_un64TransmitBytesStart);
    const double down = Kilobytes(m_un64ReceiveBytesStatistics - m_un64ReceiveBytesStart);
    std::string record;
    BuildToken(account, schoolid, kLinux, ipv4, brasip, m_strTrafficStartTime, m_strTrafficStatisticsTime, up,
               down, type, time(nullptr), record);
    std::string token;
    std::string submission;
    std::string body;
    if (record.empty() || !EncryptData(record, token, szSecretKey_t, szSecretIV_t) ||
        BuildSubmitData(token.c_str(), submission) != 0 ||
        !EncryptData(submission, body, szSecretKey, szSecretIV)) {
        return -1;
    }
    return SubmitData(url, BuildHTTPHead(), body);
}

double CTrafficStatistics::Kilobytes(uint64_t bytes) {
    const auto thousandths = static_cast<float>(static_cast<double>(bytes) / 1024 * 1000);
    return static_cast<double>(std::trunc(thousandths)) / 1000;
}

void CTrafficStatistics::BuildToken(const char* account, const char* schoolid, short ostype, const char* ipv4,
                                    const char* brasip, const char* start, const char* stop, double up,
                                    double down, tag_STATISTICS_TYPE type, time_t timestamp,
                                    std::string& token) {
    token.clear();
    if (IsNullOrEmpty(account) || IsNullOrEmpty(ipv4) || IsNullOrEmpty(start) || IsNullOrEmpty(stop)) {
        return;
    }
    const Json record(cJSON_CreateObject());
    AddText(record, "account", account);
    AddText(record, "schoolid", schoolid);
    cJSON_AddNumberToObject(record.get(), "ostype", ostype);
    AddText(record, "ipv4", ipv4);
    AddText(record, "brasip", brasip);
    AddText(record, "start", start);
    AddText(record, "stop", stop);
    AddKilobytes(record, "up", up);
    AddKilobytes(record, "down", down);
    cJSON_AddNumberToObject(record.get(), "stattype", type);
    cJSON_AddNumberToObject(record.get(), "timestamp", static_cast<double>(timestamp));
    Print(record, token);
}

bool CTrafficStatistics::EncryptData(const std::string& plain, std::string& out, const char* key,
                                     const char* iv) {
    std::string cipher;
    const bool done = CAES::EncryptCbc(plain, reinterpret_cast<const unsigned char*>(key),
                                       reinterpret_cast<const unsigned char*>(iv), cipher);
    out = Bytes2Hex(reinterpret_cast<const unsigned char*>(cipher.data()), cipher.size());
    return done;
}

std::string CTrafficStatistics::Bytes2Hex(const unsigned char* bytes, size_t length) {
    return ToHex(bytes, length);
}

int CTrafficStatistics::BuildSubmitData(const char* token, std::string& out) {
    const Json submission(cJSON_CreateObject());
    AddText(submission, "token", token);
    Print(submission, out);
    return out.empty() ? -1 : 0;
}

const char* CTrafficStatistics::BuildHTTPHead() {
    return kHeaders;
}

int CTrafficStatistics::SubmitData(const char* url, const char* headers, const std::string& body) {
    if (IsNullOrEmpty(url) || IsNullOrEmpty(headers)) {
        return -1;
    }
    CHttpData exchange(true);
    exchange.szUrl = url;
    exchange.szVerb = "POST";
    exchange.szHead = headers;
    exchange.szPostData = body.c_str();
    exchange.dwPostDataLen = body.size();
    exchange.dwTimeOut = RequestTimeOut::kStandard;
    exchange.bodyBound = [](const CHttpData&) { return kLargestPage; };  // nobody reads it
    return CCurlHttp().Perform(&exchange);
}
