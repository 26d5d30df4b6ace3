// libFuzzer target: the attribute/value list parses and AList, and the
// request rendering of parsed arguments as a method call writes them.
//
// The first byte chooses the parse; the rest is the text. The parses
// themselves never throw; rendering a reference argument parses it as an
// object path and may fail with that parser's errors only.
#include "cim/avps.h"
#include "cim/url.h"
#include "xml/classes.h"
#include "xml/errors.h"
#include "xml/xml_buffer.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <strings.h>

namespace {

const char* const kMethod =
    "<METHOD NAME=\"SetUp\" TYPE=\"uint32\">"
    "<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>"
    "<PARAMETER.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "<PARAMETER.REFERENCE NAME=\"Ref\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER.REFARRAY NAME=\"Refs\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER NAME=\"Other\" TYPE=\"uint32\"/>"
    "</METHOD>";

const char* const kClass =
    "<CLASS NAME=\"Quilo_Thing\">"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE>"
    "</QUALIFIER></PROPERTY>"
    "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PROPERTY.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "</CLASS>";

const MethodXml& method() {
    static const MethodXml m = [] {
        XmlBuffer xb(kMethod);
        return MethodXml(xb);
    }();
    return m;
}

const ClassXml& cls() {
    static const ClassXml c = [] {
        XmlBuffer xb(kClass);
        return ClassXml(xb);
    }();
    return c;
}

const URL& target() {
    static const URL url("https://10.0.0.5/quilo/cimv2:Quilo_Thing.Name=\"a\"");
    return url;
}

// What a method call does with the list: every entry rendered by each
// declared parameter of its name, then the lookups.
void useArguments(AVPs& list) {
    std::string doc;
    for (unsigned int i = 0; i < list.size(); ++i) {
        AValue* arg = list.get(i);
        if (!arg) std::abort();
        for (const ParameterXml& p : method().parameters) {
            if (strcasecmp(p.name.c_str(), arg->attr.c_str()) != 0) continue;
            try {
                p.toXmlBuffer(doc, arg, 1, &target());
            } catch (const URLException&) {
            } catch (const ParseException&) {
            }
        }
    }
    // Fetching every name marks the first entry of each name; later entries
    // of a name already seen are what remains.
    std::optional<std::string> expected;
    for (unsigned int i = 0; i < list.size(); ++i) {
        const std::string name = list.get(i)->attr;
        if (!list.check(name.c_str())) std::abort();
        if (list.get(name.c_str()) != list.get(i)) expected = (expected ? *expected + ", " : "") + name;
    }
    if (list.notGotten() != expected) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t mode = data[0] % 5;
    std::unique_ptr<char[]> text(new char[size]);
    std::copy(data + 1, data + size, text.get());
    text[size - 1] = '\0';

    switch (mode) {
    case 0: {
        AVPs list(text.get(), method().parameters);
        useArguments(list);
        break;
    }
    case 1: {
        AVPs list(text.get(), cls().properties);
        for (unsigned int i = 0; i < list.size(); ++i) list.get(i);
        (void)list.notGotten();
        break;
    }
    case 2: {
        AVPs list(text.get());
        (void)list.notGotten();
        break;
    }
    case 3: {
        AList list(text.get());
        if (list.items.size() > static_cast<size_t>(list.count)) std::abort();
        break;
    }
    case 4: {
        std::unique_ptr<AVPs> list = makeAVPs(text.get(), 1);
        if (list && list->size() != 1) std::abort();
        break;
    }
    }
    return 0;
}
