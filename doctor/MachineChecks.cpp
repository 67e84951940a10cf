// What else of the machine matters: the resolver file and the clock.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Examination.h"
#include "FolderCopy.h"
#include "NetHelper.h"
#include "PortalCodes.h"

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kLargestResolverFile = 1024 * 1024;
constexpr size_t kShownServers = 3;  // as many as the C library asks
constexpr char kPushRecord[] = "resolver.former";
constexpr char kComments[] = "#;";

// Beyond that the local times of the requests are no longer taken for mere delay.
constexpr long kMostSecondsOff = 5 * 60;
constexpr int kFirstYear = 1900;  // of struct tm

// What a program writes into the comments of its resolver file, or has in the path of the file that the link
// leads to, and its name.
struct ManagerMark {
    const char* mark;
    const char* name;
};
constexpr ManagerMark kManagers[] = {
    {"systemd", "systemd-resolved"},   {"networkmanager", "NetworkManager"},
    {"resolvconf", "resolvconf"},      {"dhcpcd", "dhcpcd"},
    {"dhclient", "dhclient"},          {"connman", "connman"},
    {"connection manager", "connman"}, {"netconfig", "netconfig"},
};

std::string ManagerIn(CAutoString text) {
    text.MakeLower();
    for (const ManagerMark& manager : kManagers) {
        if (text.Find(manager.mark) >= 0) {
            return manager.name;
        }
    }
    return {};
}

std::string CommentsIn(const std::string& text) {
    std::string comments;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t first = line.find_first_not_of(" \t");
        const bool isComment = first != std::string::npos && strchr(kComments, line[first]) != nullptr;
        comments += isComment ? line + "\n" : "";
    }
    return comments;
}

// A mounted file is nobody's to replace: the kernel refuses to put another in its place.
bool IsMounted(const std::string& path) {
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream words(line);
        std::string id, parent, device, root, point;
        words >> id >> parent >> device >> root >> point;
        if (point == path) {
            return true;
        }
    }
    return false;
}

// Who writes the resolver file, and how that shows; empty for a plain or mounted one.
std::string ManagerOf(const std::string& text) {
    const std::string marked = ManagerIn(CommentsIn(text));
    if (!marked.empty()) {
        return marked + " by its mark in the file";
    }
    std::error_code failure;
    const fs::path target = fs::read_symlink(CNetHelper::kResolverFile, failure);
    char resolved[PATH_MAX];
    if (failure || (realpath(CNetHelper::kResolverFile, resolved) != nullptr && IsMounted(resolved))) {
        return {};
    }
    const std::string named = ManagerIn(target.string());
    return (named.empty() ? "another program" : named) + " by the link to " + target.string();
}

// What shows that the portal pushes name servers; empty when nothing does. The configuration does not tell,
// only the answer to a login.
std::string SignOfPush(const Examination& examination) {
    struct stat status = {};
    if (lstat(examination.InFolder(kPushRecord).c_str(), &status) == 0) {
        return "the portal's servers stand in it now (resolver.former)";
    }
    const bool failed = examination.agent && examination.agent->lastCode == StateCode::kDnsNotApplied;
    return failed ? "the portal's servers could not be written (150110)" : "";
}

std::string DescribeServers(const CStringArray& servers) {
    std::string text;
    for (size_t i = 0; i < std::min(servers.size(), kShownServers); ++i) {
        text += " " + servers[i].GetText();
    }
    return text;
}

int YearOf(time_t now) {
    tm date = {};
    (void)gmtime_r(&now, &date);
    return date.tm_year + kFirstYear;
}

std::string UtcTime() {
    const time_t now = time(nullptr);
    tm date = {};
    (void)gmtime_r(&now, &date);
    char text[sizeof("2026-03-15T08:00:00Z") + 8];
    return {text, strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &date)};
}

}  // namespace

Verdict LookAtResolver(Examination& examination) {
    std::string text;
    const int failure = ReadFile(CNetHelper::kResolverFile, text, kLargestResolverFile);
    if (failure != 0) {
        return Found(Finding::kNoResolver, strerror(failure));
    }
    const CStringArray servers = CNetHelper::ServersIn(text);
    if (servers.empty()) {
        return Found(Finding::kNoNameServer, CNetHelper::kResolverFile);
    }
    const std::string manager = ManagerOf(text);
    const std::string push = SignOfPush(examination);
    const std::string described = "servers" + DescribeServers(servers);
    if (manager.empty()) {
        return Good(described + ", nobody else's file" + (push.empty() ? "" : ", " + push));
    }
    return push.empty()
               ? Good(described + ", file of " + manager + "; no sign that the portal pushes servers")
               : Found(Finding::kResolverManaged, manager + "; " + push);
}

Verdict LookAtClock(Examination& examination) {
    const std::string now = UtcTime();
    if (YearOf(time(nullptr)) < QUORVANE_BUILD_YEAR) {
        return Found(Finding::kClockBehind, now);
    }
    const std::optional<long> ahead = examination.chain.clockAheadSeconds;
    if (!ahead) {
        return Good(now + ", compared with nothing, for no answer told the time");
    }
    const std::string difference = std::to_string(std::labs(*ahead)) + " s " +
                                   (*ahead < 0 ? "behind" : "ahead of") + " the first answer";
    return std::labs(*ahead) > kMostSecondsOff ? Found(Finding::kClockOff, now + ", " + difference)
                                               : Good(now + ", " + difference);
}
