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

protected:
    Cimom() = default;
    CimErrorData cimErrorData;
};
