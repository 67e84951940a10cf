#include "Log.h"

#include <gmock/gmock.h>

#include "TemporaryFolder.h"

TEST(Log, FolderThatCannotBeMadeLeavesItInTheWorkingFolder) {
    TemporaryFolder folder;
    folder.Write("file", "");
    EXPECT_EQ(0, CLog().Create("file/Log/", "Info.log", ""));
    EXPECT_TRUE(folder.Has("Info.log"));
}

TEST(Log, GrowsNoFasterThanItMayAndSaysWhatIsLeftOut) {
    TemporaryFolder folder;
    CLog log;
    ASSERT_EQ(0, log.Create("", "Info.log", ""));
    log.WriteLog(WARN, "above the level");
    EXPECT_EQ(folder.Read("Info.log"), "");
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
