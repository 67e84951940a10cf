#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>

#include "ClientOperations.h"
#include "FrontEnd.h"
#include "PortalStory.h"
#include "Sandbox.h"
#include "ServiceProcess.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

using portal_sim::Answer;
using portal_sim::Endpoint;
using portal_sim::Request;
using portal_sim::Scenario;

// The reports that most stories pass.
const StateReport kReady = {INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTED,
                            StateCode::kTicketObtained};
const StateReport kUnknownNetwork = {INetConn::ES_CONNECTING, INetConn::ES_CONNECTED, 0, "", "", "",
                                     INetConn::ET_UNKNOWN};
// A step on the way to a login.
inline StateReport Step(int code) {
    return {INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTING, code};
}
// The state in the message; nothing when it is another message.
std::optional<StateReport> StateIn(const Report& message);

// Waited for whatever takes the service no longer than its own pauses.
constexpr auto kSoon = std::chrono::seconds(20);

// The real service in a folder of its own, with the simulator as its portal and a front end on its FIFOs. A
// story that draws a complaint of the simulator fails; what the service wrote is shown after a failure.
class ServiceTest : public testing::Test {
  protected:
    ServiceTest();
    void SetUp() override;
    void TearDown() override;

    // Before the start: further elements of the settings file.
    void WriteSettings(const std::string& elements);
    void PutModule(const std::string& name, const std::string& module);

    void PortalIs(const std::function<void(Scenario&)>& change) { portal.Change(change); }
    void PortalAnswers(Endpoint endpoint, const Answer& answer, int times = 1);

    // Starts the service and attaches a front end, or gives it an account to log in on the console.
    void StartService();
    void StartServiceWithAccount(const std::string& account, const std::string& password) {
        service = std::make_unique<ServiceProcess>(std::vector<std::string>{account, password});
    }
    void AttachFrontEnd();
    void DetachFrontEnd() { frontEnd.reset(); }

    void FrontEndAsks(const char* operation) { EXPECT_TRUE(frontEnd->Send(operation)); }
    // With a front end that asks for a check of the network, and on to the ticket.
    void StartSession();
    void GetReady();
    void AskForLogin(const std::string& account, const std::string& password) {
        EXPECT_TRUE(frontEnd->Login(account, password));
    }
    void LogIn();
    void AskForLogout(const std::string& reason) { EXPECT_TRUE(frontEnd->Logout(reason)); }
    // A log-out through the statistics, asked for until it takes place. Waits for the baseline first: before
    // it there is nothing to report.
    void LogOut(const std::string& reason);

    // Each waits for the next one that fits, in order of arrival, and passes over what comes before.
    void ExpectReport(const StateReport& report);
    Report ExpectMessage(const char* operation);
    // The `count`-th request to the endpoint; an empty one after a failure.
    Request ExpectRequest(Endpoint endpoint, size_t count = 1);
    void ExpectOutput(const std::string& text);
    void ExpectExit(int status) { EXPECT_EQ(service->WaitForExit(kSoon), status); }
    // All that the service has logged.
    std::string Log() const;

    std::string messageEngine = "waiting";  // or else; counts for the next WriteSettings
    TemporaryFolder folder;
    portal_sim::PortalSim portal;
    const Scenario defaults;  // what the portal is unless a story changes it
    std::unique_ptr<ServiceProcess> service;
    std::unique_ptr<FrontEnd> frontEnd;
};
