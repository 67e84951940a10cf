// The real agent as a hostile or clumsy client meets it, with the test as its service.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "FileUtil.h"
#include "History.h"
#include "MessageJson.h"
#include "RunProgram.h"
#include "ServiceProcess.h"
#include "SocketClient.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kOk[] = "{\"ok\":true";
constexpr char kBad[] = R"({"ok":false,"error":"bad-request")";
constexpr char kStatus[] = "{\"op\":\"status\"}\n";
constexpr char kUnended[] = "{\"op\":\"terminals\",\"timeout\":0.1}";
constexpr char kTerminals[] = "{\"op\":\"terminals\"}\n";
constexpr char kListOfOwn[] = "{\"op\":\"send\",\"opcode\":\"GetTerminalData\",\"parameters\":{}}\n";
constexpr char kWatch[] = "{\"op\":\"watch\"}\n";

struct Client : SocketClient {
    Client() : SocketClient("agent.sock") {}
    // The next line; empty at the end.
    std::string NextLine() { return Line().value_or(""); }
    std::string Answer(const std::string& requests) { return Send(requests), NextLine(); }
};

std::string Message(const std::string& opcode, const std::string& parameters) {
    return "<M><OpT>T</OpT><OpC>" + opcode + "</OpC><P>" + parameters + "</P></M>";
}

// The test has the service's ends of the FIFOs.
class AgentServer : public testing::Test {
  protected:
    void SetUp() override {
        folder.Write("history.jsonl", HistoryLine({1, "online", 0, "", ""}) + "\n" +
                                          HistoryLine({2, "ready", 0, "", ""}) + "\n");
        agent = std::make_unique<ServiceProcess>();
        ASSERT_TRUE(WaitUntil([] { return Client().IsConnected(); }));
        ExpectOperation("ClientStart");
    }
    void Report(const std::string& opcode, const std::string& parameters) const {
        const std::string message = Message(opcode, parameters);
        ASSERT_LT(0, write(toAgent.Get(), message.c_str(), message.size() + 1));
    }
    void ExpectOperation(const std::string& text) const {
        char bytes[4096] = {};
        EXPECT_TRUE(WaitUntil([&] {
            return read(fromAgent.Get(), bytes, sizeof(bytes)) > 0 && strstr(bytes, text.c_str()) != nullptr;
        })) << text;
    }

    const TemporaryFolder folder;
    const Descriptor toAgent{(mkfifo("serverpipe", 0600), open("serverpipe", O_RDWR | O_NONBLOCK))};
    const Descriptor fromAgent{(mkfifo("clientpipe", 0600), open("clientpipe", O_RDWR | O_NONBLOCK))};
    std::unique_ptr<ServiceProcess> agent;
};

}  // namespace

TEST_F(AgentServer, AnswersInOrderAlsoAfterAHalfClose) {
    const std::string refused = folder.Read(REFUSED_REQUESTS);
    Client client;
    EXPECT_THAT(
        client.Answer(kUnended + ("\n" + refused) + "{\"op\":\"history\",\"since\":4e9}\n" + kUnended),
        HasSubstr("\"timeout\""));
    shutdown(client.Get(), SHUT_WR);
    for (auto row = std::count(refused.begin(), refused.end(), '\n'); row > 0; --row) {
        EXPECT_THAT(client.NextLine(), StartsWith(kBad)) << row << " rows before the last one";
    }
    EXPECT_THAT(client.NextLine(), StartsWith("{\"ok\":true,\"history\":[{\"time\":\"1970-01-01T00:00:01"));
    EXPECT_THAT(client.NextLine(), HasSubstr("\"timeout\""));
    EXPECT_EQ("", client.NextLine());
}

TEST_F(AgentServer, BoundsRequests) {
    const std::string send = "{\"op\":\"send\",\"opcode\":\"A\",\"parameters\":{";
    const std::string longest = "{\"op\":\"status\",\"x\":\"" + std::string(65536 - 22, 'y') + "\"}";
    Client client;
    EXPECT_THAT(client.Answer(std::string(60000, '[') + "\n"), StartsWith(kBad));
    EXPECT_THAT(client.Answer(send + "\"a\":\"" + std::string(4080, 'x') + "\"}}\n"), StartsWith(kBad));
    EXPECT_EQ("{\"ok\":true}", client.Answer(send + "}}\n"));
    EXPECT_THAT(client.Answer(longest + "\n"), StartsWith(kOk));
    EXPECT_THAT(client.Answer(longest + " \n" + kStatus), StartsWith(kBad));
    EXPECT_EQ("", client.NextLine());
    Client other;
    EXPECT_TRUE(other.Send(std::string(8000000, 'z')));
    EXPECT_THAT(other.NextLine(), StartsWith(kBad));
}

