// How evenly clients spread over the equal servers of a portal by the choice that the service makes, and
// whether a failing server moves clients of others. Prints a row for each number of servers: the share of the
// server that is farthest from the even one, in percent of the even one.
//   server-spread [ADDRESSES]      1000000 without an argument
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "ServerCluster.h"

namespace {

constexpr size_t kMostServers = 64;
constexpr size_t kUsualAddresses = 1000000;
constexpr uint32_t kCampus = 10U << 24;  // 10.0.0.0/8
constexpr uint32_t kCampusHosts = 1U << 24;
constexpr double kGoodDeviation = 5;  // percent of the even share

struct Situation {
    const char* what;
    bool (*fails)(size_t server, size_t servers);
};
// The others are compared with the first.
constexpr Situation kSituations[] = {
    {"all up", [](size_t, size_t) { return false; }},
    {"one fails", [](size_t server, size_t servers) { return servers > 1 && server == servers / 2; }},
    {"half fail", [](size_t server, size_t) { return server % 2 == 1; }},
};
constexpr size_t kSituationCount = sizeof kSituations / sizeof *kSituations;

std::string TextOf(uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

// One address after the other, as a campus of full networks has them.
std::vector<std::string> DenseAddresses(size_t count) {
    std::vector<std::string> addresses;
    for (uint32_t host = 1; addresses.size() < count; ++host) {
        addresses.push_back(TextOf(kCampus + host));
    }
    return addresses;
}

// Anywhere on the campus; always the same ones.
std::vector<std::string> ScatteredAddresses(size_t count) {
    std::mt19937 random(1);
    std::vector<std::string> addresses;
    while (addresses.size() < count) {
        addresses.push_back(TextOf(kCampus + static_cast<uint32_t>(random()) % kCampusHosts));
    }
    return addresses;
}

// The list that a portal names. Server n is "sn".
std::string ListOf(size_t servers) {
    std::string list;
    for (size_t server = 0; server < servers; ++server) {
        list += "s" + std::to_string(server) + ",";
    }
    return list;
}

// What the portal was reached at; the host becomes that of the server, "sN".
constexpr char kPage[] = "http://s/index.cgi";
constexpr size_t kServerOffset = sizeof "http://";

size_t ServerOf(const CAutoString& page) {
    return std::strtoul(&page.GetText()[kServerOffset], nullptr, 10);
}

// Moves on as the service does, from one server that fails to the next, until one lives.
uint8_t LivingServer(const std::string& address, const std::string& list, const Situation& situation,
                     size_t servers) {
    CServerCluster cluster;
    cluster.SetKnown(list, "");
    cluster.Reload();
    CAutoString page = kPage;
    while (cluster.MoveToNext(page, false, address) && situation.fails(ServerOf(page), servers)) {
    }
    return static_cast<uint8_t>(ServerOf(page));
}

// The server of each address.
using Choices = std::vector<uint8_t>;

Choices Choose(const std::vector<std::string>& addresses, size_t servers, const Situation& situation) {
    const std::string list = ListOf(servers);
    Choices choices;
    choices.reserve(addresses.size());
    for (const std::string& address : addresses) {
        choices.push_back(LivingServer(address, list, situation, servers));
    }
    return choices;
}

// The clients who are elsewhere than with all servers up, though that one lives.
size_t MovedNeedlessly(const Choices& allUp, const Choices& choices, const Situation& situation,
                       size_t servers) {
    size_t moved = 0;
    for (size_t client = 0; client < choices.size(); ++client) {
        moved += choices[client] != allUp[client] && !situation.fails(allUp[client], servers) ? 1 : 0;
    }
    return moved;
}

// Of the living servers, the share that is farthest from the even one: -100 (no client at all) and more.
double WorstDeviation(const Choices& choices, size_t servers, const Situation& situation) {
    std::vector<double> shares;
    for (size_t server = 0; server < servers; ++server) {
        if (!situation.fails(server, servers)) {
            shares.push_back(static_cast<double>(std::count(choices.begin(), choices.end(), server)));
        }
    }
    const double even = static_cast<double>(choices.size()) / static_cast<double>(shares.size());
    const auto [least, most] = std::minmax_element(shares.begin(), shares.end());
    const double below = (*least / even - 1) * 100;
    const double above = (*most / even - 1) * 100;
    return -below > above ? below : above;
}

void PrintSpread(const char* what, const std::vector<std::string>& addresses) {
    std::printf("%zu %s addresses\n%7s", addresses.size(), what, "servers");
    for (const Situation& situation : kSituations) {
        std::printf(" %10s", situation.what);
    }
    std::printf("\n");
    size_t good[kSituationCount] = {};
    size_t moved = 0;
    for (size_t servers = 1; servers <= kMostServers; ++servers) {
        std::printf("%7zu", servers);
        std::vector<Choices> choices;  // of each situation
        for (size_t i = 0; i < kSituationCount; ++i) {
            choices.push_back(Choose(addresses, servers, kSituations[i]));
            const double deviation = WorstDeviation(choices[i], servers, kSituations[i]);
            std::printf(" %+9.1f%%", deviation);
            good[i] += deviation >= -kGoodDeviation && deviation <= kGoodDeviation ? 1 : 0;
            moved += MovedNeedlessly(choices[0], choices[i], kSituations[i], servers);
        }
        std::printf("\n");
        std::fflush(stdout);
    }
    std::printf("within %.0f%%", kGoodDeviation);
    for (const size_t count : good) {
        std::printf(" %6zu of %zu", count, kMostServers);
    }
    std::printf("\nmoved although their server lives: %zu\n\n", moved);
}

}  // namespace

int main(int argc, char** argv) {
    const size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : kUsualAddresses;
    if (argc > 2 || count == 0 || count >= kCampusHosts) {
        std::fprintf(stderr, "Usage: server-spread [ADDRESSES], 1 to %u\n", kCampusHosts - 1);
        return EXIT_FAILURE;
    }
    PrintSpread("dense", DenseAddresses(count));
    PrintSpread("scattered", ScatteredAddresses(count));
    return EXIT_SUCCESS;
}
