// Helpers shared by the document layer's tests: reply envelopes around a
// fragment, files of the corpus, and a guard that restores the rendering
// switches.
#pragma once

#include "tests/unit/test_files.h"
#include "xml/render_flags.h"

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

// A file's content; one that cannot be read fails the test with its name.
inline std::string readFile(const std::string& path) { return testfiles::read(path); }

// A reply of our own under tests/data/.
inline std::string dataFile(const std::string& name) { return readFile(testfiles::dataPath(name)); }

// A reply written by a real CIM server, under tests/data/real-replies/.
inline std::string realReply(const std::string& name) { return readFile(testfiles::dataPath("real-replies/" + name)); }

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
