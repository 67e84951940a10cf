// Applies each of the input's lines to a scenario of the portal simulator; one that is not understood changes
// nothing.
#include "Fuzz.h"
#include "Scenario.h"

using namespace portal_sim;

void Try(std::string_view input) {
    while (!input.empty()) {
        const std::string line = Take(input);
        std::string fault;
        // In a fresh scenario every change is one of its own bytes: it has short texts and no answers.
        Scenario scenario;
        const std::string_view bytes(reinterpret_cast<const char*>(&scenario), sizeof scenario);
        const std::string before(bytes);
        // A module would be read, from a device without end as well.
        const bool isApplied = line.find("module") == std::string::npos && ApplyLine(line, scenario, fault);
        Require(isApplied || bytes == before);
        Require(line.find('"') != std::string::npos ||
                (ApplyLine("\tdomain \"" + line + "\"\r", scenario, fault) && scenario.domain == line));
    }
}
