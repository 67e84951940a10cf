#pragma once

#include <string>

// A text from outside as UTF-8: as it is when it is that, else taken for GB18030, as texts of the portal are;
// what is neither keeps only its ASCII characters, the other bytes appear as '?'. Control characters stay.
std::string InUtf8(const std::string& text);

// A text from outside in the form in which a terminal may have it: UTF-8, without control characters.
//
// Reports mix encodings: what was read from the portal's answers is GB18030, everything else mostly UTF-8.
// Each piece between the marks of the XML text is therefore converted by itself. Everything that is left out
// appears as '?'.
std::string ReadableText(const std::string& text);