TEST_F(AgentServer, BoundsClientsAndWhatTheyDoNotRead) {
    std::string requests;
    for (int count = 0; count < 10000; ++count) {
        EXPECT_TRUE(Client().IsConnected());
        requests += kStatus;
    }
    std::vector<Client> clients(64);
    EXPECT_THAT(clients.back().Answer(kStatus), StartsWith(kOk));
    EXPECT_THAT(Client().NextLine(), HasSubstr("\"error\":\"busy\""));
    fcntl(clients[0].Get(), F_SETFL, O_NONBLOCK);
    EXPECT_TRUE(WaitUntil([&] { return !clients[0].Send(requests); }));
    clients.pop_back();
    EXPECT_THAT(Client().Answer(kStatus), StartsWith(kOk));
    EXPECT_LT(agent->ResidentKilobytes(), MOST_MEMORY);
}

// One that came among them and stayed kept the room of all of them.
TEST_F(AgentServer, GivesBackWhatACrowdNeeded) {
    std::string numbers = "[1";
    while (numbers.size() < 32000) {
        numbers += ",1";
    }
    std::vector<Client> crowd(60);
    Client last;
    for (Client& client : crowd) {
        EXPECT_THAT(client.Answer(numbers + "]\n"), StartsWith(kBad));
    }
    EXPECT_THAT(last.Answer(numbers + "]\n"), StartsWith(kBad));
    crowd.clear();
    EXPECT_TRUE(WaitUntil([&] {
        return Client().IsConnected() && agent->ResidentKilobytes() < MOST_MEMORY / 3 * 2;
    })) << agent->ResidentKilobytes();
}

TEST_F(AgentServer, ClosesAWatcherThatDoesNotRead) {
    Client watcher, stalled;
    EXPECT_THAT(watcher.Answer(kWatch) + stalled.Answer(kWatch), StartsWith(kOk));
    for (int count = 0; count < 1000; ++count) {
        Report("Dance", std::to_string(count) + std::string(1000, 'x'));
        ASSERT_THAT(watcher.NextLine(), HasSubstr("{\"text\":\"" + std::to_string(count) + "x"));
        for (int behind = 0; count == 200 && behind <= count; ++behind) {
            ASSERT_THAT(stalled.NextLine(), HasSubstr("\"" + std::to_string(behind) + "x"));
        }
    }
    for (int left = 0; !stalled.NextLine().empty(); ++left) {
        ASSERT_LT(left, 700);
    }
}

TEST_F(AgentServer, TellsWhatEndedAStateAndWhomAClientLogsIn) {
    Client client;
    EXPECT_TRUE(client.Send("{\"op\":\"check\"}\n"));
    EXPECT_THAT(Client().Answer(kStatus), HasSubstr("\"state\":\"checking\""));
    Report("NetStateMessageResp", "<type>51</type><newState>32</newState><ErrorCode>20010207</ErrorCode>");
    EXPECT_THAT(client.NextLine(), StartsWith(R"({"ok":true,"state":"no-portal")"));
    Report("NetStateMessageResp", "<type>51</type><newState>33</newState><ErrorCode>30000101</ErrorCode>");
    EXPECT_TRUE(WaitUntil([] { return Client().Answer(kStatus).find("checking") != std::string::npos; }));
    EXPECT_THAT(client.Answer("{\"op\":\"history\"}\n"),
                testing::ContainsRegex("the network check failed.*30000101,\"sub_code\":\"\",\"text\":\"\""));
    client.Answer(R"({"op":"send","opcode":"PortalConnect","parameters":{"user":"me","password":"<"}})"
                  "\n");
    ExpectOperation("<password>&lt;</password>");
    EXPECT_THAT(client.Answer(kStatus), HasSubstr(R"("account":"me","account_file":null,"wanted":true)"));
}

