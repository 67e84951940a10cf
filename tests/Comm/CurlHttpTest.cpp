#include "CurlHttp.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <httplib.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "LocalHttpServer.h"
#include "WaitUntil.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// Performs a GET of `url`, without following redirects as the probes do unless told.
int Get(CHttpData& data, const std::string& url, bool follow = false) {
    data.szUrl = url.c_str();
    data.bRedirect = follow;
    const int result = CCurlHttp().Perform(&data);
    data.szUrl = nullptr;
    return result;
}

void ExpectFailure(CHttpData& data, const std::string& url, int code, bool follow = false) {
    EXPECT_EQ(Get(data, url, follow), CCurlHttp::kTransferFailed);
    EXPECT_EQ(data.retCode, code);
    EXPECT_EQ(data.szRespHead, nullptr);
    EXPECT_EQ(data.szRespData, nullptr);
    EXPECT_EQ(data.dwDataLen, 0u);
}

TEST(CurlHttp, SendsHeadAndStoresAnswer) {
    // The encoding is the peer's word to its own reader; a body that claims one arrives as it was sent.
    const std::string body("ZXM\0\x01\xff\0", 7);
    const std::string answer = HttpAnswer("200 OK", "Content-Encoding: gzip\r\nX: \r\n", body);
    LocalHttpServer server({answer});
    setenv("all_proxy", "http://127.0.0.1:1", 1);  // the portal must see this machine itself
    CHttpData data(true);
    data.szHead = "Connection:close\r\nUser-Agent:agent\r\nAlgo-ID:7";
    ASSERT_EQ(Get(data, server.Url("?a=/1&amp;b=2")), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 200);
    EXPECT_EQ(data.RespHead() + body, answer);
    ASSERT_EQ(data.dwDataLen, body.size());
    EXPECT_EQ(std::string(data.RespData(), body.size() + 1), body + '\0');
    ASSERT_EQ(Get(data, server.Url("/path?a=1")), CCurlHttp::kDone);
    EXPECT_THAT(server.Requests(),
                ElementsAre(AllOf(StartsWith("GET /?a=/1&b=2 HTTP/1.1\r\n"),
                                  HasSubstr("\r\nConnection:close\r\nUser-Agent:agent\r\nAlgo-ID:7\r\n")),
                            StartsWith("GET /path?a=1 HTTP/1.1\r\n")));
    unsetenv("all_proxy");
}

TEST(CurlHttp, TimeOutIsInSeconds) {
    LocalHttpServer silent([](int socket) {
        char nothing = 0;
        (void)recv(socket, &nothing, 1, 0);  // until the client gives up
    });
    CHttpData data(true);
    data.dwTimeOut = 1;
    const auto start = std::chrono::steady_clock::now();
    ExpectFailure(data, silent.Url("/"), CURLE_OPERATION_TIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

int Option(int socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof(value);
    getsockopt(socket, level, name, &value, &size);
    return value;
}

// A link that died silently kept the service waiting for hours, since that long are its time limits.
TEST(CurlHttp, ConnectionsNoticeDeadLinksAndCloseOnExec) {
    LocalHttpServer server([](int) {
        int client = 0;  // the only socket of this process with such a limit
        while (client < FD_SETSIZE && Option(client, IPPROTO_TCP, TCP_USER_TIMEOUT) != 90 * 1000) {
            ++client;
        }
        EXPECT_EQ(Option(client, SOL_SOCKET, SO_KEEPALIVE), 1);
        EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_KEEPIDLE), 30);
        EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_KEEPINTVL), 10);
        EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
    });
    CHttpData data(true);
    ExpectFailure(data, server.Url("/"), CURLE_GOT_NOTHING);
    EXPECT_EQ(server.Requests().size(), 1u);
}

// A portal that sends without end filled the memory until the service was killed.
TEST(CurlHttp, EndlessAnswersAreCutOff) {
    const std::pair<const char*, const char*> rows[] = {
        {"Transfer-Encoding: chunked\r\n\r\n", "1\r\nx\r\n"},
        {"Transfer-Encoding: chunked\r\n\r\n0\r\n", "X: y\r\n"},
    };
    for (const auto& [head, piece] : rows) {
        SCOPED_TRACE(head);
        std::string block;
        for (int i = 0; i < 4096; ++i) {
            block += piece;
        }
        LocalHttpServer server([&block, begin = std::string("HTTP/1.1 200 OK\r\n") + head](int socket) {
            LocalHttpServer::Send(socket, begin);
            while (LocalHttpServer::Send(socket, block)) {
            }
        });
        CHttpData data(true);
        ExpectFailure(data, server.Url("/"), CURLE_WRITE_ERROR);
    }
}

TEST(CurlHttp, HostileAddressesAreRefused) {
    const std::pair<const char*, int> rows[] = {
        {"file:///etc/passwd", CURLE_UNSUPPORTED_PROTOCOL},
        {"gopher://127.0.0.1:25/_x", CURLE_UNSUPPORTED_PROTOCOL},
        {"/again", CURLE_TOO_MANY_REDIRECTS},
    };
    CHttpData data(true);
    for (const auto& [location, code] : rows) {
        SCOPED_TRACE(location);
        LocalHttpServer server({HttpAnswer("302 Found", std::string("Location: ") + location + "\r\n", "")});
        ExpectFailure(data, server.Url("/"), code, true);
    }
    ExpectFailure(data, "file:///etc/passwd", CURLE_UNSUPPORTED_PROTOCOL);
}

int NoteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                  unsigned int length, void* noted) {
    static_cast<std::string*>(noted)->assign(reinterpret_cast<const char*>(offered), length);
    return SSL_TLSEXT_ERR_NOACK;
}

TEST(CurlHttp, CertificatesAreNotChecked) {
    // Nobody vouches for it, it names no host, and it is out of date.
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> worthless(X509_new(), X509_free);
    X509_gmtime_adj(X509_getm_notBefore(worthless.get()), -2);
    X509_gmtime_adj(X509_getm_notAfter(worthless.get()), -1);
    X509_set_pubkey(worthless.get(), key.get());
    X509_sign(worthless.get(), key.get(), EVP_sha256());
    httplib::SSLServer portal(worthless.get(), key.get());
    std::string offered;
    SSL_CTX_set_alpn_select_cb(portal.ssl_context(), NoteProtocols, &offered);
    portal.Get("/", [](const httplib::Request&, httplib::Response& answer) {
        answer.set_content("<response/>", "text/xml");
    });
    const std::string url = "https://127.0.0.1:" + std::to_string(portal.bind_to_any_port("127.0.0.1"));
    std::thread serving([&portal] { portal.listen_after_bind(); });
    CHttpData data(true);
    EXPECT_EQ(Get(data, url), CCurlHttp::kDone);
    ASSERT_TRUE(WaitUntil([&portal] { return portal.is_running(); }));
    portal.stop();
    serving.join();
    EXPECT_STREQ(data.RespData(), "<response/>");
    // With HTTP/2 its headers would have come in lower case.
    EXPECT_EQ(offered, "\x08http/1.1");
}

}  // namespace
