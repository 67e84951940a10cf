#include "CurlHandle.h"

namespace {

// The portal names the addresses that are asked for, in redirects too: it must not make the service read
// local files or talk to other services by another of libcurl's protocols.
constexpr char kProtocols[] = "http,https";

// Enough for any real chain; two addresses that send to each other would otherwise hold the caller for the
// whole time limit, which is hours.
constexpr long kMostRedirects = 30;

void SetCommonOptions(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, kProtocols);
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, kProtocols);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, kMostRedirects);
    // The portal must see this machine's own address, so proxy variables of the environment are not for us.
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    // Several threads transfer at once; libcurl's alarm signal would hit any of them.
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // HTTP/2 brings every header name in lower case, and "Error-Code" is looked for as the portal writes it.
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
}

}  // namespace

CurlHandle NewCurlHandle() {
    // curl_easy_init would do the global initialisation by itself, but before libcurl 7.84 without a lock,
    // and two threads may start their first transfer at the same moment. The first caller does it, others
    // wait.
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    CurlHandle handle(initialised == CURLE_OK ? curl_easy_init() : nullptr);
    if (handle != nullptr) {
        SetCommonOptions(handle.get());
    }
    return handle;
}
