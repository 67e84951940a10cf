// The portal as a program: serves until it is interrupted, prints a line per request, and takes scenario
// lines from the command line, from a file and, while it runs, from standard input.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include "PortalSim.h"

namespace {

constexpr char kUsage[] =
    "Usage: portal-sim [--listen HOST:PORT] [--scenario FILE] [--set LINE]...\n"
    "Plays the campus portal. LINE is one line of a scenario file, such as \"account 13800000001 secret\".\n"
    "More lines may be typed while it runs. Without --listen it serves on 127.0.0.1:8080.\n";

struct Options {
    std::string host = "127.0.0.1";
    int port = 8080;
    portal_sim::Scenario scenario;
};

[[noreturn]] void Fail(const std::string& message) {
    std::cerr << "portal-sim: " << message << "\n" << kUsage;
    std::exit(EXIT_FAILURE);
}

void ApplyOrFail(const std::string& line, Options& options) {
    std::string fault;
    if (!portal_sim::ApplyLine(line, options.scenario, fault)) {
        Fail(fault);
    }
}

void ReadScenarioFile(const std::string& path, Options& options) {
    std::ifstream file(path);
    if (!file) {
        Fail("the scenario file " + path + " cannot be read");
    }
    for (std::string line; std::getline(file, line);) {
        ApplyOrFail(line, options);
    }
}

void ReadListenAddress(const std::string& text, Options& options) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        Fail("--listen needs HOST:PORT");
    }
    options.host = text.substr(0, colon);
    options.port = std::atoi(text.c_str() + colon + 1);
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
            Fail(flag + " is not known or needs a value");
        }
        const std::string value = argv[++i];
        if (flag == "--listen") {
            ReadListenAddress(value, options);
        } else if (flag == "--scenario") {
            ReadScenarioFile(value, options);
        } else if (flag == "--set") {
            ApplyOrFail(value, options);
        } else {
            Fail(flag + " is not known");
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
        Fail(options.host + ":" + std::to_string(options.port) + " cannot be served on");
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
