#include "uuid32.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

TEST(Uuid, TextShowsEveryField) {
    const _uuid_t uuid = {0x01234567, 0x89ab, 0x1cde, {0x78, 0x56, 0x34, 0x12, 0xbc, 0x9a, 0xf0, 0x8e}};
    EXPECT_STREQ(uuid_to_string(&uuid), "01234567-89ab-1cde-8ef0-9abc12345678");
    const _uuid_t small = {1, 2, 3, {4, 0, 0, 0, 5, 0, 6, 0}};
    EXPECT_STREQ(uuid_to_string(&small), "00000001-0002-0003-0006-000500000004");
}

TEST(Uuid, FieldsComeFromOneTime) {
    for (int i = 0; i < 100; ++i) {
        _uuid_t uuid = {};
        uuid_create(&uuid);
        SCOPED_TRACE(uuid_to_string(&uuid));
        EXPECT_EQ(uuid.data2, uuid.data1 & 0xFFFF);
        EXPECT_EQ(uuid.data3, (uuid.data1 >> 16) | 0x1000);
        EXPECT_EQ(uuid.data4[7] & 0xC0, 0x80);  // the clock sequence's top bits
        EXPECT_EQ(uuid.data4[5] & 0x01, 0x01);  // the node's multicast bit
    }
}

// Thousands are made within one tick of the clock.
TEST(Uuid, NoTwoAreTheSame) {
    constexpr size_t kCount = 5000;
    std::set<std::string> made;
    for (size_t i = 0; i < kCount; ++i) {
        made.insert(uuid_create_string());
    }
    EXPECT_EQ(made.size(), kCount);
    EXPECT_TRUE(is_uuid_string(made.begin()->c_str()));
}

TEST(Uuid, RecognisesItsForm) {
    const std::string good = "01234567-89ab-CDEF-0000-9abc12345678";
    EXPECT_TRUE(is_uuid_string(good.c_str()));
    EXPECT_TRUE(is_uuid_string((good + "-more").c_str()));
    for (size_t i = 0; i < good.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FALSE(is_uuid_string(good.substr(0, i).c_str()));
        std::string bad = good;
        bad[i] = good[i] == '-' ? '0' : 'g';
        EXPECT_FALSE(is_uuid_string(bad.c_str()));
    }
}

}  // namespace
