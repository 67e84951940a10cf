#pragma once

#include <string>

#include "Scenario.h"

namespace portal_sim {

// Pages and documents that the portal serves. `server` is the "host:port" under which the client reached the
// portal; every address in a document leads back to it.

// The two redirects to `url` that are pages.
std::string MetaRefreshPage(const std::string& url);
std::string ScriptRedirectPage(const std::string& url);
// A page that is none of the portal's.
std::string OrdinaryPage();

// The portal page, with the configuration in its comment. `ticketServer` is the server of its ticket-url.
std::string PortalPage(const Scenario& scenario, const std::string& server, const std::string& ticketServer);

std::string UrlOf(const std::string& server, Endpoint endpoint);

// The answers, before the module encodes them.
std::string TicketDocument(const Scenario& scenario, const std::string& ticket);
std::string LoginDocument(const Scenario& scenario, const std::string& server);
std::string PulseDocument(const Scenario& scenario);
std::string TermDocument();
std::string TerminalsDocument(const Scenario& scenario);

}  // namespace portal_sim
