#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "Markup.h"
#include "TemporaryFolder.h"
#include "XMLOpt.h"

namespace {

constexpr char kFile[] = "conf.xml";
const std::string kMiddle = "\xE4\xB8\xAD";  // one character, "\xD6\xD0" in GB2312

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
    std::string longText;
    std::string longNarrow;
    while (longText.size() < 30'000) {
        longText += kMiddle;
        longNarrow += "\xD6\xD0";
    }
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"not declared", "<c><v>" + kMiddle + "</v></c>\n", kMiddle},
        {"declared UTF-8", Declared("utf-8", kMiddle), kMiddle},
        {"declared GB2312, any length", Declared("GB2312", longNarrow), longText},
        {"mark against declaration", "\xEF\xBB\xBF" + Declared("GB2312", kMiddle), kMiddle},
        {"UTF-16, low byte first", Utf16(Declared("UTF-16", "v"), true), "v"},
        {"UTF-16, high byte first", Utf16("<c><v>v</v></c>", false), "v"},
        {"not what it declares", Declared("GB2312", "\xFF\xFF"), "\xFF\xFF"},
        {"bytes that are not UTF-8", Declared("UTF-8", "\xD6\xD0"), "\xD6\xD0"},
        {"cannot be what it declares", Declared("UTF-16", "v"), "v"},
        {"unknown encoding", Declared("X-NOSUCH", "\xD6\xD0"), "\xD6\xD0"},
        {"an order instead of an encoding", Declared("UTF-8//IGNORE", "\xD6\xD0"), "\xD6\xD0"},
    };
    const TemporaryFolder folder;
    for (const auto& [what, bytes, value] : rows) {
        SCOPED_TRACE(what);
        folder.Write(kFile, bytes);
        CXMLOpt document;
        EXPECT_TRUE(document.LoadFile(kFile));
        EXPECT_EQ(document.GetValue("v").GetText(), value);
        folder.Write(kFile, "");
        EXPECT_TRUE(document.SaveFile());
        EXPECT_EQ(folder.Read(kFile), bytes);
    }
}

TEST(MarkupFile, WritesWhatTheEncodingLacksAsReference) {
    const TemporaryFolder folder;
    folder.Write(kFile, Declared("GB2312", ""));
    CXMLOpt document;
    ASSERT_TRUE(document.LoadFile(kFile));
    ASSERT_TRUE(document.SetValue("v", (kMiddle + "\xF0\x9F\x98\x80\xC3\xBF.").c_str()));
    EXPECT_TRUE(document.SaveFile());
    EXPECT_EQ(folder.Read(kFile), Declared("GB2312", "\xD6\xD0&#128512;&#255;."));
}

TEST(MarkupFile, UnreadableFileLeavesNothingToSave) {
    const TemporaryFolder folder;
    folder.Write(kFile, "<c><v>1</v></c>");
    folder.Write("bad.xml", "<c><v>1</v>");
    for (const char* bad : {"missing.xml", "bad.xml", ".", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(bad != nullptr ? bad : "null");
        CXMLOpt document;
        EXPECT_FALSE(document.SaveFile());
        ASSERT_TRUE(document.LoadFile(kFile));
        EXPECT_FALSE(document.LoadFile(bad));
        EXPECT_FALSE(document.SetValue("v", "2"));
        EXPECT_FALSE(document.SaveFile());
    }
    EXPECT_EQ(folder.Read(kFile), "<c><v>1</v></c>");
    EXPECT_EQ(folder.Read("bad.xml"), "<c><v>1</v>");
}
