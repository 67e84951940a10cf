#pragma once

#include "AutoString.h"

// Tells by which interface this machine reaches the campus network and which addresses that interface has:
// the portal knows a client by them. Every call asks the system anew; the object holds no state and may be
// used from any thread. Failures are printed, as the lines of a console program, and never logged.
class CAdapterCard {
  public:
    // Interface of the first default route, as the routing tools print it. 0 when the kernel's routing table
    // lists the interface, else -1. Without a default route `name` stays as it was.
    int GetActiveCardName(CAutoString& name);
    // The same for IPv6, except that it returns 0 also when no shell could be started.
    int GetActiveInterfaceNameIPv6(CAutoString& name);

    // Hardware address as "02-51-56-4e-00-02" and IPv4 address in dotted form. 0, or -1 when either is
    // missing. An interface without an IPv4 address still fills `mac`.
    int GetIpAndMac(CAutoString ifname, CAutoString& ip, CAutoString& mac);
    // The last address of the interface by which the IPv6 internet could reach it; link-local, site-local and
    // other special addresses are passed over, and `out` stays as it was when there are no others. Always
    // looks for IPv6, whatever `family` says. Traces every address to standard error. 0 also when none was
    // found; -1 when the addresses cannot be listed.
    int GetIPAddress(int family, const CAutoString& ifname, CAutoString& out);

    // 0, or -1 with `out` as it was.
    int GetHostName(CAutoString& out);

    // Not used by the service.
    // Nothing to prepare: always 0.
    int InitAdapterCard();
    // One field of uname: "sysname", "nodename", "release", "version" or "machine". 0, or -1 with `out` as it
    // was, also for any other field.
    int GetSystemInfo(CAutoString field, CAutoString& out);
    // A dotted IPv4 address as a number in network byte order; 0xffffffff when it is none.
    unsigned long IpString2Ulong(CAutoString text);
};
