#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "WaitUntil.h"

// Texts that other threads hand in, in the order of their arrival. Any thread may call it.
class Recorder {
  public:
    void Add(const std::string& text) {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_texts.push_back(text);
    }
    std::vector<std::string> All() const {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_texts;
    }
    // False when fewer have come within the usual deadline.
    bool Await(size_t count) const {
        return WaitUntil([&] { return All().size() >= count; });
    }

  private:
    mutable std::mutex m_lock;
    std::vector<std::string> m_texts;  // guarded by m_lock
};
