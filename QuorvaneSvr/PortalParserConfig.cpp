// The portal's configuration: how it is cut out of the portal page and what its elements fill.
#include <cstdlib>
#include <cstring>
#include <map>

#include "Deployment.h"
#include "Log.h"
#include "MarkupRead.h"
#include "PortalElements.h"
#include "PortalParser.h"

namespace {

constexpr char kConfigOpening[] = "<!--//";  // the marker's host follows
constexpr char kConfigRoot[] = "config";

constexpr uint64_t kDefaultStateInterval = 5;  // seconds
constexpr int kNoShareTime = 0;                // no sharing check
constexpr int kDefaultLogoutTime = 300;        // seconds

// Children of <config> that are plain texts, and the field each one fills.
constexpr RecordText kConfigTexts[] = {
    {"ticket-url", &CAuthConfig::strTickUrl},
    {"query-url", &CAuthConfig::strQueryUrl},
    {"auth-url", &CAuthConfig::strAuthUrl},
    {"state-url", &CAuthConfig::strStateUrl},
};

// Function settings of a portal that names others each time must not fill the memory of a service that runs
// for months. A longer element could reach a front end in pieces only.
constexpr size_t kMostFunctions = 256;
constexpr int kLongestFunction = 8 * 1024;

// Kinds of login that the portal offers. Any other type counts as the last row.
struct AuthType {
    const char* name;
    int value;
};
constexpr AuthType kAuthTypes[] = {{"jvn-http-pap", 1}, {"jvn-mobile-qr", 2}};
constexpr int kOtherAuthType = 4;

int AuthTypeValue(const CAutoString& name) {
    for (const AuthType& type : kAuthTypes) {
        if (name == type.name) {
            return type.value;
        }
    }
    return kOtherAuthType;
}

// Walks over the children named `element` of the current element, or over all when null, and hands each to
// `visit` with the child position on it.
template <typename Visit>
void ForEachChild(CMarkup& markup, const char* element, Visit visit) {
    markup.ResetChildPos();
    while (markup.FindChildElem(element)) {
        visit();
    }
}

// Runs `visit` with the first child `element` as the current element, when there is one.
template <typename Visit>
void InsideChild(CMarkup& markup, const char* element, Visit visit) {
    if (FindFirstChild(markup, element)) {
        markup.IntoElem();
        visit();
        markup.OutOfElem();
    }
}

void ReadStateInterval(CMarkup& markup, CAuthConfig& record) {
    if (FindFirstChild(markup, "state-interval")) {
        const long long seconds = atoll(markup.GetChildData());
        record.stateInterval = seconds > 0 ? static_cast<uint64_t>(seconds) : kDefaultStateInterval;
    }
}

void ReadNotices(CMarkup& markup, CAuthConfig& record) {
    InsideChild(markup, "notify", [&] {
        record.m_vecRegister.clear();
        record.m_vecOption.clear();
        ForEachChild(markup, "register", [&] { record.m_vecRegister.push_back(markup.GetChildData()); });
        ForEachChild(markup, "option", [&] { record.m_vecOption.push_back(markup.GetChildData()); });
    });
}

void ReadAccountRule(CMarkup& markup, CAuthConfig& record) {
    InsideChild(markup, "account", [&] {
        InsideChild(markup, "modify", [&] {
            ReadChildText(markup, "type", record.m_strAcountType);
            ReadChildText(markup, "value", record.m_strAcountValue);
        });
    });
}

// The values are added up, not or-ed: a type that the portal lists twice counts twice.
void ReadAuthType(CMarkup& markup, CAuthConfig& record) {
    CAutoString name;
    CAutoString isDefault;
    ReadChildText(markup, "type", name);
    ReadChildText(markup, "default", isDefault);
    const int value = AuthTypeValue(name);
    record.nAuthType += value;
    if (isDefault == "1" || isDefault.CompareNoCase("yes") == 0) {
        record.nDefaultAuth = value;
    }
}

void ReadAuthTypes(CMarkup& markup, CAuthConfig& record) {
    record.nAuthType = 0;
    ForEachChild(markup, "auth", [&] {
        markup.IntoElem();
        ReadAuthType(markup, record);
        markup.OutOfElem();
    });
}

void ReadServerList(CMarkup& markup, CAuthConfig& record) {
    if (FindFirstChild(markup, "server-clusters")) {
        record.m_strServers = markup.GetChildAttrib("servers");
    }
}

using Functions = std::map<CAutoString, CAutoString>;

void NoteFunction(Functions& functions, const CAutoString& name, const CAutoString& element) {
    const bool hasRoom = functions.size() < kMostFunctions || functions.count(name) != 0;
    if (hasRoom && name.GetLength() + element.GetLength() <= kLongestFunction) {
        functions[name] = element;
    }
}

// What this document does not name stays as it was, but takes no room from what it names: a portal's settings
// must not be lost to those of another one.
void ReadFunctionSettings(CMarkup& markup, CAuthConfig& record) {
    Functions functions;
    InsideChild(markup, "FunCfg", [&] {
        ForEachChild(markup, nullptr, [&] {
            const CAutoString element = markup.GetChildSubDoc();
            markup.IntoElem();
            NoteFunction(functions, markup.GetTagName(), element);
            markup.OutOfElem();
        });
    });
    for (const auto& [name, element] : record.funCfg) {
        if (functions.count(name) == 0) {
            NoteFunction(functions, name, element);
        }
    }
    record.funCfg.swap(functions);
}

// The number between `opening` and `closing`, or `missing` when there is none.
int NumberBetween(const CAutoString& text, const char* opening, const char* closing, int missing) {
    const int found = text.Find(opening);
    if (found < 0) {
        return missing;
    }
    const int start = found + static_cast<int>(strlen(opening));
    const int end = text.Find(closing, start);
    return end > start ? atoi(text.Mid(start, end - start)) : missing;
}

}  // namespace

