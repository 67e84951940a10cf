#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The text inside XML markup and the text it stands for. What is called Append adds to `result`.

// `flags` are CMarkup::MarkupNodeFlags.
void AppendEscaped(std::string& result, std::string_view text, int flags);
// Resolves the five named references and the numeric ones, these to UTF-8. Everything else that looks like a
// reference, and an "&" alone, stays as it stands: passwords hold it and are not always escaped.
void AppendUnescaped(std::string& result, std::string_view text);
// What stands between two tags: text is unescaped, CDATA sections taken literally, comments and processing
// instructions left out.
void AppendContent(std::string& result, std::string_view content);
// `text` as CDATA; a "]]>" in it is split between two sections.
void AppendCData(std::string& result, std::string_view text);

// Length of the UTF-8 character at the start of `text`; 0 when there is none.
size_t ReadUtf8(std::string_view text, uint32_t& codePoint);
// Stricter than iconv, which lets through what lies beyond the last character of all.
bool IsUtf8(std::string_view text);
