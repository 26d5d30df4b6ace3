// The object model of replies: values, instance names and key bindings, the
// path elements, instances and properties. Every class parses itself from an
// XmlBuffer and renders itself as text (toStringBuffer).
#pragma once

#include "xml/array_xml.h"
#include "xml/avalue.h"
#include "xml/object_path.h"
#include "xml/string_array.h"
#include "xml/xml_buffer.h"

#include <memory>
#include <ostream>
#include <string>

// Type codes of the results an operation can get back.
enum RetValType {
    TypeInstance = 1,
    TypeInstances = 2,
    TypeClass = 3,
    TypeInstanceName = 4,
    TypeInstanceNames = 5,
    TypeClasses = 6,
    TypeClassName = 7,
    TypeClassNames = 8,
    TypeNamedInstance = 9,
    TypeNamedInstances = 10,
    TypeObjectWithPath = 11,
    TypeObjectsWithPath = 12,
    TypeValue = 13,
    TypeMethodresponse = 14,
    TypeParamvalue = 15,
};

// Polymorphic base of every result.
class RetValXml {
public:
    explicit RetValXml(int typeCode) : type(typeCode) {}
    virtual ~RetValXml() = default;
    virtual std::unique_ptr<RetValXml> clone() const = 0;
    virtual void toStringBuffer(std::string& buf, const char* q = "") const;  // "** not implemented **"
    int type;

protected:
    RetValXml(const RetValXml&) = default;
    RetValXml& operator=(const RetValXml&) = default;
};

// Base of the objects a VALUE.REFERENCE holds.
class SubValueXml {
public:
    virtual ~SubValueXml() = default;
    virtual std::unique_ptr<SubValueXml> clone() const = 0;
    virtual void toStringBuffer(std::string& buf, const char* q = "") const;  // ">>Not Supported>>"
};

class ValueXml : public RetValXml {
public:
    enum Kind { None = 0, Value = 1, Array = 2, Reference = 3 };
    ValueXml();
    explicit ValueXml(XmlBuffer& xb);
    explicit ValueXml(const char* text);   // a VALUE holding `text`
    ValueXml(const ValueXml& other);
    ValueXml& operator=(const ValueXml& other);
    ValueXml(ValueXml&&) noexcept = default;
    ValueXml& operator=(ValueXml&&) noexcept = default;

    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;

    static const XmlElement elm;   // VALUE, VALUE.ARRAY, VALUE.REFERENCE

    // VALUE content as received (entities kept): `value`, or while the
    // scanner lends its body (XmlBuffer::lending) a view into that body.
    std::string_view text() const { return lent ? std::string_view(lent, lentSize) : std::string_view(value); }
    // Copies lent text into `value`, here and in the array's elements.
    void keep();

    int kind = None;
    std::string value;                 // VALUE content, when not lent
    ArrayXml<ValueXml> elements;       // VALUE.ARRAY
    std::unique_ptr<SubValueXml> ref;  // VALUE.REFERENCE

private:
    const char* lent = nullptr;
    size_t lentSize = 0;
};

class KeyValueXml {
public:
    explicit KeyValueXml(XmlBuffer& xb);
    explicit KeyValueXml(const char* text);   // VALUETYPE "string"
    KeyValueXml() = default;
    void toStringBuffer(std::string& buf, const char* q) const;

    static const XmlElement elm;
    // Lent like a VALUE's text while the scanner lends its body.
    ReplyText valueType;
    ReplyText value;
};

class KeyBindingXml {
public:
    enum Kind { KeyValue = 1, Reference = 2 };
    explicit KeyBindingXml(XmlBuffer& xb);
    void toStringBuffer(std::string& buf, const char* q) const;

    static const XmlElement elm;
    int kind = KeyValue;
    KeyValueXml keyValue;
    ValueXml refValue;   // never lent
    ReplyText name;
};

class InstanceNameXml : public RetValXml {
public:
    // With `objectPath`, an OBJECTPATH wrapper is read first.
    explicit InstanceNameXml(XmlBuffer& xb, bool objectPath = false);
    InstanceNameXml();
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    // Copies lent text into the name: its class and its keys.
    void keep();

    static const XmlElement elm;             // INSTANCENAME
    static const XmlElement elmObjectPath;   // OBJECTPATH

    std::string pathPrefix;   // set only when read from OBJECTPATH/INSTANCEPATH
    ReplyText className;
    ArrayXml<KeyBindingXml> keys;
};

class NameSpaceXml {
public:
    explicit NameSpaceXml(XmlBuffer& xb);
    void toStringBuffer(std::string& buf, const char* q) const;   // throws CmdException
    static const XmlElement elm;
    std::string name;
};

class LocalNameSpacePathXml {
public:
    explicit LocalNameSpacePathXml(XmlBuffer& xb);
    static const XmlElement elm;
    ArrayXml<NameSpaceXml> ns;
};

class HostXml {
public:
    explicit HostXml(XmlBuffer& xb);
    static const XmlElement elm;
    std::string host;
};

class NameSpacePathXml {
public:
    explicit NameSpacePathXml(XmlBuffer& xb);
    NameSpacePathXml() = default;
    void toStringBuffer(std::string& buf, const char* q) const;
    static const XmlElement elm;
    std::string host;
    ArrayXml<NameSpaceXml> ns;
};

