#include "SimpleFile.h"

#include <gtest/gtest.h>

#include "TemporaryFolder.h"

TEST(SimpleFile, EveryWriteIsInTheFileAtOnce) {
    TemporaryFolder folder;
    CSimpleFile file;
    EXPECT_EQ(-2, file.WriteFile("x", 1));
    EXPECT_EQ(-1, file.CreateFile("missing/file", "w"));
    ASSERT_EQ(0, file.CreateFile("first", "w"));
    EXPECT_EQ(0, file.WriteFile("abc", 3));
    EXPECT_EQ("abc", folder.Read("first"));
    ASSERT_EQ(0, file.CreateFile("first", "r"));
    EXPECT_EQ(-1, file.WriteFile("x", 1));
}

TEST(SimpleFile, CreatesTheFoldersOnTheWay) {
    TemporaryFolder folder;
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/b/file", 0700, true));
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/b/c", 0700, false));
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/d/", 0700, false));
    EXPECT_TRUE(folder.Has("a/b/c") && folder.Has("a/d") && !folder.Has("a/b/file"));
    folder.Write("file", "");
    EXPECT_FALSE(CSimpleFile::RecuMkDir("file/below", 0700, false));
}

TEST(SimpleFile, JoinsPathsWithOneSlash) {
    char path[8];
    EXPECT_TRUE(CSimpleFile::PathCombine(path, sizeof(path), "ab", "cd"));
    EXPECT_STREQ("ab/cd", path);
    EXPECT_TRUE(CSimpleFile::PathCombine(path, sizeof(path), "ab/", "cd"));
    EXPECT_STREQ("ab/cd", path);
    EXPECT_FALSE(CSimpleFile::PathCombine(path, sizeof(path), "abcd", "efg"));
}
