#pragma once

#include "Markup.h"

// Reading the children of the current element by name, each found from the first child on. What a document
// does not have is left as it was.

inline bool FindFirstChild(CMarkup& markup, const char* name) {
    markup.ResetChildPos();
    return markup.FindChildElem(name);
}

inline void ReadChildText(CMarkup& markup, const char* name, CAutoString& text) {
    if (FindFirstChild(markup, name)) {
        text = markup.GetChildData();
    }
}

inline void ReadChildSubDoc(CMarkup& markup, const char* name, CAutoString& subDocument) {
    if (FindFirstChild(markup, name)) {
        subDocument = markup.GetChildSubDoc();
    }
}
