// Parsers and text renderings of the instance side of the model: values,
// key bindings, instance names, path elements, qualifiers, properties and
// instances. Every parser follows its element's grammar by recursive
// descent; every renderer appends to the caller's buffer.
#include "xml/model.h"

#include "xml/parse_steps.h"
#include "xml/render_flags.h"

#include <algorithm>
#include <cstring>

using xmlsteps::childIs;
using xmlsteps::close;
using xmlsteps::content;
using xmlsteps::open;
using xmlsteps::sameName;

// ---------------------------------------------------------------- bases

void RetValXml::toStringBuffer(std::string& buf, const char*) const { buf += "** not implemented **"; }

void SubValueXml::toStringBuffer(std::string& buf, const char*) const { buf += ">>Not Supported>>"; }

// ---------------------------------------------------------------- VALUE

const XmlElement ValueXml::elm(0);

namespace {

struct ValueForm {
    std::string_view tag;
    ValueXml::Kind kind;
};
// Longer names first: the look-ahead for VALUE also accepts VALUE.ARRAY.
constexpr ValueForm valueForms[] = {
    {"VALUE.REFERENCE", ValueXml::Reference},
    {"VALUE.ARRAY", ValueXml::Array},
    {"VALUE", ValueXml::Value},
};

template <class T>
std::unique_ptr<SubValueXml> readReference(XmlBuffer& xb) {
    return std::make_unique<T>(xb);
}

struct ReferenceForm {
    const char* tag;
    std::unique_ptr<SubValueXml> (*read)(XmlBuffer&);
};
constexpr ReferenceForm referenceForms[] = {
    {"CLASSNAME", readReference<ClassnameValueXml>},
    {"INSTANCEPATH", readReference<InstancepathValueXml>},
    {"LOCALINSTANCEPATH", readReference<LocalInstancepathValueXml>},
    {"INSTANCENAME", readReference<InstancenameValueXml>},
};

}  // namespace

ValueXml::ValueXml() : RetValXml(TypeValue) {}

ValueXml::ValueXml(const char* text) : RetValXml(TypeValue), kind(Value), value(text ? text : "") {}

ValueXml::ValueXml(XmlBuffer& xb) : RetValXml(TypeValue) {
    XmlBuffer::Nest nest(xb);
    const ValueForm* form = xmlsteps::openForm(xb, valueForms);
    if (!form) throw ParseException("Expecting VALUE element");
    XmlAttr attr;
    if (!xb.attrsOk(elm, attr, form->tag.data())) throw ParseException("Bad VALUE attributes");
    kind = form->kind;

    switch (kind) {
    case Value:
        if (xb.lending) {
            const std::string_view text = xb.contentView(&attr);
            lent = text.data();
            lentSize = text.size();
        } else {
            value = content(xb, attr);
        }
        break;
    case Array:
        while (childIs(xb, attr, "VALUE")) elements.add(ValueXml(xb));
        break;
    case Reference: {
        const ReferenceForm* child = nullptr;
        for (const ReferenceForm& f : referenceForms)
            if (childIs(xb, attr, f.tag)) {
                child = &f;
                break;
            }
        if (!child)
            throw ParseException(
                "Expecting CLASSPATH, LOCALCLASSPATH, CLASSNAME, INSTANCEPATH, LOCALINSTANCEPATH or "
                "INSTANCENAME element");
        // A reference's path is copied even while values are lent: keep()
        // does not look into it.
        const bool lending = xb.lending;
        xb.lending = false;
        ref = child->read(xb);
        xb.lending = lending;
        break;
    }
    }
    close(xb, form->tag, attr, "Expecting /VALUE element");
}

ValueXml::ValueXml(const ValueXml& other)
    : RetValXml(other),
      kind(other.kind),
      value(other.value),
      elements(other.elements),
      ref(other.ref ? other.ref->clone() : nullptr),
      lent(other.lent),
      lentSize(other.lentSize) {}

void ValueXml::keep() {
    if (lent) {
        value.assign(lent, lentSize);
        lent = nullptr;
        lentSize = 0;
    }
    for (ValueXml& e : elements) e.keep();
}

