// A stand-in for the transport: records every request (operation or method
// name, class, document) and answers from canned reply bodies.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cim/cimom.h"

namespace fake {

struct Request {
    std::string name;        // CIM operation or method
    std::string className;   // the target's class
    bool isMethodCall = false;
    bool hasKeys = false;
    std::string document;
};

class FakeCimom : public Cimom {
public:
    // Replies by operation or method name; a missing name answers "".
    std::map<std::string, std::string> replies;
    // Thrown instead of answering, by name.
    std::map<std::string, std::function<void()>> failures;
    std::vector<Request> requests;

    struct Certificates {
        bool set = false;
        const char* caCert = nullptr;
        int noVerify = -1;
        const char* clientCert = nullptr;
        const char* clientKey = nullptr;
    } certificates;

    void genRequest(URL& url, const char* name, bool isMethodCall, bool hasKeys) override {
        requests.push_back({name, url.className, isMethodCall, hasKeys, {}});
    }
    void addPayload(const std::string& document) override { requests.back().document = document; }
    std::string getResponse() override {
        const std::string& name = requests.back().name;
        auto failure = failures.find(name);
        if (failure != failures.end()) failure->second();
        auto reply = replies.find(name);
        return reply == replies.end() ? std::string() : reply->second;
    }
    void setClientCertificates(const char* caCert, int noVerify, const char* clientCert,
                               const char* clientKey) override {
        certificates = {true, caCert, noVerify, clientCert, clientKey};
    }

    // (name, class) of every request, in order.
    std::vector<std::pair<std::string, std::string>> sequence() const {
        std::vector<std::pair<std::string, std::string>> out;
        for (const Request& r : requests) out.emplace_back(r.name, r.className);
        return out;
    }
};

inline std::string Envelope(const std::string& response) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
           "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n" +
           response + "\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
}

// One class that declares every method the tests call, each with its string
// parameters.
inline std::string ClassReply() {
    const std::pair<const char*, std::vector<const char*>> methods[] = {
        {"SetWaTP", {"Period"}},       {"AuthPassword", {"password"}}, {"SetBeeper", {"Enable"}},
        {"ChangePassword", {"password"}}, {"DeleteVolume", {"vol", "num"}}, {"MuteBeeperNow", {}},
        {"ClearLog", {}},
    };
    std::string cls = "<CLASS NAME=\"Quilo_Any\">";
    for (const auto& m : methods) {
        cls += std::string("<METHOD NAME=\"") + m.first + "\" TYPE=\"string\">";
        for (const char* p : m.second) cls += std::string("<PARAMETER NAME=\"") + p + "\" TYPE=\"string\"></PARAMETER>";
        cls += "</METHOD>";
    }
    cls += "</CLASS>";
    return Envelope("<IMETHODRESPONSE NAME=\"GetClass\">\n<IRETURNVALUE>\n" + cls +
                    "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

inline std::string MethodReply(const std::string& method, const std::string& value) {
    return Envelope("<METHODRESPONSE NAME=\"" + method + "\">\n<RETURNVALUE PARAMTYPE=\"string\">\n<VALUE>" + value +
                    "</VALUE>\n</RETURNVALUE>\n</METHODRESPONSE>");
}

inline std::string EnumReply(const std::string& namedInstances) {
    return Envelope("<IMETHODRESPONSE NAME=\"EnumerateInstances\">\n<IRETURNVALUE>\n" + namedInstances +
                    "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

inline std::string GetInstanceReply(const std::string& instance) {
    return Envelope("<IMETHODRESPONSE NAME=\"GetInstance\">\n<IRETURNVALUE>\n" + instance +
                    "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

// The password reader of the tests: answers with `answer`, counts prompts.
struct Prompts {
    static inline std::string answer;
    static inline std::vector<std::string> shown;
    static std::string Read(std::string prompt) {
        shown.push_back(std::move(prompt));
        return answer;
    }
    static void Reset(std::string a) {
        answer = std::move(a);
        shown.clear();
    }
};

}  // namespace fake
