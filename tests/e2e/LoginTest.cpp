// From the start to a login, with a front end and on the console.
#include <unistd.h>

#include "SampleTransform.h"
#include "ServiceFixture.h"

using testing::ElementsAre;

namespace {

class Login : public ServiceTest {};

std::string HostName() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

}  // namespace

TEST_F(Login, ConsoleClientLogsInAndEndsWithTheLogin) {
    PortalIs([](Scenario& scenario) { scenario.password = "p<&w"; });
    StartServiceWithAccount(defaults.account, "p<&amp;w");
    ExpectOutput("If you want go to offline, Please enter [y]:");
    EXPECT_EQ(portal.Requests(Endpoint::Login).size(), 1u);
    EXPECT_NE(portal.LoggedInTicket(), "");
    AttachFrontEnd();
    FrontEndAsks(ClientOperation::kStart);  // the console client hears the states once more as well
    ExpectReport(kConnected);
    PortalIs([](Scenario& scenario) { scenario.pulseSeconds = 1; });
    PortalAnswers(Endpoint::Pulse, Answer::Error(PortalError::kLoginEnded));
    ExpectExit(0);
    EXPECT_EQ(service->Output(), "svr start successIf you want go to offline, Please enter [y]:\n");
    EXPECT_EQ(portal.Requests(Endpoint::Login).size(), 1u);
}

TEST_F(Login, ConsoleClientTellsWhatFailedAndEnds) {
    PortalIs([](Scenario& scenario) { scenario.wrongPasswordHeaders["Sub-Error"] = "1\1771"; });
    StartServiceWithAccount("13900000009@x", "not it");
    ExpectOutput("login fail, the error is 140105, subcode is 1?1\n");
    ExpectExit(0);
    portal.Stop();
    StartServiceWithAccount(defaults.account, defaults.password);
    ExpectOutput("Init environment fail,Please restart the program,the error is 20010207, subcode is \n");
    ExpectExit(0);
}

TEST_F(Login, FrontEndSeesEveryStep) {
    PortalAnswers(Endpoint::Login, kDrop, kRequestAttempts - 1);  // tried again without a word
    LogIn();
    std::vector<std::string> story;
    for (const Report& message : frontEnd->Received()) {
        const std::optional<StateReport> report = StateIn(message);
        EXPECT_EQ(message.source, "NetModule");
        if (message.opcode == "TicketResp") {
            EXPECT_EQ(message.Parameter("ticket"), portal.LoggedInTicket());
            EXPECT_EQ(message.Parameter("hostname"), HostName());
            EXPECT_EQ(message.Parameter("qr"), "ravo://" + portal.LoggedInTicket() + "@" + HostName());
        }
        story.push_back(report ? testing::PrintToString(*report)
                               : message.target + " " + message.opcode + " " + message.Parameter("key"));
    }
    auto told = [](const StateReport& report) { return testing::PrintToString(report); };
    EXPECT_THAT(story, ElementsAre("Portal ClientStartComplete ", told(Step(StateCode::kCheckStarted)),
                                   "InfoCenter SetValue authType", "InfoCenter SetValue authDefautType",
                                   "InfoCenter SetValue schoolId", "InfoCenter SetValue domain",
                                   "InfoCenter SetValue area", "InfoCenter SetValue FUN_StatsInfor",
                                   "InfoCenter SetValue version", "InfoCenter SetValue clientId",
                                   told(Step(StateCode::kTicketRequested)),
                                   told(Step(StateCode::kAddressesKnown)), told(kReady), "Portal TicketResp ",
                                   told(kLoggingIn), "Portal SetValue DialAccount", told(kConnected)));
}

// Names and order of the elements are the simulator's to judge, the ticket and who holds it, too.
TEST_F(Login, RequestsCarryWhoAsksAndFromWhere) {
    SKIP_OUTSIDE_SANDBOX();
    const std::string id = "01234567-89ab-1cde-8f01-23456789abcd";
    WriteSettings("<clientId>" + id + "</clientId>");
    PortalIs([](Scenario& scenario) {
        scenario.accountType = "add-domain";
        scenario.accountValue = "dorm.example";
        scenario.account += "@dorm.example";
    });
    GetReady();
    ExpectRequest(Endpoint::State);  // the login puts an end to these
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
    const std::string ticket = portal.LoggedInTicket();
    for (const Endpoint endpoint : {Endpoint::Ticket, Endpoint::State, Endpoint::Login, Endpoint::Pulse}) {
        const Request request = ExpectRequest(endpoint);
        EXPECT_EQ(request.Element("client-id"), id);
        EXPECT_EQ(request.Element("user-agent"), "RAVO/Linux64/1.0.0");
        EXPECT_EQ(request.Element("ticket"), endpoint == Endpoint::Ticket ? "" : ticket);
    }
    EXPECT_EQ(ExpectRequest(Endpoint::Ticket).Element("host-name"), HostName());
    for (const Endpoint endpoint : {Endpoint::Ticket, Endpoint::Pulse}) {
        EXPECT_EQ(ExpectRequest(endpoint).Element("ipv4"), kSandboxAddress);
        EXPECT_EQ(ExpectRequest(endpoint).Element("mac"), kSandboxMac);
    }
}

TEST_F(Login, NewModuleIsUsedFromTheNextRequestOn) {
    PutModule("second.zxm", "sample-2.zxm");
    PortalAnswers(Endpoint::Ticket, Answer::Module(folder.Read("second.zxm")));
    StartSession();
    ExpectReport(Step(StateCode::kAlgorithmUpdateStarted));
    ExpectReport(Step(StateCode::kAlgorithmUpdated));
    ExpectReport(kReady);
    EXPECT_EQ(ExpectRequest(Endpoint::Ticket, 1).Header("algo-id"), sample::FirstVersion().algorithmId);
    EXPECT_EQ(ExpectRequest(Endpoint::Ticket, 2).Header("algo-id"), sample::SecondVersion().algorithmId);
    PortalAnswers(Endpoint::Login, Answer::Module(folder.Read("second.zxm")));
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
    EXPECT_EQ(portal.Requests(Endpoint::Login).size(), 2u);  // repeated with what its answer brought
    EXPECT_EQ(folder.Read("zxmAlogic.zxm"), folder.Read("second.zxm"));
    EXPECT_FALSE(folder.Has("protect.so"));
}
