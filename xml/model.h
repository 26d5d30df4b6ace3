// The object model of replies: values, instance names and key bindings, the
// path elements, instances and properties. Every class parses itself from an
// XmlBuffer and renders itself as text (toStringBuffer). The classes a list
// of instances is made of can also parse into an object read before
// (read()), keeping its strings' and vectors' room: the result is the same
// as a fresh object's.
#pragma once

#include "xml/array_xml.h"
#include "xml/avalue.h"
#include "xml/object_path.h"
#include "xml/string_array.h"
#include "xml/xml_buffer.h"

#include <array>
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
    // Parses into this object, replacing what it held.
    void read(XmlBuffer& xb);
    // A VALUE holding `text`, replacing what it held.
    void setText(std::string_view text);
    // Back to what a default-made value holds.
    void clear();
    ValueXml(const ValueXml& other);
    ValueXml& operator=(const ValueXml& other);
    ValueXml(ValueXml&&) noexcept;
    ValueXml& operator=(ValueXml&&) noexcept;
    ~ValueXml() override;

    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;

    static const XmlElement elm;   // VALUE, VALUE.ARRAY, VALUE.REFERENCE

    // VALUE.ARRAY's values (none for the other kinds). The array is made on
    // the first call of the non-const form.
    const ArrayXml<ValueXml>& elements() const;
    ArrayXml<ValueXml>& elements();

    int kind = None;
    std::string value;                 // VALUE content as received (entities kept)
    std::unique_ptr<SubValueXml> ref;  // VALUE.REFERENCE

private:
    Rare<ArrayXml<ValueXml>> array;   // most values are no arrays
};

class KeyValueXml {
public:
    explicit KeyValueXml(XmlBuffer& xb);
    explicit KeyValueXml(const char* text);   // VALUETYPE "string"
    KeyValueXml() = default;
    void read(XmlBuffer& xb);
    void toStringBuffer(std::string& buf, const char* q) const;

    static const XmlElement elm;
    std::string valueType;
    std::string value;
};

class KeyBindingXml {
public:
    enum Kind { KeyValue = 1, Reference = 2 };
    explicit KeyBindingXml(XmlBuffer& xb);
    void read(XmlBuffer& xb);
    void toStringBuffer(std::string& buf, const char* q) const;

    static const XmlElement elm;
    int kind = KeyValue;
    KeyValueXml keyValue;
    ValueXml refValue;
    std::string name;
};

class InstanceNameXml : public RetValXml {
public:
    // With `objectPath`, an OBJECTPATH wrapper is read first.
    explicit InstanceNameXml(XmlBuffer& xb, bool objectPath = false);
    InstanceNameXml();
    // An INSTANCENAME (not the OBJECTPATH form).
    void read(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;

    static const XmlElement elm;             // INSTANCENAME
    static const XmlElement elmObjectPath;   // OBJECTPATH

    std::string pathPrefix;   // set only when read from OBJECTPATH/INSTANCEPATH
    std::string className;
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

// The attributes of a property that replies rarely carry, behind one pointer
// that stays null until one of them is set to a non-empty text. An attribute
// not set reads as "". The class origin is the one that comes often (the
// queries ask for it, and the properties of a reply mostly share one); the
// others are rarer still and take a block of their own. The texts are never
// changed in place: a property that sets one gets texts of its own, so that
// properties (and their copies) can share them.
class RareAttributes {
public:
    enum Which { ClassOrigin, Propagated, EmbeddedObject, ReferenceClass, ArraySize, Count };

    const std::string& get(Which which) const {
        static const Texts none;
        const Texts& t = texts ? *texts : none;
        return which == ClassOrigin ? t.classOrigin : t.others.get()[which - 1];
    }
    void set(Which which, std::string_view value);
    void clear() { texts.reset(); }
    // The class origin of a property that has no other of these attributes:
    // the texts of the last such property read are shared when they name the
    // same class.
    void setClassOriginOnly(std::string_view value);

private:
    using Others = std::array<std::string, Count - 1>;
    struct Texts {
        std::string classOrigin;
        Rare<Others> others;
    };
    std::shared_ptr<const Texts> texts;
};

class PropertyXml {
public:
    enum Kind { Plain = 1, Reference = 2, Array = 3 };
    explicit PropertyXml(XmlBuffer& xb);
    void read(XmlBuffer& xb);
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

    const std::string& classOrigin() const { return rare.get(RareAttributes::ClassOrigin); }
    const std::string& propagated() const { return rare.get(RareAttributes::Propagated); }
    const std::string& embeddedObject() const { return rare.get(RareAttributes::EmbeddedObject); }
    const std::string& referenceClass() const { return rare.get(RareAttributes::ReferenceClass); }
    const std::string& arraySize() const { return rare.get(RareAttributes::ArraySize); }

    // The QUALIFIERs, as raw text (most properties have none).
    const ArrayXml<QualifierXml>& qualifiers() const { return qualifierList.get(); }

    std::string name, type;
    RareAttributes rare;
    Rare<ArrayXml<QualifierXml>> qualifierList;
    Option<ValueXml> value;
    int kind = Plain;
    int key = 0;
};

class InstanceXml : public RetValXml {
public:
    explicit InstanceXml(XmlBuffer& xb);
    InstanceXml() : RetValXml(TypeInstance) {}
    void read(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    void propagateKeyFlags(const ArrayXml<KeyBindingXml>& keys);
    void propagateKeyFlags(const ArrayXml<PropertyXml>& keys);

    static const XmlElement elm;
    std::string className;
    ArrayXml<QualifierXml> qualifiers;
    ArrayXml<PropertyXml> properties;
};

class NamedInstanceXml : public RetValXml {
public:
    explicit NamedInstanceXml(XmlBuffer& xb);
    void read(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
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
