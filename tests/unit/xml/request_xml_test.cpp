// Request-side renderings of declared properties and parameters: the
// CIM-XML a request document embeds for the user's value, written as given.
#include "xml/classes.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

// Stands in for the object path: a path text handed to parsePath comes back
// as the class name, so that the document shows what was asked.
class FakePath : public ObjectPathRef {
public:
    explicit FakePath(std::string text) : cls(std::move(text)) {}
    const std::string& pathProtocol() const override { return protocol; }
    const std::string& pathHost() const override { return host; }
    const StringArray& pathNameSpace() const override { return ns; }
    const std::string& pathClassName() const override { return cls; }
    void keysToXml(std::string& sb) const override { sb += "<KEYS/>"; }
    std::unique_ptr<ObjectPathRef> parsePath(const char* text) const override {
        return std::make_unique<FakePath>(text);
    }

private:
    std::string protocol = "https", host = "10.0.0.5", cls;
    StringArray ns{"quilo", "cimv2"};
};

// The VALUE.REFERENCE written for a path text that the parser was given as `text`.
std::string ref(const std::string& text) {
    return "<VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>10.0.0.5</HOST><LOCALNAMESPACEPATH>"
           "<NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\"></NAMESPACE></LOCALNAMESPACEPATH>"
           "</NAMESPACEPATH><INSTANCENAME CLASSNAME=\"" +
           text + "\"><KEYS/></INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE>";
}

struct Row {
    const char* name;
    const char* declaration;           // a PROPERTY... or PARAMETER... element
    const char *value, *second;        // null: no value, no second one
    int valueOnly;
    std::string expected;
};

std::string rendered(const Row& r) {
    std::unique_ptr<AValue> val = r.value ? std::make_unique<AValue>("N", r.value) : nullptr;
    if (r.second) val->add(r.second);
    const FakePath target("Quilo_RAIDControllerSystem");
    std::string doc;
    if (std::string(r.declaration).rfind("<PROPERTY", 0) == 0)
        xmltest::parse<PropertyXml>(r.declaration).toXmlBuffer(doc, val.get(), r.valueOnly, &target);
    else
        xmltest::parse<ParameterXml>(r.declaration).toXmlBuffer(doc, val.get(), r.valueOnly, &target);
    return doc;
}

class RequestXml : public ::testing::TestWithParam<Row> {};

TEST_P(RequestXml, Renders) { EXPECT_EQ(rendered(GetParam()), GetParam().expected); }

const char* const name = "<PROPERTY NAME=\"Name\" TYPE=\"string\"/>";
const char* const disks = "<PROPERTY.ARRAY NAME=\"Disks\" TYPE=\"uint8\"/>";
const char* const owner = "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_X\"/>";

INSTANTIATE_TEST_SUITE_P(
    Table, RequestXml,
    ::testing::Values(
        Row{"ScalarLosesItsQuotes", name, "\"abc\"", nullptr, 0,
            "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>abc</VALUE></PROPERTY>"},
        Row{"ScalarNotEscaped", name, "a<b&c\"", nullptr, 1, "<VALUE>a<b&c\"</VALUE>"},
        Row{"ScalarALoneQuote", name, "\"", nullptr, 1, "<VALUE></VALUE>"},
        Row{"ScalarWithoutValue", name, nullptr, nullptr, 0,
            "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>"},
        Row{"ArrayOfOne", disks, "\"3\"", nullptr, 0,
            "\n<PROPERTY.ARRAY NAME=\"Disks\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>3</VALUE></VALUE.ARRAY>"
            "</PROPERTY.ARRAY>"},
        Row{"ArrayOfTwo", disks, "1", "\"2\"", 1, "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>"},
        Row{"ArrayEmpty", disks, "", nullptr, 1, "<VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>"},
        Row{"ArrayWithoutValue", disks, nullptr, nullptr, 1, "<VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>"},
        Row{"ReferenceWithoutValue", owner, nullptr, nullptr, 0,
            "\n<PROPERTY.REFERENCE NAME=\"Owner\"><VALUE.REFERENCE></VALUE.REFERENCE></PROPERTY.REFERENCE>"},
        Row{"ReferenceInTheTargetsNamespace", owner, "Quilo_X.Tag=1", nullptr, 0,
            "\n<PROPERTY.REFERENCE NAME=\"Owner\">" + ref("https://10.0.0.5:/quilo/cimv2:Quilo_X.Tag=1") +
                "</PROPERTY.REFERENCE>"},
        Row{"ReferenceNamingItsNamespace", owner, "10.0.0.5/quilo/cimv2:Quilo_X.Tag=1", nullptr, 1,
            ref("https://10.0.0.5/quilo/cimv2:Quilo_X.Tag=1")},
        Row{"ParameterPlain", "<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>", nullptr, nullptr, 0,
            "\n<PARAMETER NAME=\"Enable\" TYPE=\"string\"><VALUE></VALUE></PARAMETER>"},
        Row{"ParameterArray", "<PARAMETER.ARRAY NAME=\"A\" TYPE=\"string\"/>", nullptr, nullptr, 0,
            "\n<PARAMETER.ARRAY NAME=\"A\" TYPE=\"string\"><VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>"
            "</PARAMETER.ARRAY>"},
        Row{"ParameterReference", "<PARAMETER.REFERENCE NAME=\"Port\" REFERENCECLASS=\"C\"/>", nullptr, nullptr, 0,
            "\n<PARAMETER.REFERENCE NAME=\"Port\"><VALUE.REFERENCE></VALUE.REFERENCE></PARAMETER.REFERENCE>"},
        Row{"ParameterRefArrayEmpty", "<PARAMETER.REFARRAY NAME=\"Gws\" REFERENCECLASS=\"C\"/>", nullptr, nullptr, 0,
            "\n<PARAMETER.REFARRAY NAME=\"Gws\" TYPE=\"\"><VALUE.REFARRAY><VALUE.REFERENCE></VALUE.REFERENCE>"
            "</VALUE.REFARRAY></PARAMETER.REFARRAY>"},
        Row{"ParameterRefArrayValues", "<PARAMETER.REFARRAY NAME=\"Gws\"/>", "Quilo_X.Tag=1", "Quilo_X.Tag=2", 1,
            "<VALUE.REFARRAY>" + ref("https://10.0.0.5:/quilo/cimv2:Quilo_X.Tag=1") +
                ref("https://10.0.0.5:/quilo/cimv2:Quilo_X.Tag=2") + "</VALUE.REFARRAY>"}),
    xmltest::RowName());

}  // namespace
