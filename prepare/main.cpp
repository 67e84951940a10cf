// Makes the current folder ready for the service: settings when there are none, what the configuration files
// set, and nothing that belongs to an earlier run or to another machine.
#include <getopt.h>

#include <cstdio>
#include <string>

#include "ConfigFiles.h"
#include "InstalledPlaces.h"
#include "MachineFingerprint.h"
#include "WorkingSettings.h"

namespace {

constexpr int kPrepared = 0;
constexpr int kNotPrepared = 1;
constexpr int kWrongUsage = 2;

constexpr char kVersion[] = "prepare " QUORVANE_VERSION "\n";
constexpr char kUsage[] =
    "usage: prepare [--config FOLDER]\n"
    "\n"
    "Makes the current folder ready for QuorvaneSvr: creates or mends its settings, conf/conf.xml, and\n"
    "merges into them what quorvane.conf and conf.d/*.conf of the configuration folder set.\n"
    "\n"
    "  --config FOLDER  the configuration folder, instead of the installed one:\n"
    "                   %s\n"
    "  --help           show this text\n"
    "  --version        show the version\n";

constexpr option kOptions[] = {
    {"config", required_argument, nullptr, 'c'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {nullptr, 0, nullptr, 0},
};

void ShowUsage(FILE* stream) {
    (void)fprintf(stream, kUsage, InstalledPlaces::ConfigFolder().c_str());
}

int Prepare(const std::string& configFolder) {
    WorkingSettings settings;
    if (!settings.Open(InstalledPlaces::DefaultSettings().c_str())) {
        return kNotPrepared;
    }
    settings.ForgetEndedProcess();
    settings.ForgetOtherMachine(MachineFingerprint());
    settings.Merge(ReadConfigFiles(configFolder));
    return settings.Save() ? kPrepared : kNotPrepared;
}

}  // namespace

int main(int argc, char** argv) {
    std::string configFolder = InstalledPlaces::ConfigFolder();
    for (int chosen = 0; (chosen = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (chosen) {
            case 'c': configFolder = optarg; break;
            case 'h': ShowUsage(stdout); return kPrepared;
            case 'v': (void)fputs(kVersion, stdout); return kPrepared;
            default: ShowUsage(stderr); return kWrongUsage;
        }
    }
    if (optind != argc) {
        ShowUsage(stderr);
        return kWrongUsage;
    }
    return Prepare(configFolder);
}
