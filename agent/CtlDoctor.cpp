// Why the machine is not online. The agent is asked for what it knows, but is not needed.

#include <cstdio>
#include <filesystem>

#include "CtlCommands.h"
#include "CtlWords.h"
#include "doctor/Doctor.h"

namespace {

std::string FolderWithoutAgent() {
    std::error_code failure;
    return std::filesystem::is_directory(kSystemFolder, failure) ? kSystemFolder : ".";
}

DoctorOptions WhatToExamine(const CtlOptions& options) {
    DoctorOptions examined;
    if (const JsonOwner status = StatusIfThere(options.socket).status) {
        const cJSON* service = cJSON_GetObjectItemCaseSensitive(status.get(), AgentField::kService);
        examined.agentStatus = OneLine(*status);
        examined.folder = TextOf(service, AgentField::kFolder);
    }
    if (!options.folder.empty()) {
        examined.folder = options.folder;
    }
    if (examined.folder.empty()) {
        examined.folder = FolderWithoutAgent();
    }
    return examined;
}

}  // namespace

ExitStatus ExamineMachine(const CtlOptions& options) {
    const Diagnosis diagnosis = Diagnose(WhatToExamine(options));
    const std::string text =
        options.asJson ? DiagnosisAsJson(diagnosis) + "\n" : DiagnosisAsWords(diagnosis, WantsColour());
    (void)fputs(text.c_str(), stdout);
    return diagnosis.Findings() == 0 ? ExitStatus::kDone : ExitStatus::kFailed;
}