// A list that answers nothing must not pass for the success of a log-out, which nothing but a list tells.
TEST_F(AgentServer, AsksForTerminalsOneThingAtATime) {
    const std::string list = "<response><terminal>t</terminal><terminal><host>h</host></terminal></response>";
    const std::string logout = "{\"op\":\"terminal-logout\",\"ticket\":\"<1\"}\n";
    Client lister, other;
    EXPECT_TRUE(lister.Send(kTerminals));
    ExpectOperation("GetTerminalData");
    EXPECT_TRUE(other.Send(logout + logout));
    EXPECT_THAT(Client().Answer(kStatus), StartsWith(kOk));
    Report("SetTerminalData", list + "<host>own</host>");
    EXPECT_EQ(R"({"ok":true,"terminals":["t",{"host":"h"}]})", lister.NextLine());
    ExpectOperation("<ticket>&lt;1</ticket>");
    Report("TerminalTermReturn", "<code>-1</code>");
    EXPECT_THAT(other.NextLine(), HasSubstr("\"error\":\"failed\""));
    ExpectOperation("<ticket>&lt;1</ticket>");
    Report("SetTerminalData", list);
    EXPECT_EQ(R"({"ok":true})", other.NextLine());
}

// Its list may still come, in front of the one that tells of a log-out's success.
TEST_F(AgentServer, AwaitsALateListBeforeItAsksForMore) {
    Client early, late, other;
    EXPECT_TRUE(early.Send(kTerminals));
    ExpectOperation("GetTerminalData");
    EXPECT_EQ("{\"ok\":true}", Client().Answer(kListOfOwn));
    ExpectOperation("GetTerminalData");
    EXPECT_THAT(early.Line(std::chrono::seconds(40)).value_or(""), HasSubstr("\"error\":\"failed\""));
    EXPECT_TRUE(late.Send(kTerminals) && other.Send("{\"op\":\"terminal-logout\",\"ticket\":\"1\"}\n"));
    EXPECT_THAT(Client().Answer(kStatus), StartsWith(kOk));
    char byte = 0;
    EXPECT_EQ(read(fromAgent.Get(), &byte, sizeof(byte)), -1);
    Report("SetTerminalData", "<response><terminal>t</terminal></response>");
    EXPECT_EQ(R"({"ok":true,"terminals":["t"]})", late.NextLine());
    EXPECT_THAT(Client().Answer(kStatus), StartsWith(kOk));
    EXPECT_EQ(read(fromAgent.Get(), &byte, sizeof(byte)), -1);
    Report("SetTerminalData", "<response><terminal>t</terminal></response>");
    ExpectOperation("<ticket>1</ticket>");
}

TEST(AgentEvents, HoldOneMessageEach) {
    const std::pair<std::string, const char*> rows[] = {
        {Message("A", "<l>1</l><o><x>-2</x></o><l><y/></l><t>&lt;\xD6\xD0</t>"),
         R"({"event":"report","opcode":"A","target":"T","parameters":{"l":["1",{"y":""}],"o":{"x":"-2"},"t":"<中"}})"},
        {"<M><a", R"({"event":"report","opcode":"","target":"","parameters":{"text":"<M><a"}})"},
        {Message("SetValue", "<key>k</key><value/>"), R"({"event":"value","key":"k","value":""})"},
    };
    for (const auto& [text, event] : rows) {
        EXPECT_EQ(event, OneLine(*EventOf(::Report(text))));
    }
}

TEST_F(AgentServer, EndsAsTheCommandLineDeserves) {
    const std::tuple<const char*, int, std::string> rows[] = {
        {"", 1, "already: process " + std::to_string(agent->Pid())},
        {"--dir other --socket agent.sock", 1, "agent.sock: is served"},
        {"--dir other --socket clientpipe", 1, "no socket"},
        {"--dir none", 1, "none: no such folder"},
        {"--dance", 2, "--dance"},
        {"--dir other --once", 2, "no account"},
        {"--version 2>&-", 0, "quorvane-agent 1"},
    };
    folder.Write("other/conf", "");
    for (const auto& [options, status, words] : rows) {
        std::string output;
        EXPECT_EQ(status, RunProgram("'" QUORVANE_SERVICE "' " + std::string(options), output)) << options;
        EXPECT_THAT(output, HasSubstr(words));
    }
    kill(agent->Pid(), SIGKILL);
    EXPECT_FALSE(agent->WaitForExit());
    SetUp();  // the socket file of the one before is no obstacle
    EXPECT_EQ(std::filesystem::perms(0660), std::filesystem::status("agent.sock").permissions());
    kill(agent->Pid(), SIGTERM);
    EXPECT_EQ(0, agent->WaitForExit());
    EXPECT_FALSE(folder.Has("agent.sock"));
}
