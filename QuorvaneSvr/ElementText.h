#pragma once

#include "AutoString.h"

// `text` as the content of an element in a message to the front ends. What the portal and the machine say may
// have any bytes; a message is well formed all the same. "<" and "&" are escaped, as is the ">" of a "]]>". A
// control character that XML has no form for becomes a blank. All else stays, in whatever encoding it is.
// Null means empty.
CAutoString ElementText(const CAutoString& text);
