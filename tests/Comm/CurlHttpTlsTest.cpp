#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "CurlHttp.h"
#include "LocalHttpServer.h"

namespace {

template <typename T, void (*Free)(T*)>
struct Freer {
    void operator()(T* object) const { Free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX, SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, Freer<SSL, SSL_free>>;

// A portal over TLS with a certificate that nobody vouches for, for another host, long out of date. Takes one
// request.
class TlsPortal {
  public:
    explicit TlsPortal(std::string answer)
        : m_answer(std::move(answer)), m_context(SSL_CTX_new(TLS_server_method())) {
        UseOwnCertificate();
        SSL_CTX_set_alpn_select_cb(m_context.get(), NoteProtocols, this);
        Listen();
        m_thread = std::thread([this] { ServeOne(); });
    }

    ~TlsPortal() {
        shutdown(m_listener, SHUT_RDWR);  // ends an accept that still waits
        m_thread.join();
        close(m_listener);
    }

    std::string Url() const { return "https://127.0.0.1:" + std::to_string(m_port) + "/"; }
    // The application protocols that the client offered, each with its length in front.
    const std::string& OfferedProtocols() const { return m_offered; }

  private:
    void UseOwnCertificate() {
        const Key key(EVP_EC_gen("P-256"));
        const Certificate certificate(X509_new());
        X509_NAME* name = X509_get_subject_name(certificate.get());
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("elsewhere"), -1, -1, 0);
        X509_set_issuer_name(certificate.get(), name);
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -1000000);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), -1);
        X509_set_pubkey(certificate.get(), key.get());
        X509_sign(certificate.get(), key.get(), EVP_sha256());
        if (SSL_CTX_use_certificate(m_context.get(), certificate.get()) != 1 ||
            SSL_CTX_use_PrivateKey(m_context.get(), key.get()) != 1) {
            throw std::runtime_error("no certificate can be made");
        }
    }

    void Listen() {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            listen(m_listener, 1) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("no port of the loopback interface can be opened");
        }
        m_port = ntohs(address.sin_port);
    }

    static int NoteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                             unsigned int length, void* portal) {
        static_cast<TlsPortal*>(portal)->m_offered.assign(reinterpret_cast<const char*>(offered), length);
        return SSL_TLSEXT_ERR_NOACK;
    }

    void ServeOne() {
        // The client may be gone before the last write; only this thread would get the signal.
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);

        const int connection = accept(m_listener, nullptr, nullptr);
        if (connection < 0) {
            return;
        }
        const Session session(SSL_new(m_context.get()));
        SSL_set_fd(session.get(), connection);
        char request[4096];
        if (SSL_accept(session.get()) == 1 && SSL_read(session.get(), request, sizeof(request)) > 0) {
            SSL_write(session.get(), m_answer.data(), static_cast<int>(m_answer.size()));
            SSL_shutdown(session.get());
        }
        close(connection);
    }

    std::string m_answer;
    std::string m_offered;
    Context m_context;
    int m_listener = -1;
    uint16_t m_port = 0;
    std::thread m_thread;
};

TEST(CurlHttpTls, CertificatesAreNotChecked) {
    CHttpData data(true);
    std::string offered;
    {
        TlsPortal portal(HttpAnswer("200 OK", "Error-Code: 0\r\n", "<response/>"));
        const std::string url = portal.Url();
        data.szUrl = url.c_str();
        EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kDone);
        offered = portal.OfferedProtocols();
    }
    EXPECT_EQ(data.retCode, 200);
    EXPECT_STREQ(data.RespData(), "<response/>");
    EXPECT_EQ(data.GetHeadAttri("Error-Code"), "0");
    // With HTTP/2 the header would have come as "error-code".
    EXPECT_EQ(offered, "\x08http/1.1");
}

}  // namespace
