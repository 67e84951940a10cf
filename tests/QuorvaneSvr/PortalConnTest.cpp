#include "PortalConn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "PortalCodes.h"
#include "PortalFixture.h"
#include "SampleTransform.h"

using namespace portal_sim;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Report = FakePortalHost::Report;
using State = INetConn;

namespace {

std::string SecondModule() {
    std::ifstream file(SAMPLE_MODULE_2, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Answer OfKind(Answer::Kind kind) {
    Answer answer;
    answer.kind = kind;
    return answer;
}

std::vector<std::string> ElementNames(const Request& request) {
    std::vector<std::string> names;
    for (const auto& element : request.elements) {
        names.push_back(element.first);
    }
    return names;
}

// Lets no file grow beyond a size while the object lives: writing fails as it does on a full disk.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t size) : m_handler(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        signal(SIGXFSZ, m_handler);
    }

  private:
    rlimit m_before = {};
    void (*m_handler)(int);
};

TEST(Discovery, FollowsTheRedirectsAndReadsTheConfiguration) {
    Scenario scenario;
    scenario.servers = "10.9.9.1,10.9.9.2";
    scenario.statisticsInterval = 60;
    PortalFixture portal(scenario);
    ASSERT_EQ(portal.engine.RequestConfig(0), 1);
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    const CAuthConfig& record = portal.Record();
    EXPECT_EQ(record.schoolId, "1001");
    EXPECT_EQ(record.domain, "campus.example");
    EXPECT_EQ(record.area, "0571");
    EXPECT_EQ(record.wlanuserip, "10.8.0.2");
    EXPECT_EQ(record.wlanusermac, "02-00-0a-08-00-02");
    EXPECT_EQ(record.wlancip, "10.8.0.1");
    EXPECT_EQ(record.m_strServersIPv4, "10.9.9.1,10.9.9.2");
    EXPECT_THAT(portal.host.messages, Contains("InfoCenter SetValue <key>schoolId</key><value>1001</value>"));
    EXPECT_THAT(portal.host.messages, Contains("InfoCenter SetValue <key>authType</key><value></value>"))
        << "itoa hands on its terminating NUL";
    EXPECT_THAT(portal.host.messages, Contains(HasSubstr("<key>FUN_StatsInfor</key><value>&lt;StatsInfor")));
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("schoolId"), "1001");
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("tickUrl"), record.strTickUrl);
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("serverCluster"), "")
        << "the settings keep the list of the configuration before";
}

TEST(Discovery, SchoolHeadersCountOnlyTogether) {
    Scenario scenario;
    scenario.area = "";
    PortalFixture portal(scenario);
    ASSERT_EQ(portal.engine.CheckNetEnv(), 1);
    EXPECT_EQ(portal.Record().schoolId, "");
    EXPECT_EQ(portal.Record().domain, "");
}

TEST(Discovery, AnOpenNetworkIsNoFailure) {
    Scenario scenario;
    scenario.portal = false;
    PortalFixture portal(scenario);
    EXPECT_EQ(portal.engine.RequestConfig(1), 0);
    EXPECT_THAT(portal.host.reports, IsEmpty());
}

TEST(Discovery, ReportsAFailedProbeOnlyWhenAsked) {
    PortalFixture portal;
    portal.sim.Stop();
    EXPECT_EQ(portal.engine.RequestConfig(0), -1);
    EXPECT_THAT(portal.host.reports, IsEmpty());
    EXPECT_EQ(portal.engine.RequestConfig(1), -1);
    EXPECT_THAT(portal.host.reports,
                ElementsAre(Report{State::ES_NONE, State::ES_PRECONNECTFAIL, 150101, "-4", "HttpError"}));
}

