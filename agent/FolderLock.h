#pragma once

#include <string>

#include "FileUtil.h"

// Keeps a second agent out of a folder, as long as the object lives and however the process ends.
class FolderLock {
  public:
    // Takes FOLDER/agent.lock, and writes the process id into it.
    explicit FolderLock(const std::string& folder);

    // Empty when the lock is held; else one sentence of what is in the way, with the other agent's process.
    const std::string& Fault() const { return m_fault; }

  private:
    const Descriptor m_file;
    std::string m_fault;
};
