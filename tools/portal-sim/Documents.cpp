#include "Documents.h"

#include <pugixml.hpp>
#include <sstream>

#include "Deployment.h"

namespace portal_sim {
namespace {

void AddText(pugi::xml_node parent, const char* name, const std::string& text) {
    parent.append_child(name).text().set(text.c_str());
}

void AddNumber(pugi::xml_node parent, const char* name, unsigned number) {
    parent.append_child(name).text().set(number);
}

// Empty elements keep both tags: a client finds its terminals by the text "<response>".
std::string TextOf(const pugi::xml_document& document) {
    std::ostringstream text;
    document.save(text, "", pugi::format_raw | pugi::format_no_empty_element_tags, pugi::encoding_utf8);
    return text.str();
}

// A new document with the declaration and the given root.
pugi::xml_node AddRoot(pugi::xml_document& document, const char* name) {
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    return document.append_child(name);
}

void AddUserConfig(pugi::xml_node parent, const Scenario& scenario) {
    pugi::xml_node userConfig = parent.append_child("user-config");
    AddNumber(userConfig, "against-interval", scenario.sharingSeconds);
    AddNumber(userConfig, "logout-delay", scenario.sharingLogoutSeconds);
    pugi::xml_node against = userConfig.append_child("against");
    for (const auto& [name, shown] : scenario.forbiddenProcesses) {
        pugi::xml_node process = against.append_child("process");
        process.append_attribute("displayname") = shown.c_str();
        process.text().set(name.c_str());
    }
    AddNumber(against.append_child("shared"), "ipforward", scenario.forbidForwarding ? 1 : 0);
}

void AddNotices(pugi::xml_node config, const Scenario& scenario) {
    pugi::xml_node notify = config.append_child("notify");
    for (const std::string& notice : scenario.registerNotices) {
        AddText(notify, "register", notice);
    }
    for (const std::string& notice : scenario.optionNotices) {
        AddText(notify, "option", notice);
    }
}

void AddLoginTypes(pugi::xml_node config, const Scenario& scenario) {
    for (const LoginType& loginType : scenario.loginTypes) {
        pugi::xml_node auth = config.append_child("auth");
        AddText(auth, "type", loginType.type);
        if (loginType.isDefault) {
            AddText(auth, "default", "yes");
        }
    }
}

void AddStatistics(pugi::xml_node config, const Scenario& scenario, const std::string& server) {
    pugi::xml_node entry = config.append_child("FunCfg").append_child("StatsInfor");
    entry.append_attribute("enable") = scenario.statisticsInterval > 0 ? 1 : 0;
    entry.append_attribute("interval") = scenario.statisticsInterval;
    entry.append_attribute("url") = UrlOf(server, Endpoint::Statistics).c_str();
}

std::string ConfigDocument(const Scenario& scenario, const std::string& server,
                           const std::string& ticketServer) {
    pugi::xml_document document;
    pugi::xml_node config = AddRoot(document, "config");
    AddText(config, "ticket-url", UrlOf(ticketServer, Endpoint::Ticket));
    AddText(config, "query-url", UrlOf(server, Endpoint::Query));
    AddText(config, "auth-url", UrlOf(server, Endpoint::Login));
    AddText(config, "state-url", UrlOf(server, Endpoint::State));
    AddNumber(config, "state-interval", scenario.stateInterval);
    AddNotices(config, scenario);
    pugi::xml_node modify = config.append_child("account").append_child("modify");
    AddText(modify, "type", scenario.accountType);
    AddText(modify, "value", scenario.accountValue);
    AddLoginTypes(config, scenario);
    if (!scenario.servers.empty()) {
        config.append_child("server-clusters").append_attribute("servers") = scenario.servers.c_str();
    }
    AddUserConfig(config, scenario);
    AddStatistics(config, scenario, server);
    return TextOf(document);
}

}  // namespace

std::string UrlOf(const std::string& server, Endpoint endpoint) {
    return "http://" + server + RowOf(endpoint).path;
}

std::string MetaRefreshPage(const std::string& url) {
    return "<html><head><meta http-equiv=\"refresh\" content=\"0;url=" + url + "\"></head></html>";
}

std::string ScriptRedirectPage(const std::string& url) {
    return "<html><head><script>location.href=\"" + url + "\"</script></head></html>";
}

std::string OrdinaryPage() {
    return "<html><head><title>Welcome</title></head><body>An ordinary page</body></html>";
}

std::string PortalPage(const Scenario& scenario, const std::string& server, const std::string& ticketServer) {
    const std::string host = scenario.markerHost.empty() ? QUORVANE_MARKER_HOST : scenario.markerHost;
    return "<html><head><title>Log in</title></head><body>\n<!--//" + host +
           ConfigDocument(scenario, server, ticketServer) + "//" + host + "-->\n</body></html>";
}

std::string TicketDocument(const Scenario& scenario, const std::string& ticket) {
    pugi::xml_document document;
    pugi::xml_node response = AddRoot(document, "response");
    AddText(response, "ticket", ticket);
    AddNumber(response, "expire", scenario.ticketSeconds);
    return TextOf(document);
}

std::string LoginDocument(const Scenario& scenario, const std::string& server) {
    pugi::xml_document document;
    pugi::xml_node response = AddRoot(document, "response");
    AddText(response, "userid", scenario.account);
    AddNumber(response, "keep-retry", scenario.pulseRetries);
    AddText(response, "keep-url", UrlOf(server, Endpoint::Pulse));
    AddText(response, "term-url", UrlOf(server, Endpoint::Term));
    AddUserConfig(response, scenario);
    if (!scenario.dns1.empty() || !scenario.dns2.empty()) {
        pugi::xml_node domainConfig = response.append_child("domain-config");
        AddText(domainConfig, "dns1", scenario.dns1);
        AddText(domainConfig, "dns2", scenario.dns2);
    }
    return TextOf(document);
}

std::string PulseDocument(const Scenario& scenario) {
    pugi::xml_document document;
    pugi::xml_node response = AddRoot(document, "response");
    AddNumber(response, "interval", scenario.pulseSeconds);
    AddNumber(response, "level", scenario.pulseLevel);
    return TextOf(document);
}

std::string TermDocument() {
    pugi::xml_document document;
    AddRoot(document, "response");
    return TextOf(document);
}

std::string TerminalsDocument(const Scenario& scenario) {
    pugi::xml_document document;
    pugi::xml_node response = AddRoot(document, "response");
    for (const Terminal& terminal : scenario.terminals) {
        pugi::xml_node row = response.append_child("terminal");
        AddText(row, "host", terminal.host);
        AddText(row, "ticket", terminal.ticket);
    }
    return TextOf(document);
}

}  // namespace portal_sim
