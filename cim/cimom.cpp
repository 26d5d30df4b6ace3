// The CIM operations: each writes its request document, hands it to the
// transport (genRequest, addPayload, getResponse, in this order) and turns
// the reply into objects of the document layer.
//
// Values are written into the documents as given, without XML escaping: the
// server sees exactly the text the user typed.
#include "cim/cimom.h"

#include "cim/avps.h"
#include "cim/wipe.h"
#include "xml/errors.h"
#include "xml/render_flags.h"
#include "xml/text.h"

#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <utility>

const char* const Cimom::xmlHeader =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
    "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
    "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>";
const char* const Cimom::xmlTrailer = "</SIMPLEREQ>\n</MESSAGE></CIM>";

bool Cimom::supportsSSL() { return false; }

Cimom::~Cimom() = default;

std::string Cimom::send(const std::string& document) {
    addPayload(document);
    return getResponse();
}

namespace {

// How a namespace path is spelled; the three forms differ on purpose.
struct NameSpaceSpelling {
    const char* open;
    const char* component;   // closes one NAMESPACE after its name
    const char* close;
};
// Intrinsic operations other than GetClass.
constexpr NameSpaceSpelling kIntrinsicPath{"<LOCALNAMESPACEPATH>", "\"></NAMESPACE>", "</LOCALNAMESPACEPATH>\n"};
// GetClass, one element per line.
constexpr NameSpaceSpelling kGetClassPath{"<LOCALNAMESPACEPATH>\n", "\"/>\n", "</LOCALNAMESPACEPATH>\n"};
// Extrinsic method calls, all on one line.
constexpr NameSpaceSpelling kExtrinsicPath{"<LOCALNAMESPACEPATH>", "\"/>", "</LOCALNAMESPACEPATH>"};

void writeNameSpace(std::string& doc, const StringArray& ns, const NameSpaceSpelling& spelling) {
    doc += spelling.open;
    for (const std::string& component : ns) {
        doc += "<NAMESPACE NAME=\"";
        doc += component;
        doc += spelling.component;
    }
    doc += spelling.close;
}

// Header, IMETHODCALL and namespace path of an intrinsic operation.
std::string beginIntrinsic(const char* operation, const URL& url) {
    std::string doc = Cimom::xmlHeader;
    doc += "<IMETHODCALL NAME=\"";
    doc += operation;
    doc += "\">";
    writeNameSpace(doc, url.ns, kIntrinsicPath);
    return doc;
}

std::string beginGetClass(const URL& url) {
    std::string doc = Cimom::xmlHeader;
    doc += "<IMETHODCALL NAME=\"GetClass\">\n";
    writeNameSpace(doc, url.ns, kGetClassPath);
    return doc;
}

void endIntrinsic(std::string& doc) {
    doc += "</IMETHODCALL>";
    doc += Cimom::xmlTrailer;
}

// A boolean IPARAMVALUE; operations list theirs in document order.
struct Flag {
    const char* name;
    bool value;
};

void writeFlags(std::string& doc, std::initializer_list<Flag> flags) {
    for (const Flag& f : flags) {
        doc += "<IPARAMVALUE NAME=\"";
        doc += f.name;
        doc += f.value ? "\"><VALUE>TRUE</VALUE></IPARAMVALUE>\n" : "\"><VALUE>FALSE</VALUE></IPARAMVALUE>\n";
    }
}

void writePropertyList(std::string& doc, const char* propertyList) {
    if (!propertyList) return;
    doc += "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
    for (const std::string& name : AList(propertyList).items) {
        doc += "<VALUE>";
        doc += name;
        doc += "</VALUE>";
    }
    doc += "</VALUE.ARRAY></IPARAMVALUE>\n";
}

void writeClassName(std::string& doc, const char* param, std::string_view className) {
    doc += "<IPARAMVALUE NAME=\"";
    doc += param;
    doc += "\"><CLASSNAME NAME=\"";
    doc += className;
    doc += "\"/></IPARAMVALUE>\n";
}

void writeOptionalClassName(std::string& doc, const char* param, const char* className) {
    if (className) writeClassName(doc, param, className);
}

void writeValue(std::string& doc, const char* param, std::string_view text) {
    doc += "<IPARAMVALUE NAME=\"";
    doc += param;
    doc += "\"><VALUE>";
    doc += text;
    doc += "</VALUE></IPARAMVALUE>\n";
}

void writeOptionalValue(std::string& doc, const char* param, const char* text) {
    if (text) writeValue(doc, param, text);
}

void writeInstanceName(std::string& doc, const URL& url) {
    doc += "<INSTANCENAME CLASSNAME=\"";
    doc += url.className;
    doc += "\">";
    url.toStringBuffer(doc);
    doc += "</INSTANCENAME>";
}

void writeInstanceNameParam(std::string& doc, const char* param, const URL& url) {
    doc += "<IPARAMVALUE NAME=\"";
    doc += param;
    doc += "\">";
    writeInstanceName(doc, url);
    doc += "</IPARAMVALUE>\n";
}

// The result of a reply body; null for an empty body. The body is handed
// on to the scanner, which keeps it as its own: no copy of a large reply.
std::unique_ptr<RetValXml> parseReply(std::string body) {
    if (body.empty()) return nullptr;
    CimXml cim(std::move(body), 0);
    return cim.takeReturnData();
}

[[noreturn]] void unexpectedResponse() { throw ParseException("Unexpected response type"); }

// Requires a result of type `type` (or none); anything else is dropped.
template <class T>
std::unique_ptr<T> expect(std::unique_ptr<RetValXml> result, int type) {
    if (!result) return nullptr;
    if (result->type != type) unexpectedResponse();
    return std::unique_ptr<T>(static_cast<T*>(result.release()));
}

// Requires a list of type `listType`; a single `Item` becomes a list of one.
template <class List, class Item>
std::unique_ptr<List> expectList(std::unique_ptr<RetValXml> result, int listType, int itemType) {
    if (!result) return nullptr;
    if (result->type == listType) return std::unique_ptr<List>(static_cast<List*>(result.release()));
    if (result->type != itemType) unexpectedResponse();
    auto list = std::make_unique<List>();
    list->items.add(std::move(*static_cast<Item*>(result.get())));
    return list;
}

const MethodXml* findMethod(const ClassXml& cls, std::string_view name) {
    for (const MethodXml& m : cls.methods)
        if (equalsNoCase(m.name, name)) return &m;
    return nullptr;
}

const PropertyXml* findProperty(const ArrayXml<PropertyXml>& properties, std::string_view name) {
    for (const PropertyXml& p : properties)
        if (equalsNoCase(p.name, name)) return &p;
    return nullptr;
}

// The PARAMVALUEs of an extrinsic call: every argument, in the user's order,
// rendered by each declared parameter of the same name. Arguments the method
// does not declare are dropped.
void writeArguments(std::string& doc, const MethodXml& method, const char* parameters, const URL& url) {
    AVPs args(parameters, method.parameters);
    for (unsigned int i = 0; i < args.size(); ++i) {
        AValue* arg = args.get(i);
        for (const ParameterXml& declared : method.parameters) {
            if (!equalsNoCase(declared.name, arg->attr)) continue;
            doc += "<PARAMVALUE NAME=\"";
            doc += arg->attr;
            doc += "\">";
            declared.toXmlBuffer(doc, arg, 1, &url);
            doc += "</PARAMVALUE>";
        }
    }
}

const char* orEmpty(const char* text) { return text ? text : ""; }

}  // namespace

