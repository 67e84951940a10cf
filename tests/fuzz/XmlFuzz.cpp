// Reads, walks and edits whatever text comes in, and ends the process when the document contradicts itself.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "XMLOpt.h"

namespace {

constexpr size_t kMaxInput = 4096;  // every element's markup is parsed again
constexpr char kValue[] = "<&>\"' ]]>";

void Require(bool condition) {
    if (!condition) {
        abort();
    }
}

// Depth first, with nothing but the cursors.
void ReadAll(CMarkup& markup) {
    markup.ResetPos();
    do {
        while (markup.FindChildElem()) {
            CMarkup alone;
            Require(alone.SetDoc(markup.GetChildSubDoc()) && alone.FindElem());
            Require(alone.GetData() == markup.GetChildData());
            Require(alone.GetAttrib("a") == markup.GetChildAttrib("a"));
            Require(markup.IntoElem());
        }
    } while (markup.OutOfElem());
}

void Edit(CXMLOpt& document) {
    const CAutoString before = document.GetDoc();
    Require(document.SetValue("new.value", kValue));
    Require(document.GetValue("new.value") == kValue);
    document.ResetPos();
    Require(document.AddChildSubDoc(before) == CMarkup().SetDoc(before));
    while (document.FindChildElem()) {
        Require(document.InsertChildElem("in", kValue, CMarkup::MNF_WITHCDATA));
        Require(document.GetChildData() == kValue);
        Require(document.FindChildElem());
    }
    CXMLOpt again(document.GetDoc());
    Require(again.IsWellFormed() && again.GetDoc() == document.GetDoc());
    Require(again.GetValue("new.value") == kValue);
    ReadAll(again);
    ReadAll(document);
    Require(document.SetXMLPos("new") && document.SetData(before) && document.GetValue("new") == before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (size > kMaxInput) {
        return 0;
    }
    CXMLOpt document(text.c_str());
    Require(document.GetDoc() == text.c_str());
    Require(document.FindElem() == document.IsWellFormed());
    if (document.IsWellFormed()) {
        ReadAll(document);
        Edit(document);
    }
    return 0;
}