class ClassnameValueXml : public SubValueXml {
public:
    explicit ClassnameValueXml(XmlBuffer& xb);
    std::unique_ptr<SubValueXml> clone() const override;
    static const XmlElement elm;   // CLASSNAME
    std::string className;
};

class InstancenameValueXml : public SubValueXml {
public:
    explicit InstancenameValueXml(XmlBuffer& xb);
    std::unique_ptr<SubValueXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    InstanceNameXml name;
};

class InstancepathValueXml : public SubValueXml {
public:
    explicit InstancepathValueXml(XmlBuffer& xb);   // INSTANCEPATH
    std::unique_ptr<SubValueXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    static const XmlElement elm;
    NameSpacePathXml path;
    InstanceNameXml name;

protected:
    InstancepathValueXml() = default;
};

class LocalInstancepathValueXml : public InstancepathValueXml {
public:
    explicit LocalInstancepathValueXml(XmlBuffer& xb);   // LOCALINSTANCEPATH
    std::unique_ptr<SubValueXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    static const XmlElement elm;
    ArrayXml<NameSpaceXml> ns;
};

// A QUALIFIER kept as raw text; only its key-ness is looked at, so it has
// no attribute table.
class QualifierXml {
public:
    explicit QualifierXml(XmlBuffer& xb);
    std::string text;
    int key = 0;
};

class PropertyXml {
public:
    enum Kind { Plain = 1, Reference = 2, Array = 3 };
    explicit PropertyXml(XmlBuffer& xb);
    // From "name=value" text (object path keys); throws ParseException
    // "Invalid name-value pair" without "=". The TYPE is inferred from the
    // value as written: "boolean", "numeric" or "string"; a value in double
    // quotes is stored without its first and last character. A reference
    // key gets kind Reference (its TYPE is inferred all the same).
    PropertyXml(const char* nameValue, bool isReference);

    void toStringBuffer(std::string& buf, const char* q) const;
    void toXmlBuffer(std::string& buf, AValue* val, int valueOnly, const ObjectPathRef* target) const;

    // PROPERTY, PROPERTY.REFERENCE, PROPERTY.ARRAY: indexed by kind - 1.
    static const XmlElement elm[3];

    // The other attributes are checked, not kept. Lent like the value while
    // the scanner lends its body.
    ReplyText name, type;
    ArrayXml<QualifierXml> qualifiers;
    Option<ValueXml> value;
    int kind = Plain;
    int key = 0;
};

class InstanceXml : public RetValXml {
public:
    explicit InstanceXml(XmlBuffer& xb);
    InstanceXml() : RetValXml(TypeInstance) {}
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    void propagateKeyFlags(const ArrayXml<KeyBindingXml>& keys);
    void propagateKeyFlags(const ArrayXml<PropertyXml>& keys);
    // Copies every lent text into the instance: its class, property names,
    // types and values (ValueXml::keep).
    void keepValues();

    static const XmlElement elm;
    ReplyText className;
    ArrayXml<QualifierXml> qualifiers;
    ArrayXml<PropertyXml> properties;
};

class NamedInstanceXml : public RetValXml {
public:
    explicit NamedInstanceXml(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
    // Copies every lent text into the item, so that it outlives the body.
    void keep();
    static const XmlElement elm;
    InstanceNameXml name;
    InstanceXml instance;
};

class NamedInstancesXml : public RetValXml {
public:
    NamedInstancesXml() : RetValXml(TypeNamedInstances) {}
    std::unique_ptr<RetValXml> clone() const override;
    void add(NamedInstanceXml item) { items.add(std::move(item)); }
    ArrayXml<NamedInstanceXml> items;
};

class ObjectWithPathXml : public RetValXml {
public:
    explicit ObjectWithPathXml(XmlBuffer& xb);
    ObjectWithPathXml(const ObjectWithPathXml& other);
    ObjectWithPathXml& operator=(const ObjectWithPathXml& other);
    ObjectWithPathXml(ObjectWithPathXml&&) noexcept = default;
    ObjectWithPathXml& operator=(ObjectWithPathXml&&) noexcept = default;
    std::unique_ptr<RetValXml> clone() const override;
    static const XmlElement elm;
    std::unique_ptr<InstancepathValueXml> path;   // or its local form; null when absent
    InstanceXml instance;
};

class ObjectsWithPathXml : public RetValXml {
public:
    ObjectsWithPathXml() : RetValXml(TypeObjectsWithPath) {}
    std::unique_ptr<RetValXml> clone() const override;
    ArrayXml<ObjectWithPathXml> items;
};

class InstancesXml : public RetValXml {
public:
    InstancesXml() : RetValXml(TypeInstances) {}
    std::unique_ptr<RetValXml> clone() const override;
    ArrayXml<InstanceXml> items;
};

class InstanceNamesXml : public RetValXml {
public:
    InstanceNamesXml() : RetValXml(TypeInstanceNames) {}
    std::unique_ptr<RetValXml> clone() const override;
    ArrayXml<InstanceNameXml> items;
};
