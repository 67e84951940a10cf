#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "AutoMemory.h"
#include "AutoString.h"
#include "HttpData.h"
#include "comm.h"

class CMarkup;

// Address families as CAuthConfig::m_afType names them.
constexpr int kNoAddressFamily = -1;
constexpr int kIPv4Family = 2;
constexpr int kIPv6Family = 10;

// Configuration and login record of one portal connection. The configuration document, the answers of the
// portal and the settings fill it; every request reads it. Belongs to the thread that runs the engine's
// operation, as the engine does; no lock guards it.
struct CAuthConfig {
    // Addresses of the portal's pages, from its configuration document.
    CAutoString strTickUrl;
    CAutoString strQueryUrl;
    CAutoString strAuthUrl;
    CAutoString strStateUrl;

    // Ways to log in: 1 account and password, 2 mobile QR code, 4 any other; nAuthType is the sum of all.
    int nDefaultAuth = 1;
    CStringArray process;
    CStringArray driver;
    int nAuthType = 0;
    uint64_t stateInterval = 5;  // seconds between two state checks

    // From the ticket and login answers.
    CAutoString strTermUrl;
    CAutoString strKeepUrl;
    CAutoString strTicket;
    int expire = 0;  // seconds that the ticket is good for

    // Identity of this client.
    CAutoString strClientId;
    CAutoString strUserAgent;

    int iKeepRetry = 2;  // failed pulses that are tolerated; a start makes it 0, until a login says more
    int iInterval = 0;   // seconds between two pulses
    int iKeepLevel = 0;

    CAutoString ostag;
    CAutoString mac;
    CAutoString ip4;
    CAutoString ip6;
    CAutoString hostName;
    CAutoString version;
    CAutoString userName;
    CAutoString password;

    // Sharing detection.
    CAutoString againstList;           // the "user-config" element
    uint64_t checkWifiInterval = 300;  // seconds between two checks; 0 means none
    uint64_t logoutDelay = 300;        // seconds from a finding to the log-out
    int checkResult = 0;               // 1 while sharing is found; pulses carry it

    std::vector<CAutoString> m_vecRegister;
    std::vector<CAutoString> m_vecOption;
    CAutoString m_strAcountType;   // "add-domain" or "del-domain": what is done to the account name
    CAutoString m_strAcountValue;  // the domain that is added
    uint16_t RNKeepPortTime = 300;
    CAutoString m_strDNS;  // the "domain-config" element with the pushed DNS servers

    // What discovery learnt: the school's headers and the access controller's view of this client.
    CAutoString schoolId;
    CAutoString domain;
    CAutoString area;
    CAutoString wlanuserip;
    CAutoString wlanusermac;
    CAutoString wlancip;

    int fileInterval = 0;      // seconds; replaces iInterval when the flag is 1
    int fileIntervalFlag = 0;  // both come from the settings file

    int m_afType = 0;  // address family of the active adapter

    // Server lists of the cluster, per address family and as the last configuration brought it.
    // CServerCluster chooses from lists of its own: a change here changes nothing there.
    CAutoString m_strServersIPv4;
    CAutoString m_strServersIPv6;
    CAutoString m_strServers;

    std::map<CAutoString, CAutoString> funCfg;  // name of a function setting -> its whole element

    // Not used by the service.
    // The business keeps where and how often to report in CStatisticsSettings.
    CAutoString trafficStatisticsURL;
    int64_t trafficStatisticsInterval = 0;  // seconds between two reports
};

// A field of the record and the name that it has elsewhere: of an element, a header or a setting.
struct RecordText {
    const char* name;
    CAutoString CAuthConfig::*field;
};
struct RecordNumber {
    const char* name;
    int CAuthConfig::*field;
};

// Builds and reads the portal's documents: cuts the configuration out of the portal page, reads it into a
// CAuthConfig, builds the request documents and heads, and reads the answers. Every request body goes through
// the algorithm module, every answer comes back through it. Documents of more than 512 KiB are not read. One
// object belongs to one thread at a time.
class CPortalParser {
  public:
    // Tells the algorithm module loader where the container "zxmAlogic.zxm" lies. 1 on success; a missing
    // container is no failure, the portal can still send one.
    int Init();
    void Release();
    CAutoString GetAlgoId();
    // Replaces the algorithm module by the body of `data`. 1 replaced, 0 no body, -1 not written.
    int UpdateAlgoid(CHttpData* data);

