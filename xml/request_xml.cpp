// Request-side renderings: a declared property or parameter plus the user's
// value, as the CIM-XML fragment a request document embeds. Values are
// written as given, without XML escaping.
#include "xml/classes.h"
#include "xml/model.h"

namespace {

enum class Shape { Scalar, Reference, Array, RefArray };

struct RequestForm {
    int kind;              // the declaration's kind
    const char* element;   // the enclosing element
    bool withType;         // whether it carries TYPE
    Shape shape;
};

constexpr RequestForm propertyForms[] = {
    {PropertyXml::Plain, "PROPERTY", true, Shape::Scalar},
    {PropertyXml::Reference, "PROPERTY.REFERENCE", false, Shape::Reference},
    {PropertyXml::Array, "PROPERTY.ARRAY", true, Shape::Array},
};

constexpr RequestForm parameterForms[] = {
    {ParameterXml::Plain, "PARAMETER", true, Shape::Scalar},
    {ParameterXml::Reference, "PARAMETER.REFERENCE", false, Shape::Reference},
    {ParameterXml::Array, "PARAMETER.ARRAY", true, Shape::Array},
    {ParameterXml::RefArray, "PARAMETER.REFARRAY", true, Shape::RefArray},
};

template <size_t N>
const RequestForm* formOf(const RequestForm (&forms)[N], int kind) {
    for (const RequestForm& f : forms)
        if (f.kind == kind) return &f;
    return nullptr;
}

// A value written in double quotes loses its first and last character.
void appendUnquoted(std::string& buf, const std::string& text) {
    if (!text.empty() && text[0] == '"')
        buf.append(text, 1, text.size() >= 2 ? text.size() - 2 : 0);
    else
        buf += text;
}

// A single value joins the list of values before a list is written.
const StringArray* listOf(AValue* val) {
    if (!val) return nullptr;
    if (!val->val.empty()) {
        val->vals.add(std::move(val->val));
        val->val.clear();
    }
    return &val->vals;
}

// The INSTANCEPATH of a reference. A value that names its own namespace
// ("ns/...:Class...") is read on the target's scheme; any other is read in
// the target's host and namespace.
void appendInstancePath(std::string& buf, const std::string& value, const ObjectPathRef& target) {
    std::string text = target.pathProtocol() + "://";
    const size_t slash = value.find('/');
    if (slash != std::string::npos && value.find(':', slash) != std::string::npos) {
        text += value;
    } else {
        text += target.pathHost();
        text += ":";
        for (const std::string& c : target.pathNameSpace()) {
            text += "/";
            text += c;
        }
        text += ":";
        text += value;
    }
    const std::unique_ptr<ObjectPathRef> path = target.parsePath(text.c_str());

    buf += "<INSTANCEPATH><NAMESPACEPATH><HOST>";
    buf += path->pathHost();
    buf += "</HOST><LOCALNAMESPACEPATH>";
    for (const std::string& c : path->pathNameSpace()) {
        buf += "<NAMESPACE NAME=\"";
        buf += c;
        buf += "\"></NAMESPACE>";
    }
    buf += "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"";
    buf += path->pathClassName();
    buf += "\">";
    path->keysToXml(buf);
    buf += "</INSTANCENAME></INSTANCEPATH>";
}

// One VALUE.REFERENCE; without a path text (or without a target to read it
// against) it stays empty.
void appendReference(std::string& buf, const char* pathText, const ObjectPathRef* target) {
    buf += "<VALUE.REFERENCE>";
    if (pathText && target) appendInstancePath(buf, pathText, *target);
    buf += "</VALUE.REFERENCE>";
}

void appendValue(std::string& buf, Shape shape, AValue* val, const ObjectPathRef* target) {
    switch (shape) {
    case Shape::Scalar:
        buf += "<VALUE>";
        if (val) appendUnquoted(buf, val->val);
        buf += "</VALUE>";
        break;
    case Shape::Reference:
        appendReference(buf, val ? val->val.c_str() : nullptr, target);
        break;
    case Shape::Array: {
        const StringArray* list = listOf(val);
        buf += "<VALUE.ARRAY>";
        if (!list || list->empty()) buf += "<VALUE></VALUE>";
        if (list)
            for (const std::string& entry : *list) {
                buf += "<VALUE>";
                appendUnquoted(buf, entry);
                buf += "</VALUE>";
            }
        buf += "</VALUE.ARRAY>";
        break;
    }
    case Shape::RefArray: {
        const StringArray* list = listOf(val);
        buf += "<VALUE.REFARRAY>";
        if (!list || list->empty()) appendReference(buf, nullptr, target);
        if (list)
            for (const std::string& entry : *list) appendReference(buf, entry.c_str(), target);
        buf += "</VALUE.REFARRAY>";
        break;
    }
    }
}

void appendDeclared(std::string& buf, const RequestForm* form, std::string_view name, std::string_view type,
                    AValue* val, int valueOnly, const ObjectPathRef* target) {
    if (!form) return;
    if (!valueOnly) {
        buf += "\n<";
        buf += form->element;
        buf += " NAME=\"";
        buf += name;
        if (form->withType) {
            buf += "\" TYPE=\"";
            buf += type;
        }
        buf += "\">";
    }
    appendValue(buf, form->shape, val, target);
    if (!valueOnly) {
        buf += "</";
        buf += form->element;
        buf += ">";
    }
}

}  // namespace

void PropertyXml::toXmlBuffer(std::string& buf, AValue* val, int valueOnly, const ObjectPathRef* target) const {
    appendDeclared(buf, formOf(propertyForms, kind), name, type, val, valueOnly, target);
}

void ParameterXml::toXmlBuffer(std::string& buf, AValue* val, int valueOnly, const ObjectPathRef* target) const {
    appendDeclared(buf, formOf(parameterForms, kind), name, type, val, valueOnly, target);
}

void ParameterXml::refToXmlBuffer(std::string& buf, const char* pathText, const ObjectPathRef* target) const {
    appendReference(buf, pathText, target);
}
