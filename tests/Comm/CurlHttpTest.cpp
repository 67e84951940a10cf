#include "CurlHttp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "BufferArray.h"
#include "LocalHttpServer.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Performs a GET of `url` without following redirects, as the probes do.
int Get(CHttpData& data, const std::string& url) {
    data.szUrl = url.c_str();
    data.bRedirect = false;
    const int result = CCurlHttp().Perform(&data);
    EXPECT_EQ(data.szUrl, url.c_str());
    return result;
}

void ExpectEmptyAnswer(const CHttpData& data) {
    EXPECT_EQ(data.szRespHead, nullptr);
    EXPECT_EQ(data.szRespData, nullptr);
    EXPECT_EQ(data.dwDataLen, 0u);
}

TEST(CurlHttp, SendsHeadAndStoresAnswer) {
    const std::string answer = HttpAnswer("200 OK", "Error-Code: 0\r\nX: \r\n", "<response/>");
    LocalHttpServer server({answer});
    CHttpData data(true);
    data.szHead = "Connection:close\r\nUser-Agent:agent\r\nAlgo-ID:7";
    ASSERT_EQ(Get(data, server.Url("?a=1&amp;b=2")), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 200);
    EXPECT_EQ(data.RespHead() + std::string(data.RespData()), answer);
    EXPECT_EQ(data.dwDataLen, strlen("<response/>"));

    const std::string head = server.Requests().at(0).head;
    EXPECT_THAT(head, StartsWith("GET /?a=1&b=2 HTTP/1.1\r\n"));
    EXPECT_THAT(head, HasSubstr("\r\nConnection:close\r\nUser-Agent:agent\r\nAlgo-ID:7\r\n"));
}

TEST(CurlHttp, AnswersDecideTheResult) {
    struct Row {
        const char* what;
        std::string answer;
        int result;
        int code;
    };
    const Row rows[] = {
        {"no content", "HTTP/1.1 204 No Content\r\n\r\n", CCurlHttp::kDone, 204},
        {"redirect", HttpAnswer("302 Found", "Location: http://p/\r\n", ""), CCurlHttp::kDone, 302},
        {"last status that is stored", HttpAnswer("399 X", "", "body"), CCurlHttp::kDone, 399},
        {"first status that is refused", HttpAnswer("400 X", "", "body"), CCurlHttp::kRefused, 400},
        {"not found", HttpAnswer("404 Not Found", "", "body"), CCurlHttp::kRefused, 404},
        {"server error", HttpAnswer("503 X", "", "body"), CCurlHttp::kRefused, 503},
        {"body of unknown length", "HTTP/1.0 200 OK\r\n\r\nbody", CCurlHttp::kDone, 200},
        {"nothing", "", CCurlHttp::kTransferFailed, CURLE_GOT_NOTHING},
        {"no head", "<html></html>", CCurlHttp::kTransferFailed, CURLE_UNSUPPORTED_PROTOCOL},
        {"body too short", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nbody", CCurlHttp::kTransferFailed,
         CURLE_PARTIAL_FILE},
        {"broken chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n",
         CCurlHttp::kTransferFailed, CURLE_RECV_ERROR},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        LocalHttpServer server({row.answer});
        CHttpData data(true);
        EXPECT_EQ(Get(data, server.Url("/")), row.result);
        EXPECT_EQ(data.retCode, row.code);
        if (row.result == CCurlHttp::kDone) {
            EXPECT_EQ(data.RespHead() + std::string(data.RespData()), row.answer);
        } else {
            ExpectEmptyAnswer(data);
        }
    }
}

TEST(CurlHttp, WithoutUrlNothingIsDone) {
    CHttpData data(true);
    data.retCode = 7;
    data.RespData(new char[2]{'x', '\0'});
    EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kNoUrl);
    data.szUrl = "";
    EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kNoUrl);
    EXPECT_EQ(data.retCode, 7);
    EXPECT_STREQ(data.RespData(), "x");
}