TEST(Discovery, MovesThePortalPageToAnotherServerOfTheCluster) {
    PortalFixture portal({}, "<serverCluster>portal-a.invalid,portal-b.invalid</serverCluster>");
    CAutoString url = "http://old.example:8080/index.cgi?back=http://old.example:8080/";
    ASSERT_EQ(portal.engine.GetNewServerIP(url), 1);
    const bool tookA = url.Find("portal-a") >= 0;
    EXPECT_EQ(url.GetText(), std::string("http://portal-") + (tookA ? "a" : "b") +
                                 ".invalid/index.cgi?back=http://portal-" + (tookA ? "a" : "b") +
                                 ".invalid/");
    ASSERT_EQ(portal.engine.GetNewServerIP(url), 1);
    EXPECT_THAT(url.GetText(), HasSubstr(tookA ? "portal-b" : "portal-a"));
    EXPECT_EQ(portal.engine.GetNewServerIP(url), 0) << "every server is chosen once";
    CAutoString noAddress = "ftp://x/";
    EXPECT_EQ(portal.engine.GetNewServerIP(noAddress), 0);
}

TEST(Discovery, RecoversOnlyWithAMarker) {
    PortalFixture without;
    EXPECT_EQ(without.engine.DisasterRecovery(""), 0);
    PortalFixture with({}, "<disasterUrl>Recovery.Example</disasterUrl>");
    EXPECT_EQ(with.engine.DisasterRecovery("http://RECOVERY.example/"), 1);
    EXPECT_EQ(with.engine.DisasterRecovery("http://other.example/"), 0);
}

TEST(Publishing, OnlyTheProgramsOwnEmptyTextIsSkipped) {
    PortalFixture portal;
    portal.engine.SendData("a", nullptr);
    portal.engine.SendData("b", CAutoString());
    EXPECT_THAT(portal.host.messages, ElementsAre("InfoCenter SetValue <key>b</key><value></value>"));
}

TEST(Ticket, IsAskedForAndPublished) {
    PortalFixture portal;
    ASSERT_EQ(portal.engine.RequestConfig(0), 1);
    ASSERT_EQ(portal.engine.RequestTicket(), 1);
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    EXPECT_THAT(portal.host.reports,
                ElementsAre(Report{State::ES_PRECONNECTING, State::ES_PRECONNECTING, 30000103, "", ""},
                            Report{State::ES_PRECONNECTING, State::ES_PRECONNECTING, 30000102, "", ""},
                            Report{State::ES_PRECONNECTING, State::ES_PRECONNECTED, 0, "", ""}));
    const std::string ticket = portal.Record().strTicket.GetText();
    ASSERT_FALSE(ticket.empty());
    EXPECT_THAT(portal.host.messages,
                Contains("Portal TicketResp <ticket>" + ticket +
                         "</ticket><hostname>desk</hostname><qr>ravo://" + ticket + "@desk</qr>"));
    EXPECT_EQ(portal.Record().expire, 600);
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("ticket").GetText(), ticket);
    EXPECT_THAT(
        ElementNames(portal.sim.Requests(Endpoint::Ticket).at(0)),
        ElementsAre("ostag", "local-time", "mac", "ipv6", "ipv4", "client-id", "user-agent", "host-name"));
}

TEST(Ticket, WithoutAConfigurationOneIsFetched) {
    PortalFixture portal;
    EXPECT_EQ(portal.engine.RequestTicket(), 1);
    portal.sim.Change([](Scenario& scenario) { scenario.portal = false; });
    PortalFixture open;
    open.sim.Change([](Scenario& scenario) { scenario.portal = false; });
    EXPECT_EQ(open.engine.RequestTicket(), -1);
    EXPECT_THAT(open.host.reports,
                ElementsAre(Report{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 20010003, "", ""}));
}

TEST(Ticket, NeedsAnAddress) {
    PortalFixture portal;
    ASSERT_EQ(portal.engine.RequestConfig(0), 1);
    portal.host.addressResult = -1;
    EXPECT_EQ(portal.engine.RequestTicket(), -3);
    EXPECT_EQ(portal.host.reports.back(),
              (Report{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 150107, "", ""}));
}

TEST(Ticket, AFailedConnectionMovesToAnotherServer) {
    PortalFixture portal({}, "<serverCluster>127.0.0.1:1,</serverCluster>");
    ASSERT_EQ(portal.engine.RequestConfig(0), -1) << "the only server of the list does not answer";
    portal.Record().strTickUrl = "http://127.0.0.1:1/ticket";
    EXPECT_EQ(portal.engine.RequestTicket(), -1);
    EXPECT_EQ(portal.host.reports.back(),
              (Report{State::ES_NONE, State::ES_PRECONNECTING, 150103, "-4", "HttpError"}));
}