ValueXml& ValueXml::operator=(const ValueXml& other) {
    if (this != &other) *this = ValueXml(other);
    return *this;
}

std::unique_ptr<RetValXml> ValueXml::clone() const { return std::make_unique<ValueXml>(*this); }

void ValueXml::toStringBuffer(std::string& buf, const char* q) const {
    switch (kind) {
    case Value:
        buf += q;
        unescapeXmlTo(buf, text(), 1);
        buf += q;
        break;
    case Array:
        elements.toStringBuffer(buf, ",", q);
        break;
    case Reference:
        if (dlmRefs) buf += "{";
        if (ref) ref->toStringBuffer(buf, q);
        if (dlmRefs) buf += "}";
        break;
    default:
        break;
    }
}

// ---------------------------------------------------------------- KEYVALUE, KEYBINDING

const XmlElement KeyValueXml::elm{"VALUETYPE", "TYPE"};

KeyValueXml::KeyValueXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "KEYVALUE", elm, attr, "Expecting KEYVALUE element", "Bad KEYVALUE attributes");
    valueType.set(attr.attr[0], xb.lending);
    value.set(xb.contentView(&attr), xb.lending);
    close(xb, "KEYVALUE", attr, "Expecting </KEYVALUE> tag");
}

KeyValueXml::KeyValueXml(const char* text) : valueType("string"), value(text ? text : "") {}

void KeyValueXml::toStringBuffer(std::string& buf, const char* q) const {
    if (!noQuotes) buf += q;
    unescapeXmlTo(buf, value, 1);
    if (!noQuotes) buf += q;
}

const XmlElement KeyBindingXml::elm{"NAME"};

KeyBindingXml::KeyBindingXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "KEYBINDING", elm, attr, "Expecting KEYBINDING element", "Bad KEYBINDING attributes");
    name.set(attr.attr[0], xb.lending);
    if (childIs(xb, attr, "KEYVALUE")) {
        kind = KeyValue;
        keyValue = KeyValueXml(xb);
    } else if (childIs(xb, attr, "VALUE.REFERENCE")) {
        kind = Reference;
        refValue = ValueXml(xb);
    } else {
        throw ParseException("Expecting KEYVALUE or VALUE.REFERENCE element");
    }
    close(xb, "KEYBINDING", attr, "Expecting /KEYBINDING element");
}

// Unlike a property, a key binding quotes every VALUETYPE that merely
// begins with "string".
void KeyBindingXml::toStringBuffer(std::string& buf, const char*) const {
    buf += name;
    if (noVal) return;
    buf += "=";
    if (kind == KeyValue) {
        const std::string_view vt = keyValue.valueType;
        keyValue.toStringBuffer(buf, vt.size() >= 6 && sameName(vt.substr(0, 6), "string") ? "\"" : "");
    } else {
        refValue.toStringBuffer(buf, "");
    }
}

// ---------------------------------------------------------------- INSTANCENAME

const XmlElement InstanceNameXml::elm{"CLASSNAME"};
const XmlElement InstanceNameXml::elmObjectPath(0);

InstanceNameXml::InstanceNameXml() : RetValXml(TypeInstanceName) {}

InstanceNameXml::InstanceNameXml(XmlBuffer& xb, bool objectPath) : RetValXml(TypeInstanceName) {
    XmlBuffer::Nest nest(xb);
    if (!objectPath) {
        XmlAttr attr;
        open(xb, "INSTANCENAME", elm, attr, "Expecting INSTANCENAME element", "Bad INSTANCENAME attributes");
        className.set(attr.attr[0], xb.lending);
        // Room for the keys of a usual class (one or two) at once.
        keys.reserve(2);
        while (childIs(xb, attr, "KEYBINDING")) keys.emplace_back(xb);
        close(xb, "INSTANCENAME", attr, "Expecting /INSTANCENAME element");
        return;
    }
    XmlAttr attr;
    open(xb, "OBJECTPATH", elmObjectPath, attr, "Expecting OBJECTPATH element", "Bad OBJECTPATH attributes");
    if (childIs(xb, attr, "LOCALINSTANCEPATH")) {
        LocalInstancepathValueXml path(xb);
        className = std::move(path.name.className);
        keys = std::move(path.name.keys);
    } else if (childIs(xb, attr, "INSTANCEPATH")) {
        InstancepathValueXml path(xb);
        path.path.toStringBuffer(pathPrefix, "");
        className = std::move(path.name.className);
        keys = std::move(path.name.keys);
    } else {
        throw ParseException("Expecting LOCALINSTANCEPATH or INSTANCEPATH element (1)");
    }
    close(xb, "OBJECTPATH", attr, "Expecting /OBJECTPATH element");
}

