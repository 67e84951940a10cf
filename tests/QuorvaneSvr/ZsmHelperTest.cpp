#include "ZsmHelper.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include "FileSizeLimit.h"
#include "FileUtil.h"
#include "Log.h"
#include "ModuleContainer.h"
#include "SampleTransform.h"
#include "TemporaryFolder.h"

namespace {

using testing::HasSubstr;

constexpr char kContainer[] = "zxmAlogic.zxm";
constexpr char kTemporary[] = "protect.so";
constexpr char kFallback[] = "tarce log algo auto compstr null value";
constexpr char kNoAlgorithm[] = "00000000-0000-0000-0000-000000000000";

// Offsets in a container with neither a key nor more than one byte of algorithm id.
constexpr size_t kIdLengthAt = 3 + 1;
constexpr size_t kPropertiesAt = kIdLengthAt + 1 + 1;
constexpr size_t kSizeAt = kPropertiesAt + 5;

std::string SharedObject(const char* name) {
    std::string content;
    EXPECT_TRUE(CFileUtil::ReadWholeFile((std::string(MODULE_DIR) + name).c_str(), content));
    return content;
}

std::string Pack(const ModuleContainer& content, StreamEnd streamEnd = StreamEnd::kBySize) {
    std::string bytes;
    std::string error;
    EXPECT_TRUE(PackContainer(content, streamEnd, bytes, error)) << error;
    return bytes;
}

ModuleContainer OddModule() {
    return {"ODD", "", "o", SharedObject("odd-module.so")};
}

std::string WithSize(std::string bytes, size_t offset, uint32_t size) {
    return bytes.replace(offset, sizeof size, reinterpret_cast<const char*>(&size), sizeof size);
}

class ZsmHelperTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(CLog::GetInst()->Create("", "log", ""), 0);
        Module().Init(kContainer, nullptr, 0);
    }

    static CZsmHelper& Module() { return *CZsmHelper::GetInst(); }
    // A new file each time: rewriting one waits for the disk on some file systems.
    void PortalSends(const std::string& container) {
        unlink(kContainer);
        m_folder.Write(kContainer, container);
    }

    static std::string Code(const char* text) { return TakeText(Module().Code(text)); }
    static std::string DeCode(const char* text) { return TakeText(Module().DeCode(text)); }

    TemporaryFolder m_folder;

  private:
    static std::string TakeText(char* result) {
        std::string text = result != nullptr ? result : "(null)";
        Module().FreeResult(result);
        return text;
    }
};

// The temporary file has the same path every time, and often the same inode: the dynamic linker must still
// see the new module.
TEST_F(ZsmHelperTest, UpdatedContainerIsUsedByTheNextOperation) {
    for (const std::string& text : {std::string("text"), std::string(100000, 'x'), std::string()}) {
        for (const bool first : {true, false}) {
            const sample::Version& version = first ? sample::FirstVersion() : sample::SecondVersion();
            std::string container = Pack({version.keyId, "", version.algorithmId,
                                          SharedObject(first ? "sample-module-1.so" : "sample-module-2.so")});
            ASSERT_EQ(Module().Update(&container[0], container.size()), 1);
            EXPECT_STREQ(Module().GetAlgoId(), version.algorithmId);
            EXPECT_EQ(Code(text.c_str()), version.encode(text));
            EXPECT_EQ(DeCode(version.encode(text).c_str()), text);
        }
    }
    EXPECT_EQ(Code(nullptr) + DeCode(nullptr), "");
}

TEST_F(ZsmHelperTest, WithoutAModuleTheFallbacksAnswer) {
    const std::string longPath(3000, 'p');
    EXPECT_EQ(Module().Update(nullptr, 5), 0);
    for (const char* path : {"missing.zxm", ".", "", static_cast<const char*>(nullptr), longPath.c_str()}) {
        EXPECT_EQ(Module().Init(path, nullptr, 0), 1);
        EXPECT_EQ(Code("text") + DeCode("text"), std::string(kFallback) + "(null)");
        EXPECT_STREQ(Module().GetAlgoId(), kNoAlgorithm);
    }
}

TEST_F(ZsmHelperTest, FailedUpdateLeavesTheOldContainerWhole) {
    PortalSends(Pack(OddModule()));
    m_folder.Write(".zxmAlogic.zxm.quorvane-save-123456", "left by an update that was killed");
    m_folder.Write(kTemporary, "left by a call that was killed");
    Module().Init(kContainer, nullptr, 0);
    EXPECT_FALSE(m_folder.Has(kTemporary));
    std::string update(200, 'x');
    {
        const FileSizeLimit fullDisk(100);
        EXPECT_EQ(Module().Update(&update[0], update.size()), -1);
    }
    EXPECT_EQ(Code("text"), "odd");
    EXPECT_TRUE(CFileUtil::FindFiles(".zxm", "*").empty());
    Module().Init("missing/container", nullptr, 0);
    EXPECT_EQ(Module().Update(&update[0], update.size()), -1);
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(" Write File zxmAlogic.zxm fail\n"));
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(" Create File missing/container fail\n"));
}

