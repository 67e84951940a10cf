#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "AutoString.h"
#include "ChainWalk.h"
#include "Findings.h"
#include "Processes.h"

// What a check has to say. Texts may hold anything that the network, the folder or the agent said.
struct Verdict {
    CheckResult result = CheckResult::kGood;
    std::string text;
    Finding finding = Finding::kNone;
};

Verdict Good(std::string text);
// A finding with the result of its row; `values` follow its words.
Verdict Found(Finding finding, const std::string& values);
Verdict Skipped(const std::string& reason);
// The same finding as a warning, where something else shows that it does no harm at the moment.
Verdict AsWarning(Verdict verdict);

// What the agent said of itself. Empty texts where it said nothing.
struct AgentStatus {
    std::string state;
    std::string folder;
    std::string lastText;
    std::string lastSubCode;
    int lastCode = 0;
    bool hasLast = false;
    bool hasAccount = false;
    bool isWanted = false;
};

// One look at everything, within the child process that works in the copy. What one check learns and a later
// one needs stands here.
struct Examination {
    // Fills in what needs no check: copies the files, reads the settings, finds the services, reads the
    // agent's answer. `copy` is the path of the temporary folder, empty when there is none.
    Examination(const DoctorOptions& options, const std::string& copy);

    // Whether a login stands, as the agent knows.
    bool IsOnline() const;
    // Whether the network needs no login, as the agent knows.
    bool IsOpenNetwork() const;
    std::string InFolder(const char* name) const { return folder + "/" + name; }
    // The services of the folder, by where they work or, where that may not be seen, by the recorded id.
    std::vector<RunningService> OwnServices() const;
    // Who has to read and write the folder: the service that runs, else the folder's owner.
    uid_t ServiceUser() const;

    // Among the failures below: there is no folder to copy to.
    static constexpr int kNoCopy = -1;

    std::string folder;  // absolute
    std::string copy;
    int folderFailure = 0;          // errno of looking at the folder
    int settingsFailure = 0;        // errno of copying conf/conf.xml, or kNoCopy
    int moduleFailure = 0;          // errno of copying zxmAlogic.zxm, or kNoCopy
    struct stat moduleStatus = {};  // of the original
    uid_t folderOwner = 0;
    unsigned folderMode = 0;

    bool areSettingsWhole = false;  // a document
    std::string settingsFault;      // why not
    CAutoString version;
    CAutoString recordedPid;
    CAutoString probeIPv4;
    CAutoString probeIPv6;
    CAutoString markerHost;
    CAutoString servers;
    CAutoString serversIPv6;

    std::vector<RunningService> services;
    bool isAgentThere = false;
    std::optional<AgentStatus> agent;  // none when its answer cannot be read

    CAutoString adapter;  // found by the route
    bool isIPv6 = false;  // found by the adapter
    CAutoString address;
    CAutoString probe;  // the address that is asked
    Chain chain;
    CAutoString configuration;  // cut out of the page; empty on a network without a portal
};

// The checks, each in the file that is named after its topic.
Verdict LookAtRoute(Examination& examination);
Verdict LookAtAdapter(Examination& examination);
Verdict LookAtProbe(Examination& examination);
Verdict LookAtHops(Examination& examination);
Verdict LookAtMarker(Examination& examination);
Verdict LookAtConfiguration(Examination& examination);
Verdict LookAtModule(Examination& examination);
Verdict LookAtFolder(Examination& examination);
Verdict LookAtSettings(Examination& examination);
Verdict LookAtResolver(Examination& examination);
Verdict LookAtProcess(Examination& examination);
Verdict LookAtFifos(Examination& examination);
Verdict LookAtAgent(Examination& examination);
Verdict LookAtClock(Examination& examination);
