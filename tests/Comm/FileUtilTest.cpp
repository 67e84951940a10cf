#include "FileUtil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

size_t FilesIn(const std::string& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

TEST(FileUtil, ReadsWholeFilesOnly) {
    TemporaryFolder folder;
    std::string content = "untouched";
    EXPECT_FALSE(CFileUtil::ReadWholeFile("missing", content));
    EXPECT_FALSE(CFileUtil::ReadWholeFile(".", content));
    EXPECT_EQ("untouched", content);

    const std::string large(200 * 1024, '\0');
    folder.Write("large", large);
    EXPECT_TRUE(CFileUtil::ReadWholeFile("large", content));
    EXPECT_EQ(large, content);
    folder.Write("empty", "");
    EXPECT_TRUE(CFileUtil::ReadWholeFile("empty", content));
    EXPECT_EQ("", content);
}

TEST(FileUtil, ReplacedFileKeepsModeAndLinkAndLeavesNothingBehind) {
    TemporaryFolder folder;
    folder.Write("real/file", "old");
    ASSERT_EQ(0, chmod("real/file", 0640));
    ASSERT_EQ(0, symlink("real/file", "link"));

    EXPECT_TRUE(CFileUtil::ReplaceFile("link", "new"));

    EXPECT_EQ("new", folder.Read("real/file"));
    EXPECT_TRUE(fs::is_symlink("link"));
    struct stat status = {};
    ASSERT_EQ(0, stat("real/file", &status));
    EXPECT_EQ(0640u, status.st_mode & 07777);
    EXPECT_EQ(1u, FilesIn("real"));
}

TEST(FileUtil, FailedReplacementLeavesTheOldFile) {
    TemporaryFolder folder;
    folder.Write("target/inside", "old");  // a folder cannot be replaced by a file
    EXPECT_FALSE(CFileUtil::ReplaceFile("target", "new"));
    EXPECT_FALSE(CFileUtil::ReplaceFile("missing/file", "new"));
    EXPECT_EQ("old", folder.Read("target/inside"));
    EXPECT_EQ(1u, FilesIn("."));
}
