#include "CurlHttp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>

#include "LocalHttpServer.h"

namespace {

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
    CHttpData data(true);
    data.szHead = "Connection:close\r\nUser-Agent:agent\r\nAlgo-ID:7";
    ASSERT_EQ(Get(data, server.Url("?a=1&amp;b=2")), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 200);
    EXPECT_EQ(data.RespHead() + body, answer);
    ASSERT_EQ(data.dwDataLen, body.size());
    EXPECT_EQ(std::string(data.RespData(), body.size() + 1), body + '\0');

    const std::string head = server.Requests().at(0).head;
    EXPECT_THAT(head, StartsWith("GET /?a=1&b=2 HTTP/1.1\r\n"));
    EXPECT_THAT(head, HasSubstr("\r\nConnection:close\r\nUser-Agent:agent\r\nAlgo-ID:7\r\n"));
}

TEST(CurlHttp, AnswersDecideTheResult) {
    constexpr int kDone = CCurlHttp::kDone;
    constexpr int kRefused = CCurlHttp::kRefused;
    constexpr int kFailed = CCurlHttp::kTransferFailed;
    const std::tuple<const char*, std::string, int, int, const char*> rows[] = {
        {"last status that is stored", HttpAnswer("399 X", "", "body"), kDone, 399, "body"},
        {"first status that is refused", HttpAnswer("400 X", "", "body"), kRefused, 400, ""},
        {"body of unknown length", "HTTP/1.0 200 OK\r\n\r\nbody", kDone, 200, "body"},
        {"another answer in its place", HttpAnswer("200 OK", "", "2"), kDone, 200, "2"},
        {"nothing", "", kFailed, CURLE_GOT_NOTHING, ""},
        {"no head", "<html></html>", kFailed, CURLE_UNSUPPORTED_PROTOCOL, ""},
        {"body too short", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nbody", kFailed, CURLE_PARTIAL_FILE,
         ""},
    };
    CHttpData data(true);
    for (const auto& [what, answer, result, code, body] : rows) {
        SCOPED_TRACE(what);
        LocalHttpServer server({answer});
        EXPECT_EQ(Get(data, server.Url("/")), result);
        EXPECT_EQ(data.retCode, code);
        EXPECT_STREQ(data.RespData(), body);
        EXPECT_EQ(data.dwDataLen, strlen(body));
    }
    EXPECT_EQ(Get(data, ""), CCurlHttp::kNoUrl);
    EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kNoUrl);
}

TEST(CurlHttp, FailureIsToldOnStandardError) {
    CHttpData data(true);
    testing::internal::CaptureStderr();
    ExpectFailure(data, "http://127.0.0.1:1/", CURLE_COULDNT_CONNECT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("\nlibcurl: (7) Failed to connect"));
}

TEST(CurlHttp, VerbAndBodyAreSent) {
    const std::tuple<const char*, const char*, const char*, uint64_t, std::string> rows[] = {
        {"up to its first NUL", "POST", "ab\0cd", CHttpData::kUntilNul, "POST / ab"},
        {"by length", "post", "ab\0cd", 5, std::string("POST / ab\0cd", 12)},
        {"none, though a length is given", "POST", nullptr, 5, "POST / "},
        {"of another verb", "DELETE", "body", CHttpData::kUntilNul, "GET / "},
        {"of no verb", nullptr, "body", CHttpData::kUntilNul, "GET / "},
    };
    LocalHttpServer server({HttpAnswer("200 OK", "", "")});
    for (const auto& [what, verb, body, length, sent] : rows) {
        SCOPED_TRACE(what);
        CHttpData data(true);
        data.szVerb = verb;
        data.szPostData = body;
        data.dwPostDataLen = length;
        ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
        const LocalHttpServer::Request request = server.Requests().back();
        EXPECT_EQ(request.head.substr(0, request.head.find("HTTP")) + request.body, sent);
    }
}

