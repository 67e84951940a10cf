#include "ReportWords.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr char kPortalErrorName[] = "portal-error";
constexpr char kPortalErrorWords[] = "the portal answered with its error ";
constexpr int kPortalErrorEnd = 150000;  // the service's own codes begin here

const ReportWord* FindCode(int code) {
    const auto found = std::find_if(std::begin(kCodeWords), std::end(kCodeWords),
                                    [code](const ReportWord& word) { return word.number == code; });
    return found != std::end(kCodeWords) ? found : nullptr;
}

bool IsPortalError(int code) {
    return code > StateCode::kPortalErrorBase && code < kPortalErrorEnd;
}

}  // namespace

const ReportWord* FindState(int state) {
    const auto found = std::find_if(std::begin(kStateWords), std::end(kStateWords),
                                    [state](const ReportWord& word) { return word.number == state; });
    return found != std::end(kStateWords) ? found : nullptr;
}

const ReportWord* FindState(const std::string& name) {
    const auto found = std::find_if(std::begin(kStateWords), std::end(kStateWords),
                                    [&name](const ReportWord& word) { return word.name == name; });
    return found != std::end(kStateWords) ? found : nullptr;
}

std::string CodeName(int code) {
    const ReportWord* word = FindCode(code);
    if (word != nullptr) {
        return word->name;
    }
    return IsPortalError(code) ? kPortalErrorName : "";
}

std::string CodeWords(int code) {
    const ReportWord* word = FindCode(code);
    if (word != nullptr) {
        return word->words;
    }
    return IsPortalError(code) ? kPortalErrorWords + std::to_string(code - StateCode::kPortalErrorBase) : "";
}