TEST(Ticket, AServerOfTheListTakesOver) {
    PortalFixture portal;
    portal.GetReady();
    portal.Record().strTickUrl = "http://127.0.0.1:1/ticket";
    portal.Record().m_strServersIPv4 = portal.sim.Server().c_str();
    portal.engine.ReloadServerLists();
    EXPECT_EQ(portal.engine.RequestTicket(), -99);
    EXPECT_EQ(portal.Record().strTickUrl.GetText(), "http://" + portal.sim.Server() + "/ticket");
    EXPECT_EQ(portal.engine.RequestTicket(), 1);
}

// What one scripted answer makes of a request: the operation's result and the last report.
struct Outcome {
    const char* what;
    Answer answer;
    int result;
    std::vector<Report> reports;
};

TEST(Ticket, EachFailureIsReported) {
    const Outcome kRows[] = {
        {"portal error",
         Answer::Error(7, {{"Sub-Error", " 42 "}}),
         -1,
         {{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 140007, "42", ""}}},
        {"version limit",
         Answer::Error(3, {{"Sub-Error", "9"}}),
         -1,
         {{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 140003, "9", ""}}},
        {"intercepted", OfKind(Answer::Kind::Redirect), -8, {}},
        {"unreadable",
         OfKind(Answer::Kind::Garbage),
         -7,
         {{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 150003, "", ""}}},
    };
    for (const Outcome& row : kRows) {
        SCOPED_TRACE(row.what);
        PortalFixture portal;
        ASSERT_EQ(portal.engine.RequestConfig(0), 1);
        portal.sim.AnswerNext(Endpoint::Ticket, row.answer);
        EXPECT_EQ(portal.engine.RequestTicket(), row.result);
        const std::vector<Report> reports = portal.TakeReports();
        ASSERT_EQ(reports.size(), 2 + row.reports.size());
        EXPECT_TRUE(std::equal(row.reports.begin(), row.reports.end(), reports.begin() + 2))
            << testing::PrintToString(reports);
        EXPECT_EQ(portal.host.changesToUnknown, row.result == -8 ? 1 : 0);
    }
}

TEST(RequestEngine, ReplacesTheAlgorithmModuleWhenThePortalAsks) {
    PortalFixture portal;
    ASSERT_EQ(portal.engine.RequestConfig(0), 1);
    portal.sim.AnswerNext(Endpoint::Ticket, Answer::Module(SecondModule()));
    EXPECT_EQ(portal.engine.RequestTicket(), 2);
    EXPECT_EQ(portal.engine.RequestTicket(), 1);
    const std::vector<Request> requests = portal.sim.Requests(Endpoint::Ticket);
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].Header("algo-id"), sample::FirstVersion().algorithmId);
    EXPECT_EQ(requests[1].Header("algo-id"), sample::SecondVersion().algorithmId);
    EXPECT_THAT(portal.host.reports,
                Contains(Report{State::ES_PRECONNECTING, State::ES_PRECONNECTING, 30000105, "", ""}));
}

TEST(RequestEngine, GivesUpWhenTheModuleCannotBeStoredTwice) {
    PortalFixture portal;
    portal.GetReady();
    const FileSizeLimit limit(256 * 1024);
    const std::string tooLarge(1024 * 1024, 'x');
    portal.sim.AnswerNext(Endpoint::Login, Answer::Module(tooLarge));
    portal.sim.AnswerNext(Endpoint::Login, Answer::Module(tooLarge));
    EXPECT_EQ(portal.engine.Connect(PortalFixture::LoginEnvelope("a", "b")), -1);
    EXPECT_EQ(portal.sim.Requests(Endpoint::Login).size(), 2u);
    EXPECT_EQ(portal.host.reports.back(),
              (Report{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150003, "", ""}));
}

