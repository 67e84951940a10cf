#include "uuid32.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <string>

// The first case: children of a process that has made one go on from there. Of 200 clients at one portal two
// pairs had the same identifier, and each ended the login of the other.
TEST(Uuid, ProcessesThatStartTogetherMakeDifferentOnes) {
    constexpr size_t kProcesses = 100;  // several in each millisecond
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    for (size_t i = 0; i < kProcesses; ++i) {
        if (fork() == 0) {
            _exit(write(ends[1], uuid_create_string(), 36) == 36 ? 0 : 1);
        }
    }
    close(ends[1]);
    std::set<std::string> made;
    for (char text[37] = {}; read(ends[0], text, 36) == 36;) {
        made.insert(text);
    }
    EXPECT_EQ(made.size(), kProcesses);
}

TEST(Uuid, TextShowsEveryField) {
    const _uuid_t uuid = {0x01234567, 0x89ab, 0x1cde, {0x78, 0x56, 0x34, 0x12, 0xbc, 0x9a, 0xf0, 0x8e}};
    EXPECT_STREQ(uuid_to_string(&uuid), "01234567-89ab-1cde-8ef0-9abc12345678");
    const std::string one = uuid_create_string();
    EXPECT_NE(one, uuid_create_string()) << "in the same moment";
    EXPECT_TRUE(is_uuid_string(one.c_str()) && !is_uuid_string(("g" + one.substr(1)).c_str()));
}
