#include "FileUtil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>

#include "SimpleFile.h"
#include "TemporaryFolder.h"

namespace fs = std::filesystem;

TEST(FileUtil, ReadsWholeFilesOnly) {
    TemporaryFolder folder;
    ASSERT_EQ(0, mkfifo("fifo", 0600));
    std::string content = "untouched";
    for (const char* none : {"missing", ".", "fifo", "/dev/null"}) {
        EXPECT_FALSE(CFileUtil::ReadWholeFile(none, content));
        EXPECT_EQ("untouched", content);
    }
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

    EXPECT_EQ(FileFault::kCreate, CFileUtil::Replace("real", "new")) << "a folder is not replaced by a file";
    EXPECT_EQ(FileFault::kCreate, CFileUtil::Replace("missing/file", "new"));
    EXPECT_EQ("new", folder.Read("real/file"));
    EXPECT_TRUE(CFileUtil::FindFiles("real/.", "*save*").empty()) << "left behind";
}

TEST(FileUtil, LeftOversOfAKilledProcessAreRemovedAndNothingElse) {
    TemporaryFolder folder;
    const std::string leftOver = "a[1]*\\/.file.quorvane-save-Ab3XyZ";
    for (const std::string& name :
         {leftOver, std::string("a[1]*\\/file.abcdef"), std::string("a1/.file.quorvane-save-Ab3XyZ")}) {
        folder.Write(name, "");
        CFileUtil::RemoveLeftOvers("a[1]*\\/file");
        EXPECT_EQ(name != leftOver, folder.Has(name)) << name;
    }
}

// Settings and log would have been looked for in the root folder.
TEST(FileUtil, AWorkingFolderWithoutANameIsTheOneThatNamesBelongTo) {
    char path[PATH_MAX];
    EXPECT_EQ(CSimpleFile::GetModulePath(path, 2), 1);
    EXPECT_STREQ(path, ".");
}
