#pragma once

#include <map>
#include <string>

// Name of a ConfigKey -> its value, which is valid.
using ConfigValues = std::map<std::string, std::string>;

// Reads "quorvane.conf" of `folder`, and then what its "conf.d" holds of the name "*.conf", in byte order;
// the later of two values counts. None of the files need be there.
//
// A file has lines "key = value", without quotes and without comments behind the value. "#" and ";" begin
// lines of comment; a line "[quorvane]" may precede the keys. Lines may end in CR LF, and the text begin with
// the mark of UTF-8.
//
// What cannot be taken is told on standard error as "FILE:LINE: text" and left out: an unknown key, a value
// that is not valid, a line of another form, the keys of another section, a file above 64 KiB or one that
// cannot be read. Values are not told.
ConfigValues ReadConfigFiles(const std::string& folder);
