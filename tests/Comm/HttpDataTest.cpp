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

TEST(HttpData, FindsHeaderValues) {
    const std::array<const char*, 4> rows[] = {
        {"in the middle", "HTTP/1.1 200 OK\r\nError-Code: 13\r\nServer-Tag: x\r\n\r\n", "Error-Code", "13"},
        {"white space around the value", "A\r\nSub-Error:\t 7 \t\r\n\r\n", "Sub-Error", "7"},
        {"name asked for with its colon, value with another", "A\r\ndomain: a:b\r\n\r\n", "domain:", "a:b"},
        {"at the very start", "area: north\r\n\r\n", "area", "north"},
        {"names differ in case", "A\r\nerror-code: 13\r\n\r\n", "Error-Code", ""},
        {"a colon directly before the name", "A\r\nX:area\r\nB: 1\r\n", "area", "area"},
    };
    for (const auto& [what, head, name, value] : rows) {
        SCOPED_TRACE(what);
        CHttpData data(true);
        EXPECT_EQ(Answer(data, 200, head, "").GetHeadAttri(name), value);
    }
}

const std::string kMeta = "<html><META HTTP-EQUIV=\"Refresh\" CONTENT=\"0; URL=http://p/M?a=1\"></html>";
const std::string kScript = "<html><head><script>location.href=\"http://p/S?a=1\"</script></head></html>";

TEST(HttpData, RedirectAddresses) {
    const std::string refresh = "http-equiv=\"refresh\"";
    const std::string script = "<script>location.href=\"http://p/\"</script>";
    const std::tuple<const char*, int, std::string, const char*> rows[] = {
        {"in lower case", 302, "A\r\nLocation: HTTP://P/I.CGI?wlanIp=1\r\n\r\n", "http://p/i.cgi?wlanip=1"},
        {"303 over https, last line without an end", 303, "A\r\nlocation:https://p/x", "https://p/x"},
        {"line feed directly behind the colon", 302, "A\r\nlocation:\nhttp://p/\n", "http://p/"},
        {"301 is not followed", 301, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"200 with a location header", 200, "A\r\nLocation: http://p/\r\n\r\n", ""},
        {"no scheme", 302, "A\r\nLocation: /login\r\n\r\n", ""},
        {"a page of another status", 404, kMeta, ""},
        {"meta refresh before a script", 200, kMeta + kScript, "http://p/m?a=1"},
        {"refresh without content", 200, "<meta " + refresh + ">" + kScript, ""},
        {"refresh whose url does not end", 200, "<meta " + refresh + " content='0; url=http://p/", ""},
        {"refresh as the very first text", 200, refresh + kScript, "http://p/s?a=1"},
        {"script behind the head", 200, "<head></head>" + script, ""},
        {"script in a page without a head", 200, script, "http://p/"},
        {"script that does not end", 200, "<head>location.href=\"http://p/\" ;</script></head>", ""},
        {"white space around it", 200, "<script>location.href=\" http://p/ \"</script>", "http://p/"},
    };
    for (const auto& [what, status, text, address] : rows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Redirect(status, text, text), address);
    }
}

TEST(HttpData, OverlongAddressIsNone) {
    const std::string longest = "http://p/" + std::string(8 * 1024 - 9, 'x');
    for (const bool fits : {true, false}) {
        const std::string address = fits ? longest : longest + "x";
        EXPECT_EQ(Redirect(302, "A\r\nLocation: " + address + "\r\n", ""), fits ? address : "");
        EXPECT_EQ(Redirect(200, "", "<script>location.href=\"" + address + "\"</script>"),
                  fits ? address : "");
    }
}

}  // namespace
