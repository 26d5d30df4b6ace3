// Building the provider's instances for the report tests from small CIM-XML
// documents, parsed by the document layer as a reply would be.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cim/url.h"
#include "xml/model.h"
#include "xml/xml_buffer.h"

namespace report_test {

struct Prop {
    std::string name;
    std::string type;   // "string", "uint32", ...
    std::string value;
    bool hasValue = true;
};

inline Prop Str(std::string name, std::string value) { return {std::move(name), "string", std::move(value)}; }
inline Prop Num(std::string name, std::string value) { return {std::move(name), "uint64", std::move(value)}; }

inline std::string InstanceText(const std::string& className, const std::vector<Prop>& props) {
    std::string xml = "<INSTANCE CLASSNAME=\"" + className + "\">";
    for (const Prop& p : props) {
        xml += "<PROPERTY NAME=\"" + p.name + "\" TYPE=\"" + p.type + "\">";
        if (p.hasValue) xml += "<VALUE>" + p.value + "</VALUE>";
        xml += "</PROPERTY>";
    }
    return xml + "</INSTANCE>";
}

// One VALUE.NAMEDINSTANCE with one string key binding.
inline std::string NamedText(const std::string& className, const std::string& keyName, const std::string& keyValue,
                             const std::vector<Prop>& props) {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"" + className + "\"><KEYBINDING NAME=\"" + keyName +
           "\"><KEYVALUE VALUETYPE=\"string\">" + keyValue + "</KEYVALUE></KEYBINDING></INSTANCENAME>" +
           InstanceText(className, props) + "</VALUE.NAMEDINSTANCE>";
}

inline std::unique_ptr<NamedInstancesXml> Named(const std::vector<std::string>& texts) {
    auto list = std::make_unique<NamedInstancesXml>();
    for (const std::string& text : texts) {
        XmlBuffer xb(text);
        list->add(NamedInstanceXml(xb));
    }
    return list;
}

inline std::unique_ptr<InstanceXml> Instance(const std::string& className, const std::vector<Prop>& props) {
    XmlBuffer xb(InstanceText(className, props));
    return std::make_unique<InstanceXml>(xb);
}

// `count` characters wide, left-aligned: the layout of every table cell.
inline std::string Pad(const std::string& text, size_t width) {
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

inline const std::string& Dashes() {
    static const std::string line = std::string(117, '=') + "\n";
    return line;
}

}  // namespace report_test
