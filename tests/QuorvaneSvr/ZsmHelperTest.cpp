#include "ZsmHelper.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
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
constexpr size_t kKeyLengthAt = 3;
constexpr size_t kIdLengthAt = kKeyLengthAt + 1;
constexpr size_t kPropertiesAt = kIdLengthAt + 1 + 1;
constexpr size_t kSizeAt = kPropertiesAt + 5;
constexpr size_t kStreamAt = kSizeAt + 4;

std::string SharedObject(const std::string& name) {
    std::ifstream file(MODULE_DIR + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
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

// A container whose packed stream is another one: chained anew, as the packer would have done.
std::string WithStream(std::string bytes, const std::function<void(std::string&)>& change) {
    for (size_t index = bytes.size() - 1; index > kStreamAt; --index) {
        bytes[index - 1] = static_cast<char>(bytes[index - 1] ^ bytes[index]);
    }
    change(bytes);
    for (size_t index = kStreamAt; index + 1 < bytes.size(); ++index) {
        bytes[index] = static_cast<char>(bytes[index] ^ bytes[index + 1]);
    }
    return bytes;
}

std::string Uncompress(const std::string& container, size_t room) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(container.data());
    std::string text(room, '?');
    size_t consumed = container.size() - kStreamAt;
    EXPECT_EQ(CZsmHelper::LzmaUncompress(reinterpret_cast<unsigned char*>(&text[0]), &room, bytes + kStreamAt,
                                         &consumed, bytes + kPropertiesAt, kSizeAt - kPropertiesAt),
              0);
    return text.substr(0, room);
}

std::string WithByte(std::string bytes, size_t offset, int value) {
    bytes.at(offset) = static_cast<char>(value);
    return bytes;
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

    void TearDown() override { EXPECT_FALSE(m_folder.Has(kTemporary)); }

    static CZsmHelper& Module() { return *CZsmHelper::GetInst(); }
    // A new file each time: rewriting one waits for the disk on some file systems.
    void PortalSends(const std::string& container) {
        unlink(kContainer);
        m_folder.Write(kContainer, container);
    }

    static std::string Code(const char* text) { return TakeText(Module().Code(text)); }
    static std::string DeCode(const char* text) { return TakeText(Module().DeCode(text)); }

    static bool Loads() {
        __ZsoFile* module = CZsmHelper::loadZsoModule(kContainer);
        const bool loaded = module != nullptr;
        CZsmHelper::FreeZsoFile(module);
        return loaded;
    }

    static void ExpectFallbacks() {
        EXPECT_EQ(Code("text"), kFallback);
        EXPECT_EQ(Module().DeCode("text"), nullptr);
        EXPECT_STREQ(Module().GetAlgoId(), kNoAlgorithm);
    }

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
    const sample::Version* versions[] = {&sample::FirstVersion(), &sample::SecondVersion()};
    const std::string texts[] = {"", "text", std::string(100000, 'x')};
    for (size_t round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        const sample::Version& version = *versions[round % 2];
        const std::string& text = texts[round / 2];
        std::string container =
            Pack({version.keyId, "", version.algorithmId,
                  SharedObject("sample-module-" + std::to_string(round % 2 + 1) + ".so")});
        ASSERT_EQ(Module().Update(&container[0], container.size()), 1);
        EXPECT_STREQ(Module().GetAlgoId(), version.algorithmId);
        EXPECT_EQ(Code(text.c_str()), version.encode(text));
        EXPECT_EQ(DeCode(version.encode(text).c_str()), text);
    }
    EXPECT_EQ(Code(nullptr), "");
    EXPECT_EQ(DeCode(nullptr), "");
}

TEST_F(ZsmHelperTest, WithoutAModuleTheFallbacksAnswer) {
    const std::string longPath(3000, 'p');
    EXPECT_EQ(Module().Update(nullptr, 5), 0);
    for (const char* path : {"missing.zxm", ".", "", static_cast<const char*>(nullptr), longPath.c_str()}) {
        SCOPED_TRACE(path != nullptr ? path : "(null)");
        EXPECT_EQ(Module().Init(path, nullptr, 0), 1);
        ExpectFallbacks();
    }
}

TEST_F(ZsmHelperTest, FailedUpdateLeavesTheOldContainerWhole) {
    PortalSends(Pack(OddModule()));
    m_folder.Write(".zxmAlogic.zxm.quorvane-save-123456", "left by an update that was killed");
    Module().Init(kContainer, nullptr, 0);
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

TEST_F(ZsmHelperTest, LoadsEveryFormOfContainer) {
    const ModuleContainer plain = OddModule();
    ModuleContainer longTexts = plain;
    longTexts.key = std::string(255, 'k');
    longTexts.algorithmId = std::string(255, 'i');
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"stream that ends by its size", Pack(plain), "o"},
        {"stream that ends with a mark", Pack(plain, StreamEnd::kByMark), "o"},
        {"longest texts", Pack(longTexts), std::string(99, 'i')},
        {"no algorithm id", WithByte(Pack(plain), kIdLengthAt, 0).erase(kIdLengthAt + 1, 1), ""},
        {"dictionary of 4 GiB", WithSize(Pack(plain), kPropertiesAt + 1, UINT32_MAX), "o"},
    };
    for (const auto& [what, container, algorithmId] : rows) {
        SCOPED_TRACE(what);
        PortalSends(container);
        EXPECT_EQ(Module().GetAlgoId(), algorithmId);
        EXPECT_EQ(Code("text"), "odd");
        EXPECT_EQ(DeCode("key id"), "ODD");
    }
}