TEST(RequestEngine, TriesTwiceWhileTheConnectionFails) {
    PortalFixture portal;
    portal.GetReady();
    portal.sim.AnswerNext(Endpoint::State, OfKind(Answer::Kind::Drop));
    EXPECT_EQ(portal.engine.CheckConnectState(1), 0) << "the second attempt: not logged in";
    EXPECT_EQ(portal.sim.Requests(Endpoint::State).size(), 2u);
}

TEST(Login, SendsAccountAndPasswordAndReportsTheLogin) {
    PortalFixture portal;
    portal.GetReady();
    portal.sim.Change([](Scenario& scenario) { scenario.password = "p&w"; });
    EXPECT_EQ(portal.engine.Connect(PortalFixture::LoginEnvelope(" 13800000001 ", "p&w")), 1);
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    EXPECT_THAT(portal.host.reports,
                ElementsAre(Report{State::ES_NONE, State::ES_CONNECTING, 0, "", ""},
                            Report{State::ES_CONNECTING, State::ES_CONNECTED, 1, "", ""}));
    EXPECT_THAT(portal.host.messages,
                Contains("Portal SetValue <key>DialAccount</key><value>13800000001</value>"));
    EXPECT_THAT(ElementNames(portal.sim.Requests(Endpoint::Login).at(0)),
                ElementsAre("local-time", "ticket", "passwd", "userid", "client-id", "user-agent"));
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("keepUrl"), portal.Record().strKeepUrl);
    EXPECT_EQ(CInfoCenter::GetInst()->GetLocalValue("keepRetry"), "") << "stored through itoa";
}

TEST(Login, AnEnvelopeThatIsNoXmlIsRefused) {
    PortalFixture portal;
    portal.GetReady();
    EXPECT_EQ(portal.engine.Connect(PortalFixture::LoginEnvelope("a", "</password>")), -1);
    EXPECT_THAT(portal.sim.Requests(Endpoint::Login), IsEmpty());
}

TEST(Login, EachRefusalIsReportedInItsOwnWay) {
    const struct {
        const char* account;
        Outcome outcome;
    } kRows[] = {
        {"13800000001@campus",
         {"telephone number",
          Answer::Error(105, {{"Sub-Error", "2"}}),
          -1,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 140105, "2", ""}}}},
        {"student",
         {"no telephone number",
          Answer::Error(105, {{"Sub-Error", "2"}}),
          -1,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150201, "", ""}}}},
        {"13800000001",
         {"logged in elsewhere",
          Answer::Error(105, {{"Last-Login", "room 12"}}),
          -1,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150200, "room 12", "ConnError"}}}},
        {"student", {"code 14", Answer::Error(14), -1, {}}},
        {"student",
         {"other code",
          Answer::Error(8, {{"Sub-Error", "5"}}),
          -1,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 140008, "5", ""}}}},
        {"student",
         {"no error code but a server tag",
          OfKind(Answer::Kind::Page),
          -8,
          {{State::ES_PRECONNECTING, State::ES_CONNECTFAIL, 150010, "", ""}}}},
        {"student",
         {"unreadable",
          OfKind(Answer::Kind::Garbage),
          -1,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150001, "", ""}}}},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.outcome.what);
        PortalFixture portal;
        portal.GetReady();
        portal.sim.AnswerNext(Endpoint::Login, row.outcome.answer);
        EXPECT_EQ(portal.engine.Connect(PortalFixture::LoginEnvelope(row.account, "x")), row.outcome.result);
        std::vector<Report> expected = {{State::ES_NONE, State::ES_CONNECTING, 0, "", ""}};
        expected.insert(expected.end(), row.outcome.reports.begin(), row.outcome.reports.end());
        EXPECT_EQ(portal.TakeReports(), expected);
    }
}

TEST(Login, AFailedConnectionIsReportedWithItsCode) {
    PortalFixture portal;
    portal.GetReady();
    portal.sim.Stop();
    EXPECT_EQ(portal.engine.Connect(PortalFixture::LoginEnvelope("a", "b")), -1);
    EXPECT_EQ(portal.host.reports.back(),
              (Report{State::ES_NONE, State::ES_CONNECTFAIL, 150102, "-4", "HttpError"}));
}

