// The diagnosis for programs and for people.
#include <cJSON.h>

#include <cstdlib>
#include <memory>

#include "Doctor.h"

namespace {

struct ResultRow {
    CheckResult result;
    const char* name;
    const char* colour;
};
constexpr ResultRow kResults[] = {
    {CheckResult::kGood, "good", "\033[32m"},
    {CheckResult::kWarning, "warning", "\033[33m"},
    {CheckResult::kFault, "fault", "\033[31m"},
    {CheckResult::kSkipped, "skipped", "\033[2m"},
};
constexpr char kPlain[] = "\033[0m";
constexpr size_t kResultWidth = 9;
constexpr size_t kNameWidth = 15;

const ResultRow& RowOf(CheckResult result) {
    return kResults[static_cast<size_t>(result)];
}

std::string Padded(std::string text, size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

}  // namespace

std::string DiagnosisAsJson(const Diagnosis& diagnosis) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> root(cJSON_CreateObject(), cJSON_Delete);
    cJSON* checks = cJSON_AddArrayToObject(root.get(), "checks");
    for (const Check& check : diagnosis.checks) {
        cJSON* entry = cJSON_CreateObject();
        cJSON_AddStringToObject(entry, "name", check.name);
        cJSON_AddStringToObject(entry, "result", RowOf(check.result).name);
        cJSON_AddStringToObject(entry, "text", check.text.c_str());
        cJSON_AddItemToArray(checks, entry);
    }
    cJSON_AddNumberToObject(root.get(), "findings", diagnosis.Findings());
    cJSON_AddStringToObject(root.get(), "advice", diagnosis.advice.c_str());
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_PrintUnformatted(root.get()), cJSON_free);
    return text != nullptr ? text.get() : "";
}

std::string DiagnosisAsWords(const Diagnosis& diagnosis, bool colour) {
    std::string words;
    for (const Check& check : diagnosis.checks) {
        const ResultRow& row = RowOf(check.result);
        words += colour ? row.colour : "";
        words += Padded(row.name, kResultWidth);
        words += colour ? kPlain : "";
        words += Padded(check.name, kNameWidth) + check.text + "\n";
    }
    return words + "\n" + diagnosis.advice + "\n";
}