// ---- instances ------------------------------------------------------------

std::string Cimom::enumInstances2str(URL* url, const char* propertyList, bool deepInheritance,
                                     bool includeQualifiers, bool includeClassOrigin, bool localOnly) {
    return send(enumInstancesRequest(*url, propertyList, deepInheritance, includeQualifiers, includeClassOrigin,
                                     localOnly));
}

std::string Cimom::enumInstancesRequest(URL& url, const char* propertyList, bool deepInheritance,
                                        bool includeQualifiers, bool includeClassOrigin, bool localOnly) {
    genRequest(url, "EnumerateInstances", false, false);
    std::string doc = beginIntrinsic("EnumerateInstances", url);
    writeClassName(doc, "ClassName", url.className);
    writeFlags(doc, {{"DeepInheritance", deepInheritance},
                     {"LocalOnly", localOnly},
                     {"IncludeQualifiers", includeQualifiers},
                     {"IncludeClassOrigin", includeClassOrigin}});
    writePropertyList(doc, propertyList);
    endIntrinsic(doc);
    return doc;
}

std::unique_ptr<NamedInstancesXml> Cimom::enumInstances(URL& url, const char* propertyList, bool deepInheritance,
                                                        bool includeQualifiers, bool includeClassOrigin,
                                                        bool localOnly) {
    return expectList<NamedInstancesXml, NamedInstanceXml>(
        parseReply(enumInstances2str(&url, propertyList, deepInheritance, includeQualifiers, includeClassOrigin,
                                     localOnly)),
        TypeNamedInstances, TypeNamedInstance);
}