TEST(Login, AccountNamesTakeTheFormThatThePortalWants) {
    const struct {
        const char* type;
        const char* value;
        const char* before;
        const char* after;
    } kRows[] = {
        {"add-domain", "new", "user@old", "user@new"}, {"add-domain", "new", "user", "user@new"},
        {"add-domain", "", "user", "user@school"},     {"add-domain", "", "user@old", "user@school"},
        {"del-domain", "new", "user@old", "user"},     {"del-domain", "new", "user", "user"},
        {"", "new", " user@old\t", "user@old"},        {"other", "new", "user", "user"},
    };
    PortalFixture portal;
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.type << " " << row.before);
        CAuthConfig& record = portal.Record();
        record.m_strAcountType = row.type;
        record.m_strAcountValue = row.value;
        record.domain = "school";
        record.userName = row.before;
        portal.engine.AccountTran();
        EXPECT_EQ(record.userName, row.after);
    }
}

TEST(Login, PushedServersAreAppliedAndTheFormerOnesComeBackAtTheLogOut) {
    Scenario scenario;
    scenario.dns1 = "10.7.7.1";
    scenario.dns2 = "10.7.7.2";
    PortalFixture portal(scenario);
    portal.LogIn();
    EXPECT_EQ(portal.host.resolver1, "10.7.7.1");
    EXPECT_EQ(portal.host.resolver2, "10.7.7.2");
    ASSERT_EQ(portal.engine.CheckConnectState(1), 1);  // pushes them once more
    EXPECT_EQ(portal.host.resolver1, "10.7.7.1");
    ASSERT_EQ(portal.engine.DisConnect("1"), 1);
    EXPECT_EQ(portal.host.resolver1, "10.1.1.1");
    EXPECT_EQ(portal.host.resolver2, "10.1.1.2");
    ASSERT_EQ(portal.engine.DisConnect("1"), 1);  // nothing is left to write back
    EXPECT_EQ(portal.host.resolver1, "10.1.1.1");
}

TEST(Login, FailsOnlyWhenTheResolverFileMayNotBeWritten) {
    for (const int error : {EACCES, ENOENT}) {
        SCOPED_TRACE(error);
        Scenario scenario;
        scenario.dns1 = "10.7.7.1";
        PortalFixture portal(scenario);
        portal.GetReady();
        portal.host.dnsResult = error;
        const int result = portal.engine.Connect(PortalFixture::LoginEnvelope("13800000001", "secret"));
        EXPECT_EQ(result, error == EACCES ? -1 : 1);
        EXPECT_EQ(portal.host.reports.back().code, error == EACCES ? 150110 : 1);
    }
}

TEST(Login, PushedServersAreReadFromTheDomainConfiguration) {
    PortalFixture portal;
    for (const char* xml : {"", "text", "<other><dns1>10.1.1.9</dns1></other>", "<domain-config/>",
                            "<domain-config><dns1></dns1><dns2/></domain-config>"}) {
        SCOPED_TRACE(xml);
        CAutoString text = xml;
        EXPECT_EQ(portal.engine.SetDNS(text), -1);
        EXPECT_EQ(portal.host.resolver1, "10.1.1.1");
    }
    CAutoString second = "<domain-config><dns2>10.1.1.9</dns2></domain-config>";
    EXPECT_EQ(portal.engine.SetDNS(second), 0);
    EXPECT_EQ(portal.host.resolver2, "10.1.1.9");
}

TEST(Pulse, TakesTheIntervalAndSendsTheTicket) {
    Scenario scenario;
    scenario.pulseSeconds = 45;
    PortalFixture portal(scenario);
    portal.LogIn();
    EXPECT_EQ(portal.engine.KeepPluse(), 1);
    EXPECT_EQ(portal.Record().iInterval, 45);
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    EXPECT_THAT(ElementNames(portal.sim.Requests(Endpoint::Pulse).at(0)),
                ElementsAre("local-time", "mac", "ipv6", "ipv4", "ticket", "client-id", "user-agent"));
    portal.Record().checkResult = 1;
    EXPECT_EQ(portal.engine.KeepPluse(), 1);
    EXPECT_EQ(portal.sim.Requests(Endpoint::Pulse).at(1).Element("shared"), "1");
}

