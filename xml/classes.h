// The class side of the model: class declarations with their properties,
// methods and parameters, class names, and the output parameters of a
// method response.
#pragma once

#include "xml/model.h"

class ParameterXml {
public:
    enum Kind { Plain = 1, Reference = 2, Array = 3, RefArray = 4 };
    explicit ParameterXml(XmlBuffer& xb);

    void toStringBuffer(std::string& buf, const char* q) const;
    void toXmlBuffer(std::string& buf, AValue* val, int valueOnly, const ObjectPathRef* target) const;
    void refToXmlBuffer(std::string& buf, const char* pathText, const ObjectPathRef* target) const;

    // PARAMETER, PARAMETER.REFERENCE, PARAMETER.ARRAY, PARAMETER.REFARRAY:
    // indexed by kind - 1.
    static const XmlElement elm[4];

    std::string name, type;   // REFERENCECLASS and ARRAYSIZE are checked, not kept
    int kind = Plain;
    ArrayXml<QualifierXml> qualifiers;
    Option<ValueXml> value;
};

class MethodXml {
public:
    explicit MethodXml(XmlBuffer& xb);
    static const XmlElement elm;
    std::string name, type, classOrigin, propagated;
    ArrayXml<QualifierXml> qualifiers;
    ArrayXml<ParameterXml> parameters;
};

class ClassXml : public RetValXml {
public:
    explicit ClassXml(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    void addProperty(PropertyXml p);
    // 1 when every key property has a binding of the same name (any case)
    // among `pathKeys`.
    int keysOk(const ArrayXml<PropertyXml>& pathKeys) const;

    static const XmlElement elm;
    std::string name, superclass;
    ArrayXml<QualifierXml> qualifiers;
    ArrayXml<PropertyXml> keys;
    ArrayXml<PropertyXml> properties;
    ArrayXml<MethodXml> methods;
};

class ParamvalueXml : public RetValXml {
public:
    explicit ParamvalueXml(XmlBuffer& xb);
    ParamvalueXml(const ParamvalueXml& other);
    ParamvalueXml& operator=(const ParamvalueXml& other);
    ParamvalueXml(ParamvalueXml&&) noexcept = default;
    ParamvalueXml& operator=(ParamvalueXml&&) noexcept = default;
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;

    static const XmlElement elm;
    std::string name, paramType, embeddedObject;
    std::unique_ptr<ValueXml> value;   // may be null
};

class ClassNameXml : public RetValXml {
public:
    explicit ClassNameXml(XmlBuffer& xb);
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    static const XmlElement elm;
    std::string name;
};

class ClassesXml : public RetValXml {
public:
    ClassesXml() : RetValXml(TypeClasses) {}
    std::unique_ptr<RetValXml> clone() const override;
    ArrayXml<ClassXml> items;
};

class ClassNamesXml : public RetValXml {
public:
    ClassNamesXml() : RetValXml(TypeClassNames) {}
    std::unique_ptr<RetValXml> clone() const override;
    ArrayXml<ClassNameXml> items;
};
