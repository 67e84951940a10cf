#pragma once

#include <string>

// A text from outside in the form in which a terminal may have it: UTF-8, without control characters.
//
// Reports mix encodings: what was read from the portal's answers is GB18030, everything else mostly UTF-8.
// Each piece between the marks of the XML text is therefore judged by itself: what is no UTF-8 is taken for
// GB18030, and what is neither keeps only its ASCII characters. Everything that is left out appears as '?'.
std::string ReadableText(const std::string& text);
