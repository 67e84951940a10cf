#pragma once

#include "AutoString.h"

// `text` for one line of a terminal: each control character of UTF-8 becomes a "?", and so do the line breaks
// and changes of the writing direction that are characters of their own. What the portal and the front end
// send may hold anything, and a terminal would do what it is told.
CAutoString ConsoleText(const char* text);
