#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

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

class CurlHttpDownload : public testing::TestWithParam<int (*)(const std::string&)> {
  protected:
    TemporaryFolder m_folder;
};

TEST_P(CurlHttpDownload, FetchesAWholeFile) {
    LocalHttpServer server({HttpAnswer("200 OK", "", std::string("a\0b", 3))});
    EXPECT_EQ(GetParam()(server.Url("/p")), 1);
    EXPECT_EQ(m_folder.Read(kFile), std::string("a\0b", 3));
    EXPECT_EQ(CCurlHttp::GetLocalFileLenth(kFile), 3);
    EXPECT_THAT(server.Requests().at(0).head, Not(HasSubstr("Range:")));
}

TEST_P(CurlHttpDownload, GoesOnWhereItBrokeOff) {
    LocalHttpServer server({"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc",
                            HttpAnswer("206 Partial Content", "Content-Range: bytes 3-5/6\r\n", "def")});
    EXPECT_EQ(GetParam()(server.Url("/p")), 0);
    EXPECT_EQ(m_folder.Read(kFile), "abc");
    EXPECT_EQ(GetParam()(server.Url("/p")), 1);
    EXPECT_EQ(m_folder.Read(kFile), "abcdef");
    EXPECT_THAT(server.Requests().at(1).head, HasSubstr("Range: bytes=3-"));
}

TEST_P(CurlHttpDownload, ServerWithoutRangesLeavesTheFile) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "abcdef")});
    m_folder.Write(kFile, "abc");
    EXPECT_EQ(GetParam()(server.Url("/p")), 0);
    EXPECT_EQ(m_folder.Read(kFile), "abc");
}

TEST_P(CurlHttpDownload, FileThatCannotBeOpenedFails) {
    LocalHttpServer server({HttpAnswer("200 OK", "", "abc")});
    m_folder.Write("package.bin/x", "a folder in its place");
    EXPECT_EQ(GetParam()(server.Url("/p")), 0);
    EXPECT_TRUE(server.Requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Forms, CurlHttpDownload, testing::Values(DownloadByUrl, DownloadByRecord));

TEST(CurlHttpDownloadLength, AsksWithoutBody) {
    LocalHttpServer server(
        {"HTTP/1.1 200 OK\r\nContent-Length: 5000000000\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n", ""});
    testing::internal::CaptureStdout();
    EXPECT_EQ(CCurlHttp().getDownloadFileLenth(server.Url("/p").c_str()), 5000000000);
    EXPECT_EQ(CCurlHttp().getDownloadFileLenth(server.Url("/p").c_str()), -1);
    EXPECT_EQ(CCurlHttp().getDownloadFileLenth(server.Url("/p").c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(server.Requests().at(0).head, StartsWith("HEAD /p "));
}

TEST(CurlHttpDownloadProgress, CountsWhatTheFileHadBefore) {
    struct Row {
        long local;
        curl_off_t total;
        curl_off_t now;
        const char* printed;
    };
    const Row rows[] = {{0, 0, 0, "0%\r"},
                        {50, 0, 0, "0%\r"},
                        {0, 3, 1, "33%\r"},
                        {50, 50, 25, "75%\r"},
                        {50, 50, 50, "100%\r"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.printed);
        long local = row.local;
        testing::internal::CaptureStdout();
        EXPECT_EQ(CCurlHttp::assetsManagerProgressFunc(&local, row.total, row.now, 0, 0), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed);
    }
}

}  // namespace