std::unique_ptr<RetValXml> InstanceNameXml::clone() const { return std::make_unique<InstanceNameXml>(*this); }

void InstanceNameXml::keep() {
    className.keep();
    for (KeyBindingXml& k : keys) {
        k.name.keep();
        k.keyValue.valueType.keep();
        k.keyValue.value.keep();
    }
}

// Resetting noQuotes at the end is part of the contract: the reports rely
// on quotes being back on after any instance name has been written.
void InstanceNameXml::toStringBuffer(std::string& buf, const char* q) const {
    buf += pathPrefix;
    buf += q;
    buf += className;
    buf += ".";
    keys.toStringBuffer(buf, ",", "");
    noQuotes = 0;
}

// ---------------------------------------------------------------- path elements

const XmlElement NameSpaceXml::elm{"NAME"};

NameSpaceXml::NameSpaceXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "NAMESPACE", elm, attr, "Expecting NAMESPACE element", "Bad NAMESPACE attributes");
    name = std::move(attr.attr[0]);
    close(xb, "NAMESPACE", attr, "Expecting </NAMESPACE> tag");
}

void NameSpaceXml::toStringBuffer(std::string&, const char*) const {
    throw CmdException("Internal error. never print NameSpaceXml.");
}

const XmlElement LocalNameSpacePathXml::elm(0);

LocalNameSpacePathXml::LocalNameSpacePathXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "LOCALNAMESPACEPATH", elm, attr, "Expecting LOCALNAMESPACEPATH element",
         "Bad LOCALNAMESPACEPATH attributes");
    for (;;) {
        if (xb.endTag("LOCALNAMESPACEPATH", &attr)) break;
        if (!XmlBuffer::nextEquals(xb.nextTag(), "NAMESPACE"))
            throw ParseException("Expecting /LOCALNAMESPACEPATH or NAMESPACE tag");
        ns.add(NameSpaceXml(xb));
    }
}

const XmlElement HostXml::elm(0);

HostXml::HostXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "HOST", elm, attr, "Expecting HOST element", "Bad HOST attributes");
    host = content(xb, attr);
    close(xb, "HOST", attr, "Expecting </HOST> tag");
}

const XmlElement NameSpacePathXml::elm(0);

NameSpacePathXml::NameSpacePathXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "NAMESPACEPATH", elm, attr, "Expecting NAMESPACEPATH element", "Bad NAMESPACEPATH attributes");
    if (!childIs(xb, attr, "HOST")) throw ParseException("Expecting <HOST> tag");
    host = HostXml(xb).host;
    if (!childIs(xb, attr, "LOCALNAMESPACEPATH")) throw ParseException("Expecting <LOCALNAMESPACEPATH> tag");
    ns = std::move(LocalNameSpacePathXml(xb).ns);
    close(xb, "NAMESPACEPATH", attr, "Expecting </NAMESPACEPATH> tag");
}

void NameSpacePathXml::toStringBuffer(std::string& buf, const char* q) const {
    buf += q;
    buf += host;
    for (const NameSpaceXml& n : ns) {
        buf += "/";
        buf += n.name;
    }
}

const XmlElement ClassnameValueXml::elm{"NAME"};

ClassnameValueXml::ClassnameValueXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "CLASSNAME", elm, attr, "Expecting CLASSNAME element", "Bad CLASSNAME attributes");
    className = std::move(attr.attr[0]);
    close(xb, "CLASSNAME", attr, "Expecting </CLASSNAME> tag");
}

std::unique_ptr<SubValueXml> ClassnameValueXml::clone() const { return std::make_unique<ClassnameValueXml>(*this); }

InstancenameValueXml::InstancenameValueXml(XmlBuffer& xb) : name(xb) {}

