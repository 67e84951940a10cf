// Front ends that come and go, and what they ask for besides the login.
#include <fstream>

#include "ServiceFixture.h"

using testing::HasSubstr;
using testing::Not;

namespace {

class Link : public ServiceTest {};

const StateReport kPresentState = {INetConn::ES_NONE, INetConn::ES_PRECONNECTED, StateCode::kTicketObtained};

}  // namespace

TEST_F(Link, SecondStartTellsThePresentState) {
    LogIn();
    FrontEndAsks(ClientOperation::kStart);
    ExpectReport(kPresentState);
    ExpectReport(kConnected);
}

TEST_F(Link, SecondStartBeforeTheLoginChecksTheNetworkAnew) {
    portal.Stop();
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kDiscoveryFailed));
    ASSERT_TRUE(portal.Start("127.0.0.1", portal.Port()));
    FrontEndAsks(ClientOperation::kStart);
    ExpectReport(Step(StateCode::kCheckStarted));
    ExpectReport(kReady);
}

TEST_F(Link, LoginSurvivesAFrontEndThatDiesAndReturns) {
    PortalIs([](Scenario& scenario) { scenario.pulseSeconds = 1; });
    LogIn();
    DetachFrontEnd();
    // Reported to nobody: the write fails and the service goes on.
    const size_t states = portal.Requests(Endpoint::State).size();
    PortalAnswers(Endpoint::Pulse, Answer::Error(PortalError::kLoginEnded));
    ExpectRequest(Endpoint::State, states + 1);
    ExpectRequest(Endpoint::Pulse, portal.Requests(Endpoint::Pulse).size() + 2);
    AttachFrontEnd();
    FrontEndAsks(ClientOperation::kStart);
    ExpectReport(kPresentState);
    ExpectReport(kConnected);
}

TEST_F(Link, SecondInstanceIsRefused) {
    GetReady();
    ServiceProcess second;
    EXPECT_EQ(second.WaitForExit(kSoon), 255);
    EXPECT_EQ(second.Output(), "");
    EXPECT_TRUE(service->Runs());
}

TEST_F(Link, StaleProcessIdDoesNotKeepTheServiceOut) {
    WriteSettings("<PID>999999999</PID>");
    GetReady();
    EXPECT_THAT(folder.Read("conf/conf.xml"), HasSubstr("<PID>" + std::to_string(service->Pid())));
}

TEST_F(Link, TerminalsAreListedAndLoggedOut) {
    PortalIs([](Scenario& scenario) { scenario.terminals = {{"laptop", "T-77"}, {"phone 100%", "T-78"}}; });
    LogIn();
    FrontEndAsks(ClientOperation::kTerminalData);
    const Report both = ExpectMessage(ClientReport::kTerminalData);
    EXPECT_THAT(both.text, HasSubstr("<P><response><terminal><host>laptop</host><ticket>T-77</ticket>"));
    EXPECT_THAT(both.text, HasSubstr("<host>phone 100 </host>"));
    EXPECT_EQ(both.Parameter("ticket"), portal.LoggedInTicket());

    EXPECT_TRUE(frontEnd->TerminalLogout("T-77"));
    EXPECT_THAT(ExpectMessage(ClientReport::kTerminalData).text, Not(HasSubstr("T-77")));
    EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kOtherTerminal);
    EXPECT_NE(portal.LoggedInTicket(), "");
}

TEST_F(Link, TerminalLogoutThatFailsIsAnswered) {
    PortalIs([](Scenario& scenario) { scenario.terminals = {{"laptop", "T-77"}}; });
    LogIn();
    PortalAnswers(Endpoint::Term, Answer::Error(42));
    EXPECT_TRUE(frontEnd->TerminalLogout("T-77"));
    EXPECT_EQ(ExpectMessage(ClientReport::kTerminalTerm).Parameter("code"),
              std::to_string(PortalResult::kPortalError));
}

TEST_F(Link, MessagesThatNobodyUnderstandsAreDropped) {
    StartService();
    std::string written;
    for (const std::string text :
         {"", "<M>", "no markup", "<M><OpT>Nobody</OpT><OpC>ClientStart</OpC></M>",
          "<M><OpT>Portal</OpT><OpC>Dance</OpC></M>", "<M><OpT>Portal</OpT><OpC>PortalDisConnect</OpC></M>",
          "<any><OpT>Portal</OpT><OpC>ClientStart</OpC></any>"}) {
        written += text + '\0';
    }
    written += "<M>the rest of this is lost";
    {
        std::ofstream bytes("clientpipe", std::ios::binary);
        bytes << written << std::flush;
    }
    ExpectMessage(ClientReport::kStartComplete);  // the root's name does not matter
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport(kReady);
}
