#pragma once

#include <cstdint>
#include <ctime>
#include <map>

#include "AutoString.h"

// Takes apart the addresses that the portal hands out. Plain text search: no percent-decoding, no case
// folding, no check of hosts. One object serves a whole chain of redirects and gathers what their queries
// say. Belongs to one thread.
class CHttpHelper {
  public:
    // Reads the query of an "http://" address: 1. 0 when the address is another one (an "https://" one among
    // them) or a "&" is reached with no "=" in what has not been read yet; pairs read up to there stay.
    // Adds to what earlier addresses brought, and writes over it where a name comes again. Of names there are
    // at most kMostNames; further ones are passed over.
    int SetAddress(CAutoString address);
    // The part of the address before its query.
    CAutoString GetUrl() const { return m_url; }
    // The value of a query parameter, the last one of that name; empty when there is none.
    CAutoString GetParam(CAutoString name) { return m_params[name]; }

    // What stands between "http://" or "https://" and the next "/": 1. 0 and an untouched output without such
    // a scheme, or when nothing follows it. The host keeps a port behind it.
    static int ParseIP(CAutoString address, CAutoString& host);

    // Not used by the service.
    // Splits an "http://" address at its first "?": 1. 0 and untouched outputs for every other one.
    static int ParseAddress(CAutoString address, CAutoString& url, CAutoString& query);
    // ParseIP with the port apart, when the address has a port and a "/" behind it; otherwise `port` is
    // untouched and `host` is all that stands there. The first ":" counts, inside of brackets too.
    static int ParseIP(CAutoString address, CAutoString& host, CAutoString& port);
    // What a download needs to know of files. Symbolic links are followed.
    static bool IfExistFile(CAutoString path);  // anything but a folder
    static bool IfExistDir(CAutoString path);
    // In bytes; -1 when there is no such file.
    static int64_t GetFileLength(CAutoString path);
    // Sets the times of last access and change, in seconds since 1970. False when there is no such file or it
    // belongs to another user.
    static bool SetFileTime(CAutoString path, time_t time);

  private:
    // A chain of redirects has no end of its own; far more names than one address can carry are no query.
    static constexpr size_t kMostNames = 4096;

    bool ReadQuery(const CAutoString& query);
    void Store(const CAutoString& name, const CAutoString& value);

    CAutoString m_address;
    CAutoString m_url;
    std::map<CAutoString, CAutoString> m_params;
};
