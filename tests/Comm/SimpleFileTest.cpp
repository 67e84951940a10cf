#include "SimpleFile.h"

#include <gtest/gtest.h>

#include "TemporaryFolder.h"

TEST(SimpleFile, CreatesTheFoldersOnTheWay) {
    TemporaryFolder folder;
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/b/file", 0700, true));
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/b/c", 0700, false));
    EXPECT_TRUE(CSimpleFile::RecuMkDir("a/d/", 0700, false));
    EXPECT_TRUE(folder.Has("a/b/c") && folder.Has("a/d") && !folder.Has("a/b/file"));
    folder.Write("file", "");
    EXPECT_FALSE(CSimpleFile::RecuMkDir("file/below", 0700, false));
}

TEST(SimpleFile, WritesAtOnceAndTellsWhenItCannot) {
    TemporaryFolder folder;
    CSimpleFile file;
    EXPECT_EQ(-2, file.WriteFile("x", 1));
    ASSERT_EQ(0, file.CreateFile("first", "w"));
    EXPECT_EQ(0, file.WriteFile("abc", 3));
    EXPECT_EQ("abc", folder.Read("first"));
    ASSERT_EQ(0, file.CreateFile("first", "r"));
    EXPECT_EQ(-1, file.WriteFile("x", 1));
}
