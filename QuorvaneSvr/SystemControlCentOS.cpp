#include "SystemControlCentOS.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kSwitch[] = "ip_forward";
constexpr char kSwitchLine[] =
    "net.ipv4.ip_forward ";  // the blank keeps out ip_forward_use_pmtu and the like

}  // namespace

CSystemControlCentOS::CSystemControlCentOS(ISystemControl** instance) : CSystemControl(instance) {
    m_Executor.SetSystemControlLogger(LogParser, this);
}

int CSystemControlCentOS::NetworkEnableIpForwarding() {
    char command[1024];
    snprintf(command, sizeof(command), "sysctl -a |grep \"%s\" 2>&1", kSwitch);
    m_Executor.SetSystemControlLogger(LogParser, this);  // reading the counters leaves another parser there
    m_Executor.ExecuteShellScript(command, "r");
    return m_nIP_Forward_Enabled;
}

void CSystemControlCentOS::LogParser(const char* line, void* param) {
    const char* value = strrchr(line, '=');
    if (strstr(line, kSwitchLine) != nullptr && value != nullptr) {
        static_cast<CSystemControlCentOS*>(param)->m_nIP_Forward_Enabled = atoi(value + 1);
    }
}
