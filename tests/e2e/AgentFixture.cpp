#include "AgentFixture.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>

#include <iostream>
#include <thread>

namespace {

constexpr char kAccountFile[] = "account";
constexpr char kSocket[] = "agent.sock";
constexpr auto kStartTime = std::chrono::seconds(10);

}  // namespace

void AgentTest::TearDown() {
    if (HasFailure() && agent) {
        std::cout << agent->Output() << "\n";
    }
    agent.reset();
    ServiceTest::TearDown();
}

void AgentTest::WriteAccount(const std::string& account, const std::string& password) {
    folder.Write("account.new", account + "\n" + password + "\n");
    ASSERT_EQ(chmod("account.new", 0600), 0);
    ASSERT_EQ(rename("account.new", kAccountFile), 0);
}

// A socket belongs to the network in which it was made, whoever accepts its connections.
void AgentTest::PortalMovesToTheLink() {
    portal.Stop();
    std::thread([this] {
        const Descriptor peer(open(getenv("QUORVANE_SANDBOX_PEER"), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(setns(peer.Get(), CLONE_NEWNET), 0);
        ASSERT_TRUE(portal.Start(kSandboxPeerAddress));
    }).join();
    WriteSettings("");
}

void AgentTest::StartAgent(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--dir", folder.Path(), "--account-file", kAccountFile});
    agent = std::make_unique<ServiceProcess>(arguments, QUORVANE_AGENT);
    ASSERT_TRUE(WaitUntil([] { return SocketClient(kSocket).IsConnected(); }, kStartTime));
}

void AgentTest::GoOnline() {
    WriteAccount(defaults.account, defaults.password);
    service = std::make_unique<ServiceProcess>();
    StartAgent();
    ExpectState("online");
}

JsonOwner AgentTest::Ask(const std::string& request) {
    return SocketClient(kSocket).Ask(request);
}

std::string AgentTest::State() {
    return TextOf(Ask(R"({"op":"status"})").get(), "state");
}

void AgentTest::ExpectState(const std::string& state, std::chrono::milliseconds deadline) {
    EXPECT_TRUE(WaitUntil([&] { return State() == state; }, deadline))
        << "is " << State() << ", not " << state;
}

void AgentTest::ExpectPulses(size_t count) {
    ExpectRequest(Endpoint::Pulse, Count(Endpoint::Pulse) + count);
}
