// The reply envelope, from the XML prolog down to the return value, and the
// CIM errors a server reports in it.
#include "xml/envelope.h"

#include "xml/parse_steps.h"
#include "xml/render_flags.h"

#include <cstdio>
#include <cstdlib>
#include <type_traits>

using xmlsteps::childIs;
using xmlsteps::close;
using xmlsteps::open;

// Long result lists grow by moving their elements.
static_assert(std::is_nothrow_move_constructible_v<NamedInstanceXml>);
static_assert(std::is_nothrow_move_constructible_v<InstanceXml>);
static_assert(std::is_nothrow_move_constructible_v<InstanceNameXml>);
static_assert(std::is_nothrow_move_constructible_v<ObjectWithPathXml>);

// ---------------------------------------------------------------- CIM errors

const char* const CimErrorSymbols[CIM_ERR_MAX + 1] = {
    "Invalid/Unknown CIM Error Code: ",
    "CIM_ERR_FAILED: ",
    "CIM_ERR_ACCESS_DENIED: ",
    "CIM_ERR_INVALID_NAMESPACE: ",
    "CIM_ERR_INVALID_PARAMETER: ",
    "CIM_ERR_INVALID_CLASS: ",
    "CIM_ERR_NOT_FOUND: ",
    "CIM_ERR_NOT_SUPPORTED: ",
    "CIM_ERR_CLASS_HAS_CHILDREN:  ",
    "CIM_ERR_CLASS_HAS_INSTANCES: ",
    "CIM_ERR_INVALID_SUPERCLASS: ",
    "CIM_ERR_ALREADY_EXISTS: ",
    "CIM_ERR_NO_SUCH_PROPERTY: ",
    "CIM_ERR_TYPE_MISMATCH: ",
    "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED: ",
    "CIM_ERR_INVALID_QUERY: ",
    "CIM_ERR_METHOD_NOT_AVAILABLE: ",
    "CIM_ERR_METHOD_NOT_FOUND: ",
};

namespace {

// Codes outside the table use its entry 0.
const char* symbolFor(long code) { return (code < 0 || code > CIM_ERR_MAX) ? CimErrorSymbols[0] : CimErrorSymbols[code]; }

bool hasCimPrefix(const std::string& description) { return description.compare(0, 4, "CIM_") == 0; }

}  // namespace

const XmlElement ErrorXml::elm{"DESCRIPTION", "CODE"};

ErrorXml::ErrorXml(XmlBuffer& xb) {
    XmlAttr attr;
    open(xb, "ERROR", elm, attr, "Expecting ERROR element", "Bad ERROR attributes");
    description = unescapeXml(attr.attr[0], 0);
    code = std::move(attr.attr[1]);
    // A code that is no number reads as 0 and so as the unknown code.
    if (!hasCimPrefix(description)) description = symbolFor(std::strtol(code.c_str(), nullptr, 10)) + description;
    close(xb, "ERROR", attr, "Expecting </ERROR> tag");
    set("Cim: ", code, description);
}

// Unlike the ERROR element, a description from the status headers that
// already names its symbol is dropped, leaving only the code.
ErrorXml::ErrorXml(int statusCode, std::string& statusDescription) : code(std::to_string(statusCode)) {
    if (!hasCimPrefix(statusDescription)) description = symbolFor(statusCode) + statusDescription;
    set("Cim: ", code, description);
}

// ---------------------------------------------------------------- return values

