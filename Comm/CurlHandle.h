#pragma once

#include <curl/curl.h>

#include <memory>

// Owners of libcurl's objects, so that each is released on every path.
struct CurlHandleCloser {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using CurlHandle = std::unique_ptr<CURL, CurlHandleCloser>;

// Header lines of one request. libcurl borrows them: they must live until the transfer is over.
struct CurlHeaderList {
    CurlHeaderList() = default;
    ~CurlHeaderList() { curl_slist_free_all(lines); }
    CurlHeaderList(const CurlHeaderList&) = delete;
    CurlHeaderList& operator=(const CurlHeaderList&) = delete;

    curl_slist* lines = nullptr;
};

// A handle for one transfer with what holds for every transfer of the service: HTTP and HTTPS only, no proxy,
// no signals, sockets that close on exec, and an end within two minutes when the link or the peer dies
// silently. Null when libcurl cannot be set up. Any thread may call it.
CurlHandle NewCurlHandle();
