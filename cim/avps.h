// Attribute/value lists: user-supplied name=value texts split against the
// declared parameters or properties of the target. The parses cut a private
// copy of the text; the caller's text is left as it was.
#pragma once

#include "xml/avalue.h"
#include "xml/classes.h"
#include "xml/string_array.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class AVPs {
public:
    AVPs(const char* text, const ArrayXml<ParameterXml>& parameters);   // method calls
    AVPs(const char* text, const ArrayXml<PropertyXml>& properties);    // create / modify
    explicit AVPs(const char* text);                                    // plain pairs

    AValue* get(const char* name);     // first match ignoring case; marks it
    AValue* get(unsigned int i);
    int check(const char* name) const;
    std::optional<std::string> notGotten() const;
    size_t size() const { return entries.size(); }

private:
    void markAllUngotten() { gotten.assign(entries.size(), 0); }

    std::vector<AValue> entries;
    std::vector<unsigned char> gotten;
};

// Null for a null text; otherwise the plain parse when it holds exactly
// `expected` entries.
std::unique_ptr<AVPs> makeAVPs(const char* text, unsigned int expected);

// A plain comma list. `count` is the number of commas plus one (0 for an
// empty text); `items` holds the pieces that were set, so a trailing comma
// counts one more than it yields.
class AList {
public:
    explicit AList(const char* text);
    int count = 0;
    std::vector<std::string> items;
};
