#include "FileUtil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TemporaryFolder.h"

namespace fs = std::filesystem;

TEST(FileUtil, ReadsWholeFilesOnly) {
    TemporaryFolder folder;
    std::string content = "untouched";
    EXPECT_FALSE(CFileUtil::ReadWholeFile("missing", content));
    EXPECT_FALSE(CFileUtil::ReadWholeFile(".", content));
    EXPECT_EQ("untouched", content);
    for (const std::string& whole : {std::string(200 * 1024, '\0'), std::string()}) {
        folder.Write("file", whole);
        EXPECT_TRUE(CFileUtil::ReadWholeFile("file", content));
        EXPECT_EQ(whole, content);
    }
}

TEST(FileUtil, ReplacedFileKeepsModeAndLinkAndAFailureTheOldFile) {
    TemporaryFolder folder;
    folder.Write("real/file", "old");
    ASSERT_EQ(0, chmod("real/file", 0640));
    ASSERT_EQ(0, symlink("real/file", "link"));
    EXPECT_TRUE(CFileUtil::ReplaceFile("link", "new"));
    EXPECT_EQ("new", folder.Read("real/file"));
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(fs::perms(0640), fs::status("real/file").permissions());

    EXPECT_FALSE(CFileUtil::ReplaceFile("real", "new")) << "a folder cannot be replaced by a file";
    EXPECT_FALSE(CFileUtil::ReplaceFile("missing/file", "new"));
    EXPECT_EQ("new", folder.Read("real/file"));
    for (const char* path : {"real", "."}) {
        for (const auto& entry : fs::directory_iterator(path)) {
            EXPECT_FALSE(entry.path().has_extension()) << "left behind: " << entry.path();
        }
    }
}
