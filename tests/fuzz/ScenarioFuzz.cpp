// Applies the input's lines to a scenario of the portal simulator; what is not understood changes nothing.
#include "Fuzz.h"
#include "Scenario.h"

using namespace portal_sim;

void Try(std::string_view input) {
    Scenario scenario;
    while (!input.empty()) {
        const std::string line = Take(input);
        std::string fault;
        const size_t answers = scenario.script[Endpoint::Login].size();
        // A module would be read, from a device without end as well.
        const bool isApplied = line.find("module") == std::string::npos && ApplyLine(line, scenario, fault);
        Require(isApplied || scenario.script[Endpoint::Login].size() == answers);
        Require(line.find('"') != std::string::npos ||
                (ApplyLine("\tdomain \"" + line + "\"\r", scenario, fault) && scenario.domain == line));
    }
}