std::unique_ptr<SubValueXml> InstancenameValueXml::clone() const {
    return std::make_unique<InstancenameValueXml>(*this);
}

void InstancenameValueXml::toStringBuffer(std::string& buf, const char* q) const { name.toStringBuffer(buf, q); }

const XmlElement InstancepathValueXml::elm(0);

InstancepathValueXml::InstancepathValueXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "INSTANCEPATH", elm, attr, "Expecting INSTANCEPATH element", "Bad INSTANCEPATH attributes");
    if (!childIs(xb, attr, "NAMESPACEPATH")) throw ParseException("Expecting <NAMESPACEPATH> tag");
    path = NameSpacePathXml(xb);
    if (!childIs(xb, attr, "INSTANCENAME")) throw ParseException("Expecting <INSTANCENAME> tag");
    name = InstanceNameXml(xb);
    close(xb, "INSTANCEPATH", attr, "Expecting </INSTANCEPATH> tag");
}

std::unique_ptr<SubValueXml> InstancepathValueXml::clone() const {
    return std::make_unique<InstancepathValueXml>(*this);
}

void InstancepathValueXml::toStringBuffer(std::string& buf, const char* q) const {
    path.toStringBuffer(buf, "");
    name.toStringBuffer(buf, q);
}

const XmlElement LocalInstancepathValueXml::elm(0);

LocalInstancepathValueXml::LocalInstancepathValueXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "LOCALINSTANCEPATH", elm, attr, "Expecting LOCALINSTANCEPATH element",
         "Bad LOCALINSTANCEPATH attributes");
    if (!childIs(xb, attr, "LOCALNAMESPACEPATH")) throw ParseException("Expecting <LOCALNAMESPACEPATH> tag");
    ns = std::move(LocalNameSpacePathXml(xb).ns);
    if (!childIs(xb, attr, "INSTANCENAME")) throw ParseException("Expecting <INSTANCENAME> tag");
    name = InstanceNameXml(xb);
    close(xb, "LOCALINSTANCEPATH", attr, "Expecting </LOCALINSTANCEPATH> tag");
}

std::unique_ptr<SubValueXml> LocalInstancepathValueXml::clone() const {
    return std::make_unique<LocalInstancepathValueXml>(*this);
}

void LocalInstancepathValueXml::toStringBuffer(std::string& buf, const char* q) const {
    for (size_t i = 0; i < ns.size(); ++i) {
        buf += ns[i].name;
        buf += i + 1 < ns.size() ? "/" : ":";
    }
    name.toStringBuffer(buf, q);
}

// ---------------------------------------------------------------- QUALIFIER

QualifierXml::QualifierXml(XmlBuffer& xb) {
    xb.skipWS();
    const char* const start = xb.cur();
    if (!xb.tagEquals("QUALIFIER")) throw ParseException("Expecting QUALIFIER element");
    key = xb.testAttr("NAME=", "key", 0);
    // A qualifier in the empty form has no end tag of its own: the skip then
    // runs on to the next qualifier's end tag.
    xb.skipElement("QUALIFIER");
    text.assign(start, static_cast<size_t>(xb.cur() - start));
}

// ---------------------------------------------------------------- PROPERTY

namespace {

struct PropertyForm {
    std::string_view tag;
    PropertyXml::Kind kind;
    size_t count;
    const char* names[5];
    ReplyText PropertyXml::*fields[5];   // null: checked, not kept
};

// Tried in this order; the attribute tables follow each element's list.
// Nothing reads CLASSORIGIN, PROPAGATED, REFERENCECLASS, ARRAYSIZE or
// EMBEDDEDOBJECT, so a property keeps only its name and type.
constexpr PropertyForm propertyForms[] = {
    {"PROPERTY.REFERENCE", PropertyXml::Reference, 4,
     {"NAME", "REFERENCECLASS", "CLASSORIGIN", "PROPAGATED"},
     {&PropertyXml::name}},
    {"PROPERTY.ARRAY", PropertyXml::Array, 5,
     {"NAME", "TYPE", "CLASSORIGIN", "PROPAGATED", "ARRAYSIZE"},
     {&PropertyXml::name, &PropertyXml::type}},
    {"PROPERTY", PropertyXml::Plain, 5,
     {"NAME", "TYPE", "CLASSORIGIN", "PROPAGATED", "EMBEDDEDOBJECT"},
     {&PropertyXml::name, &PropertyXml::type}},
};

XmlElement tableOf(PropertyXml::Kind kind) {
    for (const PropertyForm& f : propertyForms)
        if (f.kind == kind) return XmlElement(f.names, f.names + f.count);
    return XmlElement(0);
}

// "+" or "-" or a digit first, digits after: "numeric" (a lone sign too).
bool looksNumeric(const std::string& v) {
    if (v.empty()) return false;
    if (v[0] != '+' && v[0] != '-' && !(v[0] >= '0' && v[0] <= '9')) return false;
    for (size_t i = 1; i < v.size(); ++i)
        if (v[i] < '0' || v[i] > '9') return false;
    return true;
}

}  // namespace