TEST(CurlHttp, FailureIsToldOnStandardError) {
    CHttpData data(true);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Get(data, "http://127.0.0.1:1/"), CCurlHttp::kTransferFailed);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(data.retCode, CURLE_COULDNT_CONNECT);
    EXPECT_THAT(told, StartsWith("\nlibcurl: (7) Failed to connect"));
    EXPECT_EQ(told.find('\n', 1), told.size() - 1);
}

TEST(CurlHttp, RetryReplacesTheAnswer) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "first"), HttpAnswer("200 OK", "", "2"), ""});
    CHttpData data(true);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    EXPECT_STREQ(data.RespData(), "2");
    EXPECT_EQ(data.dwDataLen, 1u);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kTransferFailed);
    ExpectEmptyAnswer(data);
}

TEST(CurlHttp, BinaryBodyKeepsItsLength) {
    const std::string container("ZXM\0\x01\xff\0", 7);
    // The encoding is the peer's word to its own reader; a body that claims one arrives as it was sent.
    LocalHttpServer server({HttpAnswer("200 OK", "Content-Encoding: gzip\r\n", container)});
    CHttpData data(true);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    ASSERT_EQ(data.dwDataLen, container.size());
    EXPECT_EQ(std::string(data.RespData(), container.size() + 1), container + '\0');
}

TEST(CurlHttp, PostsTheBody) {
    struct Row {
        const char* what;
        const char* verb;
        const char* body;
        uint64_t length;
        std::string sent;
    };
    const Row rows[] = {
        {"up to its first NUL", "POST", "ab\0cd", CHttpData::kUntilNul, "ab"},
        {"by length", "post", "ab\0cd", 5, std::string("ab\0cd", 5)},
        {"empty", "Post", "", CHttpData::kUntilNul, ""},
        {"none", "POST", nullptr, CHttpData::kUntilNul, ""},
        {"none, though a length is given", "POST", nullptr, 5, ""},
    };
    LocalHttpServer server({HttpAnswer("200 OK", "", "")});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CHttpData data(true);
        data.szVerb = row.verb;
        data.szPostData = row.body;
        data.dwPostDataLen = row.length;
        ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
        EXPECT_THAT(server.Requests().back().head, StartsWith("POST / "));
        EXPECT_EQ(server.Requests().back().body, row.sent);
    }
}

TEST(CurlHttp, OtherVerbsAreGets) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "")});
    for (const char* verb : {"GET", "DELETE", "", "POSTS", static_cast<const char*>(nullptr)}) {
        CHttpData data(true);
        data.szVerb = verb;
        data.szPostData = "body";
        ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
        EXPECT_THAT(server.Requests().back().head, StartsWith("GET / "));
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
    EXPECT_EQ(Get(data, silent.Url("/")), CCurlHttp::kTransferFailed);
    EXPECT_EQ(data.retCode, CURLE_OPERATION_TIMEDOUT);
}

// A portal that sends without end filled the memory until the service was killed.
TEST(CurlHttp, EndlessAnswersAreCutOff) {
    struct Row {
        const char* what;
        const char* head;
        std::string part;
    };
    std::string oneByteChunks;
    for (int i = 0; i < 4096; ++i) {
        oneByteChunks += "1\r\nx\r\n";
    }
    const Row rows[] = {
        {"one stream", "HTTP/1.1 200 OK\r\n\r\n", std::string(1024 * 1024, 'x')},
        {"one-byte chunks", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", oneByteChunks},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        LocalHttpServer server([&row](int socket, const LocalHttpServer::Request&) {
            LocalHttpServer::Send(socket, row.head);
            while (LocalHttpServer::Send(socket, row.part)) {
            }
        });
        CHttpData data(true);
        EXPECT_EQ(Get(data, server.Url("/")), CCurlHttp::kTransferFailed);
        EXPECT_EQ(data.retCode, CURLE_WRITE_ERROR);
        ExpectEmptyAnswer(data);
    }
}