namespace {

template <class T>
T readOne(XmlBuffer& xb) {
    return T(xb);
}

InstanceNameXml readObjectPath(XmlBuffer& xb) { return InstanceNameXml(xb, true); }

// The first result, and when more of the same element follow, a list of all
// (of named instances, each handed to the sink instead when there is one).
// Named instances for a sink are read with their text (values, names,
// classes) lent from the body (they are gone before it); a single one stays
// the result and keeps its text.
template <class One, class List, One (*read)(XmlBuffer&)>
std::unique_ptr<RetValXml> readResults(XmlBuffer& xb, const char* tag, NamedInstanceSink* sink) {
    constexpr bool named = std::is_same_v<One, NamedInstanceXml>;
    if (named && sink) xb.lending = true;
    One first = read(xb);
    if (!XmlBuffer::nextEquals(xb.nextTag(), tag)) {
        if constexpr (named) first.keep();
        xb.lending = false;
        return std::make_unique<One>(std::move(first));
    }
    auto list = std::make_unique<List>();
    if constexpr (named) {
        if (sink) {
            sink->take(first);
            while (XmlBuffer::nextEquals(xb.nextTag(), tag)) {
                One next = read(xb);
                sink->take(next);
            }
            xb.lending = false;
            return list;
        }
    }
    list->items.add(std::move(first));
    while (XmlBuffer::nextEquals(xb.nextTag(), tag)) list->items.add(read(xb));
    return list;
}

std::unique_ptr<RetValXml> readValue(XmlBuffer& xb, const char*, NamedInstanceSink*) {
    return std::make_unique<ValueXml>(xb);
}

struct ResultForm {
    const char* tag;
    std::unique_ptr<RetValXml> (*read)(XmlBuffer&, const char* tag, NamedInstanceSink* sink);
};

// Tried in this order; the look-ahead for VALUE also takes VALUE.ARRAY and
// VALUE.REFERENCE, so it comes last.
constexpr ResultForm resultForms[] = {
    {"INSTANCE", readResults<InstanceXml, InstancesXml, readOne<InstanceXml>>},
    {"CLASS", readResults<ClassXml, ClassesXml, readOne<ClassXml>>},
    {"INSTANCENAME", readResults<InstanceNameXml, InstanceNamesXml, readOne<InstanceNameXml>>},
    {"OBJECTPATH", readResults<InstanceNameXml, InstanceNamesXml, readObjectPath>},
    {"VALUE.NAMEDINSTANCE", readResults<NamedInstanceXml, NamedInstancesXml, readOne<NamedInstanceXml>>},
    {"VALUE.OBJECTWITHPATH", readResults<ObjectWithPathXml, ObjectsWithPathXml, readOne<ObjectWithPathXml>>},
    {"CLASSNAME", readResults<ClassNameXml, ClassNamesXml, readOne<ClassNameXml>>},
    {"VALUE", readValue},
};

struct ReturnValueTag {
    const char* tag;
    const char* expecting;
    const char* badAttributes;
    const char* endTag;
};

constexpr ReturnValueTag iReturnValueTag = {"IRETURNVALUE", "Expecting IRETURNVALUE element",
                                            "Bad IRETURNVALUE attributes", "Expecting </IRETURNVALUE> tag"};
constexpr ReturnValueTag returnValueTag = {"RETURNVALUE", "Expecting RETURNVALUE element",
                                           "Bad RETURNVALUE attributes", "Expecting </RETURNVALUE> tag"};

// IRETURNVALUE and RETURNVALUE: the first child decides the kind of result.
// `firstAttribute`, when given, receives the element's first attribute value.
std::unique_ptr<RetValXml> readReturnValue(XmlBuffer& xb, const XmlElement& elm, const ReturnValueTag& t,
                                           NamedInstanceSink* sink, std::string* firstAttribute = nullptr) {
    XmlAttr attr;
    open(xb, t.tag, elm, attr, t.expecting, t.badAttributes);
    if (firstAttribute) *firstAttribute = attr.attr[0];
    std::unique_ptr<RetValXml> result;
    if (!xb.endTag(t.tag, &attr)) {
        const char* next = xb.nextTag();
        const ResultForm* form = nullptr;
        for (const ResultForm& f : resultForms)
            if (XmlBuffer::nextEquals(next, f.tag)) {
                form = &f;
                break;
            }
        if (!form)
            throw ParseException("Expecting INSTANCE, CLASS or ... element");
        result = form->read(xb, form->tag, sink);
        close(xb, t.tag, attr, t.endTag);
    }
    return result;
}

}  // namespace

const XmlElement IReturnvalueXml::elm(0);

