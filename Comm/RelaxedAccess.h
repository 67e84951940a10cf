#pragma once

// Access to a plain field that one thread writes and others read without a lock, such as a run flag. A reader
// sees a value that was written whole, perhaps one look late, and nothing follows from it about any other
// field: what belongs together needs a lock.
template <typename T>
T ReadRelaxed(const T& field) {
    T value;
    __atomic_load(&field, &value, __ATOMIC_RELAXED);
    return value;
}

template <typename T>
void WriteRelaxed(T& field, T value) {
    __atomic_store(&field, &value, __ATOMIC_RELAXED);
}