TEST(Pulse, TheSettingsOverrideTheInterval) {
    PortalFixture portal({}, "<plusInterval>12</plusInterval><plusFlag>1</plusFlag>");
    portal.LogIn();
    EXPECT_EQ(portal.engine.KeepPluse(), 1);
    EXPECT_EQ(portal.Record().iInterval, 12);
}

TEST(Pulse, ANewLoginToleratesOneFailureMoreThanAStandingOne) {
    PortalFixture portal;  // the portal asks for two retries
    portal.LogIn();
    const auto failuresUntilTheEnd = [&portal] {
        int failures = 1;
        portal.sim.AnswerNext(Endpoint::Pulse, Answer::Error(8, {{"Sub-Error", "1"}}));
        while (portal.engine.KeepPluse() == 0 && failures < 10) {
            ++failures;
            portal.sim.AnswerNext(Endpoint::Pulse, Answer::Error(8, {{"Sub-Error", "1"}}));
        }
        return failures;
    };
    EXPECT_EQ(failuresUntilTheEnd(), 3 + 1);
    EXPECT_THAT(portal.TakeReports(),
                ElementsAre(Report{State::ES_CONNECTING, State::ES_CONNECTFAIL, 140008, "1", ""},
                            Report{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150108, "", ""}));
    ASSERT_EQ(portal.engine.KeepPluse(), 1);
    EXPECT_EQ(failuresUntilTheEnd(), 2 + 1);
}

TEST(Pulse, TellsTheEndOfALoginFromAFailure) {
    const struct {
        Outcome outcome;
        std::vector<std::string> disconnects;
    } kRows[] = {
        {{"code 14", Answer::Error(14), -14, {{State::ES_CONNECTED, State::ES_DISCONNECTED, 14, "", ""}}},
         {}},
        {{"version limit",
          Answer::Error(3),
          -1,
          {{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 140003, "", ""}}},
         {}},
        {{"intercepted",
          OfKind(Answer::Kind::Redirect),
          0,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150108, "", ""}}},
         {"4"}},
        {{"ordinary page",
          OfKind(Answer::Kind::Page),
          0,
          {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 150108, "", ""}}},
         {"4"}},
        {{"unreadable", OfKind(Answer::Kind::Garbage), 0, {}}, {}},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.outcome.what);
        PortalFixture portal;
        portal.LogIn();
        portal.sim.AnswerNext(Endpoint::Pulse, row.outcome.answer);
        EXPECT_EQ(portal.engine.KeepPluse(), row.outcome.result);
        EXPECT_EQ(portal.TakeReports(), row.outcome.reports);
        EXPECT_EQ(portal.host.disconnects, row.disconnects);
    }
}

TEST(Pulse, NeedsAnAddressOfThePortal) {
    PortalFixture portal;
    EXPECT_EQ(portal.engine.KeepPluse(), -1);
}

TEST(StateCheck, FindsOutWhetherTheLoginStands) {
    PortalFixture portal;
    portal.GetReady();
    EXPECT_EQ(portal.engine.CheckConnectState(1), 0);
    EXPECT_THAT(portal.TakeReports(), IsEmpty());
    portal.sim.KnowTicket(portal.Record().strTicket.GetText(), true);
    EXPECT_EQ(portal.engine.CheckConnectState(1), 1);
    EXPECT_THAT(portal.TakeReports(),
                ElementsAre(Report{State::ES_CONNECTING, State::ES_CONNECTED, 1, "", ""}));
    EXPECT_FALSE(portal.Record().strKeepUrl.IsEmpty());
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    EXPECT_THAT(ElementNames(portal.sim.Requests(Endpoint::State).at(0)),
                ElementsAre("local-time", "ticket", "client-id", "user-agent"));
}