    // The host name in the two markers around the configuration; empty for the one built in.
    void SetMarkerHost(const CAutoString& host) { m_markerHost = host; }
    // Copies the configuration document out of the portal page. Returns its length; 0, with `config`
    // untouched, when the page does not hold both markers.
    int GetConfigWithString(CAutoString page, CAutoString& config);
    // Reads a configuration document into `record`, which is created when null. Fields that the document does
    // not name keep their values. 0, or -1 when it is no configuration document.
    int ParserConfig(const char* document, CAuthConfig*& record);
    // Seconds between two sharing checks; 0 when `text` does not tell.
    int GetCheckWifiShareTime(CAutoString text);
    // Seconds from a finding to the log-out; 300 when `text` does not tell.
    int GetCheckWifiLogoutTime(CAutoString text);

    // Each builds one request document and returns it encoded, ready to be posted.
    CAutoString MakeTickRequestData(const char* hostName, const char* userAgent, const char* clientId,
                                    const char* ip4, const char* ip6, const char* mac, const char* localTime,
                                    const char* osTag);
    CAutoString MakeAuthRequestData(const char* userAgent, const char* clientId, const char* userId,
                                    const char* password, const char* ticket, const char* localTime);
    CAutoString MakeTerminalRequestData(const char* userAgent, const char* clientId, const char* localTime);
    // `subDocument` may be null; `shared` is left out when 0.
    CAutoString MakeKeepRequestData(const char* userAgent, const char* clientId, const char* ticket,
                                    const char* ip4, const char* ip6, const char* mac, const char* localTime,
                                    const char* subDocument, int shared);
    CAutoString MakeTermRequestData(const char* userAgent, const char* clientId, const char* ticket,
                                    const char* localTime, const char* reason);
    CAutoString MakeStateRequestData(const char* userAgent, const char* clientId, const char* ticket,
                                     const char* localTime);
    // The header lines of a request. `checksum` is the MD5 text of the encoded body.
    CAutoString MakeRequestHead(const char* userAgent, const char* clientId, const char* checksum,
                                const char* schoolId, const char* domain, const char* area);

    // Each decodes one answer and reads it. 0, or -1 when it is no "response" document. What the answer does
    // not name is left as it was.
    int ParserTickResponse(const char* body, CAutoString& ticket, int& expire);
    int ParserAuthResponse(const char* body, CAutoString& userId, int& keepRetry, CAutoString& keepUrl,
                           CAutoString& termUrl, CAutoString& userConfig, CAutoString& domainConfig);
    int ParserKeepResponse(const char* body, int& interval, int& level);

    // A request document as it travels. Without a working algorithm module this is the module loader's
    // fallback text, which the portal answers with a new module.
    CAutoString EncodePostRequestData(const char* document);
    // An answer as a document in GB18030; empty when the module cannot decode it. Text that is not UTF-8 is
    // returned as the module gave it.
    CAutoString DecodePostResponseData(const char* body);
    // One iconv call over the whole input. `outLength` is the room in `out`, cleared first; it holds the room
    // left afterwards. -1 on failure, `out` then holds what was converted before the fault.
    int CodeConvert(const char* fromCharset, const char* toCharset, char* in, size_t inLength, char* out,
                    size_t* outLength);

    // Not used by the service. Framing of module data: 16-bit little-endian length, two tag bytes, payload.
    // Longer payloads are cut to their length modulo 65536. 0, or -1 when `frame` is null, or the payload of
    // a frame that has one. UnpackData trusts the frame's own length, so it is given whole frames only; an
    // empty one leaves the payload untouched, which may then be null.
    int PackData(CAutoMemory<char>* payload, unsigned char tag1, unsigned char tag2,
                 CAutoMemory<char>* frame);
    int UnpackData(char* frame, unsigned long length, unsigned char& tag1, unsigned char& tag2,
                   CAutoMemory<char>* payload);

  private:
    static bool Open(const char* document, const char* root, CMarkup& markup);

    CAutoString m_markerHost;
};