bool Cimom::enumInstances(URL& url, const char* propertyList, bool deepInheritance, bool includeQualifiers,
                          bool includeClassOrigin, bool localOnly, NamedInstanceSink& sink) {
    addPayload(enumInstancesRequest(url, propertyList, deepInheritance, includeQualifiers, includeClassOrigin,
                                    localOnly));
    std::string body = getResponse();
    if (body.empty()) return false;
    // A single instance stays the result: it goes to the sink once the
    // body it was read from is freed.
    std::unique_ptr<RetValXml> result;
    {
        CimXml cim(std::move(body), 0, &sink);
        result = cim.takeReturnData();
    }
    if (result->type == TypeNamedInstance)
        sink.take(static_cast<NamedInstanceXml&>(*result));
    else if (result->type != TypeNamedInstances)
        unexpectedResponse();
    return true;
}

std::unique_ptr<InstanceXml> Cimom::getInstance(URL& url, const char* propertyList, bool includeQualifiers,
                                                bool includeClassOrigin, bool localOnly) {
    genRequest(url, "GetInstance", false, false);
    std::string doc = beginIntrinsic("GetInstance", url);
    writeFlags(doc, {{"LocalOnly", localOnly},
                     {"IncludeQualifiers", includeQualifiers},
                     {"IncludeClassOrigin", includeClassOrigin}});
    writePropertyList(doc, propertyList);
    writeInstanceNameParam(doc, "InstanceName", url);
    endIntrinsic(doc);
    return expect<InstanceXml>(parseReply(send(doc)), TypeInstance);
}

std::unique_ptr<InstanceNamesXml> Cimom::enumInstanceNames(URL& url) {
    genRequest(url, "EnumerateInstanceNames", false, false);
    std::string doc = beginIntrinsic("EnumerateInstanceNames", url);
    writeClassName(doc, "ClassName", url.className);
    endIntrinsic(doc);
    return expectList<InstanceNamesXml, InstanceNameXml>(parseReply(send(doc)), TypeInstanceNames,
                                                         TypeInstanceName);
}

void Cimom::testInst(URL& url, AValue* value) {
    (void)url;
    if (value && (!value->val.empty() || !value->vals.empty()))
        throw CmdException("create/modify instance with reference values not yet supported");
}

std::unique_ptr<RetValXml> Cimom::createInstance(URL& url, ClassXml* cls, const char* properties) {
    if (!cls) throw CmdException("Invalid class");
    AVPs values(properties, cls->properties);
    for (const PropertyXml& key : cls->keys)
        if (!values.check(key.name.str().c_str())) throw CmdException("Bad key specification");
    std::string instance;
    for (const PropertyXml& p : cls->properties) {
        AValue* value = values.get(p.name.str().c_str());
        if (!value) continue;
        if (p.kind == PropertyXml::Reference) testInst(url, value);
        p.toXmlBuffer(instance, value, 0, &url);
    }
    if (auto unknown = values.notGotten()) throw CmdException("Undefined attribute(s) specified: " + *unknown);

    genRequest(url, "CreateInstance", false, false);
    std::string doc = beginIntrinsic("CreateInstance", url);
    doc += "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"";
    doc += url.className;
    doc += "\">";
    doc += instance;
    doc += "</INSTANCE></IPARAMVALUE>\n";
    endIntrinsic(doc);
    return parseReply(send(doc));
}

