#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The chunks of one HTTP answer in the order in which they arrived, until their number is known and they are
// copied into one buffer. Owns every block (array-allocated). Not synchronised: belongs to one transfer.
class CBufferArray {
  public:
    // Bytes that the list has room for unless told otherwise: far more than any answer brings, a module's
    // container too, but a portal that sends without end must not fill the memory.
    static constexpr uint64_t kDefaultBound = 64 * 1024 * 1024;

    CBufferArray() = default;
    virtual ~CBufferArray();
    CBufferArray(const CBufferArray&) = delete;
    CBufferArray& operator=(const CBufferArray&) = delete;

    // Takes over `block` of `length` bytes.
    void AddBuffer(char* block, uint64_t length);
    // Bytes that HasRoom allows. Keeping the blocks may cost as much again.
    void SetBound(uint64_t bytes) { m_bound = bytes; }
    // Whether a further block of `length` bytes stays within the bound. AddBuffer itself refuses nothing.
    bool HasRoom(uint64_t length) const;
    // Sum of the lengths, in bytes.
    uint64_t GetAllBufferSize() const { return m_dwBufferSize; }
    size_t GetBufferCount() const { return m_arrBuf.size(); }
    // Copies whole blocks in order and stops before the first one that no longer fits into `capacity` bytes.
    // Returns the number of bytes copied; no NUL is added.
    uint64_t RecvBuffer(char* destination, uint64_t capacity) const;
    // All of it as one array-allocated, NUL-terminated text, the caller's to free.
    char* Join() const;
    // Frees every block; the list can be filled again.
    void ReleaseBuffer();

    // Not used by the service.
    // Single blocks, for whoever reads or changes an answer in place. `index` is below GetBufferCount.
    char* GetBuffer(size_t index) const { return m_arrBuf[index]; }
    // Frees the block at `index` and takes over another in its place.
    void SetBuffer(size_t index, char* block, uint64_t length);

  private:
    std::vector<char*> m_arrBuf;
    std::vector<uint64_t> m_arrLen;  // parallel to m_arrBuf
    uint64_t m_dwBufferSize = 0;
    uint64_t m_bound = kDefaultBound;
};
