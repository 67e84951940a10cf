#include "Log.h"

#include <gmock/gmock.h>

#include "TemporaryFolder.h"
#include "comm.h"

TEST(Log, WritesStampedLinesUpToItsLevelWhereItCan) {
    TemporaryFolder folder;
    CLog log;
    EXPECT_EQ(-1, log.Create("", "missing/Info.log", ""));
    log.WriteLog(ERROR, "without a file");
    const std::string name = (CommFunc::GetLocalTime("%Y%m%d") + "_Info.log").GetText();
    ASSERT_EQ(0, log.Create("Log", "Info.log", "%Y%m%d"));
    log.WriteLog(WARN, "above the first level");
    log.SetLevel(DEBUG);
    log.WriteLog(DEBUG, "%s %d", "code", 7);
    log.WriteLog(ERROR, "%s", "");
    log.WriteLog(ERROR, "%s", std::string(3000, 'x').c_str());
    const std::string stamp = "[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] ";
    EXPECT_THAT(folder.Read("Log/" + name), testing::MatchesRegex(stamp + "code 7\n" + stamp + "x+\n"));
    EXPECT_EQ(0, log.Create(("Log/" + name + "/no/").c_str(), "Info.log", nullptr));
    EXPECT_TRUE(folder.Has("Info.log")) << "without a folder of its own it lands in the working folder";
}

TEST(Log, GrowsNoFasterThanItMayAndSaysWhatIsLeftOut) {
    TemporaryFolder folder;
    CLog log;
    ASSERT_EQ(0, log.Create("", "Info.log", ""));
    const std::string large(5 * 1000 * 1000, 'x');
    log.WriteLog(ERROR, "%s", large.c_str());
    EXPECT_THAT(folder.Read("Info.log"), testing::EndsWith("x... (cut, 5000000 bytes in all)\n"));
    const std::string longest(8000, 'y');
    for (int i = 0; i < 1000; ++i) {
        log.WriteLog(ERROR, "%s", longest.c_str());
    }
    log.WriteLog(ERROR, "short");
    const std::string text = folder.Read("Info.log");
    EXPECT_THAT(text.size(), testing::AllOf(testing::Gt(3900000u), testing::Lt(4100000u)));
    EXPECT_THAT(text, testing::HasSubstr(" lines were left out: the log would grow too fast\n"));
    EXPECT_THAT(text, testing::EndsWith(" short\n"));
}