IReturnvalueXml::IReturnvalueXml(XmlBuffer& xb, NamedInstanceSink* sink)
    : result(readReturnValue(xb, elm, iReturnValueTag, sink)) {}

const XmlElement ReturnvalueXml::elm{"PARAMTYPE", "EmbeddedObject"};

ReturnvalueXml::ReturnvalueXml(XmlBuffer& xb)
    : result(readReturnValue(xb, elm, returnValueTag, nullptr, &paramType)) {}

// ---------------------------------------------------------------- responses

const XmlElement IMethodresponseXml::elm{"NAME"};

IMethodresponseXml::IMethodresponseXml(XmlBuffer& xb, int, NamedInstanceSink* sink) {
    XmlAttr attr;
    open(xb, "IMETHODRESPONSE", elm, attr, "Expecting IMETHODRESPONSE element", "Bad IMETHODRESPONSE attributes");
    name = std::move(attr.attr[0]);
    if (childIs(xb, attr, "IRETURNVALUE")) {
        returnValue = std::make_unique<IReturnvalueXml>(xb, sink);
        if (!returnValue->result) throw NoReturnValue();
        close(xb, "IMETHODRESPONSE", attr, "Expecting </IMETHODRESPONSE> tag(2)");
    } else if (childIs(xb, attr, "ERROR")) {
        error = std::make_unique<ErrorXml>(xb);
        close(xb, "IMETHODRESPONSE", attr, "Expecting </IMETHODRESPONSE> tag(3)");
    } else if (xb.endTag("IMETHODRESPONSE", &attr)) {
        throw NoReturnValue();
    } else {
        throw ParseException("Expecting /IMETHODRESPONSE, IRETURNVALUE or ERROR element");
    }
}

RetValXml* IMethodresponseXml::getReturnData() {
    if (error) throw ErrorXml(*error);
    return returnValue ? returnValue->result.get() : nullptr;
}

const XmlElement MethodresponseXml::elm{"NAME"};

MethodresponseXml::MethodresponseXml(XmlBuffer& xb, int) : RetValXml(TypeMethodresponse) {
    // This line on standard output is part of the visible behaviour.
    if (!quietOutput) {
        std::printf("%s:\n", "MethodresponseXml");
        std::fflush(stdout);
    }
    XmlAttr attr;
    open(xb, "METHODRESPONSE", elm, attr, "Expecting METHODRESPONSE element", "Bad METHODRESPONSE attributes");
    name = std::move(attr.attr[0]);
    if (childIs(xb, attr, "RETURNVALUE")) {
        returnValue = std::make_unique<ReturnvalueXml>(xb);
        while (childIs(xb, attr, "PARAMVALUE")) {
            if (!outParms) outParms = std::make_unique<ArrayXml<ParamvalueXml>>();
            outParms->add(ParamvalueXml(xb));
        }
        close(xb, "METHODRESPONSE", attr, "Expecting </METHODRESPONSE> tag(2)");
    } else if (childIs(xb, attr, "ERROR")) {
        error = std::make_unique<ErrorXml>(xb);
        close(xb, "METHODRESPONSE", attr, "Expecting </METHODRESPONSE> tag(3)");
    } else if (xb.endTag("METHODRESPONSE", &attr)) {
        throw NoReturnValue();
    } else {
        throw ParseException("Expecting /METHODRESPONSE, RETURNVALUE or ERROR element");
    }
}

MethodresponseXml::MethodresponseXml(const MethodresponseXml& other)
    : RetValXml(other), ResponseXml(), name(other.name) {
    if (other.returnValue) {
        returnValue = std::make_unique<ReturnvalueXml>();
        returnValue->paramType = other.returnValue->paramType;
        if (other.returnValue->result) returnValue->result = other.returnValue->result->clone();
    }
    if (other.outParms) outParms = std::make_unique<ArrayXml<ParamvalueXml>>(*other.outParms);
    if (other.error) error = std::make_unique<ErrorXml>(*other.error);
}

std::unique_ptr<RetValXml> MethodresponseXml::clone() const { return std::make_unique<MethodresponseXml>(*this); }

