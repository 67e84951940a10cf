#include "BufferArray.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

void Add(CBufferArray& chunks, const std::string& text) {
    char* block = new char[text.size()];
    memcpy(block, text.data(), text.size());
    chunks.AddBuffer(block, text.size());
}

TEST(BufferArray, CopiesOnlyWholeChunksThatFit) {
    struct Row {
        uint64_t capacity;
        std::string copied;
    };
    const Row rows[] = {{0, ""}, {2, ""}, {3, "abc"}, {4, "abc"}, {5, "abcde"}, {9, "abcdef"}};
    CBufferArray chunks;
    Add(chunks, "abc");
    Add(chunks, "de");
    Add(chunks, "f");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.capacity);
        std::string destination(row.capacity, '.');
        const uint64_t count = chunks.RecvBuffer(&destination[0], row.capacity);
        EXPECT_EQ(destination.substr(0, count), row.copied);
    }
}

TEST(BufferArray, CanBeFilledAgainAfterRelease) {
    CBufferArray chunks;
    Add(chunks, "first");
    chunks.ReleaseBuffer();
    EXPECT_EQ(chunks.GetAllBufferSize(), 0u);
    EXPECT_EQ(chunks.GetBufferCount(), 0u);
    Add(chunks, "second");
    char destination[6];
    EXPECT_EQ(chunks.RecvBuffer(destination, sizeof(destination)), 6u);
    EXPECT_EQ(std::string(destination, 6), "second");
}

}  // namespace
