#pragma once

#include <string_view>

// The fixed texts of XML that more than one stage of the document class looks for.
namespace MarkupSyntax {

constexpr std::string_view kDeclarationStart = "<?xml";
constexpr std::string_view kInstructionStart = "<?";
constexpr std::string_view kInstructionEnd = "?>";
constexpr std::string_view kCommentStart = "<!--";
constexpr std::string_view kCommentEnd = "-->";
constexpr std::string_view kCDataStart = "<![CDATA[";
constexpr std::string_view kCDataEnd = "]]>";
constexpr std::string_view kDoctypeStart = "<!DOCTYPE";

}  // namespace MarkupSyntax
