// The reply envelope: CIM / MESSAGE / SIMPLERSP / (I)METHODRESPONSE, the
// return value dispatch, and CIM errors.
#pragma once

#include "xml/classes.h"
#include "xml/model.h"

#include <memory>
#include <string>

constexpr int CIM_ERR_MAX = 17;
extern const char* const CimErrorSymbols[CIM_ERR_MAX + 1];

// A CIM error, from an ERROR element or from the CIM status headers.
class ErrorXml : public XmlException {
public:
    explicit ErrorXml(XmlBuffer& xb);
    ErrorXml(int code, std::string& description);
    static const XmlElement elm;
    std::string description;
    std::string code;
};

// Takes the instances of an enumeration one at a time, as they are read, so
// that a long list is never held whole: the reply is still read and checked to
// its end, and its list result comes back empty. A single instance is not
// handed over; it stays the result, as without a sink. An item is the
// sink's only until take() returns.
class NamedInstanceSink {
public:
    virtual void take(NamedInstanceXml& item) = 0;

protected:
    ~NamedInstanceSink() = default;
};

class ResponseXml {
public:
    virtual ~ResponseXml() = default;
    // The result; throws the kept ErrorXml. May return null.
    virtual RetValXml* getReturnData() = 0;
};

class IReturnvalueXml {
public:
    explicit IReturnvalueXml(XmlBuffer& xb, NamedInstanceSink* sink = nullptr);
    static const XmlElement elm;
    std::unique_ptr<RetValXml> result;   // null for an empty return value
};

class ReturnvalueXml {
public:
    explicit ReturnvalueXml(XmlBuffer& xb);
    ReturnvalueXml() = default;
    static const XmlElement elm;
    std::string paramType;   // PARAMTYPE, empty when absent
    std::unique_ptr<RetValXml> result;
};

class IMethodresponseXml : public ResponseXml {
public:
    IMethodresponseXml(XmlBuffer& xb, int flag, NamedInstanceSink* sink = nullptr);
    RetValXml* getReturnData() override;
    static const XmlElement elm;
    std::string name;
    std::unique_ptr<IReturnvalueXml> returnValue;
    std::unique_ptr<ErrorXml> error;
};

class MethodresponseXml : public RetValXml, public ResponseXml {
public:
    MethodresponseXml(XmlBuffer& xb, int flag);
    MethodresponseXml(const MethodresponseXml& other);
    std::unique_ptr<RetValXml> clone() const override;
    void toStringBuffer(std::string& buf, const char* q = "") const override;
    RetValXml* getReturnData() override;   // itself

    static const XmlElement elm;
    std::string name;
    std::unique_ptr<ReturnvalueXml> returnValue;
    std::unique_ptr<ArrayXml<ParamvalueXml>> outParms;
    std::unique_ptr<ErrorXml> error;
};

class SimplerspXml {
public:
    SimplerspXml(XmlBuffer& xb, int flag, NamedInstanceSink* sink = nullptr);
    // The response's result; throws EmptyValue when there is none.
    RetValXml* getReturnData();
    static const XmlElement elm;
    std::unique_ptr<ResponseXml> response;
};

class MessageXml {
public:
    MessageXml(XmlBuffer& xb, int flag, NamedInstanceSink* sink = nullptr);
    static const XmlElement elm;
    std::string id, protocolVersion;
    std::unique_ptr<SimplerspXml> simplersp;
};

class CimXml {
public:
    // With a sink, the instances of an enumeration go there as they are read.
    CimXml(std::string body, int flag, NamedInstanceSink* sink = nullptr);
    // The simple response's result, still owned by this tree.
    RetValXml* getReturnData();
    // The same checks, but ownership of the result moves to the caller (for a
    // method response, the response object itself).
    std::unique_ptr<RetValXml> takeReturnData();

    static const XmlElement elm;
    std::string cimVersion, dtdVersion;
    std::unique_ptr<XmlBuffer> buffer;
    std::unique_ptr<MessageXml> message;

private:
    void read(int flag, NamedInstanceSink* sink);
};
