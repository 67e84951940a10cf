#include "HttpData.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "HttpStatus.h"
#include "TextUtil.h"

namespace {

// What a portal page uses to send the browser on, in lower case as the searched text is.
constexpr char kLocationHeader[] = "location:";
constexpr char kMetaRefresh[] = "http-equiv=\"refresh\"";
constexpr char kMetaContent[] = "content=";
constexpr char kMetaUrl[] = "url=";
constexpr char kHeadOpen[] = "<head>";
constexpr char kHeadClose[] = "</head>";
constexpr char kScriptLocation[] = "location.href=\"";
constexpr char kScriptEnd[] = "\"</script>";

constexpr unsigned char kDelete = 0x7f;

template <size_t size>
constexpr int Length(const char (&)[size]) {
    return static_cast<int>(size) - 1;
}

CAutoString AddressInHead(const CAutoString& head) {
    const int location = head.Find(kLocationHeader);
    if (location < 0) {
        return {};
    }
    const CAutoString rest = head.Mid(location + Length(kLocationHeader));
    const int lineEnd = rest.Find('\n');
    return lineEnd > 0 ? rest.Left(lineEnd) : rest;
}

// `refresh` is the position of the meta refresh in the page.
CAutoString AddressInMeta(const CAutoString& page, int refresh) {
    const int content = page.Find(kMetaContent, refresh);
    const int url = content > 0 ? page.Find(kMetaUrl, content) : -1;
    const int quote = url > 0 ? page.Find('"', url) : -1;
    if (quote < 0) {
        return {};
    }
    const int first = url + Length(kMetaUrl);
    return page.Mid(first, quote - first);
}

// A page without a complete head is searched as a whole.
CAutoString AddressInScript(const CAutoString& page) {
    const int open = page.Find(kHeadOpen);
    const int close = open >= 0 ? page.Find(kHeadClose, open) : -1;
    const int first = close >= 0 ? open + Length(kHeadOpen) : 0;
    const int last = close >= 0 ? close : page.GetLength();

    const int script = page.Find(kScriptLocation, first);
    if (script < 0) {
        return {};
    }
    const int address = script + Length(kScriptLocation);
    const int end = page.Find(kScriptEnd, address);
    const bool isWithin = end >= 0 && end + Length(kScriptEnd) <= last;
    return isWithin ? page.Mid(address, end - address) : CAutoString();
}

CAutoString AddressInPage(const CAutoString& page) {
    // A refresh that is the very first text of the page does not count; such a page is read by its script.
    const int refresh = page.Find(kMetaRefresh);
    return refresh > 0 ? AddressInMeta(page, refresh) : AddressInScript(page);
}

}  // namespace

CHttpData::CHttpData(bool autoRelease) : m_bAutoRealease(autoRelease) {}

CHttpData::~CHttpData() {
    if (m_bAutoRealease) {
        Release();
    }
}

void CHttpData::Release() {
    delete[] szRespHead;
    szRespHead = nullptr;
    delete[] szRespData;
    szRespData = nullptr;
    dwDataLen = 0;  // nobody may read that many bytes out of the empty text
}

const char* CHttpData::RespHead() const {
    return OrEmpty(szRespHead);
}

const char* CHttpData::RespData() const {
    return OrEmpty(szRespData);
}

CAutoString CHttpData::GetHeadAttri(CAutoString name) const {
    const CAutoString head = RespHead();
    const int found = head.Find(name);
    if (found < 0) {
        return {};
    }
    // The character before the name belongs to the kept text: a colon directly before it, as in "Via:name",
    // is taken for the one behind the name.
    const CAutoString rest = head.Mid(found - 1);
    const int lineEnd = rest.Find("\r\n");
    const int colon = rest.Find(':');
    if (lineEnd < 0 || colon < 0) {
        return {};
    }
    return rest.Mid(colon + 1, lineEnd - colon - 1).Trim();
}

bool CHttpData::IsHeaderValue(const CAutoString& value) {
    const std::string_view bytes = value.GetBuffer();
    return std::none_of(bytes.begin(), bytes.end(),
                        [](unsigned char byte) { return (byte < ' ' && byte != '\t') || byte == kDelete; });
}

CAutoString CHttpData::GetRedirectAddress() const {
    // The whole text goes to lower case before the search, so the address is lower case too. The next hop of
    // the discovery is asked for by it, and the identifiers in its query are stored and sent that way.
    // Held by HttpData.RedirectAddresses.
    CAutoString address;
    if (retCode == kStatusFound || retCode == kStatusSeeOther) {
        address = AddressInHead(CAutoString(RespHead()).MakeLower());
    } else if (retCode == kStatusOk) {
        address = AddressInPage(CAutoString(RespData()).MakeLower());
    }
    const bool namesScheme = address.Find("http://") >= 0 || address.Find("https://") >= 0;
    return namesScheme && address.Trim().GetLength() <= kLongestAddress ? address : CAutoString();
}
