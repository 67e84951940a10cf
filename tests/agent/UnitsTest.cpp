// The parts of the agent that touch the machine: its account file, its history, the link and the network.
#include <gtest/gtest.h>

#include <filesystem>

#include "History.h"
#include "TemporaryFolder.h"

namespace {

const std::string kNul(1, '\0');
constexpr std::time_t kStart = 1700000000;

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