TEST(CurlHttp, TimeOutIsInSeconds) {
    LocalHttpServer slow([](int socket, const LocalHttpServer::Request&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        LocalHttpServer::Send(socket, HttpAnswer("200 OK", "", ""));
    });
    CHttpData data(true);
    data.dwTimeOut = 10;
    EXPECT_EQ(Get(data, slow.Url("/")), CCurlHttp::kDone);

    LocalHttpServer silent(
        [](int socket, const LocalHttpServer::Request&) { LocalHttpServer::WaitForClose(socket); });
    data.dwTimeOut = 1;
    ExpectFailure(data, silent.Url("/"), CURLE_OPERATION_TIMEDOUT);
}

// A portal that sends without end filled the memory until the service was killed.
TEST(CurlHttp, EndlessAnswersAreCutOff) {
    std::string oneByteChunks;
    for (int i = 0; i < 4096; ++i) {
        oneByteChunks += "1\r\nx\r\n";
    }
    const std::pair<const char*, std::string> rows[] = {
        {"X: \r\n\r\n", std::string(1024 * 1024, 'x')},
        {"Transfer-Encoding: chunked\r\n\r\n", oneByteChunks},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        LocalHttpServer server([&row](int socket, const LocalHttpServer::Request&) {
            LocalHttpServer::Send(socket, std::string("HTTP/1.1 200 OK\r\n") + row.first);
            while (LocalHttpServer::Send(socket, row.second)) {
            }
        });
        CHttpData data(true);
        ExpectFailure(data, server.Url("/"), CURLE_WRITE_ERROR);
    }
}

TEST(CurlHttp, FollowsRedirectsOnlyWhenAsked) {
    const std::string redirect = HttpAnswer("302 Found", "Location: /next\r\n", "");
    LocalHttpServer server({redirect, redirect, HttpAnswer("200 OK", "", "next")});
    CHttpData data(true);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 302);
    ASSERT_EQ(Get(data, server.Url("/"), true), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 200);
    EXPECT_STREQ(data.RespData(), "next");
    EXPECT_THAT(data.RespHead(), StartsWith("HTTP/1.1 302 Found"));  // the heads of all hops are kept
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

TEST(CurlHttp, ProxiesOfTheEnvironmentAreIgnored) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "direct")});
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    setenv("all_proxy", "http://127.0.0.1:1", 1);
    CHttpData data(true);
    EXPECT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    unsetenv("http_proxy");
    unsetenv("all_proxy");
    EXPECT_STREQ(data.RespData(), "direct");
}

TEST(CurlHttp, PretreatsUrls) {
    const std::pair<const char*, const char*> rows[] = {
        {"http://p?a=1&amp;b=2&amp;amp;c", "http://p/?a=1&b=2&amp;c"},
        {"http://p?a=/x", "http://p/?a=/x"},
        {"http://p/x?a=1", "http://p/x?a=1"},
        {"http://?a", "http://?a"},
        {"p?a&amp;b", "p?a&b"},
        {"?a=http://p?b", "?a=http://p/?b"},
        {"http://", "http://"},
    };
    for (const auto& [given, sent] : rows) {
        CAutoString url = given;
        CCurlHttp::PretreatUrl(url);
        EXPECT_EQ(url, sent);
    }
}

TEST(CurlHttp, CutsTheHeadIntoLines) {
    const std::pair<const char*, std::string> rows[] = {
        {"A:1\r\nB:2\r\n", "[A:1][B:2]"},
        {"A:1\r\nB:2", "[A:1][B:2]"},
        {"A:1\r\n\r\nB:2", "[A:1][][B:2]"},
        {"A:1\nB:2\r", "[A:1\nB:2\r]"},
        {nullptr, ""},
    };
    for (const auto& [head, expected] : rows) {
        CHttpData data(true);
        data.szHead = head;
        curl_slist* lines = nullptr;
        CURL* handle = curl_easy_init();
        CCurlHttp::SetRequestHead(handle, lines, &data);
        std::string found;
        for (const curl_slist* line = lines; line != nullptr; line = line->next) {
            found += std::string("[") + line->data + "]";
        }
        EXPECT_EQ(found, expected);
        curl_slist_free_all(lines);
        curl_easy_cleanup(handle);
    }
}

}  // namespace
