// One user-supplied name=value entry, single- or multi-valued. The argument
// lists of the CIM layer produce these; the request renderings consume them.
#pragma once

#include "xml/string_array.h"

#include <string>

class AValue {
public:
    AValue(std::string name, std::string value) : attr(std::move(name)), val(std::move(value)) {}

    // Turns the entry multi-valued on first use: the single value moves into
    // `vals` and `text` is appended after it.
    void add(std::string text) {
        if (vals.empty()) vals.add(std::move(val));
        val.clear();
        vals.add(std::move(text));
    }

    std::string attr;   // the name as the user wrote it
    std::string val;    // the single value
    StringArray vals;   // the values of a multi-valued entry
};
