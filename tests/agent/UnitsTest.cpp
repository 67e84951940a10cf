// The parts of the agent that touch the machine: its account file, its history, the link and the network.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "AccountFile.h"
#include "History.h"
#include "NetworkWatch.h"
#include "Recorder.h"
#include "Sandbox.h"
#include "ServiceLink.h"
#include "TemporaryFolder.h"

using Texts = std::vector<std::string>;
using std::chrono::milliseconds;

namespace {

const std::string kNul(1, '\0');
constexpr std::time_t kStart = 1700000000;

// Runs a loop on a thread of its own while the test looks on.
class LoopThread {
  public:
    ~LoopThread() {
        Do([this] { m_loop.End(0); });
        m_thread.join();
    }
    // Runs `task` on the loop's thread, to its end.
    void Do(const std::function<void()>& task) {
        m_task = &task;
        WaitUntil([this] { return m_task == nullptr; }, std::chrono::minutes(1));
    }
    void Work() {
        if (const std::function<void()>* task = m_task) {
            (*task)();
            m_task = nullptr;
        }
    }

    EventLoop m_loop;
    std::atomic<const std::function<void()>*> m_task{nullptr};
    EventSource m_looks = m_loop.Every(milliseconds(2), [this] { Work(); });
    std::thread m_thread{[this] { m_loop.Run(); }};
};

std::string Reading(const std::string& path) {
    const AccountReading reading = ReadAccountFile(path);
    return reading.account ? reading.account->name + "|" + std::string(reading.account->password.Text())
                           : std::to_string(static_cast<int>(reading.status));
}

std::string Text(const NetworkPath& path) {
    return path.interface + "|" + path.address + "|" + path.gateway;
}

class AgentWayOut : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }
    void TearDown() override {
        Shell("ip link set campus0 up; ip route flush dev lo; while ip route del default; do :; done");
        RestoreLinks();
    }
};

// A link, and the service at its other end. Begins when the test is whole, for the loop's thread calls it.
class AgentLink : public testing::Test, public ILinkListener {
  protected:
    void SetUp() override {
        m_thread.Do([&] { (m_link = std::make_unique<ServiceLink>(m_thread.m_loop, ".", *this))->Start(); });
    }
    void TearDown() override {
        m_thread.Do([&] { m_link.reset(); });
    }
    void LinkAttached() override { m_seen.Add("attached"); }
    void LinkLost() override { m_seen.Add("lost"); }
    void LinkMessage(const std::string& message) override {
        m_seen.Add(message.substr(0, 9) + ":" + std::to_string(message.size()));
        message == "destroy" ? m_link.reset() : void();
    }
    bool ServiceStarts() {
        (void)mkfifo("serverpipe", 0600);
        return WaitUntil([&] { return (m_out = open("serverpipe", O_WRONLY | O_NONBLOCK)) >= 0; }) &&
               WaitUntil([] { return std::filesystem::is_fifo("clientpipe"); }) &&
               (m_in = open("clientpipe", O_RDONLY | O_NONBLOCK)) >= 0;
    }
    bool Sees(size_t events) const {
        return WaitUntil([&] { return m_seen.All().size() == events; }, std::chrono::seconds(2));
    }

    const TemporaryFolder m_folder;
    Recorder m_seen;
    std::unique_ptr<ServiceLink> m_link;
    int m_out = -1;
    int m_in = -1;
    LoopThread m_thread;
};

}  // namespace

