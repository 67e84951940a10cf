#pragma once

#include <string>

// A new empty folder that is the working directory while the object lives; the service keeps its settings,
// its log and its FIFOs in the working directory. Removed with its contents afterwards.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }
    // Writes a file below the folder and creates the folders on the way.
    void Write(const std::string& name, const std::string& content) const;
    // The file's content; empty when it does not exist.
    std::string Read(const std::string& name) const;
    bool Has(const std::string& name) const;

  private:
    std::string m_path;
    std::string m_previous;
};
