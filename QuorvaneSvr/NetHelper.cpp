#include "NetHelper.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "FileUtil.h"
#include "TextUtil.h"

namespace {

constexpr char kNameserver[] = "nameserver";
constexpr char kSearch[] = "search";
constexpr char kServerLine[] = "nameserver %s\n";
constexpr char kWhiteSpace[] = " \t\r\n";
constexpr size_t kLineSize = 1024;  // bytes of an inserted line

// Forwarders on this machine, compared over the characters given here only.
constexpr char kLocalForwarderIPv4[] = "127.0.1.1";
constexpr char kLocalForwarderIPv6[] = "::1";

// How many of the two slots for servers have been dealt with.
constexpr unsigned kNoSlot = 0;
constexpr unsigned kFirstSlot = 1;
constexpr unsigned kBothSlots = 2;

// The file has two slots for servers. Each server line takes the next slot; a search line takes all that are
// left, so that the servers come in front of it. What a slot gets are the valid ones of the two new servers,
// the first of them for the first slot. That makes four cases:
enum class Place {
    kFirstSlot,      // server line, no slot taken: the first valid server in its place
    kSecondSlot,     // any line, one slot taken: the second server, when there are two valid ones
    kBothSlots,      // search line, no slot taken: the valid servers in front of it
    kBehindTheSlots  // any line, both slots taken: nothing
};

Place PlaceOf(unsigned slotsTaken, bool atNameserver) {
    if (slotsTaken >= kBothSlots) {
        return Place::kBehindTheSlots;
    }
    if (slotsTaken == kFirstSlot) {
        return Place::kSecondSlot;
    }
    return atNameserver ? Place::kFirstSlot : Place::kBothSlots;
}

CAutoString SecondWord(const std::string& line) {
    const size_t gap = line.find_first_of(kWhiteSpace);
    const size_t first = line.find_first_not_of(kWhiteSpace, gap);
    if (gap == std::string::npos || first == std::string::npos) {
        return {};
    }
    return line.substr(first, line.find_first_of(kWhiteSpace, first) - first);
}

bool IsLocalForwarder(const char* address) {
    const char* forwarder = strchr(address, ':') == nullptr ? kLocalForwarderIPv4 : kLocalForwarderIPv6;
    return StartsWith(address, forwarder);
}

// Calls `handle` with each line, its line end included.
template <typename Handler>
void ForEachLine(const std::string& text, const Handler& handle) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        const size_t next = end == std::string::npos ? text.size() : end + 1;
        handle(text.substr(start, next - start));
        start = next;
    }
}

bool WriteOver(const std::string& text) {
    return CFileUtil::WriteOver(CNetHelper::kResolverFile, text, WriteTo::kCache) == FileFault::kNone;
}

// One more colon at an end belongs to a "::" there.
std::string_view WithoutEndColons(std::string_view address) {
    if (StartsWith(address, "::")) {
        address.remove_prefix(1);
    }
    if (EndsWith(address, "::")) {
        address.remove_suffix(1);
    }
    return address;
}

}  // namespace

int CNetHelper::SetDNSServers(CAutoString& dns1, CAutoString& dns2) {
    std::string before;
    if (!CFileUtil::ReadWholeFile(kResolverFile, before)) {
        return errno;
    }
    CAutoString former1 = dns1;
    CAutoString former2 = dns2;
    if (!WriteOver(Rewrite(before, former1, former2))) {
        const int failure = errno;
        (void)WriteOver(before);  // the failure is the one to report
        return failure;
    }
    dns1 = former1;
    dns2 = former2;
    return 0;
}

std::string CNetHelper::Rewrite(const std::string& text, CAutoString& dns1, CAutoString& dns2) {
    Rewriting rewriting = {dns1, dns2, {}, kNoSlot, {}, {}};
    ForEachLine(text, [&](const std::string& line) { RewriteLine(rewriting, line); });
    dns1 = rewriting.former1;
    dns2 = rewriting.former2;
    return rewriting.text;
}

void CNetHelper::RewriteLine(Rewriting& file, const std::string& line) {
    if (StartsWith(line, kNameserver)) {
        RewriteNameserver(file, line);
    } else if (StartsWith(line, kSearch)) {
        RewriteSearch(file, line);
    } else {
        file.text += line;
    }
}

void CNetHelper::RewriteNameserver(Rewriting& file, const std::string& line) {
    const CAutoString address = SecondWord(line);
    if (IsLocalForwarder(address)) {
        file.text += line;
        return;
    }
    if (Insert(file, true)) {
        (file.state == kFirstSlot ? file.former1 : file.former2) = address;
    }
}

// A search line behind two servers goes, and one in front of the servers makes the former ones forgotten,
// since those further down are dropped without being looked at. Whoever needs the file back as it was keeps
// its text. Held by NetHelper.PushesServersAndHandsTheFormerOnesBack.
void CNetHelper::RewriteSearch(Rewriting& file, const std::string& line) {
    if (file.state >= kBothSlots) {
        return;
    }
    if (file.state == kNoSlot) {
        file.former1.Empty();
    }
    file.former2.Empty();
    (void)Insert(file, false);  // the search line is kept behind whatever was written
    file.text += line;
}

