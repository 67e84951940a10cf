// What the service makes of the network it finds.
#include <cstdlib>

#include "ServiceFixture.h"

using testing::HasSubstr;

namespace {

const StateReport kUnknownNetwork = {INetConn::ES_CONNECTING, INetConn::ES_CONNECTED, 0, "", "", "",
                                     INetConn::ET_UNKNOWN};

class Discovery : public ServiceTest {};

// The machine without its default route; it gets the route back afterwards.
class NoDefaultRoute {
  public:
    NoDefaultRoute() { EXPECT_EQ(system("ip route del default"), 0); }
    ~NoDefaultRoute() {
        EXPECT_EQ(system((std::string("ip route add default via ") + kSandboxPeerAddress).c_str()), 0);
    }
    NoDefaultRoute(const NoDefaultRoute&) = delete;
    NoDefaultRoute& operator=(const NoDefaultRoute&) = delete;
};

}  // namespace

TEST_F(Discovery, PortalThatDoesNotAnswerIsReported) {
    portal.Stop();
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kDiscoveryFailed));
}

TEST_F(Discovery, ServerErrorOfTheProbeIsReported) {
    PortalAnswers(Endpoint::Probe, Answer::Status(500));
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kDiscoveryFailed));
}

TEST_F(Discovery, MachineWithoutADefaultRouteHasNoAdapter) {
    SKIP_OUTSIDE_SANDBOX();
    const NoDefaultRoute route;
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kNoAdapter));
    EXPECT_TRUE(portal.Requests(Endpoint::Probe).empty());
}

TEST_F(Discovery, OpenNetworkIsWatchedUntilAPortalAppears) {
    PortalIs([](Scenario& scenario) { scenario.portal = false; });
    StartService();
    StartSession();
    ExpectReport(kUnknownNetwork);
    PortalIs([](Scenario& scenario) { scenario.portal = true; });
    ExpectReport(kReady);
}

TEST_F(Discovery, LoginOfAnEarlierRunIsLoggedOut) {
    portal.KnowTicket("T-earlier", true);
    PortalIs([](Scenario& scenario) { scenario.portal = false; });
    WriteSettings("<connState>1</connState><ticket>T-earlier</ticket><termUrl>http://" + portal.Server() +
                  "/term</termUrl><schoolId>" + defaults.schoolId + "</schoolId><domain>" + defaults.domain +
                  "</domain><area>" + defaults.area + "</area>");
    StartService();
    StartSession();
    EXPECT_EQ(ExpectRequest(Endpoint::Term).Element("reason"), LogoutReason::kRecordedLogin);
    ExpectReport(kUnknownNetwork);  // the check that follows finds no record any more
    EXPECT_EQ(portal.LoggedInTicket(), "");
    EXPECT_EQ(portal.Requests(Endpoint::Term).size(), 1u);
}

TEST_F(Discovery, TicketServerThatIsDownIsReplacedByTheCluster) {
    // The first failure takes one server for the ticket, the discovery that follows another for the page.
    PortalIs([this](Scenario& scenario) { scenario.servers = portal.Server() + "," + portal.Server(); });
    const std::string dead = "127.0.0.2:" + std::to_string(portal.Port());
    PortalAnswers(Endpoint::Page, Answer::TicketAt(dead));
    StartService();
    StartSession();
    ExpectReport(kReady);
    EXPECT_EQ(portal.Requests(Endpoint::Page).size(), 2u);
    EXPECT_EQ(portal.Requests(Endpoint::Ticket).size(), 1u);
}

TEST_F(Discovery, TicketServerThatIsDownEndsTheAttemptWithoutACluster) {
    PortalAnswers(Endpoint::Page, Answer::TicketAt("127.0.0.2:" + std::to_string(portal.Port())));
    StartService();
    StartSession();
    ExpectReport({INetConn::ES_NONE, INetConn::ES_PRECONNECTING, StateCode::kTicketExchangeFailed, "",
                  "HttpError", "-4"});
}

TEST_F(Discovery, RedirectsAreFollowedAsLongAsTheyCome) {
    constexpr size_t kMany = 60;
    PortalIs([](Scenario& scenario) { scenario.endlessRedirect = true; });
    StartService();
    StartSession();
    ExpectRequest(Endpoint::Probe, kMany);
    PortalIs([](Scenario& scenario) { scenario.endlessRedirect = false; });
    ExpectReport(kReady);
}

TEST_F(Discovery, WhatTheRedirectsSayIsKeptForTheNextRun) {
    GetReady();
    const std::string settings = folder.Read("conf/conf.xml");
    for (const std::string& element :
         {"<wlanuserip>" + defaults.wlanUserIp + "</wlanuserip>",
          "<wlanusermac>" + defaults.wlanUserMac + "</wlanusermac>",
          "<wlanacip>" + defaults.wlanAcIp + "</wlanacip>", "<schoolId>" + defaults.schoolId + "</schoolId>",
          "<stateUrl>http://" + portal.Server() + "/state</stateUrl>"}) {
        EXPECT_THAT(settings, HasSubstr(element));
    }
}
