#include "ReportText.h"

#include "ClientOperations.h"
#include "ReadableText.h"
#include "ReportWords.h"

namespace {

constexpr char kOpenNetwork[] = "the network is open, no portal asks for a login";

std::string DescribeState(int state) {
    const ReportWord* word = FindState(state);
    return word != nullptr ? word->name : std::to_string(state);
}

std::string DescribeCode(int code) {
    const std::string words = CodeWords(code);
    return std::to_string(code) + (words.empty() ? "" : " (" + words + ")");
}

}  // namespace

std::string DescribeReport(const Report& report) {
    if (!report.IsState()) {
        return ReadableText(report.text);
    }
    std::string text = DescribeState(report.oldState) + " -> " + DescribeState(report.newState) + ", code " +
                       DescribeCode(report.errorCode);
    if (report.IsOpenNetwork()) {
        text.append(", ").append(kOpenNetwork);
    }
    for (const char* detail : {kSubErrorCodeElement, "subType", "extern"}) {
        const std::string value = report.Parameter(detail);
        if (!value.empty()) {
            text.append(", ").append(detail).append(" ").append(ReadableText(value));
        }
    }
    return text;
}
