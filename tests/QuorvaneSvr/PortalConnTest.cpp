// The protocol engine where the stories of the end-to-end tests do not reach: rare answers of the portal,
// odd settings, and what the front end may rely on.
#include "PortalConn.h"

#include <gmock/gmock.h>

#include <climits>
#include <tuple>
#include <utility>

#include "FileSizeLimit.h"
#include "PortalFixture.h"

using namespace portal_sim;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using Reports = std::vector<StateReport>;
using State = INetConn;

namespace {

const StateReport kLoginIntercepted = {State::ES_PRECONNECTING, State::ES_CONNECTFAIL, 150010};
const StateReport kTicketExchangeFailed = {
    State::ES_NONE, State::ES_PRECONNECTING, 150103, "", "HttpError", "-4"};
const StateReport kLoginExchangeFailed = {
    State::ES_NONE, State::ES_CONNECTFAIL, 150102, "", "HttpError", "-4"};
const StateReport kKnownAccount = {State::ES_CONNECTING, State::ES_CONNECTFAIL, 150200, "", "ConnError", "1"};
// More than the link to the front ends takes, once each character is escaped.
const std::string kEndless(20000, '&');
const std::string kCut(4096, '&');
const StateReport kCutNote = {State::ES_CONNECTING, State::ES_CONNECTFAIL, 150200, "", "ConnError", kCut};
const StateReport kLoginGone = {State::ES_CONNECTED, State::ES_CONNECTFAIL, 20010004};

Answer Error(int code, const std::string& subError = "") {
    return Answer::Error(code, {{"Sub-Error", subError}});
}

const Answer kPage = OfKind(Answer::Kind::Page);
const Answer kGarbage = OfKind(Answer::Kind::Garbage);
const Answer kUntagged = {Answer::Kind::Usual, 0, "", {{"Server-Tag", ""}}};
const Answer kLastLogin = Answer::Error(105, {{"Last-Login", "1"}});

// Takes the step that sends a request to the endpoint.
int Ask(PortalFixture& portal, Endpoint endpoint) {
    CAutoString terminals;
    switch (endpoint) {
        case Endpoint::Ticket: return portal.engine.RequestTicket();
        case Endpoint::Login: return portal.engine.Connect(PortalFixture::LoginEnvelope("a", "b"));
        case Endpoint::State: return portal.engine.CheckConnectState(1);
        case Endpoint::Pulse: return portal.engine.KeepPluse();
        case Endpoint::Term: return portal.engine.DisConnect("1");
        default: return portal.engine.TerminalRequestData(terminals);
    }
}

TEST(Answers, MeanSomethingElseToEachStep) {
    const std::tuple<const char*, Endpoint, Answer, int, Reports> kRows[] = {
        {"other code", Endpoint::Ticket, Error(7, " 42 "), -1, {GettingReadyFailed(140007, "42")}},
        {"intercepted", Endpoint::Ticket, kRedirect, -8, {}},
        {"intercepted by 303", Endpoint::Ticket, Answer::Status(303), -8, {}},
        {"no Server-Tag", Endpoint::Ticket, kUntagged, -8, {}},
        {"no Error-Code", Endpoint::Ticket, Answer::Status(204), -1, {GettingReadyFailed(139999)}},
        {"unreadable", Endpoint::Ticket, kGarbage, -7, {GettingReadyFailed(150003)}},
        {"no answer", Endpoint::Ticket, kDrop, -1, {kTicketExchangeFailed}},
        {"other code", Endpoint::Login, Error(42, "7"), -1, {kLoggingIn, LoginFailed(140042, "7")}},
        {"unreadable", Endpoint::Login, kGarbage, -1, {kLoggingIn, LoginFailed(150001)}},
        {"no answer", Endpoint::Login, kDrop, -1, {kLoggingIn, kLoginExchangeFailed}},
        {"refused", Endpoint::Login, Error(105), -1, {kLoggingIn, LoginFailed(150201)}},
        {"known account", Endpoint::Login, kLastLogin, -1, {kLoggingIn, kKnownAccount}},
        {"endless note", Endpoint::Ticket, Error(7, kEndless), -1, {GettingReadyFailed(140007, kCut)}},
        {"endless note",
         Endpoint::Login,
         Answer::Error(105, {{"Last-Login", kEndless}}),
         -1,
         {kLoggingIn, kCutNote}},
        {"login ended", Endpoint::Login, Error(14), -1, {kLoggingIn}},
        {"intercepted", Endpoint::Login, kPage, -8, {kLoggingIn, kLoginIntercepted}},
        {"undecided", Endpoint::State, Error(300), 0, {}},
        {"undecided, too", Endpoint::State, Error(301), 0, {}},
        {"login gone", Endpoint::State, Error(14), -14, {kLoginGone}},
        {"other code", Endpoint::State, Error(8), -14, {}},
        {"version limit", Endpoint::State, Error(3), -1, {GettingReadyFailed(140003)}},
        {"no answer", Endpoint::State, kDrop, 0, {}},
        {"unreadable, but the login stands", Endpoint::State, kGarbage, 1, {kConnected}},
        {"unreadable", Endpoint::Pulse, kGarbage, 0, {}},
        {"already logged out", Endpoint::Term, Error(13), 1, {kLoggedOut}},
        {"login gone", Endpoint::Term, Error(14), 1, {kLoggedOut}},
        {"other code", Endpoint::Term, Error(8, "5"), -1, {LoginFailed(140008, "5")}},
        {"largest code", Endpoint::Term, Error(2147483647), -1, {LoginFailed(2147483647)}},
        {"intercepted", Endpoint::Term, kRedirect, -8, {}},
        {"no answer", Endpoint::Term, kDrop, -1, {}},
        {"refused", Endpoint::Query, Error(8), 0, {}},
    };
    for (const auto& [what, endpoint, answer, result, reports] : kRows) {
        SCOPED_TRACE(std::string(RowOf(endpoint).name) + ": " + what);
        PortalFixture portal;
        portal.LogIn();
        for (int attempt = 0; attempt < kRequestAttempts; ++attempt) {
            portal.sim.AnswerNext(endpoint, answer);
        }
        EXPECT_EQ(Ask(portal, endpoint), result);
        EXPECT_EQ(portal.host.reports, reports);
    }
}

TEST(Answers, ModuleThatCannotBeStoredTwiceEndsALogin) {
    PortalFixture portal;
    portal.GetReady();
    const FileSizeLimit limit(256 * 1024);
    for (int attempt = 0; attempt < 2; ++attempt) {
        portal.sim.AnswerNext(Endpoint::Login, Answer::Module(std::string(kLargestPage + 1, 'x')));
    }
    EXPECT_EQ(Ask(portal, Endpoint::Login), -1);
    EXPECT_EQ(portal.host.reports.back(), LoginFailed(150003));
}

TEST(PortalDiscovery, SchoolHeadersCountOnlyTogether) {
    for (const std::string& area :
         {std::string(), std::string(257, 'a'), std::string("a\nX: b"), std::string("\x7f")}) {
        Scenario scenario;
        scenario.area = area;
        PortalFixture portal(scenario);
        ASSERT_EQ(portal.engine.CheckNetEnv(), 1);
        EXPECT_EQ(portal.Record().schoolId, "");
        EXPECT_EQ(portal.Record().domain, "");
    }
}

TEST(PortalDiscovery, RecoversOnlyWithAMarker) {
    EXPECT_EQ(PortalFixture().engine.DisasterRecovery(""), 0);
    PortalFixture marked({}, "<disasterUrl>Recovery.Example</disasterUrl>");
    EXPECT_EQ(marked.engine.DisasterRecovery("http://RECOVERY.example/"), 1);
    EXPECT_EQ(marked.engine.DisasterRecovery("http://other.example/"), 0);
}

TEST(Reports, NumbersAreEmptyAndTextsEscapedOnce) {
    Scenario scenario;
    scenario.statisticsInterval = 60;
    scenario.domain = "a&b";
    PortalFixture portal(scenario);
    portal.Record().hostName = "a<b";
    portal.LogIn();
    EXPECT_THAT(
        portal.host.messages,
        IsSupersetOf({HasSubstr("<key>authType</key><value></value>"),  // itoa hands on its terminating NUL
                      HasSubstr("<key>FUN_StatsInfor</key><value>&lt;StatsInfor"),
                      HasSubstr("<key>domain</key><value>a&amp;b</value>"), HasSubstr("@a&lt;b</qr>")}));
    portal.host.messages.clear();
    portal.engine.SendData("nothing", nullptr);
    portal.engine.SendData("portal's text", CAutoString());
    EXPECT_THAT(portal.host.messages,
                ElementsAre("InfoCenter SetValue <key>portal's text</key><value></value>"));
}

TEST(Ticket, NeedsAnAddress) {
    PortalFixture portal;
    portal.host.addressResult = -1;
    EXPECT_EQ(portal.engine.RequestTicket(), -3);
    EXPECT_EQ(portal.host.reports.back(), GettingReadyFailed(150107));
    portal.host.addressResult = 1;
    EXPECT_EQ(portal.engine.RequestTicket(), 1);
}

TEST(PortalLogin, AccountNamesTakeTheFormThatThePortalWants) {
    const char* const kRows[][4] = {
        // type, value, before, after
        {"add-domain", "new", "user@old", "user@new"}, {"add-domain", "", "user", "user@school"},
        {"del-domain", "new", "user@old", "user"},     {"del-domain", "new", "user", "user"},
        {"", "new", " user@old\t", "user@old"},        {"other", "new", "user", "user"},
    };
    PortalFixture portal;
    for (const auto& [type, value, before, after] : kRows) {
        CAuthConfig& record = portal.Record();
        record.m_strAcountType = type;
        record.m_strAcountValue = value;
        record.domain = "school";
        record.userName = before;
        portal.engine.AccountTran();
        EXPECT_EQ(record.userName, after) << type << " " << before;
    }
}

TEST(Pulse, ANewLoginToleratesOneFailureMoreThanAStandingOne) {
    PortalFixture portal({}, "<plusInterval>12</plusInterval><plusFlag>1</plusFlag>");
    EXPECT_EQ(portal.engine.KeepPluse(), -1) << "no address yet";
    portal.LogIn();  // the portal asks for two retries
    for (const int tolerated : {2 + 1, 2}) {
        for (int failure = 0; failure <= tolerated; ++failure) {
            portal.sim.AnswerNext(Endpoint::Pulse, Error(8, "1"));
            EXPECT_EQ(portal.engine.KeepPluse(), failure < tolerated ? 0 : -1);
        }
        EXPECT_THAT(std::exchange(portal.host.reports, {}),
                    ElementsAre(LoginFailed(140008, "1"), LoginFailed(150108)));
        EXPECT_EQ(portal.engine.KeepPluse(), 1);
    }
    EXPECT_EQ(portal.Record().iInterval, 12) << "the settings override the portal";
    portal.Record().iKeepRetry = INT_MIN;
    EXPECT_EQ(portal.engine.KeepPluse(), 1);
    for (int failure = 0; failure < 2; ++failure) {
        portal.sim.AnswerNext(Endpoint::Pulse, Error(8));
        EXPECT_EQ(portal.engine.KeepPluse(), 0) << "fewer than no retries tolerate every failure";
    }
}

TEST(LogOut, AtShutdownOnlyARecordedLoginIsEnded) {
    for (const size_t record : {0, 1}) {
        PortalFixture portal({}, "<connState>" + std::to_string(record) + "</connState>");
        portal.Record().strTermUrl = ("http://" + portal.sim.Server() + "/term").c_str();
        portal.engine.Destroy();
        EXPECT_EQ(portal.sim.Requests(Endpoint::Term).size(), record);
    }
}

TEST(Reports, StepsOfANewAttemptDoNotPullAStandingLoginBack) {
    PortalFixture portal;
    portal.engine.NetStateChange(State::ES_CONNECTING, State::ES_CONNECTED, 1, "");
    portal.engine.NetStateChange(State::ES_PRECONNECTING, State::ES_PRECONNECTING, 30000103, "");
    EXPECT_EQ(portal.engine.GetNetState(), State::ES_CONNECTED);
    portal.engine.NetStateChange(State::ES_CONNECTED, State::ES_DISCONNECTFAIL, 150010, "");
    EXPECT_EQ(portal.engine.GetNetState(), State::ES_DISCONNECTFAIL);
    EXPECT_THAT(portal.host.reports, ElementsAre(kConnected)) << "the last state is taken, not posted";
}

TEST(Reports, TheLastOneIsRepeatedInItsOwnForm) {
    PortalFixture portal;
    portal.engine.PostLastNetStateMessage();  // there is none yet
    portal.engine.NetStateChange(State::ES_CONNECTING, State::ES_CONNECTFAIL, 140105, "2");
    portal.engine.PostLastNetStateMessage();
    portal.engine.PostError(State::ES_CONNECTFAIL, 150102, static_cast<unsigned long>(-4), 1);
    portal.engine.PostLastNetStateMessage();
    EXPECT_THAT(portal.host.reports, ElementsAre(LoginFailed(140105, "2"), LoginFailed(140105, "2"),
                                                 kLoginExchangeFailed, kLoginExchangeFailed));
}

TEST(Settings, KeepWhatTheNextRunStartsFrom) {
    Scenario scenario;
    scenario.servers = "10.9.9.1,10.9.9.2";
    PortalFixture portal(scenario);
    portal.LogIn();
    const CAuthConfig& record = portal.Record();
    // clang-format off
    const std::pair<const char*, CAutoString> kSaved[] = {
        {"tickUrl", record.strTickUrl}, {"stateUrl", record.strStateUrl}, {"keepUrl", record.strKeepUrl},
        {"termUrl", record.strTermUrl}, {"ticket", record.strTicket}, {"schoolId", scenario.schoolId},
        {"wlanuserip", scenario.wlanUserIp}, {"wlanusermac", scenario.wlanUserMac}, {"wlanacip", scenario.wlanAcIp},
        {"keepRetry", ""}, {"connState", ""},  // both through itoa
        {"serverCluster", ""},                 // the list of the configuration before
    };
    // clang-format on
    for (const auto& [key, value] : kSaved) {
        EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue(key), value) << key;
    }
    EXPECT_EQ(record.m_strServersIPv4, scenario.servers.c_str());
}

}  // namespace