TEST(AgentHistory, SumsUpTheTimeInWhichAnAgentLookedOn) {
    // From second 100 to second 200.
    using States = std::vector<std::pair<std::time_t, const char*>>;
    const std::tuple<const char*, States, double, int, std::time_t> rows[] = {
        {"begun within", {{150, "online"}}, 1, 0, 50},
        {"no login needed", {{0, "open-network"}, {175, "offline"}}, 0.75, 0, 100},
        {"lost twice", {{0, "online"}, {125, "offline"}, {150, "online"}, {175, "ready"}}, 0.5, 2, 100},
        {"elsewhen", {{0, "online"}, {50, "offline"}, {60, "online"}, {201, "offline"}}, 1, 0, 100},
        {"a log-out", {{0, "online"}, {150, "logging-out"}, {160, "ready"}}, 0.5, 0, 100},
        {"no agent", {{0, "online"}, {120, "agent-stopped"}, {180, "offline"}}, 0.5, 0, 40},
        {"clock put back", {{0, "ready"}, {150, "online"}, {120, "ready"}, {170, "online"}}, 0.3, 1, 100},
        {"clock ahead", {{0, "online"}, {9000, "ready"}, {9009, "online"}, {160, "ready"}}, 0.6, 1, 100},
    };
    for (const auto& [what, states, share, interruptions, lookedAt] : rows) {
        std::deque<HistoryEntry> entries;
        for (const auto& [second, state] : states) {
            entries.push_back({kStart + second, state, 0, "", ""});
        }
        const HistorySummary summary = Summarize(entries, kStart + 100, kStart + 200);
        EXPECT_DOUBLE_EQ(summary.onlineShare, share) << what;
        EXPECT_EQ(std::tie(summary.interruptions, summary.lookedAt), std::tie(interruptions, lookedAt))
            << what;
    }
}

TEST(AgentHistory, OutlivesKillsTornLinesAndItsLargestSize) {
    const TemporaryFolder folder;
    const std::string line = HistoryLine({kStart, "refused", -1, "E7", "\"no\",\n"});
    const std::string kept = line + "\n{}\n" + kNul + "\n" + line.substr(0, 40);
    folder.Write("history.jsonl", kept);
    History(folder.Path()).Touch(kStart + 30);
    History(folder.Path()).Open(kStart + 500);
    EXPECT_EQ(folder.Read("history.jsonl"),
              kept +
                  "\n{\"time\":\"2023-11-14T22:13:50Z\",\"state\":\"agent-stopped\",\"code\":0,"
                  "\"sub_code\":\"\",\"text\":\"\"}\n");
    History history(folder.Path());
    history.Open(kStart + 500);
    ASSERT_EQ(history.Entries().size(), 2U) << "closed twice";
    EXPECT_EQ(HistoryLine(history.Entries().front()), line);
    for (int second = 0; second < 400; ++second) {
        history.Add({kStart + second, "offline", 0, "", std::string(10000, 'x')});
        ASSERT_LE(std::filesystem::file_size("history.jsonl"), 1024 * 1024U);
    }
    EXPECT_GE(std::filesystem::file_size("history.jsonl"), 700 * 1024U);
    History next(folder.Path());
    next.Open(kStart + 399);
    EXPECT_EQ(next.Entries().size(), history.Entries().size() + 1);
}

TEST(AgentAccount, FirstLineIsTheAccountSecondOneThePassword) {
    const TemporaryFolder folder;
    const std::string longest(4094, 'p');
    EXPECT_EQ(Reading("account"), "0");
    // clang-format off
    const std::tuple<std::string, int, std::string> rows[] = {
        {"me\n \xff\t\r", 0400, "me| \xff\t\r"}, {"me\r\nsecret\r\nmore\n", 0600, "me|secret"},
        {"m\n" + longest, 0600, "m|" + longest}, {"m\n" + longest + "\n", 0600, "2"}, {"m\ns" + kNul, 0600, "2"},
        {"me", 0600, "2"}, {"\nsecret\n", 0600, "2"}, {"me\n\r\n", 0600, "2"}, {"\n", 0600, "2"},
        {"a\nb", 0640, "8"}, {"a\nb", 0620, "8"}, {"a\nb", 0604, "8"},
    };
    // clang-format on
    for (const auto& [content, mode, expected] : rows) {
        folder.Write("account", content);
        ASSERT_EQ(chmod("account", static_cast<mode_t>(mode)), 0);
        EXPECT_EQ(Reading("account"), expected) << content;
    }
    EXPECT_EQ(ReadAccountFile("account").fault.find("the account file account has mode 0604 and belongs to "),
              0);
    std::filesystem::create_directory("inner");
    std::filesystem::create_symlink("../account", "inner/link");
    for (const auto& [guarded, expected] : {std::pair{".", "a|b"}, {"inner", "8"}}) {
        setenv("CREDENTIALS_DIRECTORY", guarded, 1);
        EXPECT_EQ(Reading("inner/link"), expected) << "lies below " << guarded << "?";
    }
    folder.Write("account", "\n");
    setenv("CREDENTIALS_DIRECTORY", ".", 1);
    EXPECT_EQ(Reading("account"), "0") << "stands for none, but only as a credential";
    unsetenv("CREDENTIALS_DIRECTORY");
}

