#pragma once

// Keys of the settings, and of values of the run, that more than one unit or the program itself uses. Others
// fill a field of a connection's record and are named in the rows of RecordSettings.h.
namespace SettingsKey {
inline constexpr char kProcessId[] = "PID";
// The identity of this client; under the same keys also values of the run.
inline constexpr char kClientId[] = "clientId";
inline constexpr char kHostName[] = "hostName";
inline constexpr char kVersion[] = "version";
// How the message engines take their messages.
inline constexpr char kMessageEngine[] = "messageEngine";
// What a start begins with. The first three stand for values of Deployment.h.
inline constexpr char kProbeUrl[] = "redirect";
inline constexpr char kProbeUrlIPv6[] = "redirectipv6";
inline constexpr char kMarkerHost[] = "markerHost";
inline constexpr char kDisasterMarker[] = "disasterUrl";
inline constexpr char kConnected[] = "connState";
// The ticket, also a value that front ends are told.
inline constexpr char kTicket[] = "ticket";
// Saved for whoever reads the file: a start asks the portal for it.
inline constexpr char kTicketUrl[] = "tickUrl";
// For those whom the portal's pulse interval does not suit.
inline constexpr char kPulseInterval[] = "plusInterval";
inline constexpr char kPulseFlag[] = "plusFlag";
// The portal's server lists.
inline constexpr char kServers[] = "serverCluster";
inline constexpr char kServersIPv6[] = "serverCluster6";
// Not the service's, which only keeps them: what prepare/ has to know at the next start.
inline constexpr char kMachine[] = "machine";
inline constexpr char kReplaced[] = "replaced";
}  // namespace SettingsKey

// Values of kMessageEngine. Only the first one means something, any other is as good as the second.
namespace MessageEngine {
inline constexpr char kWaiting[] = "waiting";
inline constexpr char kPolling[] = "polling";
}  // namespace MessageEngine
