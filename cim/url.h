// URL: a parsed CIM object path
//   [http://|https://][user[:password]@]host[:port][/ns1/ns2...[:Class[.key=value,...]]]
// or alias/... resolved through the indirection file.
#pragma once

#include "xml/model.h"
#include "xml/object_path.h"
#include "xml/string_array.h"

#include <memory>
#include <string>

class URL : public ObjectPathRef {
public:
    explicit URL(const char* text);   // throws URLException / ParseException
    // The password is overwritten when a URL goes.
    ~URL() override;
    URL(const URL&) = default;
    URL& operator=(const URL&) = default;
    URL(URL&&) = default;
    URL& operator=(URL&&) = default;

    // Plain text form: host:port/ns[:Class[.keys]] (mode 0), namespace only otherwise.
    void toStringBuffer(std::string& sb, int mode) const;
    // Quoted text form used by the inquiry reports.
    void toStringBufferGI(std::string& sb) const;
    // The key bindings as KEYBINDING elements.
    void toStringBuffer(std::string& sb) const;

    static long getNetDeviceNum(std::string name);
    static std::string resolveIndirection(char* alias, char* rest);
    static int refLookAhead(char* p, char** next);
    // The interface table read by getNetDeviceNum; tests point it elsewhere.
    static std::string interfaceTable;

    // ObjectPathRef
    const std::string& pathProtocol() const override { return protocol; }
    const std::string& pathHost() const override { return host; }
    const StringArray& pathNameSpace() const override { return ns; }
    const std::string& pathClassName() const override { return className; }
    void keysToXml(std::string& sb) const override { toStringBuffer(sb); }
    std::unique_ptr<ObjectPathRef> parsePath(const char* text) const override;

    std::string protocol;
    std::string host;
    long long zoneId = -1;
    std::string port;
    std::string className;
    std::string user;
    std::string password;
    StringArray ns;
    ArrayXml<PropertyXml> keys;
};