std::unique_ptr<RetValXml> Cimom::modifyInstance(URL& url, InstanceXml* instance, const char* properties) {
    static const ArrayXml<PropertyXml> none;
    const ArrayXml<PropertyXml>& declared = instance ? instance->properties : none;
    AVPs values(properties, declared);
    std::string changed;
    for (const PropertyXml& p : declared) {
        AValue* value = values.get(p.name.str().c_str());
        if (!value) continue;
        if (p.kind == PropertyXml::Reference) testInst(url, value);
        p.toXmlBuffer(changed, value, 0, &url);
    }
    if (auto unknown = values.notGotten()) throw CmdException("Undefined attribute(s) specified: " + *unknown);

    genRequest(url, "ModifyInstance", false, false);
    std::string doc = beginIntrinsic("ModifyInstance", url);
    doc += "<IPARAMVALUE NAME=\"ModifiedInstance\"><VALUE.NAMEDINSTANCE>";
    writeInstanceName(doc, url);
    doc += "<INSTANCE CLASSNAME=\"";
    doc += url.className;
    doc += "\">";
    doc += changed;
    doc += "</INSTANCE></VALUE.NAMEDINSTANCE></IPARAMVALUE>\n";
    endIntrinsic(doc);
    return parseReply(send(doc));
}

std::unique_ptr<RetValXml> Cimom::deleteInstance(URL& url) {
    genRequest(url, "DeleteInstance", false, false);
    std::string doc = beginIntrinsic("DeleteInstance", url);
    writeInstanceNameParam(doc, "InstanceName", url);
    endIntrinsic(doc);
    return parseReply(send(doc));
}

// ---- classes --------------------------------------------------------------

std::string Cimom::getClass2str(URL* url, const char* propertyList, bool includeQualifiers,
                                bool includeClassOrigin, bool localOnly) {
    genRequest(*url, "GetClass", false, false);
    std::string doc = beginGetClass(*url);
    writeClassName(doc, "ClassName", url->className);
    writeFlags(doc, {{"LocalOnly", localOnly},
                     {"IncludeQualifiers", includeQualifiers},
                     {"IncludeClassOrigin", includeClassOrigin}});
    writePropertyList(doc, propertyList);
    endIntrinsic(doc);
    return send(doc);
}

std::unique_ptr<ClassXml> Cimom::getClass(URL& url, const char* propertyList, bool includeQualifiers,
                                          bool includeClassOrigin, bool localOnly) {
    return expect<ClassXml>(
        parseReply(getClass2str(&url, propertyList, includeQualifiers, includeClassOrigin, localOnly)), TypeClass);
}

std::unique_ptr<ClassesXml> Cimom::enumClasses(URL& url, bool deepInheritance, bool localOnly,
                                               bool includeQualifiers, bool includeClassOrigin) {
    genRequest(url, "EnumerateClasses", false, false);
    std::string doc = beginIntrinsic("EnumerateClasses", url);
    writeClassName(doc, "ClassName", url.className);
    writeFlags(doc, {{"DeepInheritance", deepInheritance},
                     {"LocalOnly", localOnly},
                     {"IncludeQualifiers", includeQualifiers},
                     {"IncludeClassOrigin", includeClassOrigin}});
    endIntrinsic(doc);
    return expectList<ClassesXml, ClassXml>(parseReply(send(doc)), TypeClasses, TypeClass);
}

std::string Cimom::enumClassNames2str(URL* url, bool deepInheritance) {
    genRequest(*url, "EnumerateClassNames", false, false);
    std::string doc = beginIntrinsic("EnumerateClassNames", *url);
    writeClassName(doc, "ClassName", url->className);
    writeFlags(doc, {{"DeepInheritance", deepInheritance}});
    endIntrinsic(doc);
    return send(doc);
}

