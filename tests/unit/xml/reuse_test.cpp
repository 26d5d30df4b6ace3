// The items of a list handed to a sink are read into the object of the item
// before (read()). Whatever that object held, the result must be the object
// a fresh parse of the same text makes, field for field, and the scanner must
// end in the same place.
#include "xml/model.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using xmltest::FlagGuard;

void describeRef(std::ostream& out, const ValueXml& v) {
    if (!v.ref) return;
    std::string text;
    v.ref->toStringBuffer(text, "'");
    out << " ref{" << text << "}";
}

void describe(std::ostream& out, const ValueXml& v) {
    out << "value kind " << v.kind << " [" << v.value << "]";
    describeRef(out, v);
    const ArrayXml<ValueXml>& elements = v.elements();
    out << " elements " << elements.size();
    for (const ValueXml& e : elements) {
        out << " (";
        describe(out, e);
        out << ")";
    }
}

// Every field of a named instance, one per line.
std::string describe(const NamedInstanceXml& item) {
    std::ostringstream out;
    const InstanceNameXml& name = item.name;
    out << "name type " << name.type << " prefix [" << name.pathPrefix << "] class [" << name.className << "] keys "
        << name.keys.size() << "\n";
    for (const KeyBindingXml& k : name.keys) {
        out << " key [" << k.name << "] kind " << k.kind << " valuetype [" << k.keyValue.valueType << "] ["
            << k.keyValue.value << "] ";
        describe(out, k.refValue);
        out << "\n";
    }
    const InstanceXml& instance = item.instance;
    out << "instance type " << instance.type << " class [" << instance.className << "] qualifiers "
        << instance.qualifiers.size() << "\n";
    for (const QualifierXml& q : instance.qualifiers) out << " qualifier " << q.key << " [" << q.text << "]\n";
    for (const PropertyXml& p : instance.properties) {
        out << " property [" << p.name << "] type [" << p.type << "] kind " << p.kind << " key " << p.key
            << " origin [" << p.classOrigin() << "] propagated [" << p.propagated() << "] embedded ["
            << p.embeddedObject() << "] refclass [" << p.referenceClass() << "] arraysize [" << p.arraySize()
            << "] qualifiers " << p.qualifiers().size() << "\n";
        for (const QualifierXml& q : p.qualifiers()) out << "  qualifier " << q.key << " [" << q.text << "]\n";
        if (p.value.exists()) {
            out << "  ";
            describe(out, p.value.val());
            out << "\n";
        } else {
            out << "  no value\n";
        }
    }
    return out.str();
}

struct Parsed {
    std::string fields, rest, failure;
    size_t propertyHint = 0, keyHint = 0;
};

// What `read` makes of `text` (the fields of the item it returns, or its
// failure) and where it leaves the scanner.
template <class Read>
Parsed parse(const std::string& text, Read read) {
    XmlBuffer xb(text);
    Parsed r;
    try {
        r.fields = describe(read(xb));
    } catch (const ParseException& e) {
        r.failure = e.getMsg();
    }
    r.rest = xb.cur();
    r.propertyHint = xb.propertyHint;
    r.keyHint = xb.keyHint;
    return r;
}

Parsed fresh(const std::string& text) {
    return parse(text, [](XmlBuffer& xb) { return NamedInstanceXml(xb); });
}

// `text` read into `item`; the scanner's hints start as a fresh parse of
// `text` alone would find them.
Parsed reread(NamedInstanceXml& item, const std::string& text) {
    return parse(text, [&item](XmlBuffer& xb) -> const NamedInstanceXml& {
        item.read(xb);
        return item;
    });
}

void expectSame(const Parsed& want, const Parsed& got, const std::string& label) {
    EXPECT_EQ(want.fields, got.fields) << label;
    EXPECT_EQ(want.failure, got.failure) << label;
    EXPECT_EQ(want.rest, got.rest) << label;
    EXPECT_EQ(want.propertyHint, got.propertyHint) << label;
    EXPECT_EQ(want.keyHint, got.keyHint) << label;
}

const std::string kEvent =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\">"
    "<KEYBINDING NAME=\"CreationClassName\"><KEYVALUE VALUETYPE=\"string\">Quilo_EventLog</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">Event:000003</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_EventLog\">"
    "<PROPERTY NAME=\"CreationClassName\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\">"
    "<VALUE>Quilo_EventLog</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Name\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\"><VALUE>Event:000003</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Time\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\">"
    "<VALUE>2015-09-16 09:58:12 and some more text to leave the short form</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Data1\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>"
    "</INSTANCE></VALUE.NAMEDINSTANCE>!";

// Every kind of key binding, property and value, and the rare attributes.
const std::string kRich =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_Disk_Drive_With_A_Long_Name\">"
    "<KEYBINDING NAME=\"Slot\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint8\">7</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"Owner\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"Quilo_Raid\">"
    "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">R1</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME></VALUE.REFERENCE></KEYBINDING>"
    "<KEYBINDING NAME=\"Tag\"><KEYVALUE>a &amp; b</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_Disk\" xml:lang=\"en\">"
    "<QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>a disk</VALUE></QUALIFIER>"
    "<PROPERTY NAME=\"Slot\" TYPE=\"uint8\" CLASSORIGIN=\"Quilo_Disk\" PROPAGATED=\"true\">"
    "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER><VALUE>7</VALUE></PROPERTY>"
    "<PROPERTY.ARRAY NAME=\"Speeds\" TYPE=\"uint16\" ARRAYSIZE=\"3\">"
    "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE><VALUE>3</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
    "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_Raid\">"
    "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"Quilo_Raid\">"
    "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">R1</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>"
    "<PROPERTY NAME=\"Blob\" TYPE=\"string\" EMBEDDEDOBJECT=\"object\"><VALUE>x &lt; y</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Nothing\" TYPE=\"string\"></PROPERTY>"
    "<PROPERTY NAME=\"Closed\" TYPE=\"string\"/>"
    "<PROPERTY NAME=\"Twice\" TYPE=\"string\"><VALUE>first</VALUE><VALUE>second</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"LongerThanTheShortStringRoomOfAString\" TYPE=\"string\">"
    "<VALUE>a value that is also longer than the short string room</VALUE></PROPERTY>"
    "</INSTANCE></VALUE.NAMEDINSTANCE>";

