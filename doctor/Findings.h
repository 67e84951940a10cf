#pragma once

#include <iterator>

#include "Doctor.h"

// Everything that the doctor can find. Each row has a heading in docs/troubles.md, its words as they stand
// here.
// clang-format off
enum class Finding {
    kNone,
    kNoDefaultRoute, kRouteWithoutGateway, kRouteNotUnderstood, kNoRouteProgram, kSeveralRoutes,
    kNoLink, kNoAddress, kSelfAssignedAddress,
    kNoProbeAddress, kProbeOverTls,
    kNotResolved, kNotReached, kNoAnswer, kRefusedByStatus, kEndlessRedirect, kOddRedirect, kAnswerTooLarge,
    kBrokenAnswer,
    kNoMarker, kOtherMarker, kMarkerNotClosed, kForeignPage,
    kConfigUnreadable, kNoTicketAddress, kNoLoginAddress, kNoPasswordLogin,
    kNoModule, kModuleDamaged, kModuleNotLoaded, kModuleNotEncoding, kModuleCrashed, kModuleHangs,
    kNoFolder, kUnreadable, kReadOnly, kNotExecutable, kFull, kNotWritable, kOpenToAll,
    kNoSettings, kSettingsBroken, kNoVersion, kSettingsFixed,
    kResolverManaged, kNoResolver, kNoNameServer,
    kNoService, kForeignProcess, kSeveralServices, kOtherService,
    kNoFifo, kFifoMissing, kFifoClosed, kSeveralFrontEnds,
    kNoAgent, kAgentUnreadable, kAgentElsewhere, kRefusedLogin, kAgentAlone, kLoginFailed, kNoAccount, kNotWanted,
    kClockOff, kClockBehind,
    kNotEnded,
};

struct FindingRow {
    Finding finding;
    CheckResult result;
    const char* what;    // what is wrong, before the values
    const char* remedy;  // what to do, behind "what: values; "
};

