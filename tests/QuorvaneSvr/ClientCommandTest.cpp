#include "ClientCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "PortalFixture.h"
#include "PortalServer.h"
#include "Sandbox.h"
#include "Server.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

using namespace portal_sim;

namespace {

constexpr int kGoesOn = 42;  // of a process that the client did not end

std::string State(int state, const std::string& more = "") {
    return "<M><OpC>NetStateMessageResp</OpC><P><newState>" + std::to_string(state) + "</newState>" + more +
           "</P></M>";
}

// Shows the messages to the client and ends the process, unless the client does. The output goes to standard
// error, where the test looks.
void Show(const std::vector<std::string>& messages) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    for (const std::string& message : messages) {
        CClientCommand::GetInst()->DoMessage(message);
    }
    (void)fflush(stdout);
    _exit(kGoesOn);
}

// Logs in, hears once more that a login is possible, and ends the process with whether only one was sent.
void LogInOnTheConsole() {
    Scenario scenario;
    scenario.password = "p&w";
    PortalFixture portal(scenario);
    CServer server;
    CPortalServer& service = *CPortalServer::GetInst();
    service.SetInfoCenter(CInfoCenter::GetInst());
    service.InitService(&server);
    CClientCommand& client = *CClientCommand::GetInst();
    client.SetUserInfo(scenario.account, "p&amp;w");
    client.Start();
    bool isOnce = WaitUntil([&] { return !portal.sim.LoggedInTicket().empty(); });
    client.DoMessage(State(31));
    CXMLOpt behindIt;  // queued at the level of a login
    service.TerminalRequest("client", behindIt);
    isOnce = isOnce && portal.sim.WaitForRequest(Endpoint::Query) &&
             portal.sim.Requests(Endpoint::Login).size() == 1;
    _exit(isOnce ? kGoesOn : 1);
}

}  // namespace

TEST(ClientCommand, SendsTheCredentialsOnceAndAsTyped) {
    SKIP_OUTSIDE_SANDBOX();
    const TemporaryFolder folder;  // removes what the process leaves behind
    setenv("TMPDIR", folder.Path().c_str(), 1);
    EXPECT_EXIT(LogInOnTheConsole(), testing::ExitedWithCode(kGoesOn), "");
    unsetenv("TMPDIR");
}

TEST(ClientCommand, PrintsOutcomesAndEndsTheProcess) {
    const std::string failure = "<ErrorCode>140105</ErrorCode><subErrCode>%s11</subErrCode>";
    const std::string prompt = "If you want go to offline, Please enter [y]:\n";
    const std::string offline = State(12);
    const struct {
        const char* what;
        std::vector<std::string> messages;
        std::string output;
        int status;
    } rows[] = {
        {"login failed",
         {State(3, failure), State(2)},
         "login fail, the error is 140105, subcode is %s11\n",
         0},
        {"without a code", {State(3)}, "login fail, the error is 0, subcode is \n", 0},
        {"connected, twice, then disconnected", {State(2), State(2), offline}, prompt, 0},
        {"other states", {State(33), State(0), State(1), State(13), State(77)}, "", kGoesOn},
        {"other messages", {"<M><OpC>SetValue</OpC><P><newState>3</newState></P></M>", "", "<"}, "", kGoesOn},
        {"any target and root",
         {"<X><OpT>Other</OpT>" + offline.substr(3, offline.size() - 7) + "</X>"},
         "",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EXIT(Show(row.messages), testing::ExitedWithCode(row.status), testing::Eq(row.output));
    }
}
