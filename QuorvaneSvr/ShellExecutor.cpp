#include "ShellExecutor.h"

#include <cstdio>
#include <string>

#include "FileUtil.h"
#include "TextUtil.h"

namespace {

constexpr size_t kLineSize = 1024;

}  // namespace

void CShellExecutor::SetSystemControlLogger(SYSTEMCONTROLLOG callback, void* param) {
    m_SystemControlLog = callback;
    m_pParam = param;
}

int CShellExecutor::ExecuteShellScript(const char* command, const char* mode) {
    if (IsNullOrEmpty(command) || IsNullOrEmpty(mode)) {
        return 0;
    }
    CommandOwner pipe(popen(command, (std::string(mode) + 'e').c_str()));
    if (pipe == nullptr) {
        return 0;
    }
    char line[kLineSize];
    while (fgets(line, sizeof(line), pipe.get()) != nullptr) {
        if (m_SystemControlLog != nullptr) {
            m_SystemControlLog(line, m_pParam);
        }
    }
    return pclose(pipe.release()) == -1 ? 0 : 1;
}