const XmlElement PropertyXml::elm[3] = {tableOf(Plain), tableOf(Reference), tableOf(Array)};

PropertyXml::PropertyXml(XmlBuffer& xb) {
    XmlAttr attr;
    const PropertyForm& form = xmlsteps::openKind(xb, propertyForms, elm, *this, attr,
                                                  "Expecting PROPERTY element xx", "Bad PROPERTY attributes");
    const char* next = nullptr;
    while (!xmlsteps::ends(xb, form.tag, attr, next)) {
        if (XmlBuffer::nextEquals(next, "QUALIFIER")) {
            QualifierXml q(xb);
            if (!key) key = q.key;
            qualifiers.add(std::move(q));
        } else if (XmlBuffer::nextEquals(next, "VALUE")) {
            value.emplace(xb);
        } else {
            throw ParseException("Expecting /PROPERTY, QUALIFIER or VALUE element");
        }
    }
}

PropertyXml::PropertyXml(const char* nameValue, bool isReference) {
    const char* text = nameValue ? nameValue : "";
    const char* eq = std::strchr(text, '=');
    if (!eq) throw ParseException("Invalid name-value pair");
    name.set(std::string_view(text, static_cast<size_t>(eq - text)), false);
    const std::string raw(eq + 1);

    if (sameName(raw, "true") || sameName(raw, "false"))
        type.set("boolean", false);
    else if (looksNumeric(raw))
        type.set("numeric", false);
    else
        type.set("string", false);

    std::string stored = raw;
    if (!raw.empty() && raw[0] == '"') stored = raw.size() >= 2 ? raw.substr(1, raw.size() - 2) : std::string();
    kind = isReference ? Reference : Plain;
    value.set(ValueXml(stored.c_str()));
}

void PropertyXml::toStringBuffer(std::string& buf, const char* q) const {
    if (useNl) buf += '-';
    buf += name;
    if (*q) buf += q;
    if (addType) {
        if (kind == Array) buf += "[]";
        if (kind == Reference) buf += '&';
        if (key) buf += '#';
    }
    buf += '=';
    if (!noVal && value.exists()) value.val().toStringBuffer(buf, !noQuotes && sameName(type, "string") ? "\"" : "");
    if (useNl) buf += '\n';
}

// ---------------------------------------------------------------- INSTANCE

const XmlElement InstanceXml::elm{"CLASSNAME", "xml:lang"};

InstanceXml::InstanceXml(XmlBuffer& xb) : RetValXml(TypeInstance) {
    XmlAttr attr;
    open(xb, "INSTANCE", elm, attr, "Expecting INSTANCE element", "Bad INSTANCE attributes");
    className.set(attr.attr[0], xb.lending);
    // Room for a usual instance's properties at once, not in four steps.
    properties.reserve(8);
    const char* next = nullptr;
    while (!xmlsteps::ends(xb, "INSTANCE", attr, next)) {
        if (XmlBuffer::nextEquals(next, "QUALIFIER"))
            qualifiers.add(QualifierXml(xb));
        else if (XmlBuffer::nextEquals(next, "PROPERTY"))
            properties.emplace_back(xb);
        else
            throw ParseException("Expecting /INSTANCE, QUALIFIER or PROPERTY element");
    }
}

std::unique_ptr<RetValXml> InstanceXml::clone() const { return std::make_unique<InstanceXml>(*this); }

