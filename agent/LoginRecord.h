#pragma once

#include <string>

// FOLDER/agent.login, mode 0600: whose login the service has, for the next agent, which may have another
// account when it finds that login. The service itself does not tell.
class LoginRecord {
  public:
    // Reads it; one that cannot be read tells nothing.
    explicit LoginRecord(const std::string& folder);

    // The account's name; empty when it is not known.
    const std::string& Name() const { return m_name; }
    // Takes another name, or with an empty one removes the file. When it cannot be written, the next agent
    // takes the login for its own account's.
    void Keep(const std::string& name);

  private:
    const std::string m_path;
    std::string m_name;
};