bool CNetHelper::Insert(Rewriting& file, bool atNameserver) {
    char lines[kBothSlots][kLineSize];
    unsigned count = 0;
    const bool taken = SetDNS(file.dns1, file.dns2, lines, file.state, count, atNameserver);
    for (unsigned i = 0; i < count; ++i) {
        file.text += lines[i];
    }
    return taken;
}

bool CNetHelper::SetDNS(const char* dns1, const char* dns2, char lines[][1024], unsigned& state,
                        unsigned& count, bool atNameserver) {
    const unsigned before = count;
    const bool valid1 = *dns1 != '\0' && IsValidAddress(dns1) == 0;
    const bool valid2 = *dns2 != '\0' && IsValidAddress(dns2) == 0;
    const auto writeIf = [&](bool isWanted, const char* server) {
        if (isWanted) {
            snprintf(lines[count++], kLineSize, kServerLine, server);
        }
    };
    switch (PlaceOf(state, atNameserver)) {
        case Place::kFirstSlot:
            writeIf(valid1 || valid2, valid1 ? dns1 : dns2);
            state = kFirstSlot;
            break;
        case Place::kSecondSlot:
            writeIf(valid1 && valid2, dns2);
            state = kBothSlots;
            break;
        case Place::kBothSlots:
            writeIf(valid1, dns1);
            writeIf(valid2, dns2);
            state = kBothSlots;
            break;
        case Place::kBehindTheSlots: return false;
    }
    return atNameserver || count != before;
}

CStringArray CNetHelper::GetDNSServers() {
    std::string text;
    (void)CFileUtil::ReadWholeFile(kResolverFile, text);  // a file that cannot be read names none
    return ServersIn(text);
}

CStringArray CNetHelper::ServersIn(const std::string& text) {
    CStringArray servers;
    ForEachLine(text, [&](const std::string& line) {
        if (StartsWith(line, kNameserver)) {
            servers.push_back(SecondWord(line));
        }
    });
    return servers;
}

std::string CNetHelper::WithoutServers(const std::string& text, const CStringArray& servers) {
    std::string rest;
    ForEachLine(text, [&](const std::string& line) {
        const bool goes = StartsWith(line, kNameserver) &&
                          std::find(servers.begin(), servers.end(), SecondWord(line)) != servers.end();
        rest += goes ? "" : line;
    });
    return rest;
}

int CNetHelper::IsValidAddress(const char* address) {
    if (*address == '\0') {
        return 0;
    }
    return strchr(address, ':') == nullptr ? IsValidIPv4(address) : IsValidIPv6(address);
}

int CNetHelper::IsValidIPv4(const char* address) {
    const size_t length = strlen(address);
    if (length <= 6 || length >= 16) {
        return AF_LENGTH_IPV4;
    }
    char parts[4][16];
    if (sscanf(address, "%15[^.].%15[^.].%15[^.].%15s", parts[0], parts[1], parts[2], parts[3]) != 4) {
        return AF_PARTS;
    }
    for (const char* part : parts) {
        if (strlen(part) > 3) {
            return AF_PART_LENGTH;
        }
    }
    int numbers[4];
    if (sscanf(address, "%d.%d.%d.%d", &numbers[0], &numbers[1], &numbers[2], &numbers[3]) != 4) {
        return AF_NUMBERS;
    }
    for (const int number : numbers) {
        if (number < 1 || number > 255) {
            return AF_RANGE;
        }
    }
    return 0;
}

int CNetHelper::IsValidIPv6(const char* address) {
    const size_t length = strlen(address);
    if (length < 3 || length > 39) {
        return AF_LENGTH_IPV6;
    }
    if (!IsValidIpv6Char(address)) {
        return AF_CHARACTERS;
    }
    if (!IsValidNumColon(address)) {
        return AF_COLONS;
    }
    const std::string_view groups = WithoutEndColons(address);
    int emptyGroups = 0;
    for (size_t first = 0; first <= groups.size();) {
        const size_t end = std::min(groups.find(':', first), groups.size());
        if (end - first > 4) {
            return AF_GROUP_LENGTH;
        }
        emptyGroups += end == first ? 1 : 0;
        first = end + 1;
    }
    return emptyGroups > 1 ? AF_COLONS : 0;
}

bool CNetHelper::IsValidIpv6Char(const char* address) {
    return address[strspn(address, "0123456789abcdefABCDEF:")] == '\0';
}

// Eight groups have seven colons between them. "::" stands for groups that are left out; at an end it has one
// colon more than the group that it stands for.
bool CNetHelper::IsValidNumColon(const char* address) {
    const std::string_view text = address;
    const bool gapAtEnd = StartsWith(text, "::") || EndsWith(text, "::");
    const bool loneAtEnd = (StartsWith(text, ":") || EndsWith(text, ":")) && !gapAtEnd;
    const bool hasGap = text.find("::") != std::string_view::npos;
    const auto colons = std::count(text.begin(), text.end(), ':');
    return colons <= (gapAtEnd ? 8 : 7) && colons >= (hasGap ? 2 : 7) && !loneAtEnd;
}