TEST(StateCheck, JudgesEachAnswer) {
    const Outcome kRows[] = {
        {"undecided", Answer::Error(301), 0, {}},
        {"login gone",
         Answer::Error(14),
         -14,
         {{State::ES_CONNECTED, State::ES_CONNECTFAIL, 20010004, "", ""}}},
        {"other code", Answer::Error(8), -14, {}},
        {"version limit",
         Answer::Error(3),
         -1,
         {{State::ES_PRECONNECTING, State::ES_PRECONNECTFAIL, 140003, "", ""}}},
        {"intercepted", OfKind(Answer::Kind::Redirect), 0, {}},
        {"unreadable, but the login stands",
         OfKind(Answer::Kind::Garbage),
         1,
         {{State::ES_CONNECTING, State::ES_CONNECTED, 1, "", ""}}},
    };
    for (const Outcome& row : kRows) {
        SCOPED_TRACE(row.what);
        PortalFixture portal;
        portal.LogIn();
        portal.sim.AnswerNext(Endpoint::State, row.answer);
        EXPECT_EQ(portal.engine.CheckConnectState(1), row.result);
        EXPECT_EQ(portal.TakeReports(), row.reports);
    }
}

TEST(LogOut, SendsTheReasonAndEndsTheLogin) {
    PortalFixture portal;
    portal.LogIn();
    EXPECT_EQ(portal.engine.DisConnect(CAutoString("3")), 1);
    EXPECT_EQ(portal.sim.Requests(Endpoint::Term).at(0).Element("reason"), "3");
    EXPECT_EQ(portal.sim.LoggedInTicket(), "");
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
    EXPECT_THAT(portal.TakeReports(),
                ElementsAre(Report{State::ES_DISCONNECTING, State::ES_DISCONNECTED, 1, "", ""}));
}

TEST(LogOut, JudgesEachAnswer) {
    const Outcome kRows[] = {
        {"largest code",
         Answer::Error(2147483647),
         -1,
         {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 2147483647, "", ""}}},
        {"already logged out",
         Answer::Error(13),
         1,
         {{State::ES_DISCONNECTING, State::ES_DISCONNECTED, 1, "", ""}}},
        {"login gone", Answer::Error(14), 1, {{State::ES_DISCONNECTING, State::ES_DISCONNECTED, 1, "", ""}}},
        {"other code",
         Answer::Error(8, {{"Sub-Error", "5"}}),
         -1,
         {{State::ES_CONNECTING, State::ES_CONNECTFAIL, 140008, "5", ""}}},
        {"intercepted",
         OfKind(Answer::Kind::Redirect),
         -8,
         {{State::ES_CONNECTED, State::ES_DISCONNECTFAIL, 150010, "", ""}}},
    };
    for (const Outcome& row : kRows) {
        SCOPED_TRACE(row.what);
        PortalFixture portal;
        portal.LogIn();
        portal.sim.AnswerNext(Endpoint::Term, row.answer);
        const int result = portal.engine.DisConnect(CAutoString("1"));
        EXPECT_EQ(result, row.result);
        const std::vector<Report> reports = portal.TakeReports();
        EXPECT_EQ(reports, row.result == -8 ? std::vector<Report>() : row.reports);
    }
}

TEST(LogOut, AFailedConnectionStaysSilent) {
    PortalFixture portal;
    portal.LogIn();
    portal.sim.Stop();
    EXPECT_EQ(portal.engine.DisConnect(CAutoString("1")), -1);
    EXPECT_THAT(portal.host.reports, IsEmpty());
}

TEST(LogOut, OutsideAPortalNetworkTheRequestIsSentAllTheSame) {
    PortalFixture portal;
    portal.LogIn();
    portal.host.portalEnv = 0;
    EXPECT_EQ(portal.engine.DisConnect(CAutoString("5")), 0);
    EXPECT_EQ(portal.sim.Requests(Endpoint::Term).size(), 1u);
    EXPECT_THAT(portal.host.reports, IsEmpty());
}

TEST(LogOut, AtShutdownOnlyARecordedLoginIsEnded) {
    PortalFixture forgotten;
    forgotten.LogIn();
    forgotten.engine.Destroy();
    EXPECT_THAT(forgotten.sim.Requests(Endpoint::Term), IsEmpty()) << "the record of a login is stored empty";
    PortalFixture recorded({}, "<connState>1</connState><termUrl>http://127.0.0.1:1/term</termUrl>");
    EXPECT_EQ(recorded.engine.GetConnCfg(), 1);
    recorded.engine.Destroy();
    EXPECT_EQ(recorded.engine.GetConnCfg(), 1) << "the portal could not be reached";
}