TEST(AgentAccount, IsReplacedAsAWhole) {
    const TemporaryFolder folder;
    ExitStatus status = ExitStatus::kDone;
    EXPECT_EQ(WriteAccountFile("new/account", {"me", Secret("secret")}, status), "");
    const bool isGivenAway = chmod("new/account", 0644) == 0 && chown("new/account", 12, 12) == 0;
    EXPECT_EQ(WriteAccountFile("new/account", {"you", Secret(" \xff\r.")}, status), "");
    struct stat written = {};
    ASSERT_EQ(stat("new/account", &written), 0);
    EXPECT_EQ(written.st_mode & 07777, 0600U);
    EXPECT_EQ(written.st_uid, isGivenAway ? 12U : getuid());
    std::filesystem::create_symlink("new/account", "link");
    EXPECT_NE(WriteAccountFile("link", {"other", Secret("secret")}, status), "");
    EXPECT_NE(WriteAccountFile("new/account", {"a\nb", Secret("p")}, status), "");
    EXPECT_EQ(Reading("link"), "you| \xff\r.");
    EXPECT_EQ(RemoveAccountFile("new/account", status) + RemoveAccountFile("new/account", status), "");
    EXPECT_TRUE(std::filesystem::is_empty("new"));
}

TEST(AgentAccount, WhateverHappensToTheFileIsNoticed) {
    const TemporaryFolder folder;
    std::atomic<int> changes{0};
    std::unique_ptr<AccountWatch> watch;
    LoopThread thread;
    thread.Do(
        [&] { watch = std::make_unique<AccountWatch>(thread.m_loop, "a/account", [&] { ++changes; }); });
    for (const char* step :
         {"mkdir a; echo me > a/account", "echo secret >> a/account", "echo you > a/new; mv a/new a/account",
          "chmod 400 a/account", "rm a/account", "mkdir b; echo me > b/account; mv a c; mv b a", "rm -r a"}) {
        const int before = changes;
        ASSERT_EQ(system(step), 0);
        EXPECT_TRUE(WaitUntil([&] { return changes > before; }, std::chrono::seconds(5))) << step;
    }
    thread.Do([&] { watch.reset(); });
}

TEST(AgentQuietPeriod, IsNotPutOffForEver) {
    EventLoop loop;
    const auto start = std::chrono::steady_clock::now();
    QuietPeriod period(loop, milliseconds(500), milliseconds(800), [&] { loop.End(0); });
    const EventSource unrest = loop.Every(milliseconds(20), [&] { period.Note(); });
    loop.Run();
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(800)) << "not put off by each event";
}

TEST_F(AgentWayOut, IsTheDefaultRouteOfTheLowestMetric) {
    // clang-format off
    const std::pair<std::string, const char*> rows[] = {
        {"ip route add default dev lo metric 5; ip route add 0.0.0.0/1 dev lo", "campus0|192.0.2.10|192.0.2.1"},
        {"ip route append default via 192.0.2.2 metric 1; ip route del default", "campus0|192.0.2.10|192.0.2.2"},
        {"ip -4 route replace default via inet6 fe80::1 dev campus0", "campus0|192.0.2.10|fe80::1"},
        {"ip route replace default nexthop via 192.0.2.3 nexthop via 192.0.2.1", "campus0|192.0.2.10|192.0.2.3"},
        {"ip route replace unreachable default", "||"},
        {"ip route del default; ip route add default via 192.0.2.1 table 8", "||"},
        {"ip address flush dev campus0 scope global; ip -6 route add default via fe80::1 dev campus0;"
         "for i in 2 3; do ip -6 address add 2001:db8::$i/64 dev campus0 nodad; done", "campus0|2001:db8::2|fe80::1"},
    };
    // clang-format on
    EventLoop loop;
    for (const auto& [commands, expected] : rows) {
        EXPECT_TRUE(Shell(commands)) << commands;
        EXPECT_EQ(Text(NetworkWatch(loop, [](bool) {}).Path()), expected) << commands;
        TearDown();
    }
}

