#pragma once

#include <string>

#include "FrontEndMessages.h"
#include "Json.h"

// The service's messages in the form in which the agent's clients get them.
//
// An element that has elements is an object, and a name that comes more than once among them is one list; any
// other element is its text, numbers too. Attributes, and text beside elements, are left out. Texts are
// converted to UTF-8 one by one. Elements nested deeper than any message of the portal are given as the text
// of their markup.

// One message as one event: a value, or else a report. Its parameters always are an object; a text that
// stands there alone, or a message that is not well formed, is its member "text".
JsonOwner EventOf(const Report& message);

// The children `terminal` of the portal's response in the message that names the user's terminals: a list,
// possibly empty.
JsonOwner TerminalsOf(const Report& message);
