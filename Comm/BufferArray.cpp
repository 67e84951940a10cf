#include "BufferArray.h"

#include <cstring>

namespace {

constexpr uint64_t kBlockOverhead = 64;  // bytes, about what allocator and list spend on a block

}  // namespace

CBufferArray::~CBufferArray() {
    ReleaseBuffer();
}

void CBufferArray::AddBuffer(char* block, uint64_t length) {
    m_arrBuf.push_back(block);
    m_arrLen.push_back(length);
    m_dwBufferSize += length;
}

// Blocks of one byte each must not fill the memory by what is spent on keeping them.
bool CBufferArray::HasRoom(uint64_t length) const {
    return m_dwBufferSize + length <= m_bound && m_arrBuf.size() * kBlockOverhead <= m_bound;
}

void CBufferArray::SetBuffer(size_t index, char* block, uint64_t length) {
    m_dwBufferSize += length - m_arrLen[index];
    delete[] m_arrBuf[index];
    m_arrBuf[index] = block;
    m_arrLen[index] = length;
}

uint64_t CBufferArray::RecvBuffer(char* destination, uint64_t capacity) const {
    uint64_t copied = 0;
    for (size_t i = 0; i < m_arrBuf.size(); ++i) {
        if (m_arrLen[i] > capacity - copied) {
            break;
        }
        memcpy(destination + copied, m_arrBuf[i], m_arrLen[i]);
        copied += m_arrLen[i];
    }
    return copied;
}

char* CBufferArray::Join() const {
    char* text = new char[m_dwBufferSize + 1];
    text[RecvBuffer(text, m_dwBufferSize)] = '\0';
    return text;
}

void CBufferArray::ReleaseBuffer() {
    for (char* block : m_arrBuf) {
        delete[] block;
    }
    m_arrBuf.clear();
    m_arrLen.clear();
    m_dwBufferSize = 0;
}
