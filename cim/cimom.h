// Cimom: the client side of the CIM operations. Each operation writes its
// request document, hands it to the transport through the virtual slots, and
// turns the reply into objects of the document layer.
#pragma once

#include "cim/url.h"
#include "xml/classes.h"
#include "xml/envelope.h"
#include "xml/model.h"

#include <memory>
#include <string>

struct CimErrorData {
    std::string statusDescription;
    int statusCode = 0;
    std::string statusCodeText;   // the CIMStatusCode value as the server wrote it
    std::string errorHeader;
};

class Cimom {
public:
    static const char* const xmlHeader;
    static const char* const xmlTrailer;
    static std::string unescapeXml(const char* text, int mode) { return ::unescapeXml(text, mode); }

    // Transport slots, in this order.
    virtual bool supportsSSL();
    virtual void genRequest(URL& url, const char* name, bool isMethodCall, bool hasKeys) = 0;
    virtual void addPayload(const std::string& document) = 0;
    virtual std::string getResponse() = 0;
    virtual ~Cimom();
    virtual void setClientCertificates(const char* caCert, int noVerify, const char* clientCert,
                                       const char* clientKey) = 0;

    std::unique_ptr<NamedInstancesXml> enumInstances(URL& url, const char* propertyList, bool deepInheritance,
                                                     bool includeQualifiers, bool includeClassOrigin,
                                                     bool localOnly);
    // The same request, with every instance handed to `sink` as it is read
    // (a single one too). False when the server sent nothing back.
    bool enumInstances(URL& url, const char* propertyList, bool deepInheritance, bool includeQualifiers,
                       bool includeClassOrigin, bool localOnly, NamedInstanceSink& sink);
    std::string enumInstances2str(URL* url, const char* propertyList, bool deepInheritance,
                                  bool includeQualifiers, bool includeClassOrigin, bool localOnly);
    std::unique_ptr<InstanceXml> getInstance(URL& url, const char* propertyList, bool includeQualifiers,
                                             bool includeClassOrigin, bool localOnly);
    std::unique_ptr<ClassXml> getClass(URL& url, const char* propertyList, bool includeQualifiers,
                                       bool includeClassOrigin, bool localOnly);
    std::string getClass2str(URL* url, const char* propertyList, bool includeQualifiers,
                             bool includeClassOrigin, bool localOnly);
    std::string callMethod2str(URL* url, const char* method, const char* parameters);
    std::unique_ptr<MethodresponseXml> callMethod(URL& url, const char* method, const char* parameters);

    // The remaining operations (same machinery, not used by the commands) are
    // declared by their implementer below this line.

    // A single result is wrapped into a list of one.
    std::unique_ptr<InstanceNamesXml> enumInstanceNames(URL& url);
    std::unique_ptr<ClassesXml> enumClasses(URL& url, bool deepInheritance, bool localOnly,
                                            bool includeQualifiers, bool includeClassOrigin);
    std::unique_ptr<ClassNamesXml> enumClassNames(URL& url, bool deepInheritance);
    std::string enumClassNames2str(URL* url, bool deepInheritance);

    // `cls` is the class of the new instance; `properties` its name=value
    // text. Throws CmdException for missing keys, reference values and
    // names the class does not declare.
    std::unique_ptr<RetValXml> createInstance(URL& url, ClassXml* cls, const char* properties);
    // The INSTANCE carries the properties named in `properties`.
    std::unique_ptr<RetValXml> modifyInstance(URL& url, InstanceXml* instance, const char* properties);
    std::unique_ptr<RetValXml> deleteClass(URL& url);
    std::unique_ptr<RetValXml> deleteInstance(URL& url);

    // Null arguments are left out of the request.
    std::unique_ptr<ObjectsWithPathXml> associators(URL& url, const char* assocClass, const char* resultClass,
                                                    const char* role, const char* resultRole,
                                                    const char* propertyList, bool includeQualifiers,
                                                    bool includeClassOrigin);
    std::string associators2str(URL* url, const char* assocClass, const char* resultClass, const char* role,
                                const char* resultRole, const char* propertyList, bool includeQualifiers,
                                bool includeClassOrigin);
    std::unique_ptr<InstanceNamesXml> associatorNames(URL& url, const char* assocClass, const char* resultClass,
                                                      const char* role, const char* resultRole);
    std::unique_ptr<ObjectsWithPathXml> references(URL& url, const char* resultClass, const char* role,
                                                   const char* propertyList, bool includeQualifiers,
                                                   bool includeClassOrigin);
    std::string references2str(URL* url, const char* resultClass, const char* role, const char* propertyList,
                               bool includeQualifiers, bool includeClassOrigin);
    std::unique_ptr<InstanceNamesXml> referenceNames(URL& url, const char* resultClass, const char* role);

    std::unique_ptr<ValueXml> getProperty(URL& url, const char* name);
    // `assignment` is one name=value pair naming a property of `cls`.
    std::unique_ptr<RetValXml> setProperty(URL& url, ClassXml* cls, const char* assignment);

    // Rejects a reference value given for a created or modified instance.
    void testInst(URL& url, AValue* value);

protected:
    Cimom() = default;
    CimErrorData cimErrorData;

private:
    // Hands a finished document to the transport and returns the reply.
    std::string send(const std::string& document);
    // Starts the request (genRequest) and writes its document.
    std::string enumInstancesRequest(URL& url, const char* propertyList, bool deepInheritance,
                                     bool includeQualifiers, bool includeClassOrigin, bool localOnly);
};
