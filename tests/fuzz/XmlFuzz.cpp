// Reads and walks whatever text comes in, takes it into another document, and ends the process when a
// document contradicts itself.
#include "Fuzz.h"
#include "XMLOpt.h"

constexpr size_t kMaxInput = 4096;  // every element's markup is parsed again
constexpr char kValue[] = "<&>\"' ]]>";

// Depth first, with nothing but the cursors.
static void ReadAll(CMarkup& markup) {
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

void Try(std::string_view input) {
    const std::string text = Take(input, '\0').substr(0, kMaxInput);
    CXMLOpt document(text.c_str());
    Require(document.GetDoc() == text.c_str() && document.FindElem() == document.IsWellFormed());
    if (!document.IsWellFormed()) {
        return;
    }
    ReadAll(document);
    Require(document.SetValue("new.value", kValue));
    document.ResetPos();
    Require(document.AddChildSubDoc(text.c_str()) &&
            document.InsertChildElem("in", kValue, CMarkup::MNF_WITHCDATA));
    CXMLOpt again(document.GetDoc());
    Require(again.GetDoc() == document.GetDoc() && again.GetValue("new.value") == kValue);
    ReadAll(again);
    Require(again.SetValue("new", text.c_str()) && again.GetValue("new") == text.c_str());
}
