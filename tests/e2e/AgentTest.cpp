// A machine that stays online with nobody at the keyboard: the agent between the real service and the portal.
#include <csignal>
#include <filesystem>

#include "AgentFixture.h"
#include "RunProgram.h"

using testing::HasSubstr;
using testing::Not;

namespace {

using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr auto kCableOut = seconds(12);
constexpr auto kPortalGone = seconds(60);
constexpr auto kBackOnline = seconds(15);
constexpr auto kStalled = seconds(60);
constexpr char kAtThePeer[] = "nsenter --net=\"$QUORVANE_SANDBOX_PEER\" ";

class Agent : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        PortalIs([](Scenario& scenario) { scenario.pulseSeconds = 1; });
    }
    void TearDown() override {
        AgentTest::TearDown();
        Shell(std::string(kAtThePeer) + "ip link set portal0 up");
        RestoreLinks();
    }
    // What nobody asks the portal for while a login stands.
    size_t RequestsButPulses() const {
        size_t count = 0;
        for (const auto& row : portal_sim::kEndpoints) {
            count += row.endpoint == Endpoint::Pulse ? 0 : Count(row.endpoint);
        }
        return count;
    }
};

}  // namespace

TEST_F(Agent, ComesBackOnlineWhenTheCableDoes) {
    SKIP_OUTSIDE_SANDBOX();
    constexpr unsigned kPulseSeconds = 2;
    PortalIs([](Scenario& scenario) {
        scenario.pulseSeconds = kPulseSeconds;
        scenario.pulseRetries = 0;
    });
    PortalMovesToTheLink();
    GoOnline();
    ExpectPulses(1);
    // An exchange that is cut in the middle is waited for, longer than the cable is out.
    ASSERT_TRUE(WaitUntil([] { return Shell("! ss --no-header --tcp state established | grep -q ."); }));
    ASSERT_TRUE(Shell(std::string(kAtThePeer) + "ip link set portal0 down"));
    const auto plugged = Clock::now() + kCableOut;
    EXPECT_TRUE(WaitUntil([&] { return State() != "online"; }, kCableOut));
    std::this_thread::sleep_until(plugged);  // so long somebody holds the cable in the hand
    const size_t logins = Count(Endpoint::Login);
    ASSERT_TRUE(Shell(std::string(kAtThePeer) + "ip link set portal0 up"));
    ExpectState("online", seconds(2 * kPulseSeconds) + kBackOnline);
    EXPECT_EQ(Count(Endpoint::Login), logins + 1);
}

TEST_F(Agent, AsksAPortalThatIsGoneLessAndLessOften) {
    GoOnline();
    constexpr int kPlenty = 100;
    PortalAnswers(Endpoint::Probe, kDrop, kPlenty);
    PortalAnswers(Endpoint::Pulse, kRedirect);
    ExpectState("no-portal");
    // After the loss and pauses of 5, 10, 20 and 40 s; the service asks a few times in each try.
    const auto asksMeanwhile = [&] {
        const size_t before = Count(Endpoint::Probe);
        const auto end = Clock::now() + kPortalGone / 2;
        (void)WaitUntil([&] { return Clock::now() > end; }, kPortalGone);
        return Count(Endpoint::Probe) - before;
    };
    const size_t atFirst = asksMeanwhile();
    EXPECT_GE(atFirst, std::max<size_t>(1, 2 * asksMeanwhile()));
    PortalIs([](Scenario& scenario) { scenario.script.clear(); });
    EXPECT_NE(Ask(R"({"op":"check"})"), nullptr);
    ExpectState("online");
}

TEST_F(Agent, AsksForARefusedAccountOnce) {
    WriteAccount(defaults.account, "wrong");
    service = std::make_unique<ServiceProcess>();
    StartAgent();
    ExpectState("refused");
    WriteAccount(defaults.account, defaults.password);
    ExpectState("online");
    EXPECT_EQ(Count(Endpoint::Login), 2U);
}

TEST_F(Agent, SurvivesTheEndOfTheServiceAndItsOwn) {
    GoOnline();
    kill(service->Pid(), SIGKILL);
    ExpectState("service-gone");
    service = std::make_unique<ServiceProcess>();
    ExpectState("online", kBackOnline);
    const size_t logins = Count(Endpoint::Login);

    kill(agent->Pid(), SIGKILL);
    ExpectPulses(1);
    const size_t requests = RequestsButPulses();
    StartAgent();
    ExpectState("online", kBackOnline);
    ExpectPulses(2);
    EXPECT_EQ(RequestsButPulses(), requests) << "a standing login is found without a request";
    EXPECT_EQ(Count(Endpoint::Login), logins);
}

TEST_F(Agent, FollowsTheMachineToAnotherAddress) {
    SKIP_OUTSIDE_SANDBOX();
    GoOnline();
    ASSERT_TRUE(
        Shell("ip address flush dev campus0 scope global; ip address add 192.0.2.77/24 dev campus0;"
              "ip route replace default via 192.0.2.1"));
    EXPECT_TRUE(
        WaitUntil([&] { return portal.Requests(Endpoint::Ticket).back().Element("ipv4") == "192.0.2.77"; },
                  kBackOnline));
    ExpectState("online", kBackOnline);
}

