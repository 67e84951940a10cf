#include "SampleTransform.h"

#include <gtest/gtest.h>

TEST(SampleTransform, DecodesWhatItEncodedAndNothingElse) {
    std::string every;
    for (int value = 0; value < 256; ++value) {
        every += static_cast<char>(value);
    }
    const sample::Version* other = &sample::SecondVersion();
    for (const sample::Version* version : {&sample::FirstVersion(), &sample::SecondVersion()}) {
        SCOPED_TRACE(version->algorithmId);
        EXPECT_EQ(sample::FindVersion(version->algorithmId), version);
        EXPECT_EQ(version->decode(version->encode(every)), every);
        EXPECT_EQ(version->decode(other->encode("text")), "");
        EXPECT_EQ(version->decode(version->encode("text") + "?"), "");
        EXPECT_EQ(version->decode(std::string(2, '\0')), "");
        other = version;
    }
    EXPECT_EQ(sample::FindVersion("unknown"), nullptr);
}
