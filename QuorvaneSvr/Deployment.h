#pragma once

// What differs from one campus to the next. The build overrides each with the CMake option of the same name,
// and a setting goes before it.

// Asked by the network check over IPv4; the portal answers it with a redirect to its own pages. A fixed
// address of the access network.
#ifndef QUORVANE_PROBE_URL
#define QUORVANE_PROBE_URL "http://10.255.255.254/forward.cgi"
#endif

// The same over IPv6: any page outside the campus will do, for the portal redirects it.
#ifndef QUORVANE_PROBE_URL_IPV6
#define QUORVANE_PROBE_URL_IPV6 "http://ipv6.example.com/"
#endif

// The host name that opens and closes the comment with the configuration in the portal's page.
#ifndef QUORVANE_MARKER_HOST
#define QUORVANE_MARKER_HOST "portal.quorvane.example"
#endif
