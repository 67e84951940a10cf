// The portal's request documents, heads and answers, and their way through the algorithm module.
#include "PortalParser.h"

#include <iconv.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Log.h"
#include "MarkupRead.h"
#include "PortalElements.h"
#include "SimpleFile.h"
#include "TextUtil.h"
#include "ZsmHelper.h"

using namespace PortalElement;

namespace {

constexpr char kModuleFile[] = "/zxmAlogic.zxm";
constexpr char kEmptyRequest[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request></request>";
constexpr char kModuleCharset[] = "UTF-8";
constexpr char kServiceCharset[] = "GB18030";  // what the answers are read and shown in

// Room for converted text per byte of UTF-8.
constexpr size_t kConversionGrowth = 3;

// Real documents have some KiB. Of larger ones the index of a document made of tags would take twelve times
// as much, and what they name stays in the record, in the settings and in their file.
constexpr size_t kLargestDocument = 512 * 1024;

// Header of a module data frame: 16-bit length and two tag bytes.
constexpr size_t kFrameHeaderSize = 2 + 1 + 1;

struct RequestElement {
    const char* name;
    const char* text;
};

// Each element goes in front of the one added before it, so the document lists them in reverse. That order is
// what travels to the portal and what the checksum covers: do not sort.
// Held by MarkupEdit.RepeatedInsertsComeOutInReverse, and portal-sim refuses requests in another order.
void InsertElements(CMarkup& markup, std::initializer_list<RequestElement> elements) {
    for (const RequestElement& element : elements) {
        markup.InsertChildElem(element.name, element.text);
    }
}

CMarkup NewRequest(std::initializer_list<RequestElement> elements) {
    CMarkup markup;
    markup.SetDoc(kEmptyRequest);
    markup.FindElem();
    InsertElements(markup, elements);
    return markup;
}

void ReadChildNumber(CMarkup& markup, const char* name, int& number) {
    if (FindFirstChild(markup, name)) {
        number = atoi(markup.GetChildData());
    }
}

struct ModuleTextDeleter {
    void operator()(char* text) const { CZsmHelper::GetInst()->FreeResult(text); }
};
using ModuleText = std::unique_ptr<char, ModuleTextDeleter>;

struct IconvCloser {
    void operator()(void* descriptor) const { iconv_close(descriptor); }
};

// The value may come from settings that somebody has edited.
void AppendHeader(CAutoString& head, const char* name, const char* value) {
    if (!IsNullOrEmpty(value) && CHttpData::IsHeaderValue(value)) {
        head = head + name + ":" + value + "\r\n";
    }
}

}  // namespace

int CPortalParser::Init() {
    char folder[PATH_MAX];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));  // always 1
    return CZsmHelper::GetInst()->Init(CAutoString(folder) + kModuleFile, nullptr, 0);
}

void CPortalParser::Release() {
    CZsmHelper::GetInst()->Release();
}

CAutoString CPortalParser::GetAlgoId() {
    return CZsmHelper::GetInst()->GetAlgoId();
}

int CPortalParser::UpdateAlgoid(CHttpData* data) {
    return CZsmHelper::GetInst()->Update(data->szRespData, data->dwDataLen);
}

CAutoString CPortalParser::MakeTickRequestData(const char* hostName, const char* userAgent,
                                               const char* clientId, const char* ip4, const char* ip6,
                                               const char* mac, const char* localTime, const char* osTag) {
    return EncodePostRequestData(NewRequest({{"host-name", hostName},
                                             {kUserAgent, userAgent},
                                             {kClientId, clientId},
                                             {kIPv4, ip4},
                                             {kIPv6, ip6},
                                             {kMac, mac},
                                             {kLocalTime, localTime},
                                             {"ostag", osTag}})
                                     .GetDoc());
}

CAutoString CPortalParser::MakeAuthRequestData(const char* userAgent, const char* clientId,
                                               const char* userId, const char* password, const char* ticket,
                                               const char* localTime) {
    return EncodePostRequestData(NewRequest({{kUserAgent, userAgent},
                                             {kClientId, clientId},
                                             {"userid", userId},
                                             {"passwd", password},
                                             {kTicket, ticket},
                                             {kLocalTime, localTime}})
                                     .GetDoc());
}

CAutoString CPortalParser::MakeTerminalRequestData(const char* userAgent, const char* clientId,
                                                   const char* localTime) {
    return EncodePostRequestData(
        NewRequest({{kUserAgent, userAgent}, {kClientId, clientId}, {kLocalTime, localTime}}).GetDoc());
}

CAutoString CPortalParser::MakeKeepRequestData(const char* userAgent, const char* clientId,
                                               const char* ticket, const char* ip4, const char* ip6,
                                               const char* mac, const char* localTime,
                                               const char* subDocument, int shared) {
    CMarkup markup = NewRequest({{kUserAgent, userAgent},
                                 {kClientId, clientId},
                                 {kTicket, ticket},
                                 {kIPv4, ip4},
                                 {kIPv6, ip6},
                                 {kMac, mac},
                                 {kLocalTime, localTime}});
    if (subDocument != nullptr) {
        markup.AddChildSubDoc(subDocument);
    }
    if (shared != 0) {
        InsertElements(markup, {{"shared", std::to_string(shared).c_str()}});
    }
    return EncodePostRequestData(markup.GetDoc());
}

CAutoString CPortalParser::MakeTermRequestData(const char* userAgent, const char* clientId,
                                               const char* ticket, const char* localTime,
                                               const char* reason) {
    return EncodePostRequestData(NewRequest({{kUserAgent, userAgent},
                                             {kClientId, clientId},
                                             {kTicket, ticket},
                                             {kLocalTime, localTime},
                                             {"reason", reason}})
                                     .GetDoc());
}

