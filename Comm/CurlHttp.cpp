#include "CurlHttp.h"

#include <cstring>

#include "BufferArray.h"
#include "CurlHandle.h"
#include "HttpStatus.h"
#include "TextUtil.h"

namespace {

constexpr char kPost[] = "POST";
constexpr long kPostOn = 12;  // any value but 0 switches POST on
constexpr char kLineEnd[] = "\r\n";

// What has arrived of an answer.
struct Arrival {
    explicit Arrival(CHttpData::BodyBound bound) : bodyBound(bound) {
        head.SetBound(CCurlHttp::kLargestHead);
    }

    CBufferArray head;
    CBufferArray body;
    CHttpData::BodyBound bodyBound;
};

uint64_t BoundOfBody(const Arrival& arrival) {
    CHttpData head(true);
    head.RespHead(arrival.head.Join());
    return arrival.bodyBound(head);
}

// The head has arrived before the first of the body.
size_t TakeBody(char* data, size_t size, size_t nmemb, void* arriving) {
    auto* arrival = static_cast<Arrival*>(arriving);
    if (arrival->bodyBound != nullptr && arrival->body.GetBufferCount() == 0) {
        arrival->body.SetBound(BoundOfBody(*arrival));
    }
    return CCurlHttp::cbWriteData(data, size, nmemb, &arrival->body);
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

int StoreAnswer(CURL* handle, const Arrival& arrival, CHttpData* data) {
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    data->retCode = static_cast<int32_t>(status);
    if (status >= kStatusFirstError) {
        return CCurlHttp::kRefused;
    }
    data->RespHead(arrival.head.Join());
    data->RespData(arrival.body.Join());
    data->dwDataLen = arrival.body.GetAllBufferSize();
    return CCurlHttp::kDone;
}

}  // namespace

int CCurlHttp::Perform(CHttpData* data) {
    if (IsNullOrEmpty(data->szUrl)) {
        return kNoUrl;
    }
    DropFormerAnswer(*data);
    char errorText[CURL_ERROR_SIZE] = {};
    Arrival arrival(data->bodyBound);
    CurlHandle handle = NewCurlHandle();
    if (handle == nullptr) {
        return kNoHandle;
    }
    CurlHeaderList headers;
    if (SetRequest(handle.get(), headers.lines, data, errorText)) {
        TrustAnyCertificate(handle.get());
    }
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &arrival.head);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, cbWriteData);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &arrival);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, TakeBody);

    const CURLcode code = curl_easy_perform(handle.get());
    if (code != CURLE_OK) {
        data->retCode = code;
        PrintFailure(code, errorText);
        return kTransferFailed;
    }
    return StoreAnswer(handle.get(), arrival, data);
}

// Sets all that the record says of the request. Returns whether it goes over TLS.
bool CCurlHttp::SetRequest(CURL* handle, curl_slist*& lines, CHttpData* data, char* errorText) {
    SetRequestHead(handle, lines, data);
    CAutoString url = data->szUrl;
    PretreatUrl(url);
    curl_easy_setopt(handle, CURLOPT_URL, url.GetBuffer());  // libcurl copies it
    SetRequestVerb(handle, data);
    SetLimitsAndRedirects(handle, data, errorText);
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
    if (length == 0 || !chunks->HasRoom(length)) {
        return 0;
    }
    char* block = new char[length];
    memcpy(block, data, length);
    chunks->AddBuffer(block, length);
    return length;
}
