// Parsers and text renderings of the class side of the model: CLASS,
// METHOD, the four parameter elements, PARAMVALUE and CLASSNAME.
#include "xml/classes.h"

#include "xml/parse_steps.h"
#include "xml/render_flags.h"

using xmlsteps::childIs;
using xmlsteps::close;
using xmlsteps::open;
using xmlsteps::sameName;

// ---------------------------------------------------------------- PARAMETER

namespace {

struct ParameterForm {
    std::string_view tag;
    ParameterXml::Kind kind;
    size_t count;
    const char* names[3];
    std::string ParameterXml::*fields[3];   // null: checked, not kept
};

// Tried in this order; each table follows its element's attribute list.
constexpr ParameterForm parameterForms[] = {
    {"PARAMETER.REFARRAY", ParameterXml::RefArray, 3, {"NAME", "REFERENCECLASS", "ARRAYSIZE"},
     {&ParameterXml::name}},
    {"PARAMETER.REFERENCE", ParameterXml::Reference, 2, {"NAME", "REFERENCECLASS"}, {&ParameterXml::name}},
    {"PARAMETER.ARRAY", ParameterXml::Array, 3, {"NAME", "TYPE", "ARRAYSIZE"},
     {&ParameterXml::name, &ParameterXml::type}},
    {"PARAMETER", ParameterXml::Plain, 2, {"NAME", "TYPE"}, {&ParameterXml::name, &ParameterXml::type}},
};

XmlElement tableOf(ParameterXml::Kind kind) {
    for (const ParameterForm& f : parameterForms)
        if (f.kind == kind) return XmlElement(f.names, f.names + f.count);
    return XmlElement(0);
}

bool isString(const std::string& type) { return sameName(type, "string"); }

}  // namespace

const XmlElement ParameterXml::elm[4] = {tableOf(Plain), tableOf(Reference), tableOf(Array), tableOf(RefArray)};

ParameterXml::ParameterXml(XmlBuffer& xb) {
    XmlAttr attr;
    const ParameterForm& form = xmlsteps::openKind(xb, parameterForms, elm, *this, attr,
                                                   "Expecting PARAMETER element xx", "Bad PARAMETER attributes");
    for (;;) {
        if (xb.endTag(form.tag, &attr)) break;
        if (!XmlBuffer::nextEquals(xb.nextTag(), "QUALIFIER"))
            throw ParseException("Expecting /PARAMETER or QUALIFIER element");
        qualifiers.add(QualifierXml(xb));
    }
}

// Like a property, with two deliberate differences: kind 4 (a reference
// array) is marked "#", and "=" is written only together with a value.
void ParameterXml::toStringBuffer(std::string& buf, const char* q) const {
    if (useNl) buf += "-";
    buf += name;
    buf += q;
    if (addType) {
        if (kind == Array) buf += "[]";
        if (kind == Reference) buf += "&";
        if (kind == RefArray) buf += "#";
    }
    if (!noVal && value.exists()) {
        buf += "=";
        const bool quoted = !noQuotes && isString(type);
        value.val().toStringBuffer(buf, quoted ? "\"" : "");
    }
    if (useNl) buf += "\n";
}

// ---------------------------------------------------------------- METHOD

const XmlElement MethodXml::elm{"NAME", "TYPE", "CLASSORIGIN", "PROPAGATED"};

MethodXml::MethodXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "METHOD", elm, attr, "Expecting METHOD element", "Bad METHOD attributes");
    name = std::move(attr.attr[0]);
    type = std::move(attr.attr[1]);
    classOrigin = std::move(attr.attr[2]);
    propagated = std::move(attr.attr[3]);
    for (;;) {
        if (xb.endTag("METHOD", &attr)) break;
        const char* next = xb.nextTag();
        if (XmlBuffer::nextEquals(next, "QUALIFIER"))
            qualifiers.add(QualifierXml(xb));
        else if (XmlBuffer::nextEquals(next, "PARAMETER"))
            parameters.add(ParameterXml(xb));
        else
            throw ParseException("Expecting /METHOD, QUALIFIER or PARAMETER element");
    }
}

// ---------------------------------------------------------------- CLASS

const XmlElement ClassXml::elm{"NAME", "SUPERCLASS"};

