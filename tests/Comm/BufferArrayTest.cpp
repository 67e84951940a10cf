#include "BufferArray.h"

#include <gtest/gtest.h>

#include <string>

TEST(BufferArray, CopiesOnlyWholeChunksThatFit) {
    CBufferArray chunks;
    for (const std::string text : {"abc", "de", "f"}) {
        char* block = new char[text.size()];
        text.copy(block, text.size());
        chunks.AddBuffer(block, text.size());
    }
    const std::string expected[] = {"", "", "", "abc", "abc", "abcde", "abcdef"};
    for (size_t capacity = 0; capacity < std::size(expected); ++capacity) {
        std::string destination(capacity, '.');
        destination.resize(chunks.RecvBuffer(destination.data(), capacity));
        EXPECT_EQ(destination, expected[capacity]);
    }
    chunks.ReleaseBuffer();
    EXPECT_EQ(chunks.GetAllBufferSize() + chunks.GetBufferCount(), 0u);
}
