#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "TemporaryFolder.h"
#include "XMLOpt.h"

namespace {

constexpr char kFile[] = "conf.xml";
const std::string kMiddle = "\xE4\xB8\xAD";  // one character, "\xD6\xD0" in GB2312

std::string Declared(const std::string& encoding, const std::string& value) {
    return "<?xml version='1.0' encoding='" + encoding + "'?><c><v>" + value + "</v></c>";
}

}  // namespace

TEST(MarkupFile, ComesBackAsItWasEncoded) {
    const std::string many(30'000, 'x');
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"not declared", "<c><v>" + kMiddle + "</v></c>\n", kMiddle},
        {"declared GB2312, any length", Declared("GB2312", many + "\xD6\xD0"), many + kMiddle},
        {"mark against declaration", "\xEF\xBB\xBF" + Declared("GB2312", kMiddle), kMiddle},
        {"UTF-16", std::string("\xFF\xFE<\0c\0>\0<\0v\0/\0>\0<\0/\0c\0>\0", 24), ""},
        {"bytes that are not UTF-8", Declared("UTF-8", "\xD6\xD0"), "\xD6\xD0"},
        {"a name that is not in the encoding", "<?xml version='1.0' encoding='ASCII'?><" + kMiddle + "/>",
         ""},
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

// All of the file was read as another encoding after that.
TEST(MarkupFile, ForeignBytesLeaveTheOtherTextsAsTheyAre) {
    const TemporaryFolder folder;
    folder.Write(kFile, Declared("GB2312", "\xD6\xD0"));
    CXMLOpt document;
    EXPECT_TRUE(document.LoadFile(kFile) && document.SetValue("w", "\xD6\xD0") && document.SaveFile());
    EXPECT_TRUE(document.LoadFile(kFile));
    EXPECT_EQ(document.GetValue("v").GetText() + document.GetValue("w").GetText(), kMiddle + kMiddle);
}

TEST(MarkupFile, UnreadableFileLeavesNothingToSave) {
    const TemporaryFolder folder;
    folder.Write(kFile, "<c/>");
    folder.Write("bad.xml", "<c><v>1</v>");
    folder.Write("odd.xml", "\xFF\xFE<c/>.");
    for (const char* bad : {"missing.xml", "bad.xml", "odd.xml", ".", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(bad != nullptr ? bad : "null");
        CXMLOpt document;
        EXPECT_FALSE(document.SaveFile());
        ASSERT_TRUE(document.LoadFile(kFile));
        EXPECT_FALSE(document.LoadFile(bad));
        EXPECT_FALSE(document.SetValue("v", "2") || document.SaveFile());
    }
    EXPECT_EQ(folder.Read("bad.xml"), "<c><v>1</v>");
}
