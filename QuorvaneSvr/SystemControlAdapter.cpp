#include "SystemControlAdapter.h"

#include <cstring>

#include "SystemControlCentOS.h"

namespace {

constexpr char kReleaseCommand[] = "cat /etc/os-release 2>&1";

struct ReleaseName {
    const char* name;
    OPERATION_SYSTEM system;
};
constexpr ReleaseName kReleaseNames[] = {
    {"ubuntu", SYSTEM_UBUNTU},
    {"Fedora", SYSTEM_FEDORA},
    {"CentOS", SYSTEM_CENT},
};

}  // namespace

CSystemControlAdapter::CSystemControlAdapter() {
    m_Executor.SetSystemControlLogger(LogParser, this);
}

CSystemControlAdapter::~CSystemControlAdapter() {
    if (m_Instance != nullptr) {
        m_Instance->Release();
    }
}

OPERATION_SYSTEM CSystemControlAdapter::GetSystem() {
    m_OperationSystem = kUnknownSystem;
    m_Executor.ExecuteShellScript(kReleaseCommand, "r");
    return m_OperationSystem;
}

// Each system control enters itself in m_Instance.
ISystemControl* CSystemControlAdapter::GetSystemControl() {
    if (m_Instance == nullptr) {
        if (GetSystem() == SYSTEM_CENT) {
            new CSystemControlCentOS(&m_Instance);
        } else {
            new CSystemControl(&m_Instance);
        }
    }
    return m_Instance;
}

void CSystemControlAdapter::LogParser(const char* line, void* param) {
    for (const ReleaseName& release : kReleaseNames) {
        if (strstr(line, release.name) != nullptr) {
            static_cast<CSystemControlAdapter*>(param)->m_OperationSystem = release.system;
        }
    }
}