// Without a return value the text starts with the separator.
void MethodresponseXml::toStringBuffer(std::string& buf, const char* q) const {
    if (returnValue) {
        buf += name;
        buf += ": ";
        if (returnValue->result) returnValue->result->toStringBuffer(buf, q);
    }
    const char* sep = useNl ? "\n" : ", ";
    if (outParms && !outParms->empty()) {
        buf += sep;
        outParms->toStringBuffer(buf, sep, q);
    }
}

RetValXml* MethodresponseXml::getReturnData() {
    if (error) throw ErrorXml(*error);
    return this;
}

// ---------------------------------------------------------------- SIMPLERSP, MESSAGE, CIM

const XmlElement SimplerspXml::elm(0);

SimplerspXml::SimplerspXml(XmlBuffer& xb, int flag, NamedInstanceSink* sink) {
    const int responseFlag = openwbem ? 0 : flag;
    XmlAttr attr;
    open(xb, "SIMPLERSP", elm, attr, "Expecting SIMPLERSP element", "Bad SIMPLERSP attributes");
    if (childIs(xb, attr, "IMETHODRESPONSE"))
        response = std::make_unique<IMethodresponseXml>(xb, responseFlag, sink);
    else if (childIs(xb, attr, "METHODRESPONSE"))
        response = std::make_unique<MethodresponseXml>(xb, responseFlag);
    else
        throw ParseException("Expecting IMETHODRESPONSE or METHODRESPONSE element");
    close(xb, "SIMPLERSP", attr, "Expecting </SIMPLERSP> tag");
}

RetValXml* SimplerspXml::getReturnData() {
    RetValXml* result = response ? response->getReturnData() : nullptr;
    if (!result) throw EmptyValue();
    return result;
}

const XmlElement MessageXml::elm{"ID", "PROTOCOLVERSION"};

MessageXml::MessageXml(XmlBuffer& xb, int flag, NamedInstanceSink* sink) {
    XmlAttr attr;
    open(xb, "MESSAGE", elm, attr, "Expecting MESSAGE element", "Bad MESSAGE attributes");
    id = std::move(attr.attr[0]);
    protocolVersion = std::move(attr.attr[1]);
    if (!childIs(xb, attr, "SIMPLERSP")) throw ParseException("Expecting SIMPLERSP element");
    simplersp = std::make_unique<SimplerspXml>(xb, flag, sink);
    close(xb, "MESSAGE", attr, "Expecting </MESSAGE> tag");
}

const XmlElement CimXml::elm{"CIMVERSION", "DTDVERSION"};

CimXml::CimXml(std::string body, int flag, NamedInstanceSink* sink)
    : buffer(std::make_unique<XmlBuffer>(std::move(body))) {
    read(flag, sink);
}

void CimXml::read(int flag, NamedInstanceSink* sink) {
    XmlBuffer& xb = *buffer;
    if (!xb.xmlHdr()) throw ParseException("Expecting ?xml element");
    XmlAttr attr;
    open(xb, "CIM", elm, attr, "Expecting CIM element", "Bad CIM attributes");
    cimVersion = std::move(attr.attr[0]);
    dtdVersion = std::move(attr.attr[1]);
    if (!childIs(xb, attr, "MESSAGE")) throw ParseException("Expecting MESSAGE element");
    message = std::make_unique<MessageXml>(xb, flag, sink);
    close(xb, "CIM", attr, "Expecting </CIM> tag");
}

RetValXml* CimXml::getReturnData() { return message->simplersp->getReturnData(); }

std::unique_ptr<RetValXml> CimXml::takeReturnData() {
    SimplerspXml& rsp = *message->simplersp;
    rsp.getReturnData();   // throws the server's error, or EmptyValue
    if (auto* method = dynamic_cast<MethodresponseXml*>(rsp.response.get())) {
        rsp.response.release();
        return std::unique_ptr<RetValXml>(method);
    }
    auto* imethod = static_cast<IMethodresponseXml*>(rsp.response.get());
    return std::move(imethod->returnValue->result);
}