TEST_F(AgentWayOut, ChangesWhenItIsQuietOrAfterASuspend) {
    Recorder calls;
    std::atomic<int> secondsAsleep{0};
    std::unique_ptr<NetworkWatch> watch;
    const auto changed = [&](bool isOther) {
        calls.Add((isOther ? "other " : "same ") + watch->Path().address);
    };
    const auto timeAsleep = [&] { return std::chrono::seconds(secondsAsleep); };
    LoopThread thread;
    thread.Do([&] { watch = std::make_unique<NetworkWatch>(thread.m_loop, changed, timeAsleep); });
    EXPECT_TRUE(
        Shell("ip route del default; for i in $(seq 20); do ip address add 10.8.8.$i/24 dev lo; done; "
              "ip link add second up type veth peer name third; ip link set third up;"
              "ip address add 192.0.2.10/24 dev second; ip route add default via 192.0.2.1 dev second"));
    // Longer than the quiet: IPv6 has events of its own, about a second after a link came up.
    EXPECT_FALSE(WaitUntil([&] { return !calls.All().empty(); }, milliseconds(5000)));
    EXPECT_TRUE(Shell("ip address del 192.0.2.10/24 dev campus0; ip address add 192.0.2.11/24 dev campus0"));
    EXPECT_TRUE(Shell("ip route replace default via 192.0.2.1 dev campus0") && calls.Await(1));
    secondsAsleep = 3;
    EXPECT_TRUE(calls.Await(2));
    EXPECT_EQ(calls.All(), (Texts{"other 192.0.2.11", "same 192.0.2.11"}));
    thread.Do([&] { watch.reset(); });
}

TEST_F(AgentLink, AttachesInEveryOrder) {
    Texts expected;
    for (const char* before :
         {"true", "sleep 0.3", "sleep 0.3; rm *pipe; mkfifo -m 600 serverpipe clientpipe",
          "rm clientpipe; >clientpipe; { sleep 0.5; rm clientpipe; } &"}) {
        ASSERT_EQ(system(before), 0);
        ASSERT_TRUE(ServiceStarts());
        expected.insert(expected.end(), {"attached", "last:4", "lost"});
        ASSERT_TRUE(Sees(expected.size() - 2)) << before;
        EXPECT_EQ(write(m_out, "last\0torn", 9), 9);
        EXPECT_EQ(close(m_out) + close(m_in), 0);
        ASSERT_TRUE(Sees(expected.size())) << before;
        EXPECT_EQ(m_seen.All(), expected);
    }
}

TEST_F(AgentLink, AnEndIsSeenHoweverShort) {
    ASSERT_TRUE(ServiceStarts() && Sees(1));
    // The loop is kept from looking meanwhile.
    m_thread.Do([&] { EXPECT_TRUE(close(m_out) == 0 && close(m_in) == 0 && ServiceStarts()); });
    ASSERT_TRUE(Sees(3));
    close(m_in);
    ASSERT_TRUE(Sees(4)) << "nobody reads";
    EXPECT_EQ(m_seen.All(), (Texts{"attached", "lost", "attached", "lost"}));
}

TEST_F(AgentLink, BoundsMessages) {
    ASSERT_TRUE(ServiceStarts() && Sees(1));
    ssize_t sent = 0;
    m_thread.Do([&] {
        EXPECT_FALSE(m_link->Send(std::string(4096, 'x')));
        for (; m_link->Send(std::string(4095, 'x')); sent += 4096) {
        }
    });
    const std::string longest(64 * 1024, 'y');
    std::string bytes =
        longest + kNul + longest + "z" + kNul + "bad\xff" + kNul + "destroy" + kNul + "none" + kNul;
    while (!bytes.empty()) {
        bytes.erase(0, static_cast<size_t>(std::max<ssize_t>(write(m_out, &bytes[0], bytes.size()), 0)));
    }
    EXPECT_TRUE(Sees(4));
    EXPECT_EQ(m_seen.All(), (Texts{"attached", "yyyyyyyyy:65536", "bad\xff:4", "destroy:7"}));
    bytes.resize(70000);
    EXPECT_EQ(read(m_in, &bytes[0], bytes.size()), sent) << "whole or not at all";
}
