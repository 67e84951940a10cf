#pragma once

// Elements of the portal's documents that several of them have, or that more than one unit reads.
namespace PortalElement {
inline constexpr char kResponse[] = "response";  // root of every answer

// Of the requests.
inline constexpr char kUserAgent[] = "user-agent";
inline constexpr char kClientId[] = "client-id";
inline constexpr char kTicket[] = "ticket";  // also of the answer to a ticket request
inline constexpr char kIPv4[] = "ipv4";
inline constexpr char kIPv6[] = "ipv6";
inline constexpr char kMac[] = "mac";
inline constexpr char kLocalTime[] = "local-time";

// Of the configuration and of the answers to a login and a state check.
inline constexpr char kUserConfig[] = "user-config";      // how to find forbidden sharing
inline constexpr char kDomainConfig[] = "domain-config";  // the DNS servers to push
}  // namespace PortalElement
