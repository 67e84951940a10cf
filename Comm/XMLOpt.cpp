#include "XMLOpt.h"

#include <cstdlib>

#include "TextUtil.h"

namespace {

constexpr char kSeparator = '.';

// As CXMLOpt::StringSplit, with `path` being cut down to the rest.
bool SplitPath(std::string_view& path, std::string_view& head) {
    const size_t separator = path.find(kSeparator);
    head = path.substr(0, separator);
    path.remove_prefix(separator == std::string_view::npos ? path.size() : separator + 1);
    return separator != std::string_view::npos;
}

}  // namespace

CXMLOpt::CXMLOpt(const char* text) {
    (void)SetDoc(text);  // IsWellFormed tells
}

bool CXMLOpt::LoadFile(const char* path) {
    m_filename.reset();
    if (!Load(path)) {
        return false;
    }
    m_filename = path;
    return true;
}

bool CXMLOpt::SaveFile(WriteTo target) const {
    return m_filename.has_value() && Save(m_filename->c_str(), target);
}

CAutoString CXMLOpt::GetValue(const char* path) {
    return SetXMLPos(path) ? GetData() : CAutoString();
}

int CXMLOpt::GetIntValue(const char* path) {
    return atoi(GetValue(path));
}

CAutoString CXMLOpt::GetDoc(const char* path) {
    if (path == nullptr) {
        return GetDoc();
    }
    return SetXMLPos(path) ? GetSubDoc() : CAutoString();
}

bool CXMLOpt::SetValue(const char* path, const char* text) {
    return CreateXMLPos(path) && SetData(text);
}

bool CXMLOpt::SetValue(const char* path, int number) {
    return CreateXMLPos(path) && SetData(number);
}

bool CXMLOpt::SetXMLPos(const char* path) {
    return WalkPath(path, false);
}

bool CXMLOpt::CreateXMLPos(const char* path) {
    return WalkPath(path, true);
}

bool CXMLOpt::WalkPath(const char* path, bool create) {
    std::string_view rest = OrEmpty(path);
    if (rest.empty()) {
        return false;
    }
    ResetPos();
    do {
        std::string_view name;
        (void)SplitPath(rest, name);  // what is left of the path ends the walk
        if (!FindChildNamed(name) && !(create && InsertChildNamed(name, nullptr, 0))) {
            return false;
        }
        (void)IntoElem();  // a child was found, so there is a main position
    } while (!rest.empty());
    return true;
}

bool CXMLOpt::StringSplit(const CAutoString& source, CAutoString& head, CAutoString& rest) {
    std::string_view remaining = source.GetText();
    std::string_view first;
    const bool split = SplitPath(remaining, first);
    const CAutoString behind = std::string(remaining);  // made before `head` changes: it may be the source
    head = std::string(first);
    rest = behind;
    return split;
}
