#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ServiceFixture.h"
#include "SocketClient.h"

// The real service with the real agent as its front end. The portal answers on loopback, or at the other end
// of the sandbox's link when a story takes the link away.
class AgentTest : public ServiceTest {
  protected:
    void TearDown() override;

    void WriteAccount(const std::string& account, const std::string& password);
    // From now on the portal is the neighbour at the other end of the link.
    void PortalMovesToTheLink();
    void StartAgent(std::vector<std::string> arguments = {});
    // Service, account and agent, on to the login.
    void GoOnline();

    // One request on a connection of its own.
    JsonOwner Ask(const std::string& request);
    // The present `state`; empty without an agent.
    std::string State();
    void ExpectState(const std::string& state, std::chrono::milliseconds deadline = kSoon);
    void ExpectPulses(size_t count);
    size_t Count(Endpoint endpoint) const { return portal.Requests(endpoint).size(); }

    std::unique_ptr<ServiceProcess> agent;
};
