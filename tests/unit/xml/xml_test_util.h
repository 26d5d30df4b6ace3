// Helpers shared by the document layer's tests: reply envelopes around a
// fragment, files of the corpus, a guard that restores the rendering
// switches, and the names of table rows.
#pragma once

#include "fuzz/cimxml_replay.h"
#include "tests/unit/test_files.h"
#include "xml/render_flags.h"
#include "xml/xml_buffer.h"

#include <gtest/gtest.h>

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

// One element parsed from `text` with its own parser.
template <class T>
T parse(const std::string& text) {
    XmlBuffer xb(text);
    return T(xb);
}

inline std::string repeat(const std::string& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += text;
    return out;
}

// The kind of a result and its text under the current switches (the items
// of a list one per line): what a caller of CimXml gets.
inline std::string describe(const RetValXml& r, const char* q = "") {
    static const char* const kinds[] = {"?",           "Instance",      "Instances",      "Class",
                                        "InstanceName", "InstanceNames", "Classes",        "ClassName",
                                        "ClassNames",   "NamedInstance", "NamedInstances", "ObjectWithPath",
                                        "ObjectsWithPath", "Value",      "Methodresponse", "Paramvalue"};
    std::string text = std::string(r.type > 0 && r.type <= TypeParamvalue ? kinds[r.type] : "?") + ": ";
    cimxmlfuzz::render(r, text, q);
    return text;
}

// Names the tests of a table after their rows' `name`, so that one row can
// be run alone (ctest -R, --gtest_filter).
struct RowName {
    template <class Row>
    std::string operator()(const ::testing::TestParamInfo<Row>& info) const {
        return info.param.name;
    }
};

}  // namespace xmltest
