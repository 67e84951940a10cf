#pragma once

#include "AutoString.h"

// Mends a settings file that can be read and is no XML document: empty, full of zeros after a power cut, cut
// off, or spoilt by hand. It is put aside beside `path` as "NAME.broken-DATE", where the ten latest are kept,
// and replaced by the document at `defaults`, or by an empty one when there is none that can be read. Where
// it cannot be put aside it stays as it is, so that nothing of it is lost.
//
// A file that is not there, may not be read, or is whole is left alone: whoever could not read it a moment
// ago reads it again. Returns in words what was done, for whoever looks after the machine; empty when that is
// nothing.
CAutoString MendSettings(const char* path, const char* defaults);
