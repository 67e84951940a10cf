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
    EXPECT_EQ(0, file.CloseFile());
    EXPECT_EQ(0, file.CloseFile());
}

TEST(SimpleFile, CreatesTheFoldersOnTheWay) {
    TemporaryFolder folder;
    folder.Write("file", "");
    const struct {
        const char* path;
        bool lastIsFile;
        bool expected;
        const char* created;
        const char* notCreated;
    } rows[] = {
        {"a/b/c", false, true, "a/b/c", "a/b/c/d"},
        {"a/b/d", true, true, "a/b", "a/b/d"},
        {"e/f/", false, true, "e/f", "e/f/g"},
        {"a/b/c", false, true, "a/b/c", "f"},
        {"file/below", false, false, "file", "file/below"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(row.expected, CSimpleFile::RecuMkDir(row.path, 0700, row.lastIsFile));
        EXPECT_TRUE(folder.Has(row.created));
        EXPECT_FALSE(folder.Has(row.notCreated));
    }
}

TEST(SimpleFile, JoinsPathsWithOneSlash) {
    char path[8];
    EXPECT_TRUE(CSimpleFile::PathCombine(path, sizeof(path), "ab", "cd"));
    EXPECT_STREQ("ab/cd", path);
    EXPECT_TRUE(CSimpleFile::PathCombine(path, sizeof(path), "ab/", "cd"));
    EXPECT_STREQ("ab/cd", path);
    EXPECT_FALSE(CSimpleFile::PathCombine(path, sizeof(path), "abcd", "efg"));
}
