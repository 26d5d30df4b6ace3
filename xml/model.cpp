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

ValueXml::ValueXml(XmlBuffer& xb) : RetValXml(TypeValue) { read(xb); }

void ValueXml::setText(std::string_view text) {
    kind = Value;
    assignBytes(value, text);
    array.reset();
    ref.reset();
}

void ValueXml::clear() {
    kind = None;
    value.clear();
    array.reset();
    ref.reset();
}

void ValueXml::read(XmlBuffer& xb) {
    clear();
    XmlBuffer::Nest nest(xb);
    bool empty = false;
    if (xb.plainStartTag("VALUE", nullptr, 0, nullptr, empty)) {
        kind = Value;
        if (empty) return;
        std::string_view text;
        if (xb.plainText("VALUE", text)) {
            value.append(text);   // cleared above
            return;
        }
        XmlAttr attr(0);
        xmlsteps::contentTo(xb, attr, value);
        close(xb, "VALUE", attr, "Expecting /VALUE element");
        return;
    }
    const ValueForm* form = xmlsteps::openForm(xb, valueForms);
    if (!form) throw ParseException("Expecting VALUE element");
    XmlAttr attr(elm.attrs.size());
    if (!xb.attrsOk(elm, attr, form->tag.data())) throw ParseException("Bad VALUE attributes");
    kind = form->kind;

    switch (kind) {
    case Value:
        xmlsteps::contentTo(xb, attr, value);
        break;
    case Array:
        while (childIs(xb, attr, "VALUE")) elements().add(ValueXml(xb));
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
        ref = child->read(xb);
        break;
    }
    }
    close(xb, form->tag, attr, "Expecting /VALUE element");
}

ValueXml::ValueXml(const ValueXml& other)
    : RetValXml(other),
      kind(other.kind),
      value(other.value),
      ref(other.ref ? other.ref->clone() : nullptr),
      array(other.array) {}

ValueXml& ValueXml::operator=(const ValueXml& other) {
    if (this != &other) *this = ValueXml(other);
    return *this;
}

ValueXml::ValueXml(ValueXml&&) noexcept = default;
ValueXml& ValueXml::operator=(ValueXml&&) noexcept = default;
ValueXml::~ValueXml() = default;

std::unique_ptr<RetValXml> ValueXml::clone() const { return std::make_unique<ValueXml>(*this); }

const ArrayXml<ValueXml>& ValueXml::elements() const { return array.get(); }

ArrayXml<ValueXml>& ValueXml::elements() { return array.make(); }

namespace {

// Appends to a string through raw writes: room for each piece is made with
// reserve(), which grows the string in large steps (its capacity at least
// doubles), and the string is cut back to what was written by done() or
// when the writer goes.
class TextWriter {
public:
    explicit TextWriter(std::string& buf) : buf(buf) { resume(); }
    ~TextWriter() { done(); }
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    // Room for `n` more bytes.
    void reserve(size_t n) {
        if (static_cast<size_t>(limit - p) >= n) return;
        const size_t at = static_cast<size_t>(p - buf.data());
        buf.resize(at + std::max(n, size_t{1024}));
        p = &buf[0] + at;
        limit = &buf[0] + buf.size();
    }
    // `buf` holds exactly what was written, for others to append to.
    void done() { buf.resize(static_cast<size_t>(p - buf.data())); limit = p; }
    // Writing goes on after what others appended.
    void resume() {
        p = &buf[0] + buf.size();
        limit = p;
    }

    void put(std::string_view s) {
        copyBytes(p, s.data(), s.size());
        p += s.size();
    }
    void put(char c) { *p++ = c; }
    // A VALUE's text decoded for the renderings, between quotes `q`.
    void putValue(std::string_view q, std::string_view value) {
        put(q);
        putText(value);
        put(q);
    }
    void putText(std::string_view value) { p = unescapeXmlInto(p, value, 1); }
    static size_t valueRoom(std::string_view q, std::string_view value) { return 2 * q.size() + 2 * value.size(); }

private:
    std::string& buf;
    char* p = nullptr;
    char* limit = nullptr;
};

// The room of a rendering that holds more than text (references, nested
// arrays), which is written piece by piece.
constexpr size_t notPlain = static_cast<size_t>(-1);

}  // namespace

