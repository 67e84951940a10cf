#pragma once

#include <cstddef>

// Owned buffer of `T`, array-allocated and freed with the object. Not synchronised.
template <typename T>
class CAutoMemory {
  public:
    CAutoMemory() = default;
    explicit CAutoMemory(size_t size) { Alloc(size); }
    ~CAutoMemory() { delete[] m_p; }
    CAutoMemory(const CAutoMemory&) = delete;
    CAutoMemory& operator=(const CAutoMemory&) = delete;

    // Frees what was held and allocates `size` elements, whose contents are not cleared.
    T* Alloc(size_t size) {
        Free();
        m_p = new T[size];
        m_size = size;
        return m_p;
    }

    // Frees the buffer; the recorded size stays.
    void Free() {
        delete[] m_p;
        m_p = nullptr;
    }

    size_t GetMemorySize() const { return m_size; }
    T* GetMemory() const { return m_p; }

    T* m_p = nullptr;
    size_t m_size = 0;
};
