#pragma once

// What a request of the discovery says of this client, and what tells the portal's own page. Also for whoever
// walks the chain beside the service and wants to be answered as it is.

inline constexpr char kProbeHead[] =
    "Connection:close\r\nUser-Agent:%s\r\n"
    "Accept:text/html,text/xml,application/xhtml+xml,application/x-javascript,*/*";

// With the version of the settings.
inline constexpr char kUserAgentIPv4[] = "RAVO/Linux64/%s";
inline constexpr char kUserAgentIPv6[] = "RAVO/LinuxIpv664/%s";

// The portal's own page, as opposed to the pages that lead to it. Only this one is moved to another server.
inline constexpr char kPortalPage[] = "index.cgi";
