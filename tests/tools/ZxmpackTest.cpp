#include <gmock/gmock.h>

#include <tuple>

#include "RunProgram.h"
#include "TemporaryFolder.h"

using testing::HasSubstr;
using testing::Not;

TEST(Zxmpack, PacksShowsUnpacksAndRefuses) {
    const std::string module = "\x7f" + std::string(5000, '\0') + "end";
    TemporaryFolder folder;
    folder.Write("in.so", module);
    folder.Write("short.zxm", "K01");
    const std::tuple<std::string, int, const char*> rows[] = {
        {"pack --key-id K01 --key secret --algorithm-id 'id\x1b[1m' in.so out.zxm", 0, ""},
        {"show out.zxm", 0, "id?[1m\n"},
        {"unpack out.zxm out.so", 0, ""},
        {"pack --algorithm-id " + std::string(256, 'i') + " in.so no", 1, "algorithm id"},
        {"pack --key-id LONG --algorithm-id id in.so no", 1, "the key id must have 3 characters"},
        {"pack --key " + std::string(256, 'k') + " --algorithm-id id in.so no", 1, "the key is longer"},
        {"pack --algorithm-id id in.so no/folder", 1, "no/folder: cannot be written"},
        {"show short.zxm", 1, "short.zxm: the container is too short"},
        {"unpack damaged.zxm no", 1, "damaged.zxm: the packed stream is damaged"},
    };
    for (const auto& [arguments, status, message] : rows) {
        std::string printed;
        EXPECT_EQ(RunProgram("'" ZXMPACK "' " + arguments, printed), status) << arguments;
        EXPECT_THAT(printed, HasSubstr(message));
        EXPECT_THAT(printed, Not(HasSubstr("secret")));
        EXPECT_FALSE(folder.Has("no"));
        folder.Write("damaged.zxm", folder.Read("out.zxm") + "x");
    }
    EXPECT_EQ(folder.Read("out.zxm").find("K01\6secret\6id\x1b[1m"), 0u);
    EXPECT_EQ(folder.Read("out.so"), module);
}
