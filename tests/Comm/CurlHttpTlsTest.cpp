#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <csignal>
#include <string>
#include <thread>

#include "CurlHttp.h"
#include "LocalHttpServer.h"

namespace {

// A certificate that nobody vouches for, for another host, long out of date.
void UseWorthlessCertificate(SSL_CTX* context) {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("elsewhere"), -1, -1, 0);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -1000000);
    X509_gmtime_adj(X509_getm_notAfter(certificate), -1);
    X509_set_pubkey(certificate, key);
    X509_sign(certificate, key, EVP_sha256());
    EXPECT_EQ(SSL_CTX_use_certificate(context, certificate), 1);
    EXPECT_EQ(SSL_CTX_use_PrivateKey(context, key), 1);
    X509_free(certificate);
    EVP_PKEY_free(key);
}

int NoteProtocols(SSL*, const unsigned char**, unsigned char*, const unsigned char* offered,
                  unsigned int length, void* noted) {
    static_cast<std::string*>(noted)->assign(reinterpret_cast<const char*>(offered), length);
    return SSL_TLSEXT_ERR_NOACK;
}

TEST(CurlHttpTls, CertificatesAreNotChecked) {
    signal(SIGPIPE, SIG_IGN);  // the client may be gone before the portal's last write
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    UseWorthlessCertificate(context);
    std::string offered;
    SSL_CTX_set_alpn_select_cb(context, NoteProtocols, &offered);
    BIO* const listener = BIO_new_accept("127.0.0.1:0");
    BIO_set_accept_bios(listener, BIO_new_ssl(context, 0));
    ASSERT_EQ(BIO_do_accept(listener), 1) << "no port of the loopback interface can be opened";
    std::thread portal([listener] {
        EXPECT_EQ(BIO_do_accept(listener), 1);
        BIO* const connection = BIO_pop(listener);
        char request[4096];
        if (BIO_read(connection, request, sizeof(request)) > 0) {
            BIO_puts(connection, HttpAnswer("200 OK", "Error-Code: 0\r\n", "<response/>").c_str());
        }
        BIO_free_all(connection);
    });
    CHttpData data(true);
    const std::string url = std::string("https://127.0.0.1:") + BIO_get_accept_port(listener);
    data.szUrl = url.c_str();
    EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kDone);
    portal.join();
    BIO_free_all(listener);
    SSL_CTX_free(context);
    EXPECT_STREQ(data.RespData(), "<response/>");
    // With HTTP/2 the header would have come as "error-code".
    EXPECT_EQ(offered, "\x08http/1.1");
}

}  // namespace
