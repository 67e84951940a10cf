#include "CurlHttp.h"

#include <cstring>

#include "BufferArray.h"
#include "CurlHandle.h"
#include "HttpStatus.h"

namespace {

constexpr char kPost[] = "POST";
constexpr long kPostOn = 12;  // any value but 0 switches POST on
constexpr char kLineEnd[] = "\r\n";

// The largest answers are module containers of a few MiB. A portal that sends without end must not fill the
// memory, neither with bytes nor with the bookkeeping of countless chunks of one byte each.
constexpr uint64_t kLargestAnswer = 64 * 1024 * 1024;
constexpr uint64_t kChunkOverhead = 64;  // bytes, about what allocator and list spend on a chunk

bool IsFull(const CBufferArray& chunks, uint64_t more) {
    const uint64_t overhead = chunks.GetBufferCount() * kChunkOverhead;
    return chunks.GetAllBufferSize() + overhead + more > kLargestAnswer;
}

// The chunks as one array-allocated, NUL-terminated text.
char* Join(const CBufferArray& chunks) {
    const uint64_t length = chunks.GetAllBufferSize();
    char* text = new char[length + 1];
    text[chunks.RecvBuffer(text, length)] = '\0';
    return text;
}

// Nobody can check the certificate of a portal that answers in place of every other server.
void TrustAnyCertificate(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_NONE));
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
}

void PrintFailure(CURLcode code, const char* errorText) {
    fprintf(stderr, "\nlibcurl: (%d) ", static_cast<int>(code));
    const size_t length = strlen(errorText);
    if (length > 0) {
        fprintf(stderr, "%s%s", errorText, errorText[length - 1] == '\n' ? "" : "\n");
    } else {
        fprintf(stderr, "%s\n", curl_easy_strerror(code));
    }
}

// Of a record used again. One that does not free its answer has given it to its caller.
void DropFormerAnswer(CHttpData& data) {
    if (data.m_bAutoRealease) {
        data.Release();
    } else {
        data.RespHead(nullptr);
        data.RespData(nullptr);
    }
}

int StoreAnswer(CURL* handle, const CBufferArray& head, const CBufferArray& body, CHttpData* data) {
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    data->retCode = static_cast<int32_t>(status);
    if (status >= kStatusFirstError) {
        return CCurlHttp::kRefused;
    }
    data->RespHead(Join(head));
    data->RespData(Join(body));
    data->dwDataLen = body.GetAllBufferSize();
    return CCurlHttp::kDone;
}

}  // namespace

int CCurlHttp::Perform(CHttpData* data) {
    if (data->szUrl == nullptr || *data->szUrl == '\0') {
        return kNoUrl;
    }
    DropFormerAnswer(*data);
    char errorText[CURL_ERROR_SIZE] = {};
    CBufferArray head;
    CBufferArray body;
    CurlHandle handle = NewCurlHandle();
    if (handle == nullptr) {
        return kNoHandle;
    }
    CurlHeaderList headers;
    SetRequestHead(handle.get(), headers.lines, data);
    CAutoString url = data->szUrl;
    PretreatUrl(url);
    SetRequestVerb(handle.get(), data);
    SetLimitsAndRedirects(handle.get(), data, errorText);
    if (IsHttps(url)) {
        TrustAnyCertificate(handle.get());
    }
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.GetBuffer());
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, cbWriteData);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, cbWriteData);

    const CURLcode code = curl_easy_perform(handle.get());
    if (code != CURLE_OK) {
        data->retCode = code;
        PrintFailure(code, errorText);
        return kTransferFailed;
    }
    return StoreAnswer(handle.get(), head, body, data);
}

bool CCurlHttp::IsHttps(const CAutoString& url) {
    return url.Find("https://") >= 0;
}

void CCurlHttp::SetRequestHead(CURL* handle, curl_slist*& lines, CHttpData* data) {
    const CAutoString head = data->szHead;
    for (int start = 0; start < head.GetLength();) {
        const int found = head.Find(kLineEnd, start);
        const int lineEnd = found >= 0 ? found : head.GetLength();
        curl_slist* appended = curl_slist_append(lines, head.Mid(start, lineEnd - start));
        lines = appended != nullptr ? appended : lines;
        start = lineEnd + static_cast<int>(strlen(kLineEnd));
    }
    if (lines != nullptr) {
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, lines);
    }
}

void CCurlHttp::PretreatUrl(CAutoString& url) {
    const int scheme = url.Find("://");
    if (scheme >= 0) {
        const int host = scheme + 3;
        const int query = url.Find('?', host);
        const int path = url.Find('/', host);
        const bool hasPath = path >= 0 && path < query;
        if (query > host && !hasPath) {
            url.Insert(query, "/");
        }
    }
    url.Replace("&amp;", "&");
}

void CCurlHttp::SetRequestVerb(CURL* handle, CHttpData* data) {
    if (CAutoString(kPost).CompareNoCase(data->szVerb) != 0) {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
        return;
    }
    // Without a body libcurl would read one from standard input.
    const bool hasBody = data->szPostData != nullptr;
    curl_easy_setopt(handle, CURLOPT_POST, kPostOn);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, hasBody ? data->szPostData : "");
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, hasBody ? static_cast<long>(data->dwPostDataLen) : 0L);
}

void CCurlHttp::SetLimitsAndRedirects(CURL* handle, CHttpData* data, char* errorText) {
    // Both limits are seconds to libcurl and are handed on as they are: the callers' 10000 is close to three
    // hours. Taken for milliseconds it would cut off portals that are only slow; do not scale it.
    // Held by CurlHttp.TimeOutIsInSeconds.
    const long timeoutSeconds = static_cast<long>(data->dwTimeOut);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, timeoutSeconds);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, timeoutSeconds);
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, data->bRedirect ? 1L : 0L);
}

size_t CCurlHttp::cbWriteData(char* data, size_t size, size_t nmemb, void* array) {
    const size_t length = size * nmemb;
    auto* chunks = static_cast<CBufferArray*>(array);
    if (length == 0 || IsFull(*chunks, length)) {
        return 0;
    }
    char* block = new char[length];
    memcpy(block, data, length);
    chunks->AddBuffer(block, length);
    return length;
}
