// Reads the input as the answer to a probe: the head up to the first NUL, the page behind it. Then goes on
// with the address found there as the discovery of the portal does.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "CurlHttp.h"
#include "HttpData.h"
#include "HttpHelper.h"

namespace {

char* Copy(const std::string& text) {
    return strcpy(new char[text.size() + 1], text.c_str());
}

void Follow(CAutoString address) {
    CHttpHelper helper;
    CAutoString host;
    (void)helper.SetAddress(address);  // any address will do, as long as it is read without fault
    if (CHttpHelper::ParseIP(address, host) == 1 && host.GetLength() > address.GetLength()) {
        abort();
    }
    CCurlHttp::PretreatUrl(address);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t headLength = std::min(input.find('\0'), input.size());
    CHttpData answer(true);
    answer.RespHead(Copy(input.substr(0, headLength)));
    answer.RespData(Copy(input.substr(std::min(headLength + 1, input.size()))));
    (void)answer.GetHeadAttri("schoolid:");
    for (const int status : {200, 302}) {
        answer.retCode = status;
        const CAutoString address = answer.GetRedirectAddress();
        if (!address.IsEmpty() && address.Find("://") < 0) {
            abort();
        }
        Follow(address);
    }
    Follow(answer.RespData());
    return 0;
}
