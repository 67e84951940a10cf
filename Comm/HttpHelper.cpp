#include "HttpHelper.h"

#include <sys/stat.h>
#include <utime.h>

namespace {

constexpr char kHttp[] = "http://";
constexpr char kHttps[] = "https://";

// What follows the scheme of the address; false for any other scheme.
bool SkipScheme(CAutoString address, CAutoString& rest) {
    address.Trim();
    for (const CAutoString scheme : {kHttp, kHttps}) {
        const int found = address.Find(scheme);
        if (found >= 0) {
            rest = address.Mid(found + scheme.GetLength());
            return true;
        }
    }
    return false;
}

bool Look(const CAutoString& path, struct stat& found) {
    return stat(path, &found) == 0;
}

}  // namespace

int CHttpHelper::SetAddress(CAutoString address) {
    m_address = address.Trim();
    if (m_address.Find(kHttp) < 0) {
        return 0;
    }
    const int mark = m_address.Find('?');
    if (mark < 0) {
        return 1;
    }
    m_url = m_address.Left(mark);
    return ReadQuery(m_address.Mid(mark + 1)) ? 1 : 0;
}

// Walks the query once, however many pieces a hostile portal puts into it.
bool CHttpHelper::ReadQuery(const CAutoString& query) {
    int start = 0;
    int equals = query.Find('=');
    for (int end = query.Find('&'); end >= 0; end = query.Find('&', start)) {
        if (equals < 0) {
            return false;
        }
        // A piece without a "=" of its own names nothing: it is passed over and spoils only itself.
        if (equals < end) {
            Store(query.Mid(start, equals - start), query.Mid(equals + 1, end - equals - 1));
            equals = query.Find('=', end);
        }
        start = end + 1;
    }
    // Only the last pair is trimmed; the others go back to the portal with the white space that they came
    // with.
    if (equals >= 0) {
        Store(query.Mid(start, equals - start).Trim(), query.Mid(equals + 1).Trim());
    }
    return true;
}

void CHttpHelper::Store(const CAutoString& name, const CAutoString& value) {
    if (m_params.size() < kMostNames || m_params.count(name) != 0) {
        m_params[name] = value;
    }
}

int CHttpHelper::ParseAddress(CAutoString address, CAutoString& url, CAutoString& query) {
    address.Trim();
    const int mark = address.Find('?');
    if (address.Find(kHttp) < 0 || mark < 0) {
        return 0;
    }
    url = address.Left(mark);
    query = address.Mid(mark + 1);
    return 1;
}

int CHttpHelper::ParseIP(CAutoString address, CAutoString& host) {
    CAutoString rest;
    if (!SkipScheme(address, rest) || rest.IsEmpty()) {
        return 0;
    }
    const int slash = rest.Find('/');
    host = slash >= 0 ? rest.Left(slash) : rest;
    return 1;
}

int CHttpHelper::ParseIP(CAutoString address, CAutoString& host, CAutoString& port) {
    if (ParseIP(address, host) == 0) {
        return 0;
    }
    CAutoString rest;
    (void)SkipScheme(address, rest);  // it has just been found
    const int colon = host.Find(':');
    if (rest.Find('/') >= 0 && colon >= 0) {
        port = host.Mid(colon + 1);
        host = host.Left(colon);
    }
    return 1;
}

bool CHttpHelper::IfExistFile(CAutoString path) {
    struct stat found;
    return Look(path, found) && !S_ISDIR(found.st_mode);
}

bool CHttpHelper::IfExistDir(CAutoString path) {
    struct stat found;
    return Look(path, found) && S_ISDIR(found.st_mode);
}

int64_t CHttpHelper::GetFileLength(CAutoString path) {
    struct stat found;
    return Look(path, found) && !S_ISDIR(found.st_mode) ? found.st_size : -1;
}

bool CHttpHelper::SetFileTime(CAutoString path, time_t time) {
    const utimbuf times = {time, time};
    return utime(path, &times) == 0;
}
