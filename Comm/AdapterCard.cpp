#include "AdapterCard.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "FileUtil.h"

namespace {

constexpr char kSourceFile[] = "AdapterCard.cpp";
constexpr size_t kRouteLineSize = 128;  // a default route needs about half of it up to the interface name
constexpr size_t kHostNameSize = 100;

// How the interface of a default route is found: `routes` prints the routes, and the kernel lists its
// interfaces in `kernelTable`. `unstarted` is the result when no shell can be started.
struct RouteLookup {
    const char* routes;
    const char* kernelTable;
    int unstarted;
};

// The lone "-" is an abbreviation of "-loops", which takes the 4 as its value: what is shown are the IPv4
// routes, as without both words.
constexpr RouteLookup kRouteIPv4 = {"ip - 4 route show", "/proc/net/route", -1};
constexpr RouteLookup kRouteIPv6 = {"ip -6 route show", "/proc/net/ipv6_route", 0};
constexpr char kDefaultRoute[] = "default";

// Reads all lines, whatever was found: a command ends by itself then. The first one with `word` in it is cut
// to the size of a route's.
bool FindLine(FILE* lines, const char* word, std::string& found) {
    char* line = nullptr;
    size_t size = 0;
    bool isFound = false;
    while (getline(&line, &size, lines) >= 0) {
        if (!isFound && strstr(line, word) != nullptr) {
            found.assign(line, strnlen(line, kRouteLineSize - 1));
            isFound = true;
        }
    }
    free(line);
    return isFound;
}

int FindInterface(const RouteLookup& lookup, CAutoString& name) {
    const CommandOwner routes(popen(lookup.routes, "re"));
    if (routes == nullptr) {
        return lookup.unstarted;
    }
    std::string line;
    char interface[kRouteLineSize];
    // default via GATEWAY dev INTERFACE
    if (!FindLine(routes.get(), kDefaultRoute, line) ||
        sscanf(line.c_str(), "%*s%*s%*s%*s%127s", interface) != 1) {
        return -1;
    }
    name = interface;
    const FileOwner table(fopen(lookup.kernelTable, "re"));
    return table != nullptr && FindLine(table.get(), interface, line) ? 0 : -1;
}

// A name that does not fit is refused: cut to the kernel's length it could be that of another interface.
bool QueryInterface(int socket, unsigned long request, const CAutoString& name, ifreq& entry) {
    entry = {};
    if (name.GetText().size() >= sizeof(entry.ifr_name)) {
        return false;
    }
    memcpy(entry.ifr_name, name.GetBuffer(), name.GetText().size());
    return ioctl(socket, request, &entry) != -1;
}

int ReadIpAndMac(int socket, const CAutoString& name, CAutoString& ip, CAutoString& mac) {
    ifreq entry;
    if (!QueryInterface(socket, SIOCGIFHWADDR, name, entry)) {
        printf("SIOCGIFHWADDR IOCTL error!");
        return -1;
    }
    unsigned char bytes[6];
    memcpy(bytes, entry.ifr_hwaddr.sa_data, sizeof(bytes));
    mac.Format("%02x-%02x-%02x-%02x-%02x-%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);

    if (!QueryInterface(socket, SIOCGIFADDR, name, entry)) {
        printf("SIOCGIFADDR IOCTL error!");
        return -1;
    }
    sockaddr_in address;
    memcpy(&address, &entry.ifr_addr, sizeof(address));
    char text[INET_ADDRSTRLEN];
    ip = inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    return 0;
}

// Kinds of IPv6 addresses by which no portal reaches the client. The first kind that fits names the address.
struct SpecialAddress {
    bool (*matches)(const in6_addr& address);
    const char* trace;
};
constexpr SpecialAddress kSpecialAddresses[] = {
    {[](const in6_addr& a) { return a.s6_addr[0] == 0xff; }, "IPv6 Multicast address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_LINKLOCAL(&a); }, "IPv6 Unicast link-local address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_LOOPBACK(&a); }, "IPv6 Loopback address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_UNSPECIFIED(&a); }, "IPv6 Unspecified address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_SITELOCAL(&a); }, "IPv6 Unicast site-local  address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_V4MAPPED(&a); }, "IPv6 IPv4 mapped address"},
    {[](const in6_addr& a) -> bool { return IN6_IS_ADDR_V4COMPAT(&a); }, "IPv6 IPv4-compatible address"},
};

void Trace(int line, const char* label, const char* value) {
    fprintf(stderr, "[%s,%s,%d]:%s: %s\n", kSourceFile, "GetIPAddress", line, label, value);
}

void ReadIPv6Address(const in6_addr& address, CAutoString& out) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, &address, text, sizeof(text));
    for (const SpecialAddress& kind : kSpecialAddresses) {
        if (kind.matches(address)) {
            Trace(__LINE__, kind.trace, text);
            return;
        }
    }
    Trace(__LINE__, "IPv6 address", text);
    out = text;
}

void ReadAddress(const sockaddr* address, CAutoString& out) {
    if (address->sa_family == AF_INET) {
        sockaddr_in ipv4;
        memcpy(&ipv4, address, sizeof(ipv4));
        char text[INET_ADDRSTRLEN];
        Trace(__LINE__, "IPv4 Address", inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof(text)));
    } else if (address->sa_family == AF_INET6) {
        sockaddr_in6 ipv6;
        memcpy(&ipv6, address, sizeof(ipv6));
        ReadIPv6Address(ipv6.sin6_addr, out);
    }
}

struct SystemField {
    const char* name;
    const char* value;
};

}  // namespace

int CAdapterCard::InitAdapterCard() {
    return 0;
}

int CAdapterCard::GetActiveCardName(CAutoString& name) {
    return FindInterface(kRouteIPv4, name);
}

int CAdapterCard::GetActiveInterfaceNameIPv6(CAutoString& name) {
    return FindInterface(kRouteIPv6, name);
}

int CAdapterCard::GetIpAndMac(CAutoString ifname, CAutoString& ip, CAutoString& mac) {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen()) {
        printf("%s:%d Open socket error!\n", kSourceFile, __LINE__);
        return -1;
    }
    return ReadIpAndMac(socket.Get(), ifname, ip, mac);
}

int CAdapterCard::GetIPAddress(int /*family*/, const CAutoString& ifname, CAutoString& out) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) == -1) {
        return -1;
    }
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        Trace(__LINE__, "Interface name", entry->ifa_name);
        if (ifname.CompareNoCase(entry->ifa_name) == 0 && entry->ifa_addr != nullptr &&
            (entry->ifa_flags & IFF_UP) != 0) {
            ReadAddress(entry->ifa_addr, out);
        }
    }
    freeifaddrs(list);
    return 0;
}

int CAdapterCard::GetHostName(CAutoString& out) {
    char name[kHostNameSize];
    if (gethostname(name, sizeof(name)) == -1) {
        perror("gethostname");
        return -1;
    }
    out = name;
    return 0;
}

int CAdapterCard::GetSystemInfo(CAutoString field, CAutoString& out) {
    utsname system;
    if (uname(&system) == -1) {
        perror("uname");
        return -1;
    }
    const SystemField fields[] = {
        {"sysname", system.sysname}, {"nodename", system.nodename}, {"release", system.release},
        {"version", system.version}, {"machine", system.machine},
    };
    for (const SystemField& known : fields) {
        if (field == known.name) {
            out = known.value;
            return 0;
        }
    }
    return -1;
}

unsigned long CAdapterCard::IpString2Ulong(CAutoString text) {
    return inet_addr(text);
}
