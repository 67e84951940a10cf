#include "BufferArray.h"

#include <cstring>

CBufferArray::~CBufferArray() {
    ReleaseBuffer();
}

void CBufferArray::AddBuffer(char* block, uint64_t length) {
    m_arrBuf.push_back(block);
    m_arrLen.push_back(length);
    m_dwBufferSize += length;
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

void CBufferArray::ReleaseBuffer() {
    for (char* block : m_arrBuf) {
        delete[] block;
    }
    m_arrBuf.clear();
    m_arrLen.clear();
    m_dwBufferSize = 0;
}
