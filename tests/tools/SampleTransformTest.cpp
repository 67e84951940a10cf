#include "SampleTransform.h"

#include <gtest/gtest.h>

namespace {

const sample::Version* const kVersions[] = {&sample::FirstVersion(), &sample::SecondVersion()};

std::string EveryByte() {
    std::string text;
    for (int value = 0; value < 256; ++value) {
        text += static_cast<char>(value);
    }
    return text;
}

TEST(SampleTransform, DecodesWhatItEncoded) {
    for (const sample::Version* version : kVersions) {
        SCOPED_TRACE(version->algorithmId);
        EXPECT_EQ(sample::FindVersion(version->algorithmId), version);
        const std::string encoded = version->encode(EveryByte());
        for (const char character : encoded) {
            EXPECT_TRUE(character > ' ' && character <= '~') << static_cast<int>(character);
        }
        EXPECT_EQ(version->decode(encoded), EveryByte());
    }
    EXPECT_EQ(sample::FindVersion("unknown"), nullptr);
}

TEST(SampleTransform, DecodesNothingElse) {
    const std::string first = sample::FirstVersion().encode("text");
    const std::string second = sample::SecondVersion().encode("text");
    EXPECT_NE(first, second);
    EXPECT_EQ(sample::FirstVersion().decode(second), "");
    EXPECT_EQ(sample::SecondVersion().decode(first), "");
    for (const sample::Version* version : kVersions) {
        SCOPED_TRACE(version->algorithmId);
        EXPECT_EQ(version->decode(version->encode("text") + "?"), "");
        EXPECT_EQ(version->decode("tarce log algo auto compstr null value"), "");
        EXPECT_EQ(version->decode(std::string(2, '\0')), "");
    }
}

}  // namespace