std::unique_ptr<ClassNamesXml> Cimom::enumClassNames(URL& url, bool deepInheritance) {
    return expectList<ClassNamesXml, ClassNameXml>(parseReply(enumClassNames2str(&url, deepInheritance)),
                                                   TypeClassNames, TypeClassName);
}

std::unique_ptr<RetValXml> Cimom::deleteClass(URL& url) {
    genRequest(url, "DeleteClass", false, false);
    std::string doc = beginIntrinsic("DeleteClass", url);
    writeClassName(doc, "ClassName", url.className);
    endIntrinsic(doc);
    return parseReply(send(doc));
}

// ---- extrinsic methods ----------------------------------------------------

std::string Cimom::callMethod2str(URL* url, const char* method, const char* parameters) {
    method = orEmpty(method);
    const bool hasKeys = !url->keys.empty();
    std::unique_ptr<ClassXml> cls = getClass(*url, nullptr, true, true, false);
    if (!cls) throw CmdException("Invalid class");
    if (hasKeys && !cls->keysOk(url->keys)) throw CmdException("Bad key specification");

    genRequest(*url, method, true, hasKeys);
    std::string doc = xmlHeader;
    WipeOnExit forgetDocument(doc);   // the arguments may hold a password
    doc += "<METHODCALL NAME=\"";
    doc += method;
    doc += "\">";
    doc += hasKeys ? "<LOCALINSTANCEPATH>" : "<LOCALCLASSPATH>";
    writeNameSpace(doc, url->ns, kExtrinsicPath);
    if (hasKeys) {
        writeInstanceName(doc, *url);
        doc += "</LOCALINSTANCEPATH>";
    } else {
        doc += "<CLASSNAME NAME=\"";
        doc += url->className;
        doc += "\"/></LOCALCLASSPATH>";
    }
    if (parameters) {
        if (const MethodXml* declared = findMethod(*cls, method)) writeArguments(doc, *declared, parameters, *url);
    }
    doc += "</METHODCALL>";
    doc += xmlTrailer;
    return send(doc);
}

std::unique_ptr<MethodresponseXml> Cimom::callMethod(URL& url, const char* method, const char* parameters) {
    if (!quietOutput) std::printf("%s:\n", "callMethod");
    return expect<MethodresponseXml>(parseReply(callMethod2str(&url, method, parameters)), TypeMethodresponse);
}

// ---- associations ---------------------------------------------------------

std::string Cimom::associators2str(URL* url, const char* assocClass, const char* resultClass, const char* role,
                                   const char* resultRole, const char* propertyList, bool includeQualifiers,
                                   bool includeClassOrigin) {
    genRequest(*url, "Associators", false, false);
    std::string doc = beginIntrinsic("Associators", *url);
    writeInstanceNameParam(doc, "ObjectName", *url);
    writeOptionalClassName(doc, "AssocClass", assocClass);
    writeOptionalClassName(doc, "ResultClass", resultClass);
    writeOptionalValue(doc, "Role", role);
    writeOptionalValue(doc, "ResultRole", resultRole);
    writeFlags(doc, {{"IncludeQualifiers", includeQualifiers}, {"IncludeClassOrigin", includeClassOrigin}});
    writePropertyList(doc, propertyList);
    endIntrinsic(doc);
    return send(doc);
}

std::unique_ptr<ObjectsWithPathXml> Cimom::associators(URL& url, const char* assocClass, const char* resultClass,
                                                       const char* role, const char* resultRole,
                                                       const char* propertyList, bool includeQualifiers,
                                                       bool includeClassOrigin) {
    return expectList<ObjectsWithPathXml, ObjectWithPathXml>(
        parseReply(associators2str(&url, assocClass, resultClass, role, resultRole, propertyList,
                                   includeQualifiers, includeClassOrigin)),
        TypeObjectsWithPath, TypeObjectWithPath);
}

