// What the request-side renderings need to know about an object path. The
// CIM layer's URL implements it; the document layer never sees the parser.
#pragma once

#include "xml/string_array.h"

#include <memory>
#include <string>

class ObjectPathRef {
public:
    virtual ~ObjectPathRef() = default;

    virtual const std::string& pathProtocol() const = 0;  // "http" or "https"
    virtual const std::string& pathHost() const = 0;
    virtual const StringArray& pathNameSpace() const = 0;
    virtual const std::string& pathClassName() const = 0;
    // Appends the key bindings as KEYBINDING elements.
    virtual void keysToXml(std::string& sb) const = 0;
    // Parses another path text with the same parser (throws URLException).
    virtual std::unique_ptr<ObjectPathRef> parsePath(const char* text) const = 0;
};