TEST(CurlHttp, FollowsRedirectsOnlyWhenAsked) {
    LocalHttpServer server({HttpAnswer("302 Found", "Location: /next\r\n", ""),
                            HttpAnswer("302 Found", "Location: /next\r\n", ""),
                            HttpAnswer("200 OK", "", "next")});
    CHttpData data(true);
    ASSERT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 302);
    data.bRedirect = true;
    const std::string url = server.Url("/");
    data.szUrl = url.c_str();
    ASSERT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kDone);
    EXPECT_EQ(data.retCode, 200);
    EXPECT_STREQ(data.RespData(), "next");
    EXPECT_THAT(data.RespHead(), StartsWith("HTTP/1.1 302 Found"));  // the heads of all hops are kept
}

TEST(CurlHttp, HostileAddressesAreRefused) {
    struct Row {
        const char* what;
        const char* location;
        int code;
    };
    const Row rows[] = {
        {"local file", "file:///etc/passwd", CURLE_UNSUPPORTED_PROTOCOL},
        {"another service", "gopher://127.0.0.1:25/_x", CURLE_UNSUPPORTED_PROTOCOL},
        {"circle", "/again", CURLE_TOO_MANY_REDIRECTS},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        LocalHttpServer server(
            {HttpAnswer("302 Found", std::string("Location: ") + row.location + "\r\n", "")});
        CHttpData data(true);
        const std::string url = server.Url("/");
        data.szUrl = url.c_str();
        EXPECT_EQ(CCurlHttp().Perform(&data), CCurlHttp::kTransferFailed);
        EXPECT_EQ(data.retCode, row.code);
    }
    CHttpData direct(true);
    EXPECT_EQ(Get(direct, "file:///etc/passwd"), CCurlHttp::kTransferFailed);
}

TEST(CurlHttp, ProxiesOfTheEnvironmentAreIgnored) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "direct")});
    for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        setenv(name, "http://127.0.0.1:1", 1);
    }
    CHttpData data(true);
    EXPECT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
    for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        unsetenv(name);
    }
    EXPECT_STREQ(data.RespData(), "direct");
}

TEST(CurlHttp, ThreadsPerformAtTheSameTime) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "shared")});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&server] {
            for (int j = 0; j < 10; ++j) {
                CHttpData data(true);
                EXPECT_EQ(Get(data, server.Url("/")), CCurlHttp::kDone);
                EXPECT_STREQ(data.RespData(), "shared");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(CurlHttp, PretreatsUrls) {
    struct Row {
        const char* url;
        const char* sent;
    };
    const Row rows[] = {
        {"http://p?a=1", "http://p/?a=1"},
        {"http://p?a=1&amp;b=2&amp;amp;c", "http://p/?a=1&b=2&amp;c"},
        {"http://p?a=/x", "http://p/?a=/x"},
        {"http://p/x?a=1", "http://p/x?a=1"},
        {"http://p/&amp;", "http://p/&"},
        {"http://?a", "http://?a"},
        {"://p?a", "://p/?a"},
        {"p?a&amp;b", "p?a&b"},
        {"?a=http://p?b", "?a=http://p/?b"},
        {"http://", "http://"},
        {"", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        CAutoString url = row.url;
        CCurlHttp::PretreatUrl(url);
        EXPECT_EQ(url, row.sent);
    }
}

TEST(CurlHttp, CutsTheHeadIntoLines) {
    struct Row {
        const char* what;
        const char* head;
        std::vector<std::string> lines;
    };
    const Row rows[] = {
        {"every line ended", "A:1\r\nB:2\r\n", {"A:1", "B:2"}},
        {"last line not ended", "A:1\r\nB:2", {"A:1", "B:2"}},
        {"empty line between", "A:1\r\n\r\nB:2", {"A:1", "", "B:2"}},
        {"lone line feed", "A:1\nB:2\r", {"A:1\nB:2\r"}},
        {"empty", "", {}},
        {"none", nullptr, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CHttpData data(true);
        data.szHead = row.head;
        curl_slist* lines = nullptr;
        CURL* handle = curl_easy_init();
        CCurlHttp::SetRequestHead(handle, lines, &data);
        std::vector<std::string> found;
        for (const curl_slist* line = lines; line != nullptr; line = line->next) {
            found.emplace_back(line->data);
        }
        EXPECT_EQ(found, row.lines);
        curl_slist_free_all(lines);
        curl_easy_cleanup(handle);
    }
}

}  // namespace
