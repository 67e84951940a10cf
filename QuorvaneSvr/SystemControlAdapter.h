#pragma once

#include "ISystemControl.h"

// The distributions that are told apart.
enum tag_OPERATON_SYSTEM { SYSTEM_UBUNTU = 0, SYSTEM_FEDORA = 1, SYSTEM_CENT = 2 };
using OPERATION_SYSTEM = tag_OPERATON_SYSTEM;
constexpr OPERATION_SYSTEM kUnknownSystem = static_cast<OPERATION_SYSTEM>(3);

// Finds out on which distribution the service runs and owns the system control for it. Used from the work
// thread only.
class CSystemControlAdapter {
  public:
    CSystemControlAdapter();
    virtual ~CSystemControlAdapter();
    CSystemControlAdapter(const CSystemControlAdapter&) = delete;
    CSystemControlAdapter& operator=(const CSystemControlAdapter&) = delete;

    // Reads /etc/os-release anew. The names are looked for as they are written here: "ubuntu", "Fedora" and
    // "CentOS" in any line, the last one found counts. kUnknownSystem without any.
    OPERATION_SYSTEM GetSystem();
    // The system control, made by the first call; the same object ever after. Stays with the adapter.
    ISystemControl* GetSystemControl();
    // Callback; `param` is the object. Looks for the names in one line.
    static void LogParser(const char* line, void* param);

  private:
    ISystemControl* m_Instance = nullptr;
    OPERATION_SYSTEM m_OperationSystem = kUnknownSystem;
    CShellExecutor m_Executor;
};
