// From the start to a login, with a front end and on the console.
#include <unistd.h>

#include <filesystem>

#include "SampleTransform.h"
#include "ServiceFixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class Login : public ServiceTest {
  protected:
    std::string SecondModule() const { return folder.Read("second.zxm"); }
    void BringSecondModule() { PutModule("second.zxm", "sample-2.zxm"); }
};

std::string HostName() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

// The elements without the time, as "name=text".
std::vector<std::string> ElementsOf(const Request& request) {
    std::vector<std::string> elements;
    for (const auto& [name, text] : request.elements) {
        if (name != "local-time") {
            elements.push_back(name + "=" + text);
        }
    }
    return elements;
}

}  // namespace

TEST_F(Login, ConsoleClientLogsInAndEndsWithTheLogin) {
    StartServiceWithAccount(defaults.account, defaults.password);
    ExpectOutput("If you want go to offline, Please enter [y]:");
    EXPECT_NE(portal.LoggedInTicket(), "");
    EXPECT_TRUE(service->Runs());
    PortalIs([](Scenario& scenario) { scenario.pulseSeconds = 1; });
    PortalAnswers(Endpoint::Pulse, Answer::Error(PortalError::kLoginEnded));
    ExpectExit(0);
    EXPECT_THAT(service->Output(), Not(HasSubstr(defaults.password)));
}

TEST_F(Login, ConsoleClientTellsWhyTheLoginFailed) {
    PortalIs([](Scenario& scenario) { scenario.wrongPasswordHeaders["Sub-Error"] = "11"; });
    StartServiceWithAccount(defaults.account, "not it");
    ExpectOutput("login fail, the error is 140105, subcode is 11\n");
    ExpectExit(0);
}

TEST_F(Login, ConsoleClientTellsThatThereIsNoPortal) {
    portal.Stop();
    StartServiceWithAccount(defaults.account, defaults.password);
    ExpectOutput("Init environment fail,Please restart the program,the error is 20010207, subcode is \n");
    ExpectExit(0);
}

TEST_F(Login, FrontEndSeesEveryStep) {
    LogIn();
    std::vector<std::string> story;
    for (const Report& message : frontEnd->Received()) {
        const std::optional<StateReport> report = StateIn(message);
        EXPECT_EQ(message.source, "NetModule");
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
                                   told({INetConn::ES_NONE, INetConn::ES_CONNECTING, StateCode::kLoggingIn}),
                                   "Portal SetValue DialAccount", told(kConnected)));
}

TEST_F(Login, RequestsCarryWhoAsksAndFromWhere) {
    SKIP_OUTSIDE_SANDBOX();
    const std::string id = "01234567-89ab-1cde-8f01-23456789abcd";
    const std::string agent = "user-agent=RAVO/Linux64/1.0.0";
    const std::string client = "client-id=" + id;
    const std::string ip4 = std::string("ipv4=") + kSandboxAddress;
    const std::string mac = std::string("mac=") + kSandboxMac;
    WriteSettings("<clientId>" + id + "</clientId>");
    PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 600; });
    GetReady();
    ExpectRequest(Endpoint::State);  // the login puts an end to these
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
    const std::string ticket = "ticket=" + portal.LoggedInTicket();
    EXPECT_THAT(ElementsOf(ExpectRequest(Endpoint::Ticket)),
                ElementsAre("ostag=linux64", mac, "ipv6=", ip4, client, agent, "host-name=" + HostName()));
    EXPECT_THAT(ElementsOf(ExpectRequest(Endpoint::State)), ElementsAre(ticket, client, agent));
    EXPECT_THAT(
        ElementsOf(ExpectRequest(Endpoint::Login)),
        ElementsAre(ticket, "passwd=" + defaults.password, "userid=" + defaults.account, client, agent));
    EXPECT_THAT(ElementsOf(ExpectRequest(Endpoint::Pulse)),
                ElementsAre(mac, "ipv6=", ip4, ticket, client, agent));
    LogOut("1");
    EXPECT_THAT(ElementsOf(ExpectRequest(Endpoint::Term)), ElementsAre("reason=1", ticket, client, agent));
    EXPECT_EQ(portal.LoggedInTicket(), "");
}

TEST_F(Login, TicketIsShownToTheFrontEnd) {
    StartService();
    StartSession();
    const Report shown = ExpectMessage("TicketResp");
    const std::string ticket = shown.Parameter("ticket");
    EXPECT_THAT(ticket, HasSubstr("T-"));
    EXPECT_EQ(shown.Parameter("hostname"), HostName());
    EXPECT_EQ(shown.Parameter("qr"), "ravo://" + ticket + "@" + HostName());
}

