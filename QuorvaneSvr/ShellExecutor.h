#pragma once

// Takes one line of a command's output, line end included, and the parameter that was set along with it.
using SYSTEMCONTROLLOG = void (*)(const char* line, void* param);

// Runs shell commands and hands each line that they print to a callback. Used from the work thread only.
class CShellExecutor {
  public:
    virtual ~CShellExecutor() = default;

    // `callback` may be null: the output is then read and forgotten.
    void SetSystemControlLogger(SYSTEMCONTROLLOG callback, void* param);
    SYSTEMCONTROLLOG GetLogRoutine() const { return m_SystemControlLog; }
    // Runs `command` to its end; `mode` is popen's. Longer lines than 1023 bytes come in pieces. 1, whatever
    // status the command ends with, or 0 when an argument is null or empty or no shell can be started.
    int ExecuteShellScript(const char* command, const char* mode);

  private:
    SYSTEMCONTROLLOG m_SystemControlLog = nullptr;
    void* m_pParam = nullptr;
};
