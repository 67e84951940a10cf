#include "NetHelper.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "FileUtil.h"

namespace {

constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kNameserver[] = "nameserver";
constexpr char kSearch[] = "search";
constexpr char kWhiteSpace[] = " \t\r\n";

// Forwarders on this machine, compared over the characters given here only.
constexpr char kLocalForwarderIPv4[] = "127.0.1.1";
constexpr char kLocalForwarderIPv6[] = "::1";

using Lines = std::vector<std::string>;

bool StartsWith(const std::string& text, const char* start) {
    return text.compare(0, strlen(start), start) == 0;
}

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
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
    return strncmp(address, forwarder, strlen(forwarder)) == 0;
}

// Lines keep their ends. False when reading fails; errno tells why.
bool ReadLines(FILE* file, Lines& lines) {
    char* buffer = nullptr;
    size_t size = 0;
    for (ssize_t length = 0; (length = getline(&buffer, &size, file)) != -1;) {
        lines.emplace_back(buffer, static_cast<size_t>(length));
    }
    free(buffer);
    return feof(file) != 0;
}

// Writes over the content from the start and cuts the rest, which would otherwise stay as garbage lines
// behind a content that became shorter.
bool WriteLines(FILE* file, const Lines& lines) {
    rewind(file);
    for (const std::string& line : lines) {
        if (fwrite(line.data(), 1, line.size(), file) != line.size()) {
            return false;
        }
    }
    return fflush(file) == 0 && ftruncate(fileno(file), ftell(file)) == 0;
}

// One more colon at an end belongs to a "::" there.
std::string_view WithoutEndColons(std::string_view address) {
    if (address.substr(0, 2) == "::") {
        address.remove_prefix(1);
    }
    if (EndsWith(address, "::")) {
        address.remove_suffix(1);
    }
    return address;
}

}  // namespace

int CNetHelper::SetDNSServers(CAutoString& dns1, CAutoString& dns2) {
    const FileOwner file(fopen(kResolverFile, "r+e"));
    Lines before;
    if (file == nullptr || !ReadLines(file.get(), before)) {
        return errno;
    }
    Rewriting rewriting = {dns1, dns2, {}, 0, {}, {}};
    for (const std::string& line : before) {
        RewriteLine(rewriting, line);
    }
    if (!WriteLines(file.get(), rewriting.lines)) {
        const int failure = errno;
        (void)WriteLines(file.get(), before);  // the failure is the one to report
        return failure;
    }
    dns1 = rewriting.previous1;
    dns2 = rewriting.previous2;
    return 0;
}

void CNetHelper::RewriteLine(Rewriting& file, const std::string& line) {
    if (StartsWith(line, kNameserver)) {
        RewriteNameserver(file, line);
    } else if (StartsWith(line, kSearch)) {
        RewriteSearch(file, line);
    } else {
        file.lines.push_back(line);
    }
}

void CNetHelper::RewriteNameserver(Rewriting& file, const std::string& line) {
    const CAutoString address = SecondWord(line);
    if (IsLocalForwarder(address)) {
        file.lines.push_back(line);
        return;
    }
    if (!SetDNS(file.dns1, file.dns2, file.lines, file.state, true)) {
        return;
    }
    (file.state == 1 ? file.previous1 : file.previous2) = address;
}

// A search line behind two servers goes, and one in front of the servers makes the previous ones forgotten,
// since those further down are dropped without being looked at. The log-out then has nothing to put back and
// the file's owner, a DHCP client for example, has to write it anew.
// Held by NetHelper.PushesServersAndPutsTheFormerOnesBack.
void CNetHelper::RewriteSearch(Rewriting& file, const std::string& line) {
    if (file.state > 1) {
        return;
    }
    if (file.state == 0) {
        file.previous1.Empty();
    }
    file.previous2.Empty();
    SetDNS(file.dns1, file.dns2, file.lines, file.state, false);
    file.lines.push_back(line);
}

bool CNetHelper::SetDNS(const char* dns1, const char* dns2, std::vector<std::string>& lines, unsigned& state,
                        bool atNameserver) {
    if (state > 1) {
        return false;
    }
    const bool valid1 = *dns1 != '\0' && IsValidAddress(dns1) == 0;
    const bool valid2 = *dns2 != '\0' && IsValidAddress(dns2) == 0;
    const size_t before = lines.size();
    const auto write = [&lines](const char* server) {
        lines.push_back(std::string(kNameserver) + " " + server + "\n");
    };
    if (state == 0 && valid1) {
        write(dns1);
    }
    const bool secondFits = state == 0 ? !atNameserver || !valid1 : valid1;
    if (valid2 && secondFits) {
        write(dns2);
    }
    state += state == 0 && !atNameserver ? 2 : 1;
    return atNameserver || lines.size() != before;
}

CStringArray CNetHelper::GetDNSServers() {
    CStringArray servers;
    const FileOwner file(fopen(kResolverFile, "re"));
    Lines lines;
    if (file == nullptr || !ReadLines(file.get(), lines)) {
        return servers;
    }
    for (const std::string& line : lines) {
        if (StartsWith(line, kNameserver)) {
            servers.push_back(SecondWord(line));
        }
    }
    return servers;
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
    // The reading below skips white space; a line break would become a line of the resolver file.
    char parts[4][16];
    if (strpbrk(address, " \t\n\v\f\r") != nullptr ||
        sscanf(address, "%15[^.].%15[^.].%15[^.].%15s", parts[0], parts[1], parts[2], parts[3]) != 4) {
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
    const bool gapAtEnd = text.substr(0, 2) == "::" || EndsWith(text, "::");
    const bool loneAtEnd = (text[0] == ':' || EndsWith(text, ":")) && !gapAtEnd;
    const bool hasGap = text.find("::") != std::string_view::npos;
    const auto colons = std::count(text.begin(), text.end(), ':');
    return colons <= (gapAtEnd ? 8 : 7) && colons >= (hasGap ? 2 : 7) && !loneAtEnd;
}