ClassXml::ClassXml(XmlBuffer& xb) : RetValXml(TypeClass) {
    XmlAttr attr;
    open(xb, "CLASS", elm, attr, "Expecting CLASS element", "Bad CLASS attributes");
    name = std::move(attr.attr[0]);
    superclass = std::move(attr.attr[1]);
    for (;;) {
        if (xb.endTag("CLASS", &attr)) break;
        const char* next = xb.nextTag();
        if (XmlBuffer::nextEquals(next, "QUALIFIER"))
            qualifiers.add(QualifierXml(xb));
        else if (XmlBuffer::nextEquals(next, "PROPERTY"))
            addProperty(PropertyXml(xb));
        else if (XmlBuffer::nextEquals(next, "METHOD"))
            methods.add(MethodXml(xb));
        else
            throw ParseException("Expecting /CLASS, QUALIFIER, PROPERTY or METHOD element");
    }
}

std::unique_ptr<RetValXml> ClassXml::clone() const { return std::make_unique<ClassXml>(*this); }

void ClassXml::toStringBuffer(std::string& buf, const char* q) const {
    properties.toStringBuffer(buf, useNl ? "" : ",", q);
}

void ClassXml::addProperty(PropertyXml p) {
    if (p.key) keys.add(p);
    properties.add(std::move(p));
}

int ClassXml::keysOk(const ArrayXml<PropertyXml>& pathKeys) const {
    for (const PropertyXml& k : keys) {
        bool bound = false;
        for (const PropertyXml& b : pathKeys)
            if (sameName(k.name, b.name)) {
                bound = true;
                break;
            }
        if (!bound) return 0;
    }
    return 1;
}

// ---------------------------------------------------------------- PARAMVALUE

const XmlElement ParamvalueXml::elm{"NAME", "PARAMTYPE", "EmbeddedObject"};

ParamvalueXml::ParamvalueXml(XmlBuffer& xb) : RetValXml(TypeParamvalue) {
    XmlAttr attr;
    open(xb, "PARAMVALUE", elm, attr, "Expecting PARAMVALUE tag", "Bad PARAMVALUE attributes");
    name = std::move(attr.attr[0]);
    paramType = std::move(attr.attr[1]);
    embeddedObject = std::move(attr.attr[2]);
    if (childIs(xb, attr, "VALUE")) value = std::make_unique<ValueXml>(xb);
    close(xb, "PARAMVALUE", attr, "Expecting </PARAMVALUE> tag");
}

ParamvalueXml::ParamvalueXml(const ParamvalueXml& other)
    : RetValXml(other),
      name(other.name),
      paramType(other.paramType),
      embeddedObject(other.embeddedObject),
      value(other.value ? std::make_unique<ValueXml>(*other.value) : nullptr) {}

ParamvalueXml& ParamvalueXml::operator=(const ParamvalueXml& other) {
    if (this != &other) *this = ParamvalueXml(other);
    return *this;
}

std::unique_ptr<RetValXml> ParamvalueXml::clone() const { return std::make_unique<ParamvalueXml>(*this); }

void ParamvalueXml::toStringBuffer(std::string& buf, const char* q) const {
    buf += name;
    buf += " (";
    buf += paramType;
    buf += ")";
    buf += ": ";
    buf += q;
    if (value) value->toStringBuffer(buf, q);
}

// ---------------------------------------------------------------- CLASSNAME

const XmlElement ClassNameXml::elm{"NAME"};

ClassNameXml::ClassNameXml(XmlBuffer& xb) : RetValXml(TypeClassName) {
    XmlAttr attr;
    open(xb, "CLASSNAME", elm, attr, "Expecting CLASSNAME element", "Bad CLASSNAME attributes");
    name = std::move(attr.attr[0]);
    close(xb, "CLASSNAME", attr, "Expecting </CLASSNAME> tag");
}

std::unique_ptr<RetValXml> ClassNameXml::clone() const { return std::make_unique<ClassNameXml>(*this); }

void ClassNameXml::toStringBuffer(std::string& buf, const char* q) const {
    buf += q;
    buf += name;
}

std::unique_ptr<RetValXml> ClassesXml::clone() const { return std::make_unique<ClassesXml>(*this); }

std::unique_ptr<RetValXml> ClassNamesXml::clone() const { return std::make_unique<ClassNamesXml>(*this); }
