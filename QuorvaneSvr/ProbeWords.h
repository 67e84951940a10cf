#pragma once

#include <iterator>

#include "AutoString.h"
#include "HttpData.h"

// What a request of the discovery says of this client, and what tells the portal's own page. Also for whoever
// walks the chain beside the service and wants to be answered as it is.

inline constexpr char kProbeHead[] =
    "Connection:close\r\nUser-Agent:%s\r\n"
    "Accept:text/html,text/xml,application/xhtml+xml,application/x-javascript,*/*";

// With the version of the settings.
inline constexpr char kUserAgentIPv4[] = "RAVO/Linux64/%s";
inline constexpr char kUserAgentIPv6[] = "RAVO/LinuxIpv664/%s";

// The portal's own page, as opposed to the pages that lead to it. Only this one is moved to another server.
inline constexpr char kPortalPage[] = "index.cgi";
inline bool IsPortalPage(const CAutoString& url) {
    return url.Find(kPortalPage) >= 0;
}

// Headers by which the network of a school says which one it is.
inline constexpr const char* kSchoolHeaders[] = {"schoolid:", "domain:", "area:"};
inline constexpr size_t kSchoolHeaderCount = std::size(kSchoolHeaders);

// They are kept, and sent with every request until a portal says others: servers refuse long heads.
inline constexpr int kLongestSchoolText = 256;

// The three headers are taken together or not at all: false, with whatever there is in `school`.
inline bool ReadSchool(const CHttpData& answer, CAutoString (&school)[kSchoolHeaderCount]) {
    bool complete = true;
    for (size_t i = 0; i < kSchoolHeaderCount; ++i) {
        school[i] = answer.GetHeadAttri(kSchoolHeaders[i]);
        complete = complete && !school[i].IsEmpty() && school[i].GetLength() <= kLongestSchoolText &&
                   CHttpData::IsHeaderValue(school[i]);
    }
    return complete;
}