TEST(Terminals, AreListedAndLoggedOut) {
    Scenario scenario;
    scenario.terminals = {{"phone 50%", "ticket-of-phone"}};
    PortalFixture portal(scenario);
    portal.LogIn();
    CAutoString data;
    ASSERT_EQ(portal.engine.TerminalRequestData(data), 1);
    EXPECT_THAT(data.GetText(), testing::StartsWith("<response>"));
    EXPECT_THAT(data.GetText(), HasSubstr("phone 50 "));
    EXPECT_THAT(data.GetText(), Not(HasSubstr("%")));
    EXPECT_EQ(portal.engine.TerminalTermRequest("ticket-of-phone"), 1);
    EXPECT_EQ(portal.sim.Requests(Endpoint::Term).at(0).Element("reason"), "8");
    portal.sim.AnswerNext(Endpoint::Query, Answer::Error(8));
    EXPECT_EQ(portal.engine.TerminalRequestData(data), 0);
    EXPECT_THAT(portal.sim.Complaints(), IsEmpty());
}

TEST(Reports, StepsOfANewAttemptDoNotPullAStandingLoginBack) {
    PortalFixture portal;
    portal.engine.NetStateChange(State::ES_CONNECTING, State::ES_CONNECTED, 1, "");
    portal.engine.NetStateChange(State::ES_PRECONNECTING, State::ES_PRECONNECTING, 30000103, "");
    EXPECT_EQ(portal.engine.GetNetState(), State::ES_CONNECTED);
    EXPECT_EQ(portal.TakeReports().size(), 1u);
    portal.engine.NetStateChange(State::ES_CONNECTED, State::ES_DISCONNECTFAIL, 150010, "");
    EXPECT_EQ(portal.engine.GetNetState(), State::ES_DISCONNECTFAIL);
    EXPECT_THAT(portal.TakeReports(), IsEmpty()) << "this state is taken, not posted";
}

TEST(Reports, TheLastOneIsRepeatedInItsOwnForm) {
    PortalFixture portal;
    portal.engine.PostLastNetStateMessage();
    EXPECT_THAT(portal.TakeReports(), IsEmpty());
    portal.engine.NetStateChange(State::ES_CONNECTING, State::ES_CONNECTFAIL, 140105, "2");
    portal.engine.PostLastNetStateMessage();
    std::vector<Report> reports = portal.TakeReports();
    EXPECT_EQ(reports.at(0), reports.at(1));
    portal.engine.PostError(State::ES_CONNECTFAIL, 150102, static_cast<unsigned long>(-4), 1);
    portal.engine.PostLastNetStateMessage();
    reports = portal.TakeReports();
    EXPECT_EQ(reports.at(0), reports.at(1));
    EXPECT_EQ(reports.at(1).subType, "HttpError");
}

TEST(Settings, OfAnEarlierRunAreTheFirstDefaults) {
    PortalFixture portal({},
                         "<ticket>T</ticket><stateUrl>s</stateUrl><keepRetry>4</keepRetry>"
                         "<wlanacip>10.3.3.3</wlanacip><defaultAuth>0</defaultAuth>"
                         "<serverCluster6>2001:db8::1,</serverCluster6>");
    const CAuthConfig& record = portal.Record();
    EXPECT_EQ(record.strTicket, "T");
    EXPECT_EQ(record.strStateUrl, "s");
    EXPECT_EQ(record.iKeepRetry, 4);
    EXPECT_EQ(record.wlancip, "10.3.3.3");
    EXPECT_EQ(record.nDefaultAuth, 1);
    EXPECT_EQ(record.strUserAgent, "RAVO/Linux64/1.0");
    portal.Record().m_afType = 10;
    portal.engine.SetServerIp();
    EXPECT_EQ(record.strUserAgent, "RAVO/LinuxIpv664/1.0");
}

}  // namespace
