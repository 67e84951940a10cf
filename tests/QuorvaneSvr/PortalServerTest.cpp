// The work loop of the portal business, with the real threads against the portal simulator.
#include "PortalServer.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "Log.h"
#include "PortalFixture.h"
#include "Sandbox.h"
#include "WaitUntil.h"

using namespace portal_sim;
using testing::HasSubstr;
using testing::Not;

namespace {

struct LogFile {
    LogFile() {
        CLog::GetInst()->Create("", "log", "");
        CLog::GetInst()->SetLevel(DEBUG);
    }
    ~LogFile() { CLog::GetInst()->CloseFile(); }
};

// Before Start nothing runs: what is queued and armed till then is what the work thread and the timer find.
class PortalServer : public testing::Test {
  protected:
    PortalServer() { service.SetInfoCenter(CInfoCenter::GetInst()); }

    void Start() { service.Start("client", nothing); }
    std::string Log() { return portal.folder.Read("log"); }

    PortalFixture portal;
    LogFile logFile;  // closed when the threads of the service have ended
    CXMLOpt nothing;
    CPortalServer service;
};

std::string SecondModule() {
    std::ifstream file(SAMPLE_MODULE_2, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST_F(PortalServer, TerminalDataAskedForTwiceIsFetchedOnce) {
    const std::string fetching = " TerminalRequestData http start\n";
    service.TerminalRequest("client", nothing);
    service.TerminalRequest("client", nothing);
    service.TerminalTermRequest("client", nothing);
    Start();
    ASSERT_TRUE(WaitUntil([&] { return Log().find("TerminalTermRequest DisConnect") != std::string::npos; }));
    const std::string log = Log();
    EXPECT_THAT(log, HasSubstr(fetching));
    EXPECT_EQ(log.find(fetching), log.rfind(fetching));
}

TEST_F(PortalServer, WatchOverAnUnknownNetworkOutlivesEveryOtherTask) {
    service.CheckNetStatus(0);
    service.ChangeToUnknowEnv();
    service.TerminalRequest("client", nothing);
    service.StopAllTask();
    Start();
    EXPECT_TRUE(portal.sim.WaitForRequest(Endpoint::Page));
    EXPECT_THAT(Log(), HasSubstr(" checkUnknowNet\n"));
    EXPECT_THAT(Log(), Not(HasSubstr(" check net status start\n")));
    EXPECT_THAT(Log(), Not(HasSubstr("TerminalRequestData")));
}

TEST_F(PortalServer, LoginIsRepeatedWithTheModuleThatItsAnswerBrings) {
    SKIP_OUTSIDE_SANDBOX();
    CXMLOpt login(PortalFixture::LoginEnvelope(Scenario().account, Scenario().password));
    portal.sim.AnswerNext(Endpoint::Login, Answer::Module(SecondModule()));
    service.CheckNetStatus(0);
    Start();
    ASSERT_TRUE(portal.sim.WaitForRequest(Endpoint::State));
    service.Connect("client", login);
    EXPECT_TRUE(portal.sim.WaitForRequest(Endpoint::Pulse));
    EXPECT_EQ(portal.sim.Requests(Endpoint::Login).size(), 2u);
}