TEST_F(ZsmHelperTest, LoadsEveryFormOfContainerAndNoDamagedOne) {
    const ModuleContainer plain = OddModule();
    const std::string good = Pack(plain);
    const std::string marked = Pack(plain, StreamEnd::kByMark);
    const auto size = static_cast<uint32_t>(plain.module.size());
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"stream that ends by its size", good, "o"},
        {"stream that ends with a mark", marked, "o"},
        {"longest texts", Pack({"ODD", std::string(255, 'k'), std::string(255, 'i'), plain.module}),
         std::string(99, 'i')},
        {"no algorithm id", std::string(good).replace(kIdLengthAt, 2, 1, '\0'), ""},
        {"dictionary of 4 GiB", WithSize(good, kPropertiesAt + 1, UINT32_MAX), "o"},
        {"cut before its end", good.substr(0, good.size() - 1), kNoAlgorithm},
        {"cut before its mark", marked.substr(0, marked.size() - 1), kNoAlgorithm},
        {"bytes behind", good + std::string(9, '\0'), "o"},
        {"smaller size", WithSize(good, kSizeAt, size - 1), kNoAlgorithm},
        {"larger size", WithSize(marked, kSizeAt, size + 1), kNoAlgorithm},
        {"size of 4 GiB", WithSize(good, kSizeAt, UINT32_MAX), kNoAlgorithm},
        {"damaged middle", std::string(good).replace(good.size() / 2, 4, 4, 'x'), kNoAlgorithm},
        {"no shared object", Pack({"ODD", "", "o", "just a text"}), kNoAlgorithm},
        {"beyond the limit", good + std::string(CZsmHelper::kMaxSize, '\0'), kNoAlgorithm},
    };
    for (const auto& [what, container, algorithmId] : rows) {
        SCOPED_TRACE(what);
        const bool loads = algorithmId != kNoAlgorithm;
        PortalSends(container);
        EXPECT_EQ(Module().GetAlgoId(), algorithmId);
        EXPECT_EQ(Code("text"), loads ? "odd" : kFallback);
        EXPECT_EQ(DeCode("key id"), loads ? "ODD" : "(null)");
        EXPECT_FALSE(m_folder.Has(kTemporary));
    }
}

TEST_F(ZsmHelperTest, TemporaryFileIsPrivateAndReplacesWhatIsThere) {
    PortalSends(Pack(OddModule()));
    m_folder.Write("victim", "untouched");
    ASSERT_EQ(symlink("victim", kTemporary), 0);
    const mode_t previous = umask(0777);
    EXPECT_EQ(Code("mode"), "700");
    umask(previous);
    EXPECT_EQ(m_folder.Read("victim"), "untouched");
    EXPECT_FALSE(m_folder.Has(kTemporary));
    {
        const FileSizeLimit fullDisk(100);
        EXPECT_EQ(Code("text"), kFallback);
    }
    EXPECT_FALSE(m_folder.Has(kTemporary));
}

TEST_F(ZsmHelperTest, SurvivesAndReportsModulesThatMisbehave) {
    PortalSends(Pack({"ODD", "", "o", SharedObject("bare-module.so")}));
    EXPECT_EQ(Code("text") + DeCode("text"), std::string(kFallback) + "(null)");
    PortalSends(Pack(OddModule()));
    EXPECT_EQ(Code("null"), kFallback);
    for (const char* report : {" zsm code not find\n", " zsm Prepare not find\n", " zsm code err\n"}) {
        EXPECT_THAT(m_folder.Read("log"), HasSubstr(report));
    }
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"refused", "(null)", " zsm Prepare err 5\n"},
        {"grows", "(null)", " zsm Prepare err -1\n"},
        {"huge", "(null)", " zsm Prepare err -1\n"},
        {"null text", "", ""},
        {"unterminated", "xxx", ""},
    };
    for (const auto& [what, decoded, report] : rows) {
        SCOPED_TRACE(what);
        ASSERT_EQ(truncate("log", 0), 0);
        EXPECT_EQ(DeCode(what), decoded);
        EXPECT_THAT(m_folder.Read("log"), HasSubstr(report));
        EXPECT_EQ(m_folder.Read("log").empty(), *report == '\0');
    }
}

}  // namespace
