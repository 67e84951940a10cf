#pragma once

#include <cstdint>
#include <vector>

class CBufferArray {
  public:
    CBufferArray() = default;
    virtual ~CBufferArray();
    CBufferArray(const CBufferArray&) = delete;
    CBufferArray& operator=(const CBufferArray&) = delete;
    void AddBuffer(char* block, uint64_t length);
    uint64_t GetAllBufferSize() const;
    uint64_t RecvBuffer(char* destination, uint64_t capacity) const;
    void ReleaseBuffer();

  private:
    std::vector<char*> m_arrBuf;
    std::vector<uint64_t> m_arrLen;
    uint64_t m_dwBufferSize = 0;
};
