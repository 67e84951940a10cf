#include "PublishedValues.h"

#include "ClientOperations.h"
#include "ElementText.h"
#include "EmptiedNumber.h"
#include "InfoCenter.h"
#include "RecordSettings.h"

namespace {

// The literal that stands for "nothing to publish". Its address is compared, not its text: a portal that
// sends an empty value has set that value to empty, and the front end is told so.
const char* const kNothingToPublish = "";

// `content` is `value` as it stands in the message: escaped, once.
void Publish(IPortalHost& host, const char* key, const char* value, const char* content) {
    host.GetInfoCenter()->SetGlobalValue(key, value);
    CAutoString pair;
    pair.Format(kValueFormat, key, content);
    host.PostMsg(kValueStore, ClientReport::kValue, pair);
}

}  // namespace

void PublishValue(IPortalHost& host, const char* key, const char* value) {
    if (value != nullptr && value != kNothingToPublish) {
        Publish(host, key, value, ElementText(value));
    }
}

void PublishConfig(IPortalHost& host, const CAuthConfig& record) {
    PublishValue(host, "authType", EmptiedNumber(record.nAuthType));
    PublishValue(host, "authDefautType", EmptiedNumber(record.nDefaultAuth));
    ForEachText(RecordGroup::kAccess, [&](const RecordText& parameter) {
        host.GetInfoCenter()->SetGlobalValue(parameter.name, record.*parameter.field);
    });
    ForEachText(RecordGroup::kSchool,
                [&](const RecordText& school) { PublishValue(host, school.name, record.*school.field); });
    for (const auto& [name, element] : record.funCfg) {
        CAutoString escaped = element;
        escaped.Replace("<", "&lt;");
        escaped.Replace(">", "&gt;");
        Publish(host, PublishedValue::kFunctionPrefix + name, escaped, escaped);
    }
}
