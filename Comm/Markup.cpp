// The document as it is read: parsing, walking with the cursors, the values of an element.
#include "Markup.h"

#include <strings.h>

#include "MarkupText.h"
#include "TextUtil.h"

namespace {

// What the result log says, by MarkupParseResult.
constexpr const char* kParseResults[] = {"", "no root element", "not well formed"};

// A null name stays null in the view, where it means any name.
std::string_view ToName(const char* name) {
    return name != nullptr ? std::string_view(name) : std::string_view();
}

bool IsPlainText(std::string_view content) {
    return content.find('&') == std::string_view::npos && content.find('<') == std::string_view::npos;
}

}  // namespace

bool CMarkup::SetDoc(const char* text) {
    if (IsStreamed()) {
        return false;
    }
    m_strDoc = OrEmpty(text);
    return ParseDoc();
}

bool CMarkup::ParseDoc() {
    ResetPos();
    m_iPosFree = 0;
    m_bEdited = false;
    m_parsed = ParseMarkup(m_strDoc, m_pElemPosTree);
    m_strResult = kParseResults[static_cast<size_t>(m_parsed)];
    return m_parsed == MarkupParseResult::kParsed;
}

bool CMarkup::IsWellFormed() const {
    const uint32_t root = m_pElemPosTree[0].iElemChild;
    return IsStreamed() || (root != 0 && m_pElemPosTree[root].iElemNext == 0);
}

void CMarkup::SetPos(uint32_t parent, uint32_t main, uint32_t child) {
    m_iPosParent = parent;
    m_iPos = main;
    m_iPosChild = child;
}

void CMarkup::ResetPos() {
    SetPos(0, 0, 0);
}

bool CMarkup::FindElem(const char* name) {
    const uint32_t next =
        m_iPos != 0 ? m_pElemPosTree[m_iPos].iElemNext : m_pElemPosTree[m_iPosParent].iElemChild;
    const uint32_t found = FindSibling(next, ToName(name));
    if (found == 0) {
        return false;
    }
    SetPos(m_iPosParent, found, 0);
    return true;
}

bool CMarkup::FindChildElem(const char* name) {
    return FindChildNamed(ToName(name));
}

bool CMarkup::FindChildNamed(std::string_view name) {
    if (IsStreamed() || !EnsureMainPos()) {
        return false;
    }
    const uint32_t next =
        m_iPosChild != 0 ? m_pElemPosTree[m_iPosChild].iElemNext : m_pElemPosTree[m_iPos].iElemChild;
    const uint32_t found = FindSibling(next, name);
    if (found == 0) {
        return false;
    }
    m_iPosChild = found;
    return true;
}

bool CMarkup::IsSameName(std::string_view name, std::string_view wanted) const {
    return name == wanted || ((m_nDocFlags & MDF_IGNORECASE) != 0 && name.size() == wanted.size() &&
                              strncasecmp(name.data(), wanted.data(), name.size()) == 0);
}

uint32_t CMarkup::FindSibling(uint32_t elem, std::string_view name) const {
    while (elem != 0 && name.data() != nullptr && !IsSameName(Name(elem), name)) {
        elem = m_pElemPosTree[elem].iElemNext;
    }
    return elem;
}

bool CMarkup::IntoElem() {
    if (m_iPos == 0) {
        return false;
    }
    SetPos(m_iPos, m_iPosChild, 0);
    return true;
}

bool CMarkup::OutOfElem() {
    if (m_iPosParent == 0) {
        return false;
    }
    SetPos(m_pElemPosTree[m_iPosParent].iElemParent, m_iPosParent, m_iPos);
    return true;
}

std::string_view CMarkup::Name(uint32_t elem) const {
    const ElemPos& pos = m_pElemPosTree[elem];
    return {m_strDoc.data() + pos.nStart + 1, pos.nNameLength};
}

CAutoString CMarkup::GetTagName() const {
    return m_iPos != 0 ? CAutoString(std::string(Name(m_iPos))) : CAutoString();
}

CAutoString CMarkup::ElemData(uint32_t elem) const {
    if (elem == 0) {
        return {};
    }
    const ElemPos& pos = m_pElemPosTree[elem];
    const std::string_view doc = m_strDoc;
    const std::string_view tail = doc.substr(pos.nTail, pos.nEndTag - pos.nTail);
    if (pos.iElemChild == 0 && IsPlainText(tail)) {
        return {tail.data(), tail.size()};
    }
    std::string data;
    data.reserve(tail.size());
    for (uint32_t child = pos.iElemChild; child != 0; child = m_pElemPosTree[child].iElemNext) {
        AppendContent(data, doc.substr(m_pElemPosTree[child].nGap, m_pElemPosTree[child].nGapLength));
    }
    AppendContent(data, tail);
    return data;
}

CAutoString CMarkup::ElemAttrib(uint32_t elem, const char* name) const {
    if (elem == 0 || name == nullptr) {
        return {};
    }
    const std::string_view wanted = name;
    AttribScanner scanner(Name(elem).end());
    while (scanner.Next()) {
        if (IsSameName(scanner.Name(), wanted)) {
            std::string value;
            AppendUnescaped(value, scanner.RawValue());
            return value;
        }
    }
    return {};
}

CAutoString CMarkup::ElemSubDoc(uint32_t elem) const {
    if (elem == 0) {
        return {};
    }
    if (m_bEdited) {
        return Compose(elem);
    }
    const ElemPos& pos = m_pElemPosTree[elem];
    return m_strDoc.substr(pos.nStart, pos.nEnd - pos.nStart);
}

CAutoString CMarkup::GetDoc() const {
    return m_bEdited ? Compose(0) : m_strDoc;
}
