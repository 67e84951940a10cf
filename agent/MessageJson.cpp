#include "MessageJson.h"

#include <map>

#include "AgentProtocol.h"
#include "Business.h"
#include "ClientOperations.h"
#include "ReadableText.h"
#include "XMLOpt.h"

namespace {

constexpr char kParametersPath[] = "P";
constexpr char kResponsePath[] = "P.response";
constexpr char kTerminal[] = "terminal";
constexpr int kDeepest = 64;  // clients read JSON by recursion, and so does this

std::string Utf8(const CAutoString& text) {
    return InUtf8(text.GetText());
}

JsonOwner TextValue(const std::string& text) {
    return JsonOwner(cJSON_CreateString(text.c_str()));
}

void AddMember(cJSON& object, const std::string& name, JsonOwner value) {
    cJSON_AddItemToObject(&object, name.c_str(), value.release());
}

// The walk stands on the element whose children are meant; afterwards it does so again.
JsonOwner ChildrenOf(CMarkup& markup, int depth);

// Of the child position.
JsonOwner ValueOfChild(CMarkup& markup, int depth) {
    if (depth > kDeepest) {
        return TextValue(Utf8(markup.GetChildSubDoc()));
    }
    const std::string text = Utf8(markup.GetChildData());
    (void)markup.IntoElem();  // there is a child
    const bool hasChildren = markup.FindChildElem();
    JsonOwner value = hasChildren ? ChildrenOf(markup, depth + 1) : TextValue(text);
    (void)markup.OutOfElem();  // into it went well
    return value;
}

std::map<std::string, int> CountNames(CMarkup& markup) {
    std::map<std::string, int> counts;
    markup.ResetChildPos();
    while (markup.FindChildElem()) {
        (void)markup.IntoElem();
        ++counts[markup.GetTagName().GetText()];
        (void)markup.OutOfElem();
    }
    markup.ResetChildPos();
    return counts;
}

JsonOwner ChildrenOf(CMarkup& markup, int depth) {
    JsonOwner object = NewJsonObject();
    const std::map<std::string, int> counts = CountNames(markup);
    std::map<std::string, cJSON*> lists;
    while (markup.FindChildElem()) {
        (void)markup.IntoElem();
        const std::string name = markup.GetTagName().GetText();
        (void)markup.OutOfElem();
        JsonOwner value = ValueOfChild(markup, depth);
        if (counts.at(name) == 1) {
            AddMember(*object, InUtf8(name), std::move(value));
            continue;
        }
        cJSON*& list = lists[name];
        if (list == nullptr) {
            list = cJSON_AddArrayToObject(object.get(), InUtf8(name).c_str());
        }
        cJSON_AddItemToArray(list, value.release());
    }
    return object;
}

JsonOwner AloneAsText(const std::string& text) {
    JsonOwner object = NewJsonObject();
    if (!text.empty()) {
        AddText(*object, AgentField::kText, InUtf8(text));
    }
    return object;
}

JsonOwner ParametersOf(const Report& message) {
    CXMLOpt document(message.text.c_str());
    if (!document.IsWellFormed()) {
        return AloneAsText(message.text);
    }
    if (!document.SetXMLPos(kParametersPath)) {
        return NewJsonObject();
    }
    const std::string text = document.GetData().GetText();
    return document.FindChildElem() ? ChildrenOf(document, 0) : AloneAsText(text);
}

}  // namespace

JsonOwner EventOf(const Report& message) {
    JsonOwner event = NewJsonObject();
    if (message.opcode == ClientReport::kValue) {
        AddText(*event, AgentField::kEvent, AgentEvent::kValue);
        AddText(*event, AgentField::kKey, InUtf8(message.Parameter(PublishedValue::kKeyElement)));
        AddText(*event, AgentField::kValue, InUtf8(message.Parameter(PublishedValue::kValueElement)));
        return event;
    }
    AddText(*event, AgentField::kEvent, AgentEvent::kReport);
    AddText(*event, AgentField::kOpcode, InUtf8(message.opcode));
    AddText(*event, AgentField::kTarget, InUtf8(message.target));
    AddMember(*event, AgentField::kParameters, ParametersOf(message));
    return event;
}

JsonOwner TerminalsOf(const Report& message) {
    JsonOwner terminals(cJSON_CreateArray());
    CXMLOpt document(message.text.c_str());
    if (!document.SetXMLPos(kResponsePath)) {
        return terminals;
    }
    while (document.FindChildElem(kTerminal)) {
        cJSON_AddItemToArray(terminals.get(), ValueOfChild(document, 0).release());
    }
    return terminals;
}
