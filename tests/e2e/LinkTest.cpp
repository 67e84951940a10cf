// Front ends that come and go, and what they ask for besides the login.
#include <fstream>

#include "RunProgram.h"
#include "ServiceFixture.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// With each kind of message engine.
struct Link : ServiceTest, testing::WithParamInterface<bool> {
    Link() {
        messageEngine = GetParam() ? "waiting" : "";
        WriteSettings("");
    }
};
INSTANTIATE_TEST_SUITE_P(Waiting, Link, testing::Bool());

const StateReport kPresentState = {INetConn::ES_NONE, INetConn::ES_PRECONNECTED, StateCode::kTicketObtained};

}  // namespace

TEST_P(Link, LoginSurvivesAFrontEndThatDiesAndReturns) {
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

TEST_P(Link, UsesLessThanHalfAPercentOfAProcessorWhenItWaits) {
    LogIn();
    const auto isQuiet = [&] {
        const auto limit = service->ProcessorTime() + std::chrono::milliseconds(10);
        return !WaitUntil([&] { return service->ProcessorTime() > limit; }, std::chrono::seconds(2));
    };
    EXPECT_EQ(WaitUntil(isQuiet, std::chrono::seconds(GetParam() ? 10 : 1)), GetParam());
}

TEST_P(Link, TerminalsAreListedAndLoggedOut) {
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

    PortalAnswers(Endpoint::Term, Answer::Error(42));
    EXPECT_TRUE(frontEnd->TerminalLogout("T-78"));
    EXPECT_EQ(ExpectMessage(ClientReport::kTerminalTerm).Parameter("code"),
              std::to_string(PortalResult::kPortalError));
}

TEST_P(Link, CommandsThatTheServiceRunsGetNothingOfIts) {
    LogIn();
    // The files without O_CLOEXEC in their flags. libcurl has a pair of its own while a request runs.
    const std::string search =
        "cd /proc/" + std::to_string(service->Pid()) + "/fdinfo && grep -L '^flags:.02......$' *";
    std::string inherited;
    EXPECT_TRUE(
        WaitUntil([&] { return RunProgram(search, inherited) == 0 && inherited == "0\n1\n2\n"; }, kSoon))
        << inherited;
}

TEST_P(Link, MessagesThatNobodyUnderstandsAreDropped) {
    StartService();
    const auto write = [](const std::string& bytes) { std::ofstream("clientpipe") << bytes; };
    std::string written;
    for (const std::string text :
         {"", "<M>", "no markup", "<M><OpT>Nobody</OpT><OpC>ClientStart</OpC></M>",
          "<M><OpT>Portal</OpT><OpC>%s%n</OpC></M>", "<M><OpT>Portal</OpT><OpC>PortalDisConnect</OpC></M>",
          "<any><OpT>Portal</OpT><OpC>ClientStart</OpC></any>"}) {
        written += text + '\0';
    }
    write(written + "<M>the rest of this is lost");
    ExpectMessage(ClientReport::kStartComplete);  // the root's name does not matter
    FrontEndAsks(ClientOperation::kCheckEnvironment);
    ExpectReport(kReady);
    write("<M><OpT>portal</OpT><OpC>PortalConnect</OpC></M>" + std::string(1, '\0'));
    FrontEndAsks(ClientOperation::kTerminalData);
    ExpectRequest(Endpoint::Query);
    EXPECT_TRUE(portal.Requests(Endpoint::Login).empty()) << "was for somebody else";
    EXPECT_THAT(Log(),
                AllOf(HasSubstr(" <M><OpT>Portal</OpT><OpC>%s%n</OpC></M>\n"), Not(HasSubstr("no markup"))));
}
