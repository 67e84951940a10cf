// What the service makes of the network it finds.
#include "ServiceFixture.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class Discovery : public ServiceTest {};

}  // namespace

TEST_F(Discovery, ProbeThatFailsIsReportedAndAFrontEndThatStartsAgainHasItRepeated) {
    PortalAnswers(Endpoint::Probe, Answer::Module(std::string(kLargestPage + 1, 'x')));
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kDiscoveryFailed));
    PortalAnswers(Endpoint::Probe, Answer::Status(500));
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport(GettingReadyFailed(StateCode::kDiscoveryFailed));
    FrontEndAsks(ClientOperation::kStart);
    ExpectReport(Step(StateCode::kCheckStarted));
    ExpectReport(kReady);
}

TEST_F(Discovery, MachineWithIpv6OnlyLogsInOverIt) {
    SKIP_OUTSIDE_SANDBOX();
    ASSERT_TRUE(Shell("ip address flush dev campus0 scope global"));
    portal.Stop();
    ASSERT_TRUE(portal.Start("::1"));
    WriteSettings("<redirectipv6>" + portal.ProbeUrl() + "</redirectipv6>");
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kNoAdapter));
    EXPECT_TRUE(Shell(
        "ip -6 address add 2001:db8::2/64 dev campus0 nodad && ip -6 route add default via 2001:db8::1"));
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport(kReady);
    const Request ticket = ExpectRequest(Endpoint::Ticket);
    EXPECT_EQ(ticket.Element("ipv4"), "");
    EXPECT_EQ(ticket.Element("ipv6"), "2001:db8::2");
    EXPECT_EQ(ticket.Element("mac"), kSandboxMac);
    EXPECT_EQ(ticket.Header("user-agent"), "RAVO/LinuxIpv664/1.0.0");
    RestoreLinks();
}

TEST_F(Discovery, MarkerOfTheSettingsIsLookedFor) {
    WriteSettings("<markerHost>login.campus.example</markerHost>");
    StartSession();
    ExpectReport(kUnknownNetwork);  // the page with the marker that is built in is any page
    PortalIs([](Scenario& scenario) { scenario.markerHost = "login.campus.example"; });
    ExpectReport(kReady);
}

TEST_F(Discovery, OpenNetworkIsWatchedUntilAPortalAppears) {
    PortalIs([](Scenario& scenario) { scenario.portal = false; });
    StartSession();
    ExpectReport(kUnknownNetwork);
    PortalAnswers(Endpoint::Ticket, kRedirect);  // means another one
    PortalIs([](Scenario& scenario) { scenario.portal = true; });
    ExpectReport(kUnknownNetwork);
    ExpectReport(kReady);
}

TEST_F(Discovery, LoginOfAnEarlierRunIsLoggedOut) {
    portal.KnowTicket("T-earlier", true);
    PortalIs([](Scenario& scenario) { scenario.portal = false; });
    WriteSettings("<connState>1</connState><ticket>T-earlier</ticket><termUrl>http://" + portal.Server() +
                  "/term</termUrl><schoolId>" + defaults.schoolId + "</schoolId><domain>" + defaults.domain +
                  "</domain><area>" + defaults.area + "</area>");
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
    StartSession();
    ExpectReport(kReady);
    EXPECT_EQ(portal.Requests(Endpoint::Page).size(), 2u);
    EXPECT_EQ(portal.Requests(Endpoint::Ticket).size(), 1u);
}

TEST_F(Discovery, ManyServersThatFailEndTheCheckWithoutARest) {
    PortalIs([](Scenario& scenario) {
        for (int i = 0; i < 250; ++i) {
            scenario.servers += "127.0.0.2:1,";
        }
    });
    StartSession();
    ExpectReport(kReady);
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport({INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTFAIL, StateCode::kDiscoveryFailed});
}

TEST_F(Discovery, RedirectsAreFollowedAsLongAsTheyCome) {
    constexpr size_t kMany = 60;
    Answer wordy;
    wordy.headers["X"] = std::string(20000, 'x');
    PortalAnswers(Endpoint::Probe, wordy);
    PortalIs([](Scenario& scenario) { scenario.endlessRedirect = true; });
    StartSession();
    ExpectRequest(Endpoint::Probe, kMany);
    PortalIs([](Scenario& scenario) { scenario.endlessRedirect = false; });
    ExpectReport(kReady);
    EXPECT_THAT(Log(), AllOf(HasSubstr("x... (cut, 20"), Not(HasSubstr(wordy.headers["X"]))));
}
