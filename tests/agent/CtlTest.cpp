#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <pugixml.hpp>
#include <regex>
#include <thread>

#include "AgentState.h"
#include "FileUtil.h"
#include "History.h"
#include "RunProgram.h"
#include "TemporaryFolder.h"

using testing::HasSubstr;

namespace {

// Plays the agent at ./agent.sock: gives each client the same answer to its first line, and then hangs up or
// waits for the client's end.
class FakeAgent {
  public:
    explicit FakeAgent(const std::string& answer, bool waits = false) {
        const sockaddr_un address = {AF_UNIX, "agent.sock"};
        unlink(address.sun_path);
        EXPECT_EQ(0, bind(m_listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
        EXPECT_EQ(0, listen(m_listener.Get(), 8));
        m_thread = std::thread([this, answer, waits] {
            char bytes[64 * 1024];
            for (int client = 0; (client = accept(m_listener.Get(), nullptr, nullptr)) >= 0; close(client)) {
                m_asked.append(bytes, static_cast<size_t>(recv(client, bytes, sizeof(bytes), 0)));
                (void)!send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
                while (waits && recv(client, bytes, sizeof(bytes), 0) > 0) {
                }
            }
        });
    }
    ~FakeAgent() { (void)EndAndTell(); }
    // What was asked.
    std::string EndAndTell() {
        shutdown(m_listener.Get(), SHUT_RDWR);
        return m_thread.joinable() ? m_thread.join(), m_asked : m_asked;
    }

  private:
    const Descriptor m_listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::string m_asked;
    std::thread m_thread;
};

struct Ctl : testing::Test {
    // Without the right to pass over modes, which root has.
    int Run(const std::string& arguments) {
        const std::string plain =
            geteuid() == 0 ? "setpriv --bounding-set -dac_override,-dac_read_search " : "";
        return RunProgram(plain + "'" QUORVANE_CTL "' --socket agent.sock " + arguments, output);
    }

    TemporaryFolder folder;
    std::string output;
};

// Lines of JSON, with ' in place of ".
std::string Json(std::string lines) {
    std::replace(lines.begin(), lines.end(), '\'', '"');
    return lines;
}

std::string Status(const std::string& state) {
    return Json("{'ok':true,'state':'" + state + "','since':'2026-05-01T10:00:00Z','account':'me'," +
                "'account_file':'kept/account','attempts':2,'next_try':80,'last':{'code':140105," +
                "'sub_code':'7','text':'wrong password'},'network':{'interface':'eth0'," +
                "'address':'10.1.2.3','gateway':'10.1.2.1'}}\n");
}

std::string Failure(const std::string& word, const std::string& status) {
    return Json("{'ok':false,'error':'" + word + "','message':'so it is','status':" + status + "}\n");
}

}  // namespace

TEST_F(Ctl, EndsWithTheStatusOfTheTable) {
    // clang-format off
    const std::tuple<const char*, const char*, std::string, int, const char*> rows[] = {
        {"help",            "--help 2>/dev/null",                   "",                          0, "8  no right"},
        {"a check",         "check",                                Status("ready"),             0, "ready, not logged in, account me, address 10.1.2.3"},
        {"a failure",       "--json logout",                        Failure("no-logout", "1"),   1, "\"error\":\"no-logout\""},
        {"something amiss", "doctor --dir . --json",                Failure("busy", "1"),        1, "\"name\":\"settings\",\"result\":\"fault\""},
        {"no JSON",         "status",                               "rubbish\n",                 1, "no JSON"},
        {"no end",          "status",                               std::string(9 << 20, 'x'),   1, "no end"},
        {"a wrong option",  "status --jsn",                         "",                          2, "--help"},
        {"no command",      "statsu",                               "",                          2, "no command statsu"},
        {"no duration",     "history --since 3x",                   "",                          2, "s, m, h or d"},
        {"no terminal",     "login me </dev/null",                  "",                          2, "--password-stdin"},
        {"no answer",       "--timeout 1 status",                   "",                          3, "in time"},
        {"not yet",         "login",                                Failure("x", "4"),           4, "so it is"},
        {"refused",         "login",                                Failure("refused", "5"),     5, "so it is"},
        {"no portal",       "check",                                Status("no-portal"),         6, "cannot be reached"},
        {"no service",      "terminals",                            Failure("no-service", "7"),  7, "so it is"},
    };
    // clang-format on
    for (const auto& [what, arguments, answer, status, printed] : rows) {
        SCOPED_TRACE(what);
        const FakeAgent agent(answer, true);
        EXPECT_EQ(status, Run(arguments));
        EXPECT_THAT(output, HasSubstr(printed));
    }
    EXPECT_EQ(7, Run("status")) << "a socket that nobody serves any more: " << output;
    const FakeAgent agent(Status("online"));
    ASSERT_EQ(0, chmod("agent.sock", 0));
    EXPECT_EQ(8, Run("status")) << output;
}

TEST_F(Ctl, TellsTheStateByWordsAndStatus) {
    const int statuses[] = {7, 4, 4, 4, 0, 6, 4, 5, 1, 6, 4};
    for (const AgentStateWord& word : kAgentStateWords) {
        const FakeAgent agent(Status(word.name));
        EXPECT_EQ(statuses[static_cast<int>(word.state)], Run("status")) << word.name;
        for (const char* part : {word.words, "2026-05-01 ", "me (file kept/account)", "10.1.2.3 on eth0",
                                 "140105/7: wrong password", "in 1 min 20 s"}) {
            EXPECT_THAT(output, HasSubstr(part));
        }
        EXPECT_EQ(statuses[static_cast<int>(word.state)], Run("status --json"));
        EXPECT_EQ(Status(word.name), output);
    }
}

// A terminal would do what it is told.
TEST_F(Ctl, LetsNoControlCharacterThrough) {
    const FakeAgent agent(std::regex_replace(
        Json("{'ok':true,'state':'E','since':'E','account':'E','account_file':'E','last':{'code':1,"
             "'sub_code':'E','text':'E'},'network':{'address':'E'},'portal':{'area':'E'},'service':"
             "{'folder':'E'},'terminals':['E',{'E':'E'}],'history':[{'time':'2026-05-01T10:00:00Z',"
             "'state':'E','text':'E'}]}\n{'event':'report','opcode':'E','parameters':{'k':['E']}}\n"
             "{'event':'value','key':'E','value':'E'}\n{'event':'E'}\nE\xff\n"),
        std::regex("E"), "a\\u001b[2J\\u009b1m\\u0007\u009d0;x\x7f"));
    for (const std::string command : {"status", "watch", "login", "terminals", "history"}) {
        for (const std::string json : {"", " --json"}) {
            (void)Run(command + json);
            EXPECT_THAT(output, HasSubstr("[2J")) << command << json;
            EXPECT_EQ(std::string::npos, output.find_first_of("\x1b\x7f\xc2\x9b\x9d\x07\xff")) << output;
        }
    }
}

TEST_F(Ctl, WatchesUntilSomebodyEndsIt) {
    const std::string events = Status("ready") + Json(
                                                     "{'event':'report','opcode':'Resp','parameters':{'a':{'"
                                                     "b':['1','2']},'e':''}}\n{'event':'state'}\n");
    const std::tuple<bool, const char*, int, std::string> rows[] = {
        {false, "watch", 7, "ready, not.*\n.*Resp: a \\(b \\(1, 2\\)\\)\n.*\n.*ended the connection"},
        {false, "watch --json", 7, Json("^\\{'ok':true,.*\n\\{'event':'report'.*\n\\{'event':'state'")},
        {true, "watch >lines & until [ -s lines ]; do :; done; kill -INT $!; wait $!", 0, "^$"},
        {true, "watch | head -n 1", 0, "^[^\n]*ready, not logged in[^\n]*\n$"},
    };
    for (const auto& [waits, arguments, status, expected] : rows) {
        const FakeAgent agent(events, waits);
        EXPECT_EQ(status, Run(arguments)) << arguments;
        EXPECT_TRUE(std::regex_search(output, std::regex(expected))) << output;
    }
}

TEST_F(Ctl, GivesAPasswordToNobodyElse) {
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"login you --password-stdin <secret", Json("'account':'you','password':'%s1 ',"), ""},
        {"login --password-file secret", Json("'account':'me','password':'%s1 ',"), ""},
        {"login </dev/null", Json("{'op':'login','timeout':30}"), ""},
        {"account set you --password-stdin <secret", "status", "you\n%s1 \n"},
    };
    folder.Write("secret", "%s1 \r\nrest\n");
    for (const std::string place : {"", "--password ", "--password=", "-p"}) {
        EXPECT_EQ(2, Run("login me " + place + "%s1"));
        EXPECT_EQ(std::string::npos, output.find("%s")) << output;
    }
    for (const auto& [arguments, asked, kept] : rows) {
        FakeAgent agent(Status("online"));
        EXPECT_EQ(0, Run(arguments)) << arguments;
        EXPECT_EQ(std::string::npos, output.find("%s"));
        EXPECT_EQ(kept, folder.Read("kept/account"));
        EXPECT_EQ(0, Run("account clear")) << output;
        EXPECT_FALSE(folder.Has("kept/account"));
        EXPECT_THAT(agent.EndAndTell(), HasSubstr(asked));
    }
}

TEST_F(Ctl, DrawsTheHistory) {
    const std::time_t now = time(nullptr);
    const FakeAgent agent(R"({"ok":true,"history":[)" + HistoryLine({now - 400000, "online", 1, "", ""}) +
                          "," + HistoryLine({now - 3565, "offline", 150108, "", "<lost> & gone\x01\uffff"}) +
                          "," + HistoryLine({now - 1770, "agent-stopped", 0, "", ""}) + "]}\n");
    for (const std::string since : {"7200s", "120m", "2h", "7d"}) {
        ASSERT_EQ(0, Run("history --svg h.svg --since " + since)) << output;
        EXPECT_EQ(since != "7d", output == "online 66.9 % of 1 h 30 min, 1 interruptions\n") << output;
        pugi::xml_document document;
        ASSERT_TRUE(document.load_string(folder.Read("h.svg").c_str(), pugi::parse_full));
        const pugi::xml_node svg = document.child("svg");
        EXPECT_THAT(svg.select_node("path[@class='lost']/title").node().child_value(),
                    HasSubstr("offline, 150108: <lost> & gone??"));
        EXPECT_EQ(3U, svg.select_nodes("rect[title]").size());
        EXPECT_GE(svg.select_nodes("line").size(), 6U);
    }
}
