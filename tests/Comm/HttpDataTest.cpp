#include "HttpData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

char* Copy(const std::string& text) {
    char* copy = new char[text.size() + 1];
    memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

// A record as Perform leaves it.
class HttpData : public testing::Test {
  protected:
    void Answered(int status, const std::string& head, const std::string& body) {
        m_data.Release();
        m_data.retCode = status;
        m_data.RespHead(Copy(head));
        m_data.RespData(Copy(body));
        m_data.dwDataLen = body.size();
    }

    CHttpData m_data{true};
};

TEST_F(HttpData, ReleasedRecordReadsAsEmptyTexts) {
    Answered(200, "head", "body");
    m_data.Release();
    EXPECT_STREQ(m_data.RespHead(), "");
    EXPECT_STREQ(m_data.RespData(), "");
    EXPECT_EQ(m_data.dwDataLen, 0u);
    EXPECT_EQ(m_data.GetHeadAttri("head"), "");
}

TEST_F(HttpData, WithoutAutoReleaseTheBuffersSurviveTheRecord) {
    char* body = Copy("module");
    {
        CHttpData data(false);
        data.RespData(body);
    }
    EXPECT_STREQ(body, "module");
    delete[] body;
}

TEST_F(HttpData, FindsHeaderValues) {
    struct Row {
        const char* what;
        const char* head;
        const char* name;
        const char* value;
    };
    const Row rows[] = {
        {"in the middle", "HTTP/1.1 200 OK\r\nError-Code: 13\r\nServer-Tag: x\r\n\r\n", "Error-Code", "13"},
        {"white space around the value", "A\r\nSub-Error:\t 7 \t\r\n\r\n", "Sub-Error", "7"},
        {"name asked for with its colon", "A\r\nschoolid:1024\r\n\r\n", "schoolid:", "1024"},
        {"name asked for with its colon, value with another", "A\r\ndomain: a:b\r\n\r\n", "domain:", "a:b"},
        {"at the very start", "area: north\r\n\r\n", "area", "north"},
        {"an empty value", "A\r\narea:\r\nB: 1\r\n", "area", ""},
        {"names differ in case", "A\r\nerror-code: 13\r\n\r\n", "Error-Code", ""},
        {"inside of a longer name", "A\r\nX-area: south\r\n\r\n", "area", "south"},
        {"in a value, so that the line has no colon behind it", "A\r\nX: area\r\narea: 1\r\n", "area", ""},
        {"a colon directly before the name", "A\r\nX:area\r\nB: 1\r\n", "area", "area"},
        {"no line end behind it", "A\r\narea: 1", "area", ""},
        {"no colon behind it", "A\r\narea\r\n\r\n", "area", ""},
        {"absent", "A\r\nB: 1\r\n\r\n", "area", ""},
        {"no name", "A\r\nB: 1\r\n\r\n", "", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Answered(200, row.head, "");
        EXPECT_EQ(m_data.GetHeadAttri(row.name), row.value);
    }
}

TEST_F(HttpData, RedirectAddressIsLowerCase) {
    Answered(302, "HTTP/1.1 302 Found\r\nLocation: HTTP://Portal/Index.CGI?wlanUserIp=1\r\nX: y\r\n\r\n", "");
    EXPECT_EQ(m_data.GetRedirectAddress(), "http://portal/index.cgi?wlanuserip=1");
}

TEST_F(HttpData, RedirectAddressOfHeads) {
    struct Row {
        const char* what;
        int status;
        const char* head;
        const char* address;
    };
    const Row rows[] = {
        {"302", 302, "A\r\nLocation: http://p/\r\nB: c\r\n\r\n", "http://p/"},
        {"303 over https, last line without an end", 303, "A\r\nlocation:https://p/x", "https://p/x"},
        {"line feed directly behind the colon", 302, "A\r\nlocation:\nhttp://p/\n", "http://p/"},
        {"301 is not followed", 301, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"307 is not followed", 307, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"200 with a location header", 200, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"no scheme", 302, "A\r\nLocation: /login\r\n\r\n", ""},
        {"another scheme", 302, "A\r\nLocation: ftp://p/\r\n\r\n", ""},
        {"no location", 302, "A\r\nB: http://p/\r\n\r\n", ""},
        {"location as the last text", 302, "A\r\nlocation:", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Answered(row.status, row.head, "");
        EXPECT_EQ(m_data.GetRedirectAddress(), row.address);
    }
}

constexpr char kMetaPage[] = "<html><META HTTP-EQUIV=\"Refresh\" CONTENT=\"0; URL=http://p/M?a=1\"></html>";
constexpr char kScriptPage[] = "<html><head><script>location.href=\"http://p/S?a=1\"</script></head></html>";

TEST_F(HttpData, RedirectAddressOfPages) {
    struct Row {
        const char* what;
        std::string page;
        const char* address;
    };
    const Row rows[] = {
        {"meta refresh", kMetaPage, "http://p/m?a=1"},
        {"meta refresh before a script", std::string(kMetaPage) + kScriptPage, "http://p/m?a=1"},
        {"refresh without content, though there is a script",
         std::string("<meta http-equiv=\"refresh\">") + kScriptPage, ""},
        {"refresh without url", "<meta http-equiv=\"refresh\" content=\"5\">", ""},
        {"refresh whose url does not end", "<meta http-equiv=\"refresh\" content='0; url=http://p/", ""},
        {"refresh with a quote before its url", "<meta http-equiv=\"refresh\" content=\"0;url=\"http://p/\">",
         ""},
        {"refresh as the very first text is read by its script",
         std::string("http-equiv=\"refresh\" content=\"0;url=http://p/m\"") + kScriptPage, "http://p/s?a=1"},
        {"script in the head", kScriptPage, "http://p/s?a=1"},
        {"script behind the head", "<head></head><script>location.href=\"http://p/\"</script>", ""},
        {"script in a page without a head", "<script>location.href=\"http://p/\"</script>", "http://p/"},
        {"head that does not end", "<head><script>location.href=\"http://p/\"</script>", "http://p/"},
        {"end of the head before its start", "</head><head><script>location.href=\"http://p/\"</script>",
         "http://p/"},
        {"script that does not end", "<head>location.href=\"http://p/\" ;</script></head>", ""},
        {"white space around the address", "<script>location.href=\" http://p/ \"</script>", "http://p/"},
        {"relative address", "<script>location.href=\"/login\"</script>", ""},
        {"ordinary page", "<html><head></head>http://p/</html>", ""},
        {"empty page", "", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Answered(200, "", row.page);
        EXPECT_EQ(m_data.GetRedirectAddress(), row.address);
        Answered(404, "", row.page);
        EXPECT_EQ(m_data.GetRedirectAddress(), "");
    }
}

TEST_F(HttpData, CutPagesGiveNoBrokenAddress) {
    for (const std::string page : {kMetaPage, kScriptPage}) {
        for (size_t length = 0; length < page.size(); ++length) {
            SCOPED_TRACE(page.substr(0, length));
            Answered(200, "", page.substr(0, length));
            const CAutoString address = m_data.GetRedirectAddress();
            EXPECT_TRUE(address == "" || address == "http://p/m?a=1" || address == "http://p/s?a=1");
        }
    }
}

}  // namespace