TEST_F(ZsmHelperTest, RefusesDamagedContainers) {
    const std::string good = Pack(OddModule());
    const std::pair<const char*, std::string> rows[] = {
        {"key length that is not true", WithByte(good, kKeyLengthAt, 7)},
        {"key that reaches beyond the end", WithByte(good, kKeyLengthAt, 255).substr(0, 100)},
        {"properties out of range", WithByte(good, kPropertiesAt, 0xff)},
        {"size of 4 GiB", WithSize(good, kSizeAt, UINT32_MAX)},
        {"damaged middle", WithByte(good, good.size() / 2, good[good.size() / 2] ^ 1)},
        {"module that is no shared object", Pack({"ODD", "", "o", "just a text"})},
    };
    for (const auto& [what, container] : rows) {
        SCOPED_TRACE(what);
        PortalSends(container);
        ExpectFallbacks();
        EXPECT_FALSE(m_folder.Has(kTemporary));
    }
    ASSERT_EQ(truncate(kContainer, CZsmHelper::kMaxSize + 1), 0);
    ExpectFallbacks();
}

TEST_F(ZsmHelperTest, RefusesEveryTruncationAndEveryOtherSizeButNotBytesBehind) {
    const std::string module = "a text that repeats itself, repeats itself and ends";
    for (const StreamEnd streamEnd : {StreamEnd::kBySize, StreamEnd::kByMark}) {
        const std::string good = Pack({"K01", "", "o", module}, streamEnd);
        for (size_t cut = 1; cut <= good.size(); ++cut) {
            PortalSends(good.substr(0, good.size() - cut));
            ASSERT_FALSE(Loads()) << "container cut by " << cut;
            PortalSends(WithStream(
                good, [=](std::string& bytes) { bytes.resize(std::max(kStreamAt, bytes.size() - cut)); }));
            ASSERT_FALSE(Loads()) << "stream cut by " << cut;
        }
        const std::string longer = WithStream(good, [&](std::string& bytes) {
            bytes += "some bytes of something else";
            EXPECT_EQ(Uncompress(bytes, module.size()), module);
            EXPECT_EQ(Uncompress(bytes, 6), "a text") << "it does not judge";
        });
        for (uint32_t size = 0; size < 2 * module.size(); ++size) {
            for (const std::string& container : {good, longer}) {
                PortalSends(WithSize(container, kSizeAt, size));
                ASSERT_EQ(Loads(), size == module.size()) << "size " << size;
            }
        }
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
    {
        const FileSizeLimit fullDisk(100);
        EXPECT_EQ(Code("text"), kFallback);
    }
    EXPECT_FALSE(m_folder.Has(kTemporary));
    ASSERT_EQ(mkdir(kTemporary, 0700), 0);
    ExpectFallbacks();
    EXPECT_EQ(rmdir(kTemporary), 0);
}

TEST_F(ZsmHelperTest, SurvivesAndReportsModulesThatMisbehave) {
    PortalSends(Pack({"ODD", "", "o", SharedObject("bare-module.so")}));
    EXPECT_EQ(Code("text"), kFallback);
    EXPECT_EQ(DeCode("text"), "(null)");
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(" zsm code not find\n"));
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(" zsm Prepare not find\n"));
    PortalSends(Pack(OddModule()));
    EXPECT_EQ(Code("null"), kFallback);
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(" zsm code err\n"));
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"refused", "(null)", " zsm Prepare err 5\n"},
        {"refused later", "(null)", " zsm Prepare err 6\n"},
        {"grows", "(null)", " zsm Prepare err -1\n"},
        {"grows and repeats", "(null)", " zsm Prepare err -1\n"},
        {"huge", "(null)", " zsm Prepare err -1\n"},
        {"no callback", "", ""},
        {"no record", "", ""},
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
