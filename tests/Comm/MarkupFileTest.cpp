#include <gtest/gtest.h>

#include <string>

#include "Markup.h"
#include "TemporaryFolder.h"
#include "XMLOpt.h"

namespace {

constexpr char kFile[] = "conf.xml";

std::string Declared(const std::string& encoding, const std::string& value) {
    return "<?xml version='1.0' encoding='" + encoding + "'?><c><v>" + value + "</v></c>";
}

std::string Utf16(const std::string& ascii, bool littleEndian) {
    std::string result = littleEndian ? "\xFF\xFE" : "\xFE\xFF";
    for (const char byte : ascii) {
        result += littleEndian ? std::string{byte, '\0'} : std::string{'\0', byte};
    }
    return result;
}

}  // namespace

TEST(MarkupFile, ComesBackAsItWasEncoded) {
    const struct {
        const char* what;
        std::string bytes;
        const char* value;
    } rows[] = {
        {"not declared", "<c><v>\xE4\xB8\xAD</v></c>\n", "\xE4\xB8\xAD"},
        {"declared UTF-8", Declared("utf-8", "\xE4\xB8\xAD"), "\xE4\xB8\xAD"},
        {"declared GB2312", Declared("GB2312", "\xD6\xD0"), "\xE4\xB8\xAD"},
        {"UTF-8 with mark", "\xEF\xBB\xBF" + Declared("UTF-8", "\xE4\xB8\xAD"), "\xE4\xB8\xAD"},
        {"mark against declaration", "\xEF\xBB\xBF" + Declared("GB2312", "\xE4\xB8\xAD"), "\xE4\xB8\xAD"},
        {"UTF-16, low byte first", Utf16(Declared("UTF-16", "v"), true), "v"},
        {"UTF-16, high byte first", Utf16("<c><v>v</v></c>", false), "v"},
        {"not what it declares", Declared("GB2312", "\xFF\xFF"), "\xFF\xFF"},
        {"bytes that are not UTF-8", Declared("UTF-8", "\xD6\xD0"), "\xD6\xD0"},
        {"cannot be what it declares", Declared("UTF-16", "v"), "v"},
        {"unknown encoding", Declared("X-NOSUCH", "\xD6\xD0"), "\xD6\xD0"},
        {"an order instead of an encoding", Declared("UTF-8//IGNORE", "\xD6\xD0"), "\xD6\xD0"},
    };
    const TemporaryFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        folder.Write(kFile, row.bytes);
        CXMLOpt document;
        EXPECT_TRUE(document.LoadFile(kFile));
        EXPECT_STREQ(document.GetValue("v"), row.value);
        folder.Write(kFile, "");
        EXPECT_TRUE(document.SaveFile());
        EXPECT_EQ(folder.Read(kFile), row.bytes);
    }
}

TEST(MarkupFile, WritesWhatTheEncodingLacksAsReference) {
    const TemporaryFolder folder;
    folder.Write(kFile, Declared("GB2312", ""));
    CXMLOpt document;
    ASSERT_TRUE(document.LoadFile(kFile));
    ASSERT_TRUE(document.SetValue("v", "\xE4\xB8\xAD\xF0\x9F\x98\x80\xC3\xBF."));
    EXPECT_TRUE(document.SaveFile());
    EXPECT_EQ(folder.Read(kFile), Declared("GB2312", "\xD6\xD0&#128512;&#255;."));
}

TEST(MarkupFile, ConvertsTextsOfAnyLength) {
    const TemporaryFolder folder;
    std::string narrow;
    for (int index = 0; index < 10'000; ++index) {
        narrow += "\xD6\xD0";
    }
    folder.Write(kFile, Declared("GB18030", narrow));
    CXMLOpt document;
    ASSERT_TRUE(document.LoadFile(kFile));
    EXPECT_EQ(document.GetValue("v").GetLength(), 30'000);
    ASSERT_TRUE(document.SaveFile());
    EXPECT_EQ(folder.Read(kFile), Declared("GB18030", narrow));
}

TEST(MarkupFile, UnreadableFileLeavesNothingToSave) {
    const TemporaryFolder folder;
    folder.Write(kFile, "<c><v>1</v></c>");
    folder.Write("bad.xml", "<c><v>1</v>");
    folder.Write("folder/x", "");
    for (const char* bad : {"missing.xml", "bad.xml", "folder", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(bad != nullptr ? bad : "null");
        CXMLOpt document;
        EXPECT_FALSE(document.SaveFile());
        ASSERT_TRUE(document.LoadFile(kFile));
        EXPECT_FALSE(document.LoadFile(bad));
        EXPECT_STREQ(document.GetValue("v"), "");
        EXPECT_FALSE(document.SetValue("v", "2"));
        EXPECT_FALSE(document.SaveFile());
    }
    EXPECT_EQ(folder.Read(kFile), "<c><v>1</v></c>");
    EXPECT_EQ(folder.Read("bad.xml"), "<c><v>1</v>");
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<a/>"));
    EXPECT_FALSE(markup.Save(nullptr));
    EXPECT_FALSE(markup.Save("nosuch/folder.xml"));
}

TEST(MarkupFile, CopyKeepsItsFile) {
    const TemporaryFolder folder;
    folder.Write(kFile, "<c/>");
    CXMLOpt copy;
    {
        CXMLOpt document;
        ASSERT_TRUE(document.LoadFile(kFile));
        copy = document;
        ASSERT_TRUE(document.SetValue("v", 1));
    }
    ASSERT_TRUE(copy.SetValue("v", -2));
    EXPECT_TRUE(copy.SaveFile());
    EXPECT_EQ(folder.Read(kFile), "<c><v>-2</v></c>");
}
