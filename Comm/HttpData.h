#pragma once

#include <cstdint>

#include "AutoString.h"

// One HTTP exchange: the caller fills in the request, CCurlHttp::Perform the answer. The request texts are
// borrowed and must live until Perform returns; the two buffers of the answer belong to the record until
// Release. A plain record without a lock: it belongs to the thread that performs it.
class CHttpData {
  public:
    // dwPostDataLen of a body that ends at its first NUL.
    static constexpr uint64_t kUntilNul = static_cast<uint64_t>(-1);
    // Far beyond the length of any real address. Longer ones would only swell the log, the settings and the
    // next request.
    static constexpr int kLongestAddress = 8 * 1024;
    // Returns how many bytes the body behind the given head (RespHead, GetHeadAttri) may have.
    using BodyBound = uint64_t (*)(const CHttpData& head);

    // With `autoRelease` the destructor frees the buffers of the answer; without it the caller takes them
    // over.
    explicit CHttpData(bool autoRelease);
    ~CHttpData();
    CHttpData(const CHttpData&) = delete;
    CHttpData& operator=(const CHttpData&) = delete;

    // Frees the buffers of the answer; the record then holds an empty one.
    void Release();

    // The texts of the answer, NUL-terminated and never null; an embedded NUL of the peer ends them early,
    // while dwDataLen tells the body's real length.
    const char* RespHead() const;
    const char* RespData() const;
    // Take over an array-allocated, NUL-terminated buffer. The one held before is not freed.
    void RespHead(char* head) { szRespHead = head; }
    void RespData(char* data) { szRespData = data; }

    // The value of one header of the answer without the white space around it, or an empty text. `name` is
    // matched by case and wherever it stands in the head, with or without its colon.
    CAutoString GetHeadAttri(CAutoString name) const;
    // Whether `value` can be sent on in a header: a bare line feed would begin one of its own, and servers
    // refuse a request for any other control byte.
    static bool IsHeaderValue(const CAutoString& value);

    // Where the answer to a probe sends the browser: the location header of a 302 or 303, the meta refresh
    // or the script of a 200 page. All in lower case; empty when it names neither "http://" nor "https://"
    // anywhere, in its query for one, or is beyond kLongestAddress.
    CAutoString GetRedirectAddress() const;

    // The request.
    const char* szUrl = nullptr;
    const char* szVerb = "GET";        // "POST" in any case posts, everything else is a GET
    const char* szHead = nullptr;      // further header lines, each ended by "\r\n"
    const char* szPostData = nullptr;  // null posts an empty body
    uint64_t dwPostDataLen = kUntilNul;
    uint64_t dwTimeOut = 10000;     // seconds, for connecting and for the whole exchange
    BodyBound bodyBound = nullptr;  // asked when the body begins; null allows CBufferArray::kDefaultBound

    // The answer.
    int32_t retCode = 0;     // HTTP status, or libcurl's error code when the transfer failed
    uint64_t dwDataLen = 0;  // length of the body in bytes

    // For callers; the transport does not look at them.
    bool bChangeCode = true;
    uint32_t pageCode = 0;

    bool bRedirect = true;  // part of the request: whether the transport follows redirections itself
    char* szRespHead = nullptr;
    char* szRespData = nullptr;
    bool m_bAutoRealease;
};