std::unique_ptr<InstanceNamesXml> Cimom::associatorNames(URL& url, const char* assocClass,
                                                         const char* resultClass, const char* role,
                                                         const char* resultRole) {
    genRequest(url, "AssociatorNames", false, false);
    std::string doc = beginIntrinsic("AssociatorNames", url);
    writeInstanceNameParam(doc, "ObjectName", url);
    writeOptionalClassName(doc, "AssocClass", assocClass);
    writeOptionalClassName(doc, "ResultClass", resultClass);
    writeOptionalValue(doc, "Role", role);
    writeOptionalValue(doc, "ResultRole", resultRole);
    endIntrinsic(doc);
    return expectList<InstanceNamesXml, InstanceNameXml>(parseReply(send(doc)), TypeInstanceNames,
                                                         TypeInstanceName);
}

std::string Cimom::references2str(URL* url, const char* resultClass, const char* role, const char* propertyList,
                                  bool includeQualifiers, bool includeClassOrigin) {
    genRequest(*url, "References", false, false);
    std::string doc = beginIntrinsic("References", *url);
    writeInstanceNameParam(doc, "ObjectName", *url);
    writeOptionalClassName(doc, "ResultClass", resultClass);
    writeOptionalValue(doc, "Role", role);
    writeFlags(doc, {{"IncludeQualifiers", includeQualifiers}, {"IncludeClassOrigin", includeClassOrigin}});
    writePropertyList(doc, propertyList);
    endIntrinsic(doc);
    return send(doc);
}

std::unique_ptr<ObjectsWithPathXml> Cimom::references(URL& url, const char* resultClass, const char* role,
                                                      const char* propertyList, bool includeQualifiers,
                                                      bool includeClassOrigin) {
    return expectList<ObjectsWithPathXml, ObjectWithPathXml>(
        parseReply(references2str(&url, resultClass, role, propertyList, includeQualifiers, includeClassOrigin)),
        TypeObjectsWithPath, TypeObjectWithPath);
}

std::unique_ptr<InstanceNamesXml> Cimom::referenceNames(URL& url, const char* resultClass, const char* role) {
    genRequest(url, "ReferenceNames", false, false);
    std::string doc = beginIntrinsic("ReferenceNames", url);
    writeInstanceNameParam(doc, "ObjectName", url);
    writeOptionalClassName(doc, "ResultClass", resultClass);
    writeOptionalValue(doc, "Role", role);
    endIntrinsic(doc);
    return expectList<InstanceNamesXml, InstanceNameXml>(parseReply(send(doc)), TypeInstanceNames,
                                                         TypeInstanceName);
}

// ---- properties -----------------------------------------------------------

std::unique_ptr<ValueXml> Cimom::getProperty(URL& url, const char* name) {
    genRequest(url, "GetProperty", false, false);
    std::string doc = beginIntrinsic("GetProperty", url);
    writeValue(doc, "PropertyName", orEmpty(name));
    writeInstanceNameParam(doc, "InstanceName", url);
    endIntrinsic(doc);
    return expect<ValueXml>(parseReply(send(doc)), TypeValue);
}

std::unique_ptr<RetValXml> Cimom::setProperty(URL& url, ClassXml* cls, const char* assignment) {
    std::unique_ptr<AVPs> pair = makeAVPs(assignment, 1);
    if (!pair) throw CmdException("Invalid or missing prop-value specification");
    AValue* value = pair->get(0u);
    const PropertyXml* property = cls ? findProperty(cls->properties, value->attr) : nullptr;
    if (!property) throw CmdException("Unknown property");
    if (property->kind == PropertyXml::Reference) testInst(url, value);

    genRequest(url, "SetProperty", false, false);
    std::string doc = beginIntrinsic("SetProperty", url);
    writeValue(doc, "PropertyName", property->name);
    doc += "<IPARAMVALUE NAME=\"NewValue\">";
    property->toXmlBuffer(doc, value, 1, &url);
    doc += "</IPARAMVALUE>\n";
    writeInstanceNameParam(doc, "InstanceName", url);
    endIntrinsic(doc);
    const std::string body = send(doc);
    if (body.empty()) throw CmdException("Unable to get response");
    return parseReply(body);
}
