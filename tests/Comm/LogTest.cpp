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
