#pragma once

#include <string>
#include <vector>

#include "AutoString.h"

// Puts DNS servers into the system resolver file and hands back those that they replace. Holds no state, and
// every operation may be called from any thread; who changes the file sees to it that nobody else of this
// process does so at the same time (CPushedServers).
class CNetHelper {
  public:
    static constexpr char kResolverFile[] = "/etc/resolv.conf";

    // Replaces the first two servers of the resolver file; further ones go. Texts that are empty or no valid
    // address are not written, but what they would have replaced goes all the same. A local forwarder
    // (127.0.1.1 or ::1) stays where it is. The file is rewritten in place: mode, owner and a symbolic link
    // to it stay.
    // 0: the arguments hold the replaced servers, empty when there was none. Otherwise the errno of the file
    // operation that failed: file and arguments are as they were.
    int SetDNSServers(CAutoString& dns1, CAutoString& dns2);
    // What SetDNSServers makes of a file that holds `text`. The arguments then hold the replaced servers.
    std::string Rewrite(const std::string& text, CAutoString& dns1, CAutoString& dns2);

    // The servers of a resolver file that holds `text`, in the order of its lines.
    static CStringArray ServersIn(const std::string& text);
    // The text without the lines of those servers.
    static std::string WithoutServers(const std::string& text, const CStringArray& servers);

    // Appends the lines that stand for a server line (`atNameserver`) or go in front of a search line to
    // `lines`, `count` of which are in use; there are at most two, and the caller has the room. `state`
    // counts the server slots that have been dealt with, which is not the same as written. True when the line
    // at hand took a slot (server line) or when something was written (search line).
    bool SetDNS(const char* dns1, const char* dns2, char lines[][1024], unsigned& state, unsigned& count,
                bool atNameserver);

    // An IPv4 address is four numbers of 1 to 255 with a '.' between them; what stands behind the last one is
    // not looked at. An IPv6 address, which is what a text with ':' is judged as, is eight groups of 1 to 4
    // hexadecimal digits with a ':' between them, or fewer around one "::"; it ends in no IPv4 address and no
    // zone. 0 for a valid or empty address, else the first of these that it breaks:
    enum AddressFault {
        AF_LENGTH_IPV4 = 1,   // not 7 to 15 characters
        AF_PARTS = 2,         // not four parts
        AF_PART_LENGTH = 3,   // a part of more than 3 characters
        AF_NUMBERS = 4,       // a part that does not begin as a number
        AF_RANGE = 5,         // a number outside 1 to 255: 0 as well, so 10.0.0.1 is refused
        AF_LENGTH_IPV6 = 6,   // not 3 to 39 characters
        AF_CHARACTERS = 7,    // something else than hexadecimal digits and ':'
        AF_COLONS = 8,        // too many or too few of them, a lone one at an end, or a second "::"
        AF_GROUP_LENGTH = 9,  // a group of more than 4 digits
    };
    int IsValidAddress(const char* address);
    // Whether there is nothing but hexadecimal digits and colons.
    bool IsValidIpv6Char(const char* address);
    // Whether the colons are as many as eight groups have between them, or fewer around a "::".
    bool IsValidNumColon(const char* address);

    // Not used by the service.
    // ServersIn of the resolver file; none when it cannot be read.
    CStringArray GetDNSServers();

  private:
    // The resolver file while it is rewritten.
    struct Rewriting {
        const char* dns1;
        const char* dns2;
        std::string text;  // what has been kept and inserted
        unsigned state = 0;
        CAutoString former1;
        CAutoString former2;
    };

    void RewriteLine(Rewriting& file, const std::string& line);
    void RewriteNameserver(Rewriting& file, const std::string& line);
    void RewriteSearch(Rewriting& file, const std::string& line);
    bool Insert(Rewriting& file, bool atNameserver);

    int IsValidIPv4(const char* address);
    int IsValidIPv6(const char* address);
};
