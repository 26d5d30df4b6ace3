// One input through the attribute/value list parses. Shared by the libFuzzer
// target fuzz_avps.cpp and the unit test that replays the saved corpus.
//
// The first byte chooses the parse (modulo 5); the rest is the text:
//   0  AVPs against a method's parameters, then every argument rendered by
//      each declared parameter of its name (as a method call writes them)
//      and the lookups by name;
//   1  AVPs against a class's properties;
//   2  plain AVPs;
//   3  AList;
//   4  makeAVPs expecting one entry.
// The parses themselves never throw; rendering a reference argument parses
// it as an object path and may fail with that parser's errors only. A
// Violation: an entry missing from its list, a lookup that does not find the
// first entry of a name, a wrong list of names never fetched, an AList with
// more items than its count, makeAVPs handing out a list of another size.
#pragma once

#include "cim/avps.h"
#include "cim/url.h"
#include "fuzz/fuzz_check.h"
#include "xml/classes.h"
#include "xml/errors.h"
#include "xml/xml_buffer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <strings.h>

namespace avpsfuzz {

constexpr const char* kMethod =
    "<METHOD NAME=\"SetUp\" TYPE=\"uint32\">"
    "<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>"
    "<PARAMETER.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "<PARAMETER.REFERENCE NAME=\"Ref\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER.REFARRAY NAME=\"Refs\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER NAME=\"Other\" TYPE=\"uint32\"/>"
    "</METHOD>";

constexpr const char* kClass =
    "<CLASS NAME=\"Quilo_Thing\">"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE>"
    "</QUALIFIER></PROPERTY>"
    "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PROPERTY.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "</CLASS>";

inline const MethodXml& method() {
    static const MethodXml m = [] {
        XmlBuffer xb(kMethod);
        return MethodXml(xb);
    }();
    return m;
}

inline const ClassXml& cls() {
    static const ClassXml c = [] {
        XmlBuffer xb(kClass);
        return ClassXml(xb);
    }();
    return c;
}

inline const URL& target() {
    static const URL url("https://10.0.0.5/quilo/cimv2:Quilo_Thing.Name=\"a\"");
    return url;
}

struct Result {
    size_t entries = 0;                   // entries of the list (items of an AList)
    std::optional<std::string> notGotten; // mode 0: the names never fetched
    std::string document;                 // mode 0: the arguments as a method call writes them
};

// What a method call does with the list: every entry rendered by each
// declared parameter of its name, then the lookups.
inline void useArguments(AVPs& list, Result& result) {
    for (unsigned int i = 0; i < list.size(); ++i) {
        AValue* arg = list.get(i);
        fuzzcheck::require(arg != nullptr, "entry " + std::to_string(i) + " missing");
        for (const ParameterXml& p : method().parameters) {
            if (strcasecmp(p.name.c_str(), arg->attr.c_str()) != 0) continue;
            try {
                p.toXmlBuffer(result.document, arg, 1, &target());
            } catch (const URLException& e) {
                result.document += e.getMsg();
            } catch (const ParseException& e) {
                result.document += e.getMsg();
            }
        }
    }
    // Fetching every name marks the first entry of each name; later entries
    // of a name already seen are what remains.
    std::optional<std::string> expected;
    for (unsigned int i = 0; i < list.size(); ++i) {
        const std::string name = list.get(i)->attr;
        fuzzcheck::require(list.check(name.c_str()), "check misses " + name);
        if (list.get(name.c_str()) != list.get(i)) expected = (expected ? *expected + ", " : "") + name;
    }
    result.notGotten = list.notGotten();
    fuzzcheck::require(result.notGotten == expected, "names never fetched: wrong list");
}

inline Result replay(const uint8_t* data, size_t size) {
    Result result;
    if (size == 0) return result;
    const uint8_t mode = data[0] % 5;
    // An exactly sized copy, so that a read past the terminator is seen.
    std::unique_ptr<char[]> text(new char[size]);
    std::copy(data + 1, data + size, text.get());
    text[size - 1] = '\0';

    switch (mode) {
    case 0: {
        AVPs list(text.get(), method().parameters);
        result.entries = list.size();
        useArguments(list, result);
        break;
    }
    case 1: {
        AVPs list(text.get(), cls().properties);
        result.entries = list.size();
        for (unsigned int i = 0; i < list.size(); ++i) list.get(i);
        (void)list.notGotten();
        break;
    }
    case 2: {
        AVPs list(text.get());
        result.entries = list.size();
        (void)list.notGotten();
        break;
    }
    case 3: {
        AList list(text.get());
        result.entries = list.items.size();
        fuzzcheck::require(list.items.size() <= static_cast<size_t>(list.count), "more items than the count");
        break;
    }
    case 4: {
        std::unique_ptr<AVPs> list = makeAVPs(text.get(), 1);
        result.entries = list ? list->size() : 0;
        fuzzcheck::require(!list || list->size() == 1, "makeAVPs: wrong size");
        break;
    }
    }
    return result;
}

}  // namespace avpsfuzz
