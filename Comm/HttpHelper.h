#pragma once

#include <map>

#include "AutoString.h"

// Takes apart the addresses that the portal hands out. Plain text search: no percent-decoding, no case
// folding, no check of hosts. One object serves a whole chain of redirects and then holds what the last
// address with a query brought. Belongs to one thread.
class CHttpHelper {
  public:
    // Reads the query of an "http://" address: 1. 0 when the address is another one (an "https://" one among
    // them) or its query has a "&" but no "=" left in front of the last piece; pairs read up to there stay.
    // An address without a query is accepted and leaves what an earlier one brought.
    int SetAddress(CAutoString address);
    // The part of the address before its query.
    CAutoString GetUrl() const { return m_url; }
    // The value of a query parameter, the last one of that name; empty when there is none.
    CAutoString GetParam(CAutoString name) { return m_params[name]; }

    // Splits an "http://" address at its first "?": 1. 0 and untouched outputs for every other one.
    static int ParseAddress(CAutoString address, CAutoString& url, CAutoString& query);

    // What stands between "http://" or "https://" and the next "/": 1. 0 and an untouched output without such
    // a scheme, or when nothing follows it. The host keeps a port behind it.
    static int ParseIP(CAutoString address, CAutoString& host);
    // The same with the port apart, when the address has a port and a "/" behind it; otherwise `port` is
    // untouched and `host` is all that stands there. The first ":" counts, inside of brackets too.
    static int ParseIP(CAutoString address, CAutoString& host, CAutoString& port);

  private:
    bool ReadQuery(const CAutoString& query);

    CAutoString m_address;
    CAutoString m_url;
    std::map<CAutoString, CAutoString> m_params;
};
