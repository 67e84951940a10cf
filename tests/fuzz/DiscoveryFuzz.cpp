// Reads the input as the answer to a probe: the head up to the first NUL, the page behind it. Then goes on
// with the address found there as the discovery of the portal does.
#include <cstring>

#include "CurlHttp.h"
#include "Fuzz.h"
#include "HttpData.h"
#include "HttpHelper.h"

static CAutoString Redirect(int status, const std::string& head, const std::string& page) {
    CHttpData answer(true);
    answer.RespHead(strcpy(new char[head.size() + 1], head.c_str()));
    answer.RespData(strcpy(new char[page.size() + 1], page.c_str()));
    answer.retCode = status;
    (void)answer.GetHeadAttri("schoolid:");
    return answer.GetRedirectAddress();
}

void Try(std::string_view input) {
    const std::string head = Take(input, '\0');
    const std::string page = Take(input, '\0');
    for (CAutoString address : {Redirect(200, head, page), Redirect(302, head, page), CAutoString(page)}) {
        CAutoString host;
        (void)CHttpHelper().SetAddress(address);  // any address will do, as long as it is read without fault
        Require(CHttpHelper::ParseIP(address, host) == 0 || host.IsEmpty() || address.Find(host) >= 0);
        CCurlHttp::PretreatUrl(address);
    }
    const std::string plain = "http://" + page.substr(0, page.find_first_of("\"\r\n<>"));
    const CAutoString address = CAutoString(plain).MakeLower().Trim();
    if (address.GetLength() <= CHttpData::kLongestAddress) {
        Require(Redirect(302, "302 Found\r\nLocation: " + plain + "\r\nServer: x\r\n", "") == address);
        Require(Redirect(200, "", "<meta http-equiv=\"refresh\" content=\"0;url=" + plain + "\">") ==
                address);
    }
}