void InstanceXml::toStringBuffer(std::string& buf, const char* q) const {
    properties.toStringBuffer(buf, useNl ? "" : ",", q);
}

void InstanceXml::keepValues() {
    className.keep();
    for (PropertyXml& p : properties) {
        p.name.keep();
        p.type.keep();
        if (p.value.exists()) p.value.val().keep();
    }
}

void InstanceXml::propagateKeyFlags(const ArrayXml<KeyBindingXml>& keys) {
    for (const KeyBindingXml& k : keys)
        for (PropertyXml& p : properties)
            if (sameName(p.name, k.name)) p.key = 1;
}

void InstanceXml::propagateKeyFlags(const ArrayXml<PropertyXml>& keys) {
    for (const PropertyXml& k : keys)
        for (PropertyXml& p : properties)
            if (sameName(p.name, k.name)) p.key = 1;
}

// ---------------------------------------------------------------- VALUE.NAMEDINSTANCE, VALUE.OBJECTWITHPATH

const XmlElement NamedInstanceXml::elm(0);

NamedInstanceXml::NamedInstanceXml(XmlBuffer& xb) : RetValXml(TypeNamedInstance) {
    XmlAttr attr;
    open(xb, "VALUE.NAMEDINSTANCE", elm, attr, "Expecting VALUE.NAMEDINSTANCE element",
         "Bad VALUE.NAMEDINSTANCE attributes");
    if (!childIs(xb, attr, "INSTANCENAME")) throw ParseException("Expecting INSTANCENANE and INSTANCE element");
    name = InstanceNameXml(xb);
    if (!childIs(xb, attr, "INSTANCE")) throw ParseException("Expecting INSTANCENANE and INSTANCE element");
    instance = InstanceXml(xb);
    close(xb, "VALUE.NAMEDINSTANCE", attr, "Expecting /VALUE.NAMEDINSTANCE element");
}

void NamedInstanceXml::keep() {
    name.keep();
    instance.keepValues();
}

std::unique_ptr<RetValXml> NamedInstanceXml::clone() const { return std::make_unique<NamedInstanceXml>(*this); }

std::unique_ptr<RetValXml> NamedInstancesXml::clone() const { return std::make_unique<NamedInstancesXml>(*this); }

const XmlElement ObjectWithPathXml::elm(0);

ObjectWithPathXml::ObjectWithPathXml(XmlBuffer& xb) : RetValXml(TypeObjectWithPath) {
    XmlAttr attr;
    open(xb, "VALUE.OBJECTWITHPATH", elm, attr, "Expecting VALUE.OBJECTWITHPATH element",
         "Bad VALUE.OBJECTWITHPATH attributes");
    if (childIs(xb, attr, "INSTANCEPATH")) {
        path = std::make_unique<InstancepathValueXml>(xb);
        instance = InstanceXml(xb);
    } else if (childIs(xb, attr, "LOCALINSTANCEPATH")) {
        path = std::make_unique<LocalInstancepathValueXml>(xb);
        instance = InstanceXml(xb);
    }
    close(xb, "VALUE.OBJECTWITHPATH", attr, "Expecting /VALUE.OBJECTWITHPATH element");
}

ObjectWithPathXml::ObjectWithPathXml(const ObjectWithPathXml& other)
    : RetValXml(other), instance(other.instance) {
    if (other.path) path.reset(static_cast<InstancepathValueXml*>(other.path->clone().release()));
}

ObjectWithPathXml& ObjectWithPathXml::operator=(const ObjectWithPathXml& other) {
    if (this != &other) *this = ObjectWithPathXml(other);
    return *this;
}

std::unique_ptr<RetValXml> ObjectWithPathXml::clone() const { return std::make_unique<ObjectWithPathXml>(*this); }

std::unique_ptr<RetValXml> ObjectsWithPathXml::clone() const { return std::make_unique<ObjectsWithPathXml>(*this); }

std::unique_ptr<RetValXml> InstancesXml::clone() const { return std::make_unique<InstancesXml>(*this); }

std::unique_ptr<RetValXml> InstanceNamesXml::clone() const { return std::make_unique<InstanceNamesXml>(*this); }