void ValueXml::toStringBuffer(std::string& buf, const char* q) const {
    switch (kind) {
    case Value: {
        const std::string_view quote(q);
        TextWriter out(buf);
        out.reserve(TextWriter::valueRoom(quote, value));
        out.putValue(quote, value);
        break;
    }
    case Array:
        elements().toStringBuffer(buf, ",", q);
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

KeyValueXml::KeyValueXml(XmlBuffer& xb) { read(xb); }

void KeyValueXml::read(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
    open(xb, "KEYVALUE", elm, attr, "Expecting KEYVALUE element", "Bad KEYVALUE attributes");
    assignBytes(valueType, attr.attr[0]);
    std::string_view text;
    if (!attr.emptyElement && xb.plainText("KEYVALUE", text)) {
        assignBytes(value, text);
        return;
    }
    xmlsteps::contentTo(xb, attr, value);
    close(xb, "KEYVALUE", attr, "Expecting </KEYVALUE> tag");
}

KeyValueXml::KeyValueXml(const char* text) : valueType("string"), value(text ? text : "") {}

void KeyValueXml::toStringBuffer(std::string& buf, const char* q) const {
    if (noQuotes) {
        unescapeXmlTo(buf, value, 1);
        return;
    }
    buf += q;
    unescapeXmlTo(buf, value, 1);
    buf += q;
}

const XmlElement KeyBindingXml::elm{"NAME"};

KeyBindingXml::KeyBindingXml(XmlBuffer& xb) { read(xb); }

namespace {

// <KEYBINDING NAME="n"><KEYVALUE VALUETYPE="t">text</KEYVALUE></KEYBINDING>,
// as servers write nearly every key binding, read as the general steps
// below read it; any other shape is left to them, the cursor where it was.
bool readPlainKeyBinding(XmlBuffer& xb, KeyBindingXml& k) {
    if (DBGX || DBGXB) return false;   // the traces show the general steps
    static constexpr std::string_view nameToken = " NAME=\"", typeToken = " VALUETYPE=\"";
    const char* const start = xb.cur();
    std::string_view name, type, text;
    bool empty = false;
    if (!xb.plainStartTag("KEYBINDING", &nameToken, 1, &name, empty) || empty ||
        !xb.plainStartTag("KEYVALUE", &typeToken, 1, &type, empty) || empty || !xb.plainText("KEYVALUE", text) ||
        !xb.endTag("KEYBINDING")) {
        xb.backTo(start);
        return false;
    }
    assignBytes(k.name, name);
    k.kind = KeyBindingXml::KeyValue;
    assignBytes(k.keyValue.valueType, type);
    assignBytes(k.keyValue.value, text);
    k.refValue.clear();
    return true;
}

}  // namespace

// The kind not read keeps what a fresh key binding holds there.
void KeyBindingXml::read(XmlBuffer& xb) {
    if (readPlainKeyBinding(xb, *this)) return;
    XmlAttr attr(elm.attrs.size());
    open(xb, "KEYBINDING", elm, attr, "Expecting KEYBINDING element", "Bad KEYBINDING attributes");
    assignBytes(name, attr.attr[0]);
    if (childIs(xb, attr, "KEYVALUE")) {
        kind = KeyValue;
        keyValue.read(xb);
        refValue.clear();
    } else if (childIs(xb, attr, "VALUE.REFERENCE")) {
        kind = Reference;
        refValue.read(xb);
        keyValue.valueType.clear();
        keyValue.value.clear();
    } else {
        throw ParseException("Expecting KEYVALUE or VALUE.REFERENCE element");
    }
    close(xb, "KEYBINDING", attr, "Expecting /KEYBINDING element");
}

namespace {

// Unlike a property, a key binding quotes every VALUETYPE that merely
// begins with "string".
std::string_view keyQuote(const KeyValueXml& v) {
    const std::string_view vt = v.valueType;
    using namespace std::string_view_literals;
    return !noQuotes && vt.size() >= 6 && sameName(vt.substr(0, 6), "string") ? "\""sv : ""sv;
}

// Room for the rendering of a key binding, or notPlain.
size_t keyRoom(const KeyBindingXml& k) {
    if (noVal) return k.name.size();
    if (k.kind != KeyBindingXml::KeyValue) return notPlain;
    return k.name.size() + 1 + TextWriter::valueRoom("\"", k.keyValue.value);
}

void writeKey(TextWriter& out, const KeyBindingXml& k) {
    out.put(k.name);
    if (noVal) return;
    out.put('=');
    out.putValue(keyQuote(k.keyValue), k.keyValue.value);
}

}  // namespace

void KeyBindingXml::toStringBuffer(std::string& buf, const char*) const {
    if (noVal || kind == KeyValue) {
        TextWriter out(buf);
        out.reserve(keyRoom(*this));
        writeKey(out, *this);
        return;
    }
    buf += name;
    buf += "=";
    refValue.toStringBuffer(buf, "");
}

// ---------------------------------------------------------------- INSTANCENAME

const XmlElement InstanceNameXml::elm{"CLASSNAME"};
const XmlElement InstanceNameXml::elmObjectPath(0);

InstanceNameXml::InstanceNameXml() : RetValXml(TypeInstanceName) {}

InstanceNameXml::InstanceNameXml(XmlBuffer& xb, bool objectPath) : RetValXml(TypeInstanceName) {
    if (!objectPath) {
        // Room for as many keys as the last name had; trimmed to its size.
        keys.reserve(xb.keyHint);
        read(xb);
        if (keys.capacity() > keys.size()) keys.shrink_to_fit();
        return;
    }
    XmlBuffer::Nest nest(xb);
    XmlAttr attr(elmObjectPath.attrs.size());
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

void InstanceNameXml::read(XmlBuffer& xb) {
    XmlBuffer::Nest nest(xb);
    XmlAttr attr(elm.attrs.size());
    open(xb, "INSTANCENAME", elm, attr, "Expecting INSTANCENAME element", "Bad INSTANCENAME attributes");
    pathPrefix.clear();
    assignBytes(className, attr.attr[0]);
    size_t count = 0;
    for (; childIs(xb, attr, "KEYBINDING"); ++count) {
        if (count < keys.size())
            keys[count].read(xb);
        else
            keys.emplace_back(xb);
    }
    keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
    xb.keyHint = count;
    close(xb, "INSTANCENAME", attr, "Expecting /INSTANCENAME element");
}

std::unique_ptr<RetValXml> InstanceNameXml::clone() const { return std::make_unique<InstanceNameXml>(*this); }

// Resetting noQuotes at the end is part of the contract: the reports rely
// on quotes being back on after any instance name has been written.
void InstanceNameXml::toStringBuffer(std::string& buf, const char* q) const {
    const std::string_view quote(q);
    const size_t head = pathPrefix.size() + quote.size() + className.size() + 1;
    size_t room = head + keys.size();   // and the separators
    for (const KeyBindingXml& k : keys) {
        const size_t key = keyRoom(k);
        room = key == notPlain ? notPlain : room + key;
        if (room == notPlain) break;
    }
    {
        TextWriter out(buf);
        out.reserve(room == notPlain ? head : room);
        out.put(pathPrefix);
        out.put(quote);
        out.put(className);
        out.put('.');
        for (size_t i = 0; room != notPlain && i < keys.size(); ++i) {
            if (i) out.put(',');
            writeKey(out, keys[i]);
        }
    }
    // A reference among the keys: each key renders itself.
    if (room == notPlain) keys.toStringBuffer(buf, ",", "");
    noQuotes = 0;
}

// ---------------------------------------------------------------- path elements

const XmlElement NameSpaceXml::elm{"NAME"};

NameSpaceXml::NameSpaceXml(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
    open(xb, "NAMESPACE", elm, attr, "Expecting NAMESPACE element", "Bad NAMESPACE attributes");
    name = std::move(attr.attr[0]);
    close(xb, "NAMESPACE", attr, "Expecting </NAMESPACE> tag");
}

void NameSpaceXml::toStringBuffer(std::string&, const char*) const {
    throw CmdException("Internal error. never print NameSpaceXml.");
}

const XmlElement LocalNameSpacePathXml::elm(0);

LocalNameSpacePathXml::LocalNameSpacePathXml(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
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
    XmlAttr attr(elm.attrs.size());
    open(xb, "HOST", elm, attr, "Expecting HOST element", "Bad HOST attributes");
    host = content(xb, attr);
    close(xb, "HOST", attr, "Expecting </HOST> tag");
}

const XmlElement NameSpacePathXml::elm(0);

NameSpacePathXml::NameSpacePathXml(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
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
    XmlAttr attr(elm.attrs.size());
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
    XmlAttr attr(elm.attrs.size());
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
    XmlAttr attr(elm.attrs.size());
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
    // The field of each name: 0 NAME, 1 TYPE, then the rarely set ones.
    int fields[5];
};

enum PropertyField { FieldName, FieldType, FieldClassOrigin, FieldPropagated, FieldEmbeddedObject,
                     FieldReferenceClass, FieldArraySize };

// Tried in this order; the attribute tables follow each element's list.
constexpr PropertyForm propertyForms[] = {
    {"PROPERTY.REFERENCE", PropertyXml::Reference, 4,
     {"NAME", "REFERENCECLASS", "CLASSORIGIN", "PROPAGATED"},
     {FieldName, FieldReferenceClass, FieldClassOrigin, FieldPropagated}},
    {"PROPERTY.ARRAY", PropertyXml::Array, 5,
     {"NAME", "TYPE", "CLASSORIGIN", "PROPAGATED", "ARRAYSIZE"},
     {FieldName, FieldType, FieldClassOrigin, FieldPropagated, FieldArraySize}},
    {"PROPERTY", PropertyXml::Plain, 5,
     {"NAME", "TYPE", "CLASSORIGIN", "PROPAGATED", "EMBEDDEDOBJECT"},
     {FieldName, FieldType, FieldClassOrigin, FieldPropagated, FieldEmbeddedObject}},
};

// Fills a field of a property being parsed: its fields are still empty.
void setField(PropertyXml& p, int field, std::string_view value) {
    if (value.empty()) return;
    switch (field) {
    case FieldName: p.name.append(value); break;
    case FieldType: p.type.append(value); break;
    case FieldClassOrigin: p.rare.set(RareAttributes::ClassOrigin, value); break;
    case FieldPropagated: p.rare.set(RareAttributes::Propagated, value); break;
    case FieldEmbeddedObject: p.rare.set(RareAttributes::EmbeddedObject, value); break;
    case FieldReferenceClass: p.rare.set(RareAttributes::ReferenceClass, value); break;
    case FieldArraySize: p.rare.set(RareAttributes::ArraySize, value); break;
    }
}

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

void RareAttributes::set(Which which, std::string_view value) {
    if (value == get(which)) return;
    auto changed = texts ? std::make_shared<Texts>(*texts) : std::make_shared<Texts>();
    if (which == ClassOrigin)
        changed->classOrigin.assign(value);
    else
        changed->others.make()[which - 1].assign(value);
    texts = std::move(changed);
}

void RareAttributes::setClassOriginOnly(std::string_view value) {
    if (value.empty()) {
        texts.reset();
        return;
    }
    // One per thread: the cache itself is not shared between threads.
    static thread_local std::shared_ptr<const Texts> last;
    if (!last || last->classOrigin != value) {
        auto made = std::make_shared<Texts>();
        made->classOrigin.assign(value);
        last = std::move(made);
    }
    texts = last;
}

PropertyXml::PropertyXml(XmlBuffer& xb) { read(xb); }

void PropertyXml::read(XmlBuffer& xb) {
    qualifierList.reset();
    value.reset();
    key = 0;
    // Most properties come as <PROPERTY NAME="..." TYPE="...">, with
    // CLASSORIGIN between the two when the class origin was asked for (as
    // the queries do).
    static constexpr std::string_view nameOriginType[] = {" NAME=\"", " CLASSORIGIN=\"", " TYPE=\""};
    constexpr unsigned originOptional = 1u << 1;
    std::string_view plain[3];
    bool empty = false;
    static_assert(propertyForms[2].kind == Plain);
    const PropertyForm* form = &propertyForms[2];
    if (xb.plainStartTag(form->tag, nameOriginType, 3, plain, empty, originOptional)) {
        kind = Plain;
        assignBytes(name, plain[0]);
        // Sets all of `rare`; the texts the property before shared stay
        // shared without a count going down and up again.
        rare.setClassOriginOnly(plain[1]);
        assignBytes(type, plain[2]);
        // Nearly always one VALUE with plain text, and the end tag.
        std::string_view text;
        if (!empty && xb.plainValueThenEnd(form->tag, text)) {
            XmlBuffer::Nest nest(xb);   // as the VALUE's own read counts it
            value.setInPlace().setText(text);
            return;
        }
    } else {
        form = xmlsteps::openForm(xb, propertyForms);
        if (!form) throw ParseException("Expecting PROPERTY element xx");
        const XmlElement& table = elm[form->kind - 1];
        XmlAttr attr(table.attrs.size());
        if (!xb.attrsOk(table, attr, form->tag.data())) throw ParseException("Bad PROPERTY attributes");
        kind = form->kind;
        name.clear();
        type.clear();
        rare.clear();
        for (size_t i = 0; i < form->count; ++i) setField(*this, form->fields[i], attr.attr[i]);
        empty = attr.emptyElement;
    }

    for (;;) {
        if (empty || xb.endTag(form->tag)) break;
        const char* next = xb.nextTag();
        if (XmlBuffer::nextEquals(next, "QUALIFIER")) {
            QualifierXml q(xb);
            if (!key) key = q.key;
            qualifierList.make().add(std::move(q));
        } else if (XmlBuffer::nextEquals(next, "VALUE")) {
            value.setInPlace().read(xb);
        } else {
            throw ParseException("Expecting /PROPERTY, QUALIFIER or VALUE element");
        }
    }
}

PropertyXml::PropertyXml(const char* nameValue, bool isReference) {
    const char* text = nameValue ? nameValue : "";
    const char* eq = std::strchr(text, '=');
    if (!eq) throw ParseException("Invalid name-value pair");
    name.assign(text, static_cast<size_t>(eq - text));
    const std::string raw(eq + 1);

    if (sameName(raw, "true") || sameName(raw, "false"))
        type = "boolean";
    else if (looksNumeric(raw))
        type = "numeric";
    else
        type = "string";

    std::string stored = raw;
    if (!raw.empty() && raw[0] == '"') stored = raw.size() >= 2 ? raw.substr(1, raw.size() - 2) : std::string();
    kind = isReference ? Reference : Plain;
    value.set(ValueXml(stored.c_str()));
}

namespace {

// Room for the rendering of `v` between quotes `quote`; notPlain when it
// holds more than text (references, nested arrays).
size_t valueRoom(const ValueXml& v, std::string_view quote) {
    switch (v.kind) {
    case ValueXml::Value:
        return TextWriter::valueRoom(quote, v.value);
    case ValueXml::Array: {
        const ArrayXml<ValueXml>& elements = v.elements();
        size_t room = elements.size();   // the separators
        for (const ValueXml& e : elements) {
            if (e.kind != ValueXml::Value) return notPlain;
            room += TextWriter::valueRoom(quote, e.value);
        }
        return room;
    }
    default:
        return notPlain;
    }
}

void writeValue(TextWriter& out, const ValueXml& v, std::string_view quote) {
    if (v.kind == ValueXml::Value) {
        out.putValue(quote, v.value);
        return;
    }
    const ArrayXml<ValueXml>& elements = v.elements();
    for (size_t i = 0; i < elements.size(); ++i) {
        if (i) out.put(',');
        out.putValue(quote, elements[i].value);
    }
}

// How a property renders: the quotes of its value, and the value itself
// (null when it is left out).
struct LineParts {
    std::string_view quote;
    const ValueXml* value;
};

LineParts partsOf(const PropertyXml& p) {
    if (noVal || !p.value.exists()) return {"", nullptr};
    // Views of literals, so that data() is a C string for the renderings
    // that take one.
    using namespace std::string_view_literals;
    return {!noQuotes && sameName(p.type, "string") ? "\""sv : ""sv, &p.value.val()};
}



// Room for the line up to its "=": "-", "[]", "&", "#", "=" and a line end.
size_t headRoom(const PropertyXml& p, std::string_view q) { return p.name.size() + q.size() + 7; }

// Room for the whole line of `p`, or notPlain.
size_t lineRoom(const PropertyXml& p, const LineParts& parts, std::string_view q) {
    const size_t value = parts.value ? valueRoom(*parts.value, parts.quote) : 0;
    if (value == notPlain) return notPlain;
    return headRoom(p, q) + value;
}

// The line up to its "=".
void writeHead(TextWriter& out, const PropertyXml& p, std::string_view q) {
    if (useNl) out.put('-');
    out.put(p.name);
    out.put(q);
    if (addType) {
        if (p.kind == PropertyXml::Array) out.put("[]");
        if (p.kind == PropertyXml::Reference) out.put('&');
        if (p.key) out.put('#');
    }
    out.put('=');
}

void writeLine(TextWriter& out, const PropertyXml& p, const LineParts& parts, std::string_view q) {
    writeHead(out, p, q);
    if (parts.value) writeValue(out, *parts.value, parts.quote);
    if (useNl) out.put('\n');
}

}  // namespace

void PropertyXml::toStringBuffer(std::string& buf, const char* q) const {
    const LineParts parts = partsOf(*this);
    const std::string_view nameQuote(q);
    const size_t room = lineRoom(*this, parts, nameQuote);
    if (room != notPlain) {
        TextWriter out(buf);
        out.reserve(room);
        writeLine(out, *this, parts, nameQuote);
        return;
    }
    // A reference value renders itself after the head.
    {
        TextWriter out(buf);
        out.reserve(headRoom(*this, nameQuote));
        writeHead(out, *this, nameQuote);
    }
    if (parts.value) parts.value->toStringBuffer(buf, parts.quote.data());
    if (useNl) buf += "\n";
}

// ---------------------------------------------------------------- INSTANCE

const XmlElement InstanceXml::elm{"CLASSNAME", "xml:lang"};

InstanceXml::InstanceXml(XmlBuffer& xb) : RetValXml(TypeInstance) {
    // Built in place, into room for as many properties as the last instance
    // had; the vector is trimmed to its size at the end.
    properties.reserve(xb.propertyHint);
    read(xb);
    if (properties.capacity() > properties.size()) properties.shrink_to_fit();
}

void InstanceXml::read(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
    open(xb, "INSTANCE", elm, attr, "Expecting INSTANCE element", "Bad INSTANCE attributes");
    assignBytes(className, attr.attr[0]);
    qualifiers.clear();
    size_t count = 0;
    // A property is looked for first: a tag that opens one is no end tag,
    // and most children are properties.
    for (;;) {
        const char* next = attr.emptyElement ? nullptr : xb.nextTag();
        if (XmlBuffer::nextEquals(next, "PROPERTY")) {
            if (count < properties.size())
                properties[count].read(xb);
            else
                properties.emplace_back(xb);
            ++count;
            continue;
        }
        if (xb.endTag("INSTANCE", &attr)) break;
        if (XmlBuffer::nextEquals(xb.nextTag(), "QUALIFIER"))
            qualifiers.add(QualifierXml(xb));
        else
            throw ParseException("Expecting /INSTANCE, QUALIFIER or PROPERTY element");
    }
    properties.erase(properties.begin() + static_cast<std::ptrdiff_t>(count), properties.end());
    xb.propertyHint = count;
}

std::unique_ptr<RetValXml> InstanceXml::clone() const { return std::make_unique<InstanceXml>(*this); }

// Properties whose values are text are written straight into `buf`; one
// with a reference goes through its own rendering.
void InstanceXml::toStringBuffer(std::string& buf, const char* q) const {
    using namespace std::string_view_literals;
    const std::string_view sep = useNl ? ""sv : ","sv;
    const std::string_view nameQuote(q);
    // The reports' form, "-name=value" lines and nothing else, for a value
    // of text written here at once; everything else as writeLine writes it.
    // (Writing a property changes no flag, but for a reference's name
    // turning noQuotes off, which is off here already.)
    const bool reportLines = useNl && !addType && !noVal && !noQuotes && nameQuote.empty();
    TextWriter out(buf);
    for (size_t i = 0; i < properties.size(); ++i) {
        const PropertyXml& p = properties[i];
        if (reportLines && p.value.exists() && p.value.val().kind == ValueXml::Value) {
            const std::string_view value = p.value.val().value;
            const bool quoted = sameName(p.type, "string");
            out.reserve(p.name.size() + TextWriter::valueRoom("\"", value) + 3);   // '-', '=', line end
            out.put('-');
            out.put(p.name);
            out.put('=');
            if (quoted) out.put('"');
            out.putText(value);
            if (quoted) out.put('"');
            out.put('\n');
            continue;
        }
        const LineParts parts = partsOf(p);
        const size_t room = lineRoom(p, parts, nameQuote);
        if (room == notPlain) {
            out.done();
            if (i) buf += sep;
            p.toStringBuffer(buf, q);
            out.resume();
            continue;
        }
        out.reserve(sep.size() + room);
        if (i) out.put(sep);
        writeLine(out, p, parts, nameQuote);
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
    // As the name and the instance made on their own: room for as many keys
    // and properties as the last ones had, trimmed to their sizes.
    name.keys.reserve(xb.keyHint);
    instance.properties.reserve(xb.propertyHint);
    read(xb);
    if (name.keys.capacity() > name.keys.size()) name.keys.shrink_to_fit();
    if (instance.properties.capacity() > instance.properties.size()) instance.properties.shrink_to_fit();
}

void NamedInstanceXml::read(XmlBuffer& xb) {
    XmlAttr attr(elm.attrs.size());
    open(xb, "VALUE.NAMEDINSTANCE", elm, attr, "Expecting VALUE.NAMEDINSTANCE element",
         "Bad VALUE.NAMEDINSTANCE attributes");
    if (!childIs(xb, attr, "INSTANCENAME")) throw ParseException("Expecting INSTANCENANE and INSTANCE element");
    name.read(xb);
    if (!childIs(xb, attr, "INSTANCE")) throw ParseException("Expecting INSTANCENANE and INSTANCE element");
    instance.read(xb);
    close(xb, "VALUE.NAMEDINSTANCE", attr, "Expecting /VALUE.NAMEDINSTANCE element");
}

std::unique_ptr<RetValXml> NamedInstanceXml::clone() const { return std::make_unique<NamedInstanceXml>(*this); }

std::unique_ptr<RetValXml> NamedInstancesXml::clone() const { return std::make_unique<NamedInstancesXml>(*this); }

const XmlElement ObjectWithPathXml::elm(0);

ObjectWithPathXml::ObjectWithPathXml(XmlBuffer& xb) : RetValXml(TypeObjectWithPath) {
    XmlAttr attr(elm.attrs.size());
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
