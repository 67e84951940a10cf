// A standing login, and the ways in which it ends.
#include "ServiceFixture.h"

namespace {

class Session : public ServiceTest {
  protected:
    // A log-out passes through the statistics, so the portal has to ask for them.
    void PortalAsksForStatistics() {
        PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 600; });
    }
    void PulsesCome(unsigned seconds, unsigned retries) {
        PortalIs([&](Scenario& scenario) {
            scenario.pulseSeconds = seconds;
            scenario.pulseRetries = retries;
        });
    }
};

const StateReport kPulsesFailed = LoginFailed(StateCode::kKeepAliveFailed);

}  // namespace

TEST_F(Session, FailedPulsesBeyondTheLimitEndTheLogin) {
    PulsesCome(1, 0);
    PortalAnswers(Endpoint::Pulse, kDrop, kRequestAttempts * 2);
    LogIn();
    ExpectReport(kPulsesFailed);
    EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kKeepAliveFailed);
    ExpectReport(kLoggedOut);
    ExpectReport(kReady);  // for the next login
}

TEST_F(Session, LoginThatThePortalEndedIsReportedAndANewTicketFetched) {
    PortalIs([](Scenario& scenario) { scenario.stateInterval = 600; });
    GetReady();
    ExpectRequest(Endpoint::State);
    PortalAnswers(Endpoint::Pulse, Answer::Error(PortalError::kLoginEnded));
    PortalAnswers(Endpoint::State, Answer::Error(PortalError::kLoginEnded));
    AskForLogin(defaults.account, defaults.password);
    ExpectReport({INetConn::ES_CONNECTED, INetConn::ES_DISCONNECTED, PortalError::kLoginEnded});
    ExpectReport(kReady);
    EXPECT_EQ(portal.Requests(Endpoint::Ticket).size(), 2u);
    EXPECT_NE(ExpectRequest(Endpoint::State, 3).Element("ticket"),
              ExpectRequest(Endpoint::State, 2).Element("ticket"));
}

TEST_F(Session, LoginThatStandsAfterAllIsTakenUpAgain) {
    PulsesCome(1, 2);
    PortalAnswers(Endpoint::Pulse, Answer::Error(PortalError::kLoginEnded));
    LogIn();
    ExpectReport({INetConn::ES_CONNECTED, INetConn::ES_DISCONNECTED, PortalError::kLoginEnded});
    ExpectReport(kConnected);  // the state request found it
    ExpectRequest(Endpoint::Pulse, 3);
}

TEST_F(Session, StateIsAskedForAndTheTicketRenewedUntilTheLogin) {
    PortalIs([](Scenario& scenario) {
        scenario.stateInterval = 1;
        scenario.ticketSeconds = 2;
    });
    GetReady();
    ExpectRequest(Endpoint::State, 3);
    ExpectRequest(Endpoint::Ticket, 2);
}

TEST_F(Session, InterceptedPulseLogsOut) {
    PortalAsksForStatistics();
    PulsesCome(1, 2);
    PortalAnswers(Endpoint::Pulse, kRedirect);
    LogIn();
    ExpectReport(kPulsesFailed);
    EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kIntercepted);
    ExpectReport(kLoggedOut);
    ExpectReport(kReady);
}

TEST_F(Session, LogoutSendsTheLastStatisticsFirstAndTheFinalOneFetchesNoTicket) {
    PortalAsksForStatistics();
    LogIn();
    LogOut("1");
    EXPECT_EQ(ExpectRequest(Endpoint::Statistics).Element("stattype"), "0");
    ExpectReport(kReady);
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
    LogOut(LogoutReason::kFinal);
    FrontEndAsks(ClientOperation::kTerminalData);
    ExpectMessage(ClientReport::kTerminalData);
    EXPECT_EQ(portal.Requests(Endpoint::Ticket).size(), 2u);
}

TEST_F(Session, LogoutWithoutStatisticsDoesNothing) {
    PulsesCome(1, 2);
    LogIn();
    AskForLogout("1");
    ExpectRequest(Endpoint::Pulse, portal.Requests(Endpoint::Pulse).size() + 3);
    EXPECT_TRUE(portal.Requests(Endpoint::Term).empty());
    EXPECT_NE(portal.LoggedInTicket(), "");
}
