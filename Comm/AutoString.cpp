#include "AutoString.h"

#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "TextUtil.h"

namespace {

constexpr char kWhiteSpace[] = " \t\r\n\v\f";

int ToPosition(size_t found) {
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

char ToLower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

char ToUpper(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

}  // namespace

CAutoString::CAutoString(const char* text) : m_strText(OrEmpty(text)) {}

CAutoString::CAutoString(const char* text, size_t length) {
    if (text != nullptr) {
        m_strText.assign(text, length);
    }
}

CAutoString::CAutoString(std::string text) : m_strText(std::move(text)) {}

void CAutoString::Format(const char* format, ...) {
    // The result is built aside, since the arguments may point into this object.
    std::string result;
    va_list arguments;
    va_start(arguments, format);
    va_list measured;
    va_copy(measured, arguments);
    const int length = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length > 0) {
        result.resize(static_cast<size_t>(length) + 1);
        vsnprintf(&result[0], result.size(), format, arguments);
        result.pop_back();
    }
    va_end(arguments);
    m_strText = std::move(result);
}

CAutoString CAutoString::Mid(int first) const {
    return Mid(first, GetLength());
}

CAutoString CAutoString::Mid(int first, int count) const {
    const int start = std::min(std::max(first, 0), GetLength());
    return m_strText.substr(static_cast<size_t>(start), static_cast<size_t>(std::max(count, 0)));
}

CAutoString CAutoString::Left(int count) const {
    return Mid(0, count);
}

CAutoString CAutoString::Right(int count) const {
    return Mid(GetLength() - std::max(count, 0));
}

int CAutoString::Find(const char* text, int start) const {
    if (IsNullOrEmpty(text)) {
        return -1;
    }
    return ToPosition(m_strText.find(text, static_cast<size_t>(std::max(start, 0))));
}

int CAutoString::Find(char character, int start) const {
    return ToPosition(m_strText.find(character, static_cast<size_t>(std::max(start, 0))));
}

int CAutoString::ReverseFind(const char* text) const {
    if (IsNullOrEmpty(text)) {
        return -1;
    }
    return ToPosition(m_strText.rfind(text));
}

int CAutoString::ReverseFind(char character) const {
    return ToPosition(m_strText.rfind(character));
}

CAutoString& CAutoString::Trim() {
    m_strText.erase(m_strText.find_last_not_of(kWhiteSpace) + 1);
    m_strText.erase(0, m_strText.find_first_not_of(kWhiteSpace));
    return *this;
}

int CAutoString::Insert(int index, const char* text) {
    const int position = std::min(std::max(index, 0), GetLength());
    m_strText.insert(static_cast<size_t>(position), OrEmpty(text));
    return GetLength();
}

int CAutoString::Replace(const char* oldText, const char* newText) {
    const std::string wanted = OrEmpty(oldText);
    const std::string replacement = OrEmpty(newText);
    if (wanted.empty()) {
        return 0;
    }
    int count = 0;
    std::string result;
    size_t copied = 0;
    for (size_t found = m_strText.find(wanted); found != std::string::npos;
         found = m_strText.find(wanted, copied)) {
        result.append(m_strText, copied, found - copied).append(replacement);
        copied = found + wanted.size();
        ++count;
    }
    if (count > 0) {
        m_strText = result.append(m_strText, copied);
    }
    return count;
}

CAutoString& CAutoString::MakeLower() {
    std::transform(m_strText.begin(), m_strText.end(), m_strText.begin(), ToLower);
    return *this;
}

CAutoString& CAutoString::MakeUpper() {
    std::transform(m_strText.begin(), m_strText.end(), m_strText.begin(), ToUpper);
    return *this;
}

int CAutoString::Compare(const char* text) const {
    return strcmp(m_strText.c_str(), OrEmpty(text));
}

int CAutoString::CompareNoCase(const char* text) const {
    return strcasecmp(m_strText.c_str(), OrEmpty(text));
}

CAutoString& CAutoString::operator+=(const CAutoString& text) {
    m_strText += text.m_strText;
    return *this;
}

CAutoString& CAutoString::operator+=(const char* text) {
    m_strText += OrEmpty(text);
    return *this;
}

CAutoString& CAutoString::operator+=(char character) {
    m_strText += character;
    return *this;
}