inline constexpr FindingRow kFindings[] = {
    {Finding::kNone, CheckResult::kGood, "", ""},

    {Finding::kNoDefaultRoute, CheckResult::kFault, "there is no default route",
     "connect the machine to the campus network and see that it gets an address and a gateway"},
    {Finding::kRouteWithoutGateway, CheckResult::kFault, "the default route has no gateway",
     "name the peer as its gateway: ip route replace default via PEER dev NAME onlink"},
    {Finding::kRouteNotUnderstood, CheckResult::kFault, "the service does not understand the default route",
     "give the machine a plain one: ip route replace default via GATEWAY dev NAME"},
    {Finding::kNoRouteProgram, CheckResult::kFault, "the program ip is missing",
     "install iproute2, the service asks it for the default route"},
    {Finding::kSeveralRoutes, CheckResult::kWarning, "there are several default routes",
     "when the first is not the campus network's, raise its metric or take it away"},

    {Finding::kNoLink, CheckResult::kFault, "the adapter has no link",
     "plug in the cable or join the wireless network"},
    {Finding::kNoAddress, CheckResult::kFault, "the adapter has no address",
     "see that the DHCP client runs on it, or set the address that the campus gave you"},
    {Finding::kSelfAssignedAddress, CheckResult::kWarning, "the adapter gave itself an address",
     "see why no DHCP server answers"},

    {Finding::kNoProbeAddress, CheckResult::kFault, "the probe address is none",
     "correct it in conf/conf.xml, or take it out to use the built-in one, and restart the service"},
    {Finding::kProbeOverTls, CheckResult::kWarning, "the probe address is not plain http",
     "use one that begins with http://, for a portal answers no other in another's place"},

    {Finding::kNotResolved, CheckResult::kFault, "a name of the chain is not resolved",
     "see that a name server of /etc/resolv.conf answers"},
    {Finding::kNotReached, CheckResult::kFault, "a server of the chain is not reached",
     "see that the machine is on the campus network, and ask its operator when it is"},
    {Finding::kNoAnswer, CheckResult::kFault, "a server of the chain does not answer in time",
     "see that the machine is on the campus network, and ask its operator when it is"},
    {Finding::kRefusedByStatus, CheckResult::kFault, "a server of the chain answers with an error",
     "ask the operator of the portal"},
    {Finding::kEndlessRedirect, CheckResult::kFault, "the chain does not end",
     "ask the operator of the portal"},
    {Finding::kOddRedirect, CheckResult::kFault, "a redirect is none that the service follows",
     "ask the operator of the portal for a 302 with an absolute address"},
    {Finding::kAnswerTooLarge, CheckResult::kFault, "an answer of the chain is too large",
     "see whether the probe address is right, a portal's page is small"},
    {Finding::kBrokenAnswer, CheckResult::kFault, "an answer of the chain breaks off",
     "try again, and ask the operator of the portal when it stays so"},

    {Finding::kNoMarker, CheckResult::kFault, "the portal's page holds no configuration",
     "ask the operator of the portal, or look whether another program of the campus is wanted"},
    {Finding::kOtherMarker, CheckResult::kFault, "the page's marker has another name",
     "set markerHost in the settings to the name that the page has"},
    {Finding::kMarkerNotClosed, CheckResult::kFault, "the configuration in the page has no end",
     "ask the operator of the portal"},
    {Finding::kForeignPage, CheckResult::kWarning, "the chain leads to a page of another network",
     "see that the machine is on the campus network; elsewhere log in with a browser"},

    {Finding::kConfigUnreadable, CheckResult::kFault, "the portal's configuration cannot be read",
     "ask the operator of the portal"},
    {Finding::kNoTicketAddress, CheckResult::kFault, "the portal's configuration names no address for tickets",
     "ask the operator of the portal"},
    {Finding::kNoLoginAddress, CheckResult::kFault, "the portal's configuration names no address for logins",
     "ask the operator of the portal"},
    {Finding::kNoPasswordLogin, CheckResult::kWarning, "the portal offers no login by account and password",
     "ask the operator of the portal for another way to log in when it refuses the account"},

    {Finding::kNoModule, CheckResult::kWarning, "there is no algorithm module yet",
     "put zxmAlogic.zxm into the folder when the portal does not send it at the first login"},
    {Finding::kModuleDamaged, CheckResult::kFault, "the algorithm module's container is damaged",
     "replace zxmAlogic.zxm by the operator's, or remove it to get a new one from the portal"},
    {Finding::kModuleNotLoaded, CheckResult::kFault, "the algorithm module does not open",
     "replace zxmAlogic.zxm by one for this kind of machine"},
    {Finding::kModuleNotEncoding, CheckResult::kFault, "the algorithm module does not encode",
     "replace zxmAlogic.zxm by the operator's, or remove it to get a new one from the portal"},
    {Finding::kModuleCrashed, CheckResult::kFault, "the algorithm module crashes",
     "remove zxmAlogic.zxm to get a new one from the portal, for the service crashes with it"},
    {Finding::kModuleHangs, CheckResult::kFault, "the algorithm module hangs",
     "remove zxmAlogic.zxm to get a new one from the portal, for the service hangs with it"},

    {Finding::kNoFolder, CheckResult::kFault, "there is no such folder",
     "name the working folder of the service with --dir"},
    {Finding::kUnreadable, CheckResult::kWarning, "something in the folder may not be read by you",
     "run the command as the user of the service, or as root, to see everything"},
    {Finding::kReadOnly, CheckResult::kFault, "the folder is on a read-only file system",
     "mount it writable or give the service another folder"},
    {Finding::kNotExecutable, CheckResult::kFault, "the folder's file system allows no programs (noexec)",
     "mount it without noexec or give the service another folder, for the algorithm module is loaded there"},
    {Finding::kFull, CheckResult::kFault, "the folder's file system is full", "make room on it"},
    {Finding::kNotWritable, CheckResult::kFault, "the service may not write its folder",
     "give the folder to the user of the service"},
    {Finding::kOpenToAll, CheckResult::kWarning, "everybody may write the folder",
     "take that right away (chmod o-w), for the service runs the algorithm module that lies there"},

    {Finding::kNoSettings, CheckResult::kFault, "there is no settings file",
     "put the installed share/quorvane/conf.xml there as conf/conf.xml and restart the service"},
    {Finding::kSettingsBroken, CheckResult::kFault, "the settings file is broken",
     "restart the service, which then puts it aside and begins with the installed settings"},
    {Finding::kNoVersion, CheckResult::kWarning, "the settings name no version",
     "set version in conf/conf.xml as the operator of the portal says and restart the service"},
    {Finding::kSettingsFixed, CheckResult::kWarning, "the service may not write its settings file",
     "give conf and conf/conf.xml to the user of the service"},

    {Finding::kResolverManaged, CheckResult::kWarning,
     "the resolver file is another program's, which can undo the portal's name servers",
     "keep that program away from the adapter, or give the portal's servers to it"},
    {Finding::kNoResolver, CheckResult::kWarning, "the resolver file cannot be read",
     "see that /etc/resolv.conf leads to a file"},
    {Finding::kNoNameServer, CheckResult::kWarning, "the resolver file names no server",
     "add a line nameserver ADDRESS to /etc/resolv.conf, or start the program that does so"},

    {Finding::kNoService, CheckResult::kFault, "no service runs in the folder",
     "start it: systemctl start quorvane, or QuorvaneSvr in the folder"},
    {Finding::kForeignProcess, CheckResult::kFault, "the recorded process id is another program's",
     "take PID out of conf/conf.xml and start the service, which does not start before"},
    {Finding::kSeveralServices, CheckResult::kFault, "several services run in the folder",
     "end all of them and start one"},
    {Finding::kOtherService, CheckResult::kWarning, "another service runs in another folder",
     "end one of them, or they log each other out"},

    {Finding::kNoFifo, CheckResult::kFault, "a file stands in the place of a FIFO",
     "move it away and restart the service and the agent"},
    {Finding::kFifoMissing, CheckResult::kFault, "the service runs without its FIFO",
     "restart the service"},
    {Finding::kFifoClosed, CheckResult::kFault, "the service may not open a FIFO",
     "remove it and restart the agent, under a user whom the service can read"},
    {Finding::kSeveralFrontEnds, CheckResult::kWarning, "several front ends read from the service",
     "end all but one, for they take each other's reports"},

    {Finding::kNoAgent, CheckResult::kWarning, "no agent answers",
     "start it, systemctl start quorvane-agent, or log in with pipe-client"},
    {Finding::kAgentUnreadable, CheckResult::kWarning, "the agent's answer cannot be read",
     "see that agent and command are of the same version, and restart the agent"},
    {Finding::kAgentElsewhere, CheckResult::kWarning, "the agent serves another folder",
     "name that folder with --dir, or start an agent for this one"},
    {Finding::kRefusedLogin, CheckResult::kFault, "the portal refused the login",
     "correct account and password: quorvane-ctl account set"},
    {Finding::kAgentAlone, CheckResult::kFault, "the agent has no service",
     "start the service, or end another front end that holds the FIFOs"},
    {Finding::kLoginFailed, CheckResult::kFault, "the agent cannot log in",
     "mend what is named here first, else look the code up in docs/codes.md"},
    {Finding::kNoAccount, CheckResult::kWarning, "the agent has no account",
     "give it one: quorvane-ctl account set"},
    {Finding::kNotWanted, CheckResult::kWarning, "nobody wants to be logged in",
     "log in: quorvane-ctl login"},

    {Finding::kClockOff, CheckResult::kWarning, "the clock and the portal's differ",
     "set the clock: timedatectl set-ntp true"},
    {Finding::kClockBehind, CheckResult::kWarning, "the clock shows a time before this program was built",
     "set the clock: timedatectl set-ntp true"},

    {Finding::kNotEnded, CheckResult::kWarning, "the look at it did not come to an end",
     "try again, and look at this place by hand when it stays so"},
};
// clang-format on

constexpr bool AreFindingsInOrder() {
    for (size_t i = 0; i < std::size(kFindings); ++i) {
        if (kFindings[i].finding != static_cast<Finding>(i)) {
            return false;
        }
    }
    return std::size(kFindings) == static_cast<size_t>(Finding::kNotEnded) + 1;
}
static_assert(AreFindingsInOrder(), "one row for each finding, at the place of its number");

inline const FindingRow& RowOf(Finding finding) {
    return kFindings[static_cast<size_t>(finding)];
}
