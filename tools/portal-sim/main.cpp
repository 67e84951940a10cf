// The portal as a program: serves until it is interrupted, prints a line per request, and takes scenario
// lines from the command line, from a file and, while it runs, from standard input.
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>

#include "PortalSim.h"

namespace {

constexpr char kUsage[] =
    "Usage: portal-sim [--listen HOST:PORT] [--scenario FILE] [--set LINE]...\n"
    "Plays the campus portal. LINE is one line of a scenario file, such as \"account 13800000001 secret\".\n"
    "More lines may be typed while it runs. Without --listen it serves on 127.0.0.1:8080.\n";

constexpr int kHighestPort = 65535;

struct Options {
    std::string host = "127.0.0.1";
    int port = 8080;
    portal_sim::Scenario scenario;
};

[[noreturn]] void Fail(const std::string& message) {
    std::cerr << "portal-sim: " << message << "\n";
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void RefuseUsage(const std::string& message) {
    std::cerr << "portal-sim: " << message << "\n" << kUsage;
    std::exit(EXIT_FAILURE);
}

// `origin` tells where the line stands.
void ApplyOrFail(const std::string& line, const std::string& origin, Options& options) {
    std::string fault;
    if (!portal_sim::ApplyLine(line, options.scenario, fault)) {
        Fail(origin + ": " + fault);
    }
}

void ReadScenarioFile(const std::string& path, Options& options) {
    std::ifstream file(path);
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ApplyOrFail(line, path + ":" + std::to_string(++number), options);
    }
    if (!file.is_open() || file.bad()) {  // a folder can be opened, but not read
        Fail(path + ": the scenario file cannot be read");
    }
}

// HOST:PORT; an IPv6 address may stand in brackets.
void ReadListenAddress(const std::string& text, Options& options) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || text.find("[]") == 0) {
        RefuseUsage("--listen needs HOST:PORT, not " + text);
    }
    options.host = text.substr(0, colon);
    if (options.host.front() == '[' && options.host.back() == ']') {
        options.host = options.host.substr(1, options.host.size() - 2);
    }
    const char* end = text.c_str() + text.size();
    const auto [next, error] = std::from_chars(text.c_str() + colon + 1, end, options.port);
    if (error != std::errc() || next != end || options.port < 0 || options.port > kHighestPort) {
        RefuseUsage("the port is one of 0 (any that is free) to " + std::to_string(kHighestPort) + ", not " +
                    text.substr(colon + 1));
    }
}

Options ReadOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--help") {
            std::cout << kUsage;
            std::exit(EXIT_SUCCESS);
        }
        if (i + 1 == argc) {
            RefuseUsage(flag + " is not known or needs a value");
        }
        const std::string value = argv[++i];
        if (flag == "--listen") {
            ReadListenAddress(value, options);
        } else if (flag == "--scenario") {
            ReadScenarioFile(value, options);
        } else if (flag == "--set") {
            ApplyOrFail(value, flag, options);
        } else {
            RefuseUsage(flag + " is not known");
        }
    }
    return options;
}

// Lines typed while the portal serves; ends with the input.
void FollowInput(portal_sim::PortalSim& sim) {
    for (std::string line; std::getline(std::cin, line);) {
        std::string fault;
        sim.Change([&](portal_sim::Scenario& scenario) {
            if (!portal_sim::ApplyLine(line, scenario, fault)) {
                std::cerr << fault << std::endl;
            }
        });
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = ReadOptions(argc, argv);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);  // before any thread exists, so that only sigwait sees them

    portal_sim::PortalSim sim(options.scenario,
                              [](const std::string& line) { std::cout << line << std::endl; });
    if (!sim.Start(options.host, options.port)) {
        Fail(options.host + ":" + std::to_string(options.port) +
             " cannot be served on: the port is taken, or the host is none of this machine");
    }
    std::cout << "probe address: " << sim.ProbeUrl() << std::endl;
    // Left to itself at the end: a read from a terminal cannot be called off.
    std::thread([&sim] { FollowInput(sim); }).detach();
    int signal = 0;
    sigwait(&ending, &signal);
    sim.Stop();
    std::cout.flush();
    std::_Exit(EXIT_SUCCESS);  // the input thread may still hold `sim`
}