TEST_F(Agent, LeavesAStandingLoginAloneWhateverHappensAroundIt) {
    SKIP_OUTSIDE_SANDBOX();
    GoOnline();
    ExpectPulses(1);
    SocketClient watcher("agent.sock"), stalled("agent.sock"), sender("agent.sock");
    ASSERT_NE(watcher.Ask(R"({"op":"watch"})"), nullptr);
    ASSERT_TRUE(stalled.Send("{\"op\":\"watch\"}\n"));
    const size_t requests = RequestsButPulses();
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(
            Shell("ip link add second type veth peer name third; ip address add 198.51.100.7/32 dev lo;"
                  "ip link del second; ip address del 198.51.100.7/32 dev lo"));
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(State(), "online");
    }
    for (const auto end = Clock::now() + kStalled; Clock::now() < end && !HasFailure();) {
        ExpectPulses(1);
    }
    EXPECT_EQ(RequestsButPulses(), requests);
    for (size_t asked = 1; asked <= 10; ++asked) {
        ASSERT_NE(sender.Ask(R"({"op":"send","opcode":"GetTerminalData","parameters":{}})"), nullptr);
        ExpectRequest(Endpoint::Query, asked);
    }
    for (int reports = 0; reports < 10;) {
        const std::optional<std::string> line = watcher.Line();
        ASSERT_TRUE(line) << "only " << reports << " reports";
        reports += line->find("SetTerminalData") != std::string::npos ? 1 : 0;
    }
}

TEST_F(Agent, LogsOutAlthoughUploadsComeInTheWay) {
    PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 2; });
    GoOnline();
    for (int round = 0; round < 3; ++round) {
        const size_t logouts = Count(Endpoint::Term);
        EXPECT_NE(TextOf(Ask(R"({"op":"logout","timeout":60})").get(), "state"), "");
        ExpectState("ready");
        EXPECT_EQ(Count(Endpoint::Term), logouts + 1);
        EXPECT_EQ(TextOf(Ask(R"({"op":"login"})").get(), "state"), "online");
    }
}

TEST_F(Agent, TakesAnyPasswordAndShowsItNowhere) {
    PortalIs([](Scenario& scenario) { scenario.statisticsInterval = 600; });  // or nobody could log out
    service = std::make_unique<ServiceProcess>();
    StartAgent();
    for (const std::string& password :
         {std::string("a<b"), std::string("a&b;\"'"), std::string(64, 'x'), std::string("密码很长的")}) {
        SCOPED_TRACE(password);
        const size_t logins = Count(Endpoint::Login);
        const std::string account = "1380000000" + std::to_string(logins);
        PortalIs([&](Scenario& scenario) {
            scenario.account = account;
            scenario.password = password;
        });
        WriteAccount(account, password);
        logins % 2 == 1 ? agent.reset(), StartAgent() : void();  // as the installed units do
        EXPECT_TRUE(WaitUntil([&] { return Count(Endpoint::Login) > logins; }, kSoon));
        ExpectState("online");
        folder.Write("password", password);
        std::string found;
        RunProgram(
            "grep -raFlf password Log conf history.jsonl agent.login /proc/[0-9]*/cmdline "
            "/proc/[0-9]*/environ "
            "2>/dev/null",
            found);
        EXPECT_EQ(found, "");
        EXPECT_THAT(agent->Output(), Not(HasSubstr(password)));
    }
}

TEST_F(Agent, ServesTheFrontEndOfTheDocument) {
    std::string found;
    if (RunProgram("command -v python3", found) != 0) {
        GTEST_SKIP() << "needs python3";
    }
    const std::string start = "```python\n";
    std::string program = folder.Read(AGENT_DOCUMENT);
    program.erase(0, program.find(start) + start.size());
    folder.Write("front-end", program.substr(0, program.find("```")));
    service = std::make_unique<ServiceProcess>();
    StartAgent();
    folder.Write("typed", defaults.password + "\n");
    const ServiceProcess frontEndOfOthers(
        {"-c", "exec python3 front-end agent.sock " + defaults.account + " <typed"}, "/bin/sh");
    ExpectState("online");
    EXPECT_TRUE(WaitUntil([&] { return frontEndOfOthers.Output().find(" online\n") != std::string::npos; }));
}

TEST_F(Agent, IsQuietWhenIdle) {
    constexpr double kIdleShare = 0.005;  // of one core
    constexpr int kResidentKilobytes = 20 * 1024;
    constexpr auto kWatched = seconds(10);
    PortalIs([](Scenario& scenario) { scenario.pulseSeconds = 600; });
    GoOnline();
    const auto used = [&] { return service->ProcessorTime() + agent->ProcessorTime(); };
    const auto end = Clock::now() + kWatched;
    const auto before = used();
    (void)WaitUntil([&] { return Clock::now() > end; }, 2 * kWatched);
    const double share = std::chrono::duration<double>(used() - before) / kWatched;
    const long resident = service->ResidentKilobytes() + agent->ResidentKilobytes();
    std::cout << "processor " << share << ", resident " << resident << " kB\n";
    EXPECT_LE(share, kIdleShare);
    EXPECT_LE(resident, QUORVANE_SANITIZED ? resident : kResidentKilobytes);
}
