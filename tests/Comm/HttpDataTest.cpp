#include "HttpData.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <tuple>

namespace {

char* Copy(const std::string& text) {
    return strcpy(new char[text.size() + 1], text.c_str());
}

// A record as Perform leaves it.
CHttpData& Answer(CHttpData& data, int status, const std::string& head, const std::string& body) {
    data.Release();
    data.retCode = status;
    data.RespHead(Copy(head));
    data.RespData(Copy(body));
    data.dwDataLen = body.size();
    return data;
}

std::string Redirect(int status, const std::string& head, const std::string& page) {
    CHttpData data(true);
    return Answer(data, status, head, page).GetRedirectAddress().GetText();
}

TEST(HttpData, ReleasedRecordReadsAsEmptyTexts) {
    CHttpData data(true);
    Answer(data, 200, "head", "body").Release();
    EXPECT_STREQ(data.RespHead(), "");
    EXPECT_STREQ(data.RespData(), "");
    EXPECT_EQ(data.dwDataLen, 0u);
    EXPECT_EQ(data.GetHeadAttri("head"), "");
    char* body = Copy("module");
    CHttpData(false).RespData(body);
    EXPECT_STREQ(body, "module");  // survives a record that does not release
    delete[] body;
}

TEST(HttpData, FindsHeaderValues) {
    const std::array<const char*, 4> rows[] = {
        {"in the middle", "HTTP/1.1 200 OK\r\nError-Code: 13\r\nServer-Tag: x\r\n\r\n", "Error-Code", "13"},
        {"white space around the value", "A\r\nSub-Error:\t 7 \t\r\n\r\n", "Sub-Error", "7"},
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
    for (const auto& [what, head, name, value] : rows) {
        SCOPED_TRACE(what);
        CHttpData data(true);
        EXPECT_EQ(Answer(data, 200, head, "").GetHeadAttri(name), value);
    }
}

TEST(HttpData, RedirectAddressIsLowerCase) {
    EXPECT_EQ(Redirect(302, "A\r\nLocation: HTTP://Portal/I.CGI?wlanUserIp=1\r\nX: y\r\n\r\n", ""),
              "http://portal/i.cgi?wlanuserip=1");
}

TEST(HttpData, RedirectAddressOfHeads) {
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        {"303 over https, last line without an end", 303, "A\r\nlocation:https://p/x", "https://p/x"},
        {"line feed directly behind the colon", 302, "A\r\nlocation:\nhttp://p/\n", "http://p/"},
        {"301 is not followed", 301, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"200 with a location header", 200, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"no scheme", 302, "A\r\nLocation: /login\r\n\r\n", ""},
        {"no location", 302, "A\r\nB: http://p/\r\n\r\n", ""},
        {"location as the last text", 302, "A\r\nlocation:", ""},
    };
    for (const auto& [what, status, head, address] : rows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Redirect(status, head, ""), address);
    }
}

const std::string kMeta = "<html><META HTTP-EQUIV=\"Refresh\" CONTENT=\"0; URL=http://p/M?a=1\"></html>";
const std::string kScript = "<html><head><script>location.href=\"http://p/S?a=1\"</script></head></html>";

TEST(HttpData, RedirectAddressOfPages) {
    const std::string refresh = "http-equiv=\"refresh\"";
    const std::string script = "<script>location.href=\"http://p/\"</script>";
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"meta refresh before a script", kMeta + kScript, "http://p/m?a=1"},
        {"refresh without content, though there is a script", "<meta " + refresh + ">" + kScript, ""},
        {"refresh without url", "<meta " + refresh + " content=\"5\">", ""},
        {"refresh whose url does not end", "<meta " + refresh + " content='0; url=http://p/", ""},
        {"refresh as the very first text is read by its script", refresh + kScript, "http://p/s?a=1"},
        {"script behind the head", "<head></head>" + script, ""},
        {"script in a page without a head", script, "http://p/"},
        {"head that does not end", "<head>" + script, "http://p/"},
        {"end of the head before its start", "</head><head>" + script, "http://p/"},
        {"script that does not end", "<head>location.href=\"http://p/\" ;</script></head>", ""},
        {"white space around the address", "<script>location.href=\" http://p/ \"</script>", "http://p/"},
        {"relative address", "<script>location.href=\"/login\"</script>", ""},
        {"ordinary page", "<html><head></head>http://p/</html>", ""},
    };
    for (const auto& [what, page, address] : rows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Redirect(200, "", page), address);
        EXPECT_EQ(Redirect(404, "", page), "");
    }
}

TEST(HttpData, CutPagesGiveNoBrokenAddress) {
    for (const std::string& page : {kMeta, kScript}) {
        for (size_t length = 0; length <= page.size(); ++length) {
            const std::string address = Redirect(200, "", page.substr(0, length));
            EXPECT_TRUE(address == "http://p/m?a=1" || address == "http://p/s?a=1" ||
                        (address.empty() && length < page.size()))
                << page.substr(0, length);
        }
    }
}

}  // namespace