// Nothing but what must be there.
const std::string kBare =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"A\"/><INSTANCE CLASSNAME=\"B\"/></VALUE.NAMEDINSTANCE>";

// Properties without values where the others have theirs.
const std::string kValueless =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\"/><INSTANCE CLASSNAME=\"Quilo_EventLog\">"
    "<PROPERTY NAME=\"CreationClassName\" TYPE=\"string\"/>"
    "<PROPERTY NAME=\"Name\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\"></PROPERTY>"
    "<PROPERTY.ARRAY NAME=\"Time\" TYPE=\"string\"></PROPERTY.ARRAY>"
    "</INSTANCE></VALUE.NAMEDINSTANCE>";

// One key, bound to a reference; one property with a reference value.
const std::string kReferences =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_Link\">"
    "<KEYBINDING NAME=\"Antecedent\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"Quilo_Raid\">"
    "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">R2</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME></VALUE.REFERENCE></KEYBINDING>"
    "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_Link\">"
    "<PROPERTY.REFERENCE NAME=\"Antecedent\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"Quilo_Raid\">"
    "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">R2</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>"
    "</INSTANCE></VALUE.NAMEDINSTANCE>";

// Broken after some of its fields were read: a property without its end
// tag, and a key binding that holds neither kind of value.
const std::string kBrokenProperty =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\">"
    "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">E</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_EventLog\">"
    "<PROPERTY NAME=\"Time\" TYPE=\"string\"><VALUE>now</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Type\" TYPE=\"string\"><VALUE>open</VALUE>"
    "</INSTANCE></VALUE.NAMEDINSTANCE>";
const std::string kBrokenKey =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\">"
    "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">E</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"Other\"><VALUE>no</VALUE></KEYBINDING>"
    "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_EventLog\"/></VALUE.NAMEDINSTANCE>";

const std::vector<std::pair<const char*, const std::string*>> kItems = {
    {"event", &kEvent},       {"rich", &kRich},
    {"bare", &kBare},         {"valueless", &kValueless}, {"references", &kReferences},
    {"broken property", &kBrokenProperty}, {"broken key", &kBrokenKey},
};

TEST(ReadInto, AnyItemReadIntoAnyOtherIsWhatAFreshParseMakes) {
    for (const auto& [beforeName, before] : kItems) {
        for (const auto& [afterName, after] : kItems) {
            const std::string label = std::string(afterName) + " read into " + beforeName;
            // The object has held the richest item, then `before`; an item
            // that fails leaves what it had read, and that is reused too.
            XmlBuffer rich(kRich);
            NamedInstanceXml item(rich);
            XmlBuffer first(*before);
            try {
                item.read(first);
            } catch (const ParseException&) {
            }
            expectSame(fresh(*after), reread(item, *after), label);
        }
    }
}

TEST(ReadInto, TheItemsHaveWhatTheTableNeeds) {
    // Guards the table above: each item reads or fails as it is meant to.
    EXPECT_EQ("", fresh(kEvent).failure);
    EXPECT_EQ("", fresh(kRich).failure);
    EXPECT_NE(std::string::npos, fresh(kRich).fields.find("elements 3"));
    EXPECT_NE(std::string::npos, fresh(kRich).fields.find("ref{"));
    EXPECT_EQ("", fresh(kBare).failure);
    EXPECT_EQ(3u, fresh(kValueless).propertyHint);
    EXPECT_EQ(std::string::npos, fresh(kValueless).fields.find("value kind"));
    EXPECT_EQ("", fresh(kReferences).failure);
    EXPECT_EQ("Parse Exception: Expecting /PROPERTY, QUALIFIER or VALUE element", fresh(kBrokenProperty).failure);
    EXPECT_EQ("Parse Exception: Expecting KEYVALUE or VALUE.REFERENCE element", fresh(kBrokenKey).failure);
}

TEST(ReadInto, RenderingsOfAReusedItemAreAFreshItemsRenderings) {
    FlagGuard guard;
    for (const auto& [beforeName, before] : kItems) {
        XmlBuffer rich(kRich), first(*before);
        auto item = std::make_unique<NamedInstanceXml>(rich);
        try {
            item->read(first);
        } catch (const ParseException&) {
        }
        for (const std::string* after : {&kEvent, &kRich, &kReferences}) {
            XmlBuffer a(*after), b(*after);
            const NamedInstanceXml want(a);
            item->read(b);
            for (int flags = 0; flags < 8; ++flags) {
                useNl = flags & 1;
                addType = (flags >> 1) & 1;
                noVal = (flags >> 2) & 1;
                std::string wanted, got;
                want.name.toStringBuffer(wanted, "\"");
                want.instance.toStringBuffer(wanted, "");
                item->name.toStringBuffer(got, "\"");
                item->instance.toStringBuffer(got, "");
                EXPECT_EQ(wanted, got) << beforeName << " flags " << flags;
            }
        }
    }
}

}  // namespace
