#include "WiFiSharedValidate.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "FileUtil.h"
#include "Log.h"
#include "Markup.h"
#include "PortalElements.h"
#include "SystemControl.h"
#include "TextUtil.h"
#include "comm.h"

namespace {

// Shown when the machine forwards packets: "IP" and four Chinese characters in GBK, as the log is read.
constexpr char kForwardingName[] = "IP\xCA\xFD\xBE\xDD\xD7\xAA\xB7\xA2";

// Each costs a command at each check, while pulses wait. Real lists name a dozen.
constexpr size_t kMostProcesses = 256;

constexpr int kHeaderLines = 1;  // what ps prints when no process has the name

}  // namespace

bool CWiFiSharedValidate::Initialization(const char* xml) {
    CMarkup rules;
    if (IsNullOrEmpty(xml) || !rules.SetDoc(xml) || !rules.FindElem(PortalElement::kUserConfig) ||
        !rules.FindChildElem("against")) {
        return m_bIsInitialized;
    }
    rules.IntoElem();
    m_mProcesses.clear();
    while (m_mProcesses.size() < kMostProcesses && rules.FindChildElem("process")) {
        m_mProcesses[rules.GetChildData()] = rules.GetChildAttrib("displayname");
    }
    rules.ResetChildPos();
    if (rules.FindChildElem("shared")) {
        rules.IntoElem();
        if (rules.FindChildElem("ipforward")) {
            m_bIPForward = atoi(rules.GetChildData()) != 0;
        }
        rules.OutOfElem();
    }
    m_bIsInitialized = rules.OutOfElem();
    return m_bIsInitialized;
}

int CWiFiSharedValidate::IsValidEnvironment(const char* xml) {
    if (IsNullOrEmpty(xml)) {
        return 0;
    }
    if (!m_bIsInitialized && !Initialization(xml)) {
        return 0;
    }
    return FindProcess() || FindForwarding() ? 1 : 0;
}

bool CWiFiSharedValidate::FindProcess() {
    for (const auto& [name, displayName] : m_mProcesses) {
        if (IsProcessRunning(name)) {
            m_strDisplayName = displayName;
            return true;
        }
    }
    return false;
}

// A shell that cannot be started finds nothing, but a ps that fails does: it prints no header line, and only
// the header alone means that the process does not run. It fails for white space around a name, which portals
// write and which is none of the name's.
// Held by WiFiSharedValidate.MachineWithoutPsCountsAsSharing.
bool CWiFiSharedValidate::IsProcessRunning(const char* name) {
    const CAutoString command = "ps -C " + CommFunc::ShellQuote(CAutoString(name).Trim()) + " | wc -l 2>&1";
    CommandOwner pipe(popen(command, "re"));
    if (pipe == nullptr) {
        return false;
    }
    bool found = false;
    char line[1024];
    while (fgets(line, sizeof(line), pipe.get()) != nullptr) {
        found = atoi(line) != kHeaderLines;
    }
    if (pclose(pipe.release()) == -1) {
        CLog::GetInst()->WriteLog(DEBUG, "[CWiFiSharedValidate::IsValidEnvironment] pclose failed(%d).\n",
                                  errno);
    }
    return found;
}

bool CWiFiSharedValidate::FindForwarding() {
    if (!m_bIPForward || m_Adapter.GetSystemControl()->NetworkEnableIpForwarding() == 0) {
        return false;
    }
    m_strDisplayName = kForwardingName;
    return true;
}

int CWiFiSharedValidate::NetworkEnableIpForwarding() {
    int enabled = 1;
    (void)CSystemControl::ReadIpForward(enabled);  // a switch that cannot be read counts as on
    return enabled;
}
