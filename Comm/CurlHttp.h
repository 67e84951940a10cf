#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "AutoString.h"
#include "HttpData.h"

// One synchronous HTTP exchange over libcurl. Holds nothing between exchanges: no handle, connection or
// cookie is kept, so an object may be made wherever one is needed and threads may perform at the same time.
class CCurlHttp {
  public:
    // What Perform returns.
    enum Result {
        kDone = 0,
        kNoUrl = -1,           // szUrl is null or empty; the record is untouched
        kNoHandle = -2,        // libcurl could not be set up
        kRefused = -3,         // a status of 400 or more, kept in retCode
        kTransferFailed = -4,  // libcurl's error is in retCode and on standard error
    };
    // Bytes, many times what any server sends. It covers the lines behind a chunked body too, which libcurl
    // itself does not limit.
    static constexpr uint64_t kLargestHead = 1024 * 1024;

    // Blocks until the exchange described by `data` ends, fails or runs out of time. An answer that the
    // record still holds and frees by itself is freed first, unless there is no address; the new one is
    // stored only with kDone, otherwise both texts stay empty. An answer with a body beyond the record's
    // bound, or with an endless head, counts as a failed transfer. Certificates are not checked. szUrl is
    // only read.
    int Perform(CHttpData* data);

    // The steps of Perform.
    // libcurl's callback for head and body: appends a copy of the bytes to the CBufferArray behind `array`.
    // Returns the number of bytes taken; 0, when the array has no room for them, ends the transfer.
    static size_t cbWriteData(char* data, size_t size, size_t nmemb, void* array);
    // Appends each line of szHead to `lines`, which the caller frees after the transfer.
    static void SetRequestHead(CURL* handle, curl_slist*& lines, CHttpData* data);
    static void SetRequestVerb(CURL* handle, CHttpData* data);
    // Puts a "/" between a host and the query that follows it directly, and makes "&" out of every "&amp;".
    static void PretreatUrl(CAutoString& url);

    // Not used by the service.
    // Download into a file, which goes on where an earlier one broke off. Prints its progress on standard
    // output.
    // 1 when the file is complete or libcurl cannot be set up, 0 when the file cannot be opened or the
    // transfer fails.
    int downLoad(const char* url, const char* path);
    // The same for the request of a record; its answer is not touched. Certificates are checked.
    int downLoad(CHttpData* data, const char* path);
    // Length in bytes that the server announces, -1 when it does not or the request fails.
    int64_t getDownloadFileLenth(const char* url);
    // Size of a local file in bytes, 0 when it cannot be opened.
    static long GetLocalFileLenth(const char* path);
    // libcurl's progress callback; `local` points to the number of bytes (long) the file had before. Never
    // aborts.
    static int assetsManagerProgressFunc(void* local, curl_off_t dltotal, curl_off_t dlnow,
                                         curl_off_t ultotal, curl_off_t ulnow);
    // libcurl's body callback: writes the bytes to `file` and flushes it.
    static size_t downLoadPackage(char* data, size_t size, size_t nmemb, void* file);

  private:
    static bool SetRequest(CURL* handle, curl_slist*& lines, CHttpData* data, char* errorText);
    static void SetLimitsAndRedirects(CURL* handle, CHttpData* data, char* errorText);
    static int StartDownload(CURL* handle, FILE* file, long local);
};
