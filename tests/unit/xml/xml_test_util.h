// Helpers shared by the document layer's tests: reply envelopes around a
// fragment, files of the corpus, and a guard that restores the rendering
// switches.
#pragma once

#include "xml/render_flags.h"

#include <fstream>
#include <sstream>
#include <string>

namespace xmltest {

inline std::string prolog() { return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"; }

// A whole reply whose SIMPLERSP holds `response`.
inline std::string reply(const std::string& response) {
    return prolog() +
           "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n<MESSAGE ID=\"7\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n" +
           response + "\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
}

// A reply to an intrinsic method whose IRETURNVALUE holds `content`.
inline std::string iReply(const std::string& content, const std::string& method = "EnumerateInstances") {
    return reply("<IMETHODRESPONSE NAME=\"" + method + "\">\n<IRETURNVALUE>\n" + content +
                 "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string dataFile(const std::string& name) { return readFile(std::string(RBZ_SOURCE_DIR) + "/tests/data/" + name); }

inline std::string realReply(const std::string& name) {
    return readFile(std::string(RBZ_SHARED_DIR) + "/real-replies/" + name);
}

// Saves the rendering switches and puts them back when the test ends.
class FlagGuard {
public:
    FlagGuard() : nl(useNl), type(addType), val(noVal), quotes(noQuotes), refs(dlmRefs) {}
    ~FlagGuard() {
        useNl = nl;
        addType = type;
        noVal = val;
        noQuotes = quotes;
        dlmRefs = refs;
    }

private:
    int nl, type, val, quotes, refs;
};

}  // namespace xmltest