TEST_F(Login, RefusedPasswordIsReportedByWhatThePortalKnows) {
    const struct {
        const char* what;
        const char* account;
        std::map<std::string, std::string> headers;
        StateReport report;
    } rows[] = {
        {"a telephone number", "13900000009", {{"Sub-Error", "12"}}, LoginFailed(140105, "12")},
        {"a telephone number with a domain", "13900000009@x", {}, LoginFailed(140105)},
        {"a name", "student", {{"Sub-Error", "12"}}, LoginFailed(StateCode::kAccountNotTelephone)},
        {"an earlier login",
         "student",
         {{"Last-Login", "2026-03-14 21:40:02"}},
         {INetConn::ES_CONNECTING, INetConn::ES_CONNECTFAIL, StateCode::kAccountRefusedWithLastLogin, "",
          "ConnError", "2026-03-14 21:40:02"}},
    };
    GetReady();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PortalIs([&](Scenario& scenario) { scenario.wrongPasswordHeaders = row.headers; });
        AskForLogin(row.account, "not it");
        ExpectReport(row.report);
        ExpectReport(kReady);  // with a fresh ticket for the next try
    }
}

TEST_F(Login, PortalErrorsReachTheFrontEnd) {
    const struct {
        const char* what;
        Answer answer;
        StateReport report;
    } rows[] = {
        {"version limit",
         Answer::Error(PortalError::kVersionLimit, {{"Sub-Error", "2.0"}}),
         {INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTFAIL, 140003, "2.0"}},
        {"any other code", Answer::Error(42, {{"Sub-Error", "7"}}), LoginFailed(140042, "7")},
    };
    GetReady();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PortalAnswers(Endpoint::Login, row.answer);
        AskForLogin(defaults.account, defaults.password);
        ExpectReport(row.report);
        ExpectReport(kReady);
    }
}

TEST_F(Login, FailedExchangeIsRetriedOnceAndThenReported) {
    GetReady();
    PortalAnswers(Endpoint::Login, Answer::Kind::Drop, kRequestAttempts);
    AskForLogin(defaults.account, defaults.password);
    ExpectReport({INetConn::ES_NONE, INetConn::ES_CONNECTFAIL, StateCode::kLoginExchangeFailed, "",
                  "HttpError", "-4"});
    EXPECT_EQ(portal.Requests(Endpoint::Login).size(), static_cast<size_t>(kRequestAttempts));
    ExpectReport(kReady);
    PortalAnswers(Endpoint::Login, Answer::Kind::Drop, kRequestAttempts - 1);
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
}

TEST_F(Login, UnreadableAnswersEndTheStep) {
    PortalAnswers(Endpoint::Ticket, Answer::Kind::Garbage);
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(StateCode::kTicketUnreadable));
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport(kReady);
    PortalAnswers(Endpoint::Login, Answer::Kind::Garbage);
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(LoginFailed(StateCode::kLoginUnreadable));
}

TEST_F(Login, VersionLimitOnTheTicketEndsTheAttempt) {
    PortalAnswers(Endpoint::Ticket, Answer::Error(PortalError::kVersionLimit));
    StartService();
    StartSession();
    ExpectReport(GettingReadyFailed(140003));
}

TEST_F(Login, AccountNameIsChangedAsThePortalWants) {
    PortalIs([](Scenario& scenario) {
        scenario.accountType = "add-domain";
        scenario.accountValue = "dorm.example";
        scenario.account += "@dorm.example";
    });
    LogIn();
    EXPECT_EQ(ExpectRequest(Endpoint::Login).Element("userid"), defaults.account + "@dorm.example");
}

TEST_F(Login, NewModuleIsUsedFromTheNextRequestOn) {
    BringSecondModule();
    PortalAnswers(Endpoint::Ticket, Answer::Module(SecondModule()));
    StartService();
    StartSession();
    ExpectReport(Step(StateCode::kAlgorithmUpdateStarted));
    ExpectReport(Step(StateCode::kAlgorithmUpdated));
    ExpectReport(kReady);
    EXPECT_EQ(ExpectRequest(Endpoint::Ticket, 1).Header("algo-id"), sample::FirstVersion().algorithmId);
    EXPECT_EQ(ExpectRequest(Endpoint::Ticket, 2).Header("algo-id"), sample::SecondVersion().algorithmId);
    AskForLogin(defaults.account, defaults.password);
    ExpectReport(kConnected);
    EXPECT_EQ(folder.Read("zxmAlogic.zxm"), SecondModule());
    EXPECT_FALSE(folder.Has("protect.so"));
}

TEST_F(Login, ModuleThatCannotBeStoredTwiceEndsTheAttempt) {
    BringSecondModule();
    Answer slow = Answer::Module(SecondModule());
    slow.delay = std::chrono::seconds(1);  // time to bar the way between the request and its answer
    PortalAnswers(Endpoint::Ticket, slow);
    PortalAnswers(Endpoint::Ticket, Answer::Module(SecondModule()));
    StartService();
    StartSession();
    ExpectRequest(Endpoint::Ticket);
    std::filesystem::rename("zxmAlogic.zxm", "first.zxm");
    std::filesystem::create_directory("zxmAlogic.zxm");
    ExpectReport(GettingReadyFailed(StateCode::kAlgorithmUpdateFailed));
    EXPECT_EQ(portal.Requests(Endpoint::Ticket).size(), 2u);
}
