#include "CurlHandle.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

// The portal names the addresses that are asked for, in redirects too: it must not make the service read
// local files or talk to other services by another of libcurl's protocols.
constexpr char kProtocols[] = "http,https";

// Enough for any real chain; two addresses that send to each other would otherwise hold the caller for the
// whole time limit, which is hours.
constexpr long kMostRedirects = 30;

// A link that dies takes its peer away without a word, and the time limits are hours. So a silent peer is
// probed, and what it does not acknowledge in time ends the connection, be it a probe, a request that was
// written or the very first packet.
constexpr long kSilenceSeconds = 30;  // before the first probe
constexpr long kProbeSeconds = 10;    // between two
constexpr int kUnacknowledgedMs = 90 * 1000;

// Closed in the shells that other threads start meanwhile.
curl_socket_t OpenSocket(void* /*unused*/, curlsocktype /*purpose*/, curl_sockaddr* address) {
    const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (opened == -1) {
        return CURL_SOCKET_BAD;
    }
    // A kernel that refuses leaves the connection to its own, longer patience.
    (void)setsockopt(opened, IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnacknowledgedMs, sizeof(kUnacknowledgedMs));
    return opened;
}

void NoticeDeadLinks(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPIDLE, kSilenceSeconds);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPINTVL, kProbeSeconds);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
}

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
        NoticeDeadLinks(handle.get());
    }
    return handle;
}
