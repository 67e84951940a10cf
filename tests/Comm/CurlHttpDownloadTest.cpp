#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "CurlHttp.h"
#include "LocalHttpServer.h"
#include "TemporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kFile[] = "package.bin";

// Both forms of downLoad promise the same for one file.
int DownloadByUrl(const std::string& url) {
    return CCurlHttp().downLoad(url.c_str(), kFile);
}

int DownloadByRecord(const std::string& url) {
    CHttpData data(true);
    data.szUrl = url.c_str();
    return CCurlHttp().downLoad(&data, kFile);
}

TEST(CurlHttpDownload, GoesOnWhereItBrokeOff) {
    for (const auto& download : {DownloadByUrl, DownloadByRecord}) {
        TemporaryFolder folder;
        const std::string whole("a\0cdef", 6);
        const std::string answer = HttpAnswer("200 OK", "", whole);
        LocalHttpServer server({answer.substr(0, answer.size() - 3),
                                HttpAnswer("206 Partial Content", "Content-Range: bytes 3-5/6\r\n", "def"),
                                HttpAnswer("200 OK", "", "a server without ranges")});
        EXPECT_EQ(download(server.Url("/p")), 0);
        EXPECT_EQ(folder.Read(kFile), whole.substr(0, 3));
        EXPECT_EQ(download(server.Url("/p")), 1);
        EXPECT_EQ(folder.Read(kFile), whole);
        EXPECT_EQ(download(server.Url("/p")), 0);
        EXPECT_EQ(folder.Read(kFile), whole);
        EXPECT_THAT(server.Requests().at(0).head, Not(HasSubstr("Range:")));
        EXPECT_THAT(server.Requests().at(1).head, HasSubstr("Range: bytes=3-"));

        std::filesystem::remove(kFile);
        folder.Write("package.bin/x", "a folder in its place");
        EXPECT_EQ(download(server.Url("/p")), 0);
    }
}

TEST(CurlHttpDownload, AsksForTheLengthWithoutBody) {
    LocalHttpServer server({"HTTP/1.1 200 OK\r\nContent-Length: 5000000000\r\n\r\n", ""});
    testing::internal::CaptureStdout();
    EXPECT_EQ(CCurlHttp().getDownloadFileLenth(server.Url("/p").c_str()), 5000000000);
    EXPECT_EQ(CCurlHttp().getDownloadFileLenth(server.Url("/p").c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(server.Requests().at(0).head, StartsWith("HEAD /p "));
}

TEST(CurlHttpDownload, ProgressCountsWhatTheFileHadBefore) {
    const std::tuple<long, curl_off_t, curl_off_t, const char*> rows[] = {
        {50, 0, 0, "0%\r"}, {0, 3, 1, "33%\r"}, {50, 50, 25, "75%\r"}};
    for (auto [local, total, now, printed] : rows) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(CCurlHttp::assetsManagerProgressFunc(&local, total, now, 0, 0), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    }
}

}  // namespace