CAutoString CPortalParser::MakeStateRequestData(const char* userAgent, const char* clientId,
                                                const char* ticket, const char* localTime) {
    return EncodePostRequestData(
        NewRequest(
            {{kUserAgent, userAgent}, {kClientId, clientId}, {kTicket, ticket}, {kLocalTime, localTime}})
            .GetDoc());
}

CAutoString CPortalParser::MakeRequestHead(const char* userAgent, const char* clientId, const char* checksum,
                                           const char* schoolId, const char* domain, const char* area) {
    CAutoString head;
    head.Format("Connection:close\r\nUser-Agent:%s\r\nAlgo-ID:%s\r\nClient-ID:%s\r\nJVN-Checksum:%s\r\n",
                userAgent, CZsmHelper::GetInst()->GetAlgoId(), clientId, checksum);
    AppendHeader(head, "JVN-SchoolId", schoolId);
    AppendHeader(head, "JVN-Domain", domain);
    AppendHeader(head, "JVN-Area", area);
    return head;
}

// Leaves `markup` at the root of that name.
bool CPortalParser::Open(const char* document, const char* root, CMarkup& markup) {
    return strlen(OrEmpty(document)) <= kLargestDocument && markup.SetDoc(document) &&
           markup.IsWellFormed() && markup.FindElem(root);
}

int CPortalParser::ParserTickResponse(const char* body, CAutoString& ticket, int& expire) {
    CMarkup markup;
    if (!Open(DecodePostResponseData(body), kResponse, markup)) {
        return -1;
    }
    ReadChildText(markup, kTicket, ticket);
    ReadChildNumber(markup, "expire", expire);
    return 0;
}

int CPortalParser::ParserAuthResponse(const char* body, CAutoString& userId, int& keepRetry,
                                      CAutoString& keepUrl, CAutoString& termUrl, CAutoString& userConfig,
                                      CAutoString& domainConfig) {
    const CAutoString document = DecodePostResponseData(body);
    CLog::GetInst()->WriteLog(INFO, "auth is %s ", document.GetBuffer());
    CMarkup markup;
    if (!Open(document, kResponse, markup)) {
        return -1;
    }
    ReadChildText(markup, "userid", userId);
    ReadChildNumber(markup, "keep-retry", keepRetry);
    ReadChildText(markup, "keep-url", keepUrl);
    ReadChildText(markup, "term-url", termUrl);
    ReadChildSubDoc(markup, kUserConfig, userConfig);
    ReadChildSubDoc(markup, kDomainConfig, domainConfig);
    return 0;
}

int CPortalParser::ParserKeepResponse(const char* body, int& interval, int& level) {
    CMarkup markup;
    if (!Open(DecodePostResponseData(body), kResponse, markup)) {
        return -1;
    }
    ReadChildNumber(markup, "interval", interval);
    ReadChildNumber(markup, "level", level);
    return 0;
}

CAutoString CPortalParser::EncodePostRequestData(const char* document) {
    const ModuleText encoded(CZsmHelper::GetInst()->Code(document));
    return encoded.get();
}

CAutoString CPortalParser::DecodePostResponseData(const char* body) {
    const ModuleText decoded(CZsmHelper::GetInst()->DeCode(body));
    if (decoded == nullptr) {
        return {};
    }
    const size_t length = strlen(decoded.get());
    const size_t capacity = kConversionGrowth * length;
    CAutoMemory<char> converted(capacity);
    size_t room = capacity;
    if (CodeConvert(kModuleCharset, kServiceCharset, decoded.get(), length, converted.m_p, &room) == -1) {
        return decoded.get();
    }
    return {converted.m_p, capacity - room};
}

int CPortalParser::CodeConvert(const char* fromCharset, const char* toCharset, char* in, size_t inLength,
                               char* out, size_t* outLength) {
    const iconv_t descriptor = iconv_open(toCharset, fromCharset);
    if (descriptor == reinterpret_cast<iconv_t>(-1)) {
        return -1;
    }
    const std::unique_ptr<void, IconvCloser> closer(descriptor);
    memset(out, 0, *outLength);
    return static_cast<int>(iconv(descriptor, &in, &inLength, &out, outLength));
}

int CPortalParser::PackData(CAutoMemory<char>* payload, unsigned char tag1, unsigned char tag2,
                            CAutoMemory<char>* frame) {
    if (frame == nullptr) {
        return -1;
    }
    const bool hasPayload = payload != nullptr && payload->m_p != nullptr;
    const auto length = static_cast<uint16_t>(hasPayload ? payload->GetMemorySize() : 0);
    char* bytes = frame->Alloc(kFrameHeaderSize + length);
    memcpy(bytes, &length, sizeof(length));
    bytes[sizeof(length)] = static_cast<char>(tag1);
    bytes[sizeof(length) + 1] = static_cast<char>(tag2);
    if (length > 0) {
        memcpy(bytes + kFrameHeaderSize, payload->m_p, length);
    }
    return 0;
}

int CPortalParser::UnpackData(char* frame, unsigned long /*length*/, unsigned char& tag1, unsigned char& tag2,
                              CAutoMemory<char>* payload) {
    if (frame == nullptr) {
        return -1;
    }
    uint16_t length = 0;
    memcpy(&length, frame, sizeof(length));
    if (length > 0 && payload == nullptr) {
        return -1;
    }
    tag1 = static_cast<unsigned char>(frame[sizeof(length)]);
    tag2 = static_cast<unsigned char>(frame[sizeof(length) + 1]);
    if (length > 0) {
        memcpy(payload->Alloc(length), frame + kFrameHeaderSize, length);
    }
    return 0;
}
