#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

// Whole files as the service reads and writes them (CFileUtil), by their paths, for targets that have
// MemoryFiles.cpp among their sources: a run takes no system calls, and writing can fail.
inline std::map<std::string, std::string> memoryFiles;

// Thrown where the process would end.
struct Killed {};

// How a write does not go well. One that writes over a file leaves the first bytes of the new text and the
// rest of the old one.
struct WriteFault {
    int writesBefore;     // that still go well
    size_t bytesWritten;  // at most
    bool isKill;          // Killed is thrown, else the disk is full
};
inline std::optional<WriteFault> nextWriteFault;
