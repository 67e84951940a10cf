#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "ModuleContainer.h"
#include "TemporaryFolder.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ZxmpackTest : public testing::Test {
  protected:
    // Runs the program and keeps what it printed, on both streams. Answers its exit status.
    int Zxmpack(const std::string& arguments) {
        const int status = system((ZXMPACK " " + arguments + " >printed 2>&1").c_str());
        m_printed = m_folder.Read("printed");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TemporaryFolder m_folder;
    std::string m_printed;
};

TEST_F(ZxmpackTest, PacksShowsAndUnpacks) {
    const std::string module = "\x7f" + std::string(5000, '\0') + "end";
    m_folder.Write("in.so", module);
    ASSERT_EQ(Zxmpack("pack --key-id K01 --key secret --algorithm-id 'id\x1b[1m' in.so out.zxm"), 0);
    EXPECT_EQ(m_folder.Read("out.zxm").find("K01\6secret\6id\x1b[1m"), 0u);
    ASSERT_EQ(Zxmpack("show out.zxm"), 0);
    EXPECT_THAT(m_printed, AllOf(HasSubstr("K01\n"), HasSubstr("6 bytes\n"), HasSubstr("id?[1m\n"),
                                 HasSubstr(std::to_string(module.size())), Not(HasSubstr("secret"))));
    ASSERT_EQ(Zxmpack("unpack out.zxm out.so"), 0);
    EXPECT_EQ(m_folder.Read("out.so"), module);
}

TEST_F(ZxmpackTest, RefusesBadInput) {
    m_folder.Write("in.so", "module");
    m_folder.Write("empty.so", "");
    m_folder.Write("short.zxm", "K01");
    ASSERT_EQ(Zxmpack("pack --algorithm-id id in.so good.zxm"), 0);
    m_folder.Write("damaged.zxm", m_folder.Read("good.zxm") + "x");
    const std::tuple<std::string, int, const char*> rows[] = {
        {"", 2, "usage: "},
        {"explode", 2, "usage: "},
        {"pack in.so", 2, "usage: "},
        {"pack --unknown x in.so out", 2, "usage: "},
        {"pack in.so out --key-id", 2, "usage: "},
        {"pack in.so out", 1, "the algorithm id must have 1 to 255 bytes"},
        {"pack --algorithm-id " + std::string(256, 'i') + " in.so out", 1, "algorithm id"},
        {"pack --key-id LONG --algorithm-id id in.so out", 1, "the key id must have 3 characters"},
        {"pack --key " + std::string(256, 'k') + " --algorithm-id id in.so out", 1, "the key is longer"},
        {"pack --algorithm-id id empty.so out", 1, "the module is empty"},
        {"pack --algorithm-id id . out", 1, ".: cannot be read"},
        {"pack --algorithm-id id in.so no/folder", 1, "no/folder: cannot be written"},
        {"show missing.zxm", 1, "missing.zxm: cannot be read"},
        {"show short.zxm", 1, "short.zxm: the container is too short"},
        {"unpack damaged.zxm out", 1, "damaged.zxm: the packed stream is damaged"},
    };
    for (const auto& [arguments, status, message] : rows) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(Zxmpack(arguments), status);
        EXPECT_THAT(m_printed, HasSubstr(message));
        EXPECT_FALSE(m_folder.Has("out"));
    }
}

TEST(ModuleContainer, RefusesEveryTruncation) {
    for (const StreamEnd streamEnd : {StreamEnd::kBySize, StreamEnd::kByMark}) {
        std::string bytes;
        std::string error;
        ASSERT_TRUE(PackContainer({"K01", "key", "id", "a module of some bytes"}, streamEnd, bytes, error));
        ModuleContainer content;
        for (size_t length = 0; length < bytes.size(); ++length) {
            error.clear();
            EXPECT_FALSE(UnpackContainer(bytes.substr(0, length), content, error)) << length;
            EXPECT_FALSE(error.empty());
        }
        EXPECT_TRUE(UnpackContainer(bytes, content, error));
        EXPECT_EQ(content.module, "a module of some bytes");
    }
}

}  // namespace