// A page without the closing marker carries no configuration: there is no telling where it would end.
int CPortalParser::GetConfigWithString(CAutoString page, CAutoString& config) {
    const CAutoString host = m_markerHost.IsEmpty() ? QUORVANE_MARKER_HOST : m_markerHost;
    const CAutoString openingMarker = kConfigOpening + host;
    const int opening = page.Find(openingMarker);
    if (opening < 0) {
        return 0;
    }
    const int start = opening + openingMarker.GetLength();
    const int end = page.Find("//" + host + "-->", start);
    if (end < 0) {
        return 0;
    }
    config = page.Mid(start, end - start);
    return config.GetLength();
}

int CPortalParser::ParserConfig(const char* document, CAuthConfig*& record) {
    CLog::GetInst()->WriteLog(INFO, "config is %s ", document);
    if (record == nullptr) {
        record = new CAuthConfig;
    }
    CMarkup markup;
    if (!Open(document, kConfigRoot, markup)) {
        return -1;
    }
    for (const RecordText& text : kConfigTexts) {
        ReadChildText(markup, text.name, record->*text.field);
    }
    ReadStateInterval(markup, *record);
    ReadNotices(markup, *record);
    ReadAccountRule(markup, *record);
    ReadAuthTypes(markup, *record);
    ReadServerList(markup, *record);
    ReadChildSubDoc(markup, PortalElement::kUserConfig, record->againstList);
    ReadFunctionSettings(markup, *record);
    return 0;
}

int CPortalParser::GetCheckWifiShareTime(CAutoString text) {
    return NumberBetween(text, "<against-interval>", "</against-interval>", kNoShareTime);
}

int CPortalParser::GetCheckWifiLogoutTime(CAutoString text) {
    return NumberBetween(text, "<logout-delay>", "</logout-delay>", kDefaultLogoutTime);
}
