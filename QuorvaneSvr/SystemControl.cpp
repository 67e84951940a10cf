#include "SystemControl.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "FileUtil.h"

namespace {

constexpr char kIpForwardFile[] = "/proc/sys/net/ipv4/ip_forward";
constexpr char kIpv6ForwardCommand[] = "cat /proc/sys/net/ipv6/conf/all/forwarding";

// Prints interface, received and sent bytes of the default route's interface. The lone "-" is an abbreviation
// of "-loops" and swallows "show"; what is left shows the routes.
constexpr char kCountersCommand[] =
    "cat /proc/net/dev | sed 's/:/ /g' | awk -v net_device=$(ip - show route | grep \"default\" | "
    "awk '{print $5; exit}') '{if (net_device == $1) print ($1, $2, $10)}'";

}  // namespace

CSystemControl::CSystemControl(ISystemControl** instance) {
    m_Executor.SetSystemControlLogger(LogParser, this);
    *instance = this;
}

bool CSystemControl::ReadIpForward(int& enabled) {
    const FileOwner file(fopen(kIpForwardFile, "re"));
    return file != nullptr && fscanf(file.get(), "%d", &enabled) == 1;
}

int CSystemControl::NetworkEnableIpForwarding() {
    if (!ReadIpForward(m_nIP_Forward_Enabled)) {
        perror(strerror(errno));
    }
    if (m_nIP_Forward_Enabled == 0) {
        m_Executor.SetSystemControlLogger(ResultParser, this);
        m_Executor.ExecuteShellScript(kIpv6ForwardCommand, "r");
    }
    return m_nIP_Forward_Enabled;
}

int CSystemControl::NetworkTrafficStatistics(unsigned long& transmitted, unsigned long& received) {
    m_Executor.SetSystemControlLogger(LogParser, this);
    if (m_Executor.ExecuteShellScript(kCountersCommand, "r") == 0) {
        return -1;
    }
    transmitted = m_sStatistics.un64TransmitBytes;
    received = m_sStatistics.un64ReceiveBytes;
    return 0;
}

void CSystemControl::SetSystemControlLogger(SYSTEMCONTROLLOG callback) {
    m_Executor.SetSystemControlLogger(callback, this);
}

SYSTEMCONTROLLOG CSystemControl::GetLogRoutine() {
    return m_Executor.GetLogRoutine();
}

void CSystemControl::Release() {
    delete this;
}

void CSystemControl::LogParser(const char* line, void* param) {
    char interface[sizeof(NET_DEVICE_STATISTICS::szInterface)] = "";
    unsigned long received = 0;
    unsigned long transmitted = 0;
    if (sscanf(line, "%31s%lu%lu", interface, &received, &transmitted) != 3) {
        return;
    }
    NET_DEVICE_STATISTICS& statistics = static_cast<CSystemControl*>(param)->m_sStatistics;
    memcpy(statistics.szInterface, interface, sizeof(interface));
    statistics.un64ReceiveBytes = received;
    statistics.un64TransmitBytes = transmitted;
}

void CSystemControl::ResultParser(const char* line, void* param) {
    (void)sscanf(line, "%d", &static_cast<CSystemControl*>(param)->m_nIP_Forward_Enabled);
}
