#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The chunks of one HTTP answer in the order in which they arrived, until their number is known and they are
// copied into one buffer. Owns every block (array-allocated). Not synchronised: belongs to one transfer.
class CBufferArray {
  public:
    CBufferArray() = default;
    virtual ~CBufferArray();
    CBufferArray(const CBufferArray&) = delete;
    CBufferArray& operator=(const CBufferArray&) = delete;

    // Takes over `block` of `length` bytes.
    void AddBuffer(char* block, uint64_t length);
    // Sum of the lengths, in bytes.
    uint64_t GetAllBufferSize() const { return m_dwBufferSize; }
    size_t GetBufferCount() const { return m_arrBuf.size(); }
    // Copies whole blocks in order and stops before the first one that no longer fits into `capacity` bytes.
    // Answers the number of bytes copied; no NUL is added.
    uint64_t RecvBuffer(char* destination, uint64_t capacity) const;
    // Frees every block; the list can be filled again.
    void ReleaseBuffer();

  private:
    std::vector<char*> m_arrBuf;
    std::vector<uint64_t> m_arrLen;  // parallel to m_arrBuf
    uint64_t m_dwBufferSize = 0;
};
