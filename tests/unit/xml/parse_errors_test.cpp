// The failures a reply can end in. Parse failures, each produced by a
// malformed document (a whole reply, or the fragment one element parser
// reads): one row per place that throws. The scanner's own messages, met the
// same way by every element, are in scanner_test.cpp; the fuzz seeds with a
// known failure in fuzz_replay_test.cpp. Then the CIM errors a server
// reports.
#include "xml/envelope.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using xmltest::prolog;
using xmltest::reply;

using Parser = void (*)(const std::string&);

template <class T>
void as(const std::string& doc) {
    XmlBuffer xb(doc);
    T parsed(xb);
}
void whole(const std::string& doc) { CimXml cim(doc, 0); }
void objectPath(const std::string& doc) {
    XmlBuffer xb(doc);
    InstanceNameXml name(xb, true);
}

struct Row {
    const char* name;
    Parser parse;
    std::string doc;
    std::string message;   // without the "Parse Exception: " prefix
};

std::string cim(const std::string& inner) { return prolog() + "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">" + inner; }
std::string message(const std::string& inner) { return cim("<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">" + inner); }
std::string iresponse(const std::string& in) { return "<IMETHODRESPONSE NAME=\"M\">" + in + "</IMETHODRESPONSE>"; }
std::string mresponse(const std::string& in) { return "<METHODRESPONSE NAME=\"M\">" + in + "</METHODRESPONSE>"; }
const std::string rsp = iresponse("<IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE>");
const std::string iname = "<INSTANCENAME CLASSNAME=\"A\"/>";
const std::string lnsp = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>";
const std::string nsp = "<NAMESPACEPATH><HOST>h</HOST>" + lnsp + "</NAMESPACEPATH>";
const std::string instance = "<INSTANCE CLASSNAME=\"A\"></INSTANCE>";
const std::string chain = "<KEYBINDING NAME=\"k\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\">";

const Row rows[] = {
    // The envelope.
    {"NoCimStart", whole, prolog() + "<MESSAGE/>", "Expecting CIM element"},
    {"PrologEndOnCim", whole, prolog() + "<CIM CIMVERSION=\"2.0\" ?>", "Bad attribute list for CIM: "},
    {"NoMessageStart", whole, cim("<SIMPLERSP/></CIM>"), "Expecting MESSAGE element"},
    {"NoCimEnd", whole, message("<SIMPLERSP>" + rsp + "</SIMPLERSP></MESSAGE></CIMX>"), "Expecting </CIM> tag"},
    {"NoSimplerspStart", whole, message("<FOO/></MESSAGE></CIM>"), "Expecting SIMPLERSP element"},
    {"NoMessageEnd", whole, message("<SIMPLERSP>" + rsp + "</SIMPLERSP></CIM>"), "Expecting </MESSAGE> tag"},
    {"NoResponse", whole, reply("<EXPMETHODRESPONSE NAME=\"M\"/>"),
     "Expecting IMETHODRESPONSE or METHODRESPONSE element"},
    {"NoSimplerspEnd", whole, message("<SIMPLERSP>" + rsp + "</MESSAGE></CIM>"), "Expecting </SIMPLERSP> tag"},
    {"IMethodResponseEndAfterResult", whole,
     reply(iresponse("<IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE><PARAMVALUE NAME=\"p\"/>")),
     "Expecting </IMETHODRESPONSE> tag(2)"},
    {"IMethodResponseEndAfterError", whole, reply(iresponse("<ERROR CODE=\"1\"/><ERROR CODE=\"2\"/>")),
     "Expecting </IMETHODRESPONSE> tag(3)"},
    {"IMethodResponseChild", whole, reply(iresponse("<PARAMVALUE NAME=\"p\"/>")),
     "Expecting /IMETHODRESPONSE, IRETURNVALUE or ERROR element"},
    {"MethodResponseEndAfterResult", whole,
     reply(mresponse("<RETURNVALUE><VALUE>0</VALUE></RETURNVALUE><PARAMVALUE NAME=\"p\"/><ERROR CODE=\"1\"/>")),
     "Expecting </METHODRESPONSE> tag(2)"},
    {"MethodResponseEndAfterError", whole, reply(mresponse("<ERROR CODE=\"1\"/><PARAMVALUE NAME=\"p\"/>")),
     "Expecting </METHODRESPONSE> tag(3)"},
    {"ResultKind", whole, xmltest::iReply("<KEYVALUE>1</KEYVALUE>"), "Expecting INSTANCE, CLASS or ... element"},
    {"ReturnValueEnd", whole, reply(mresponse("<RETURNVALUE><VALUE>1</VALUE><VALUE>2</VALUE></RETURNVALUE>")),
     "Expecting </RETURNVALUE> tag"},
    {"ErrorEnd", whole, reply(iresponse("<ERROR CODE=\"1\">" + instance + "</ERROR>")), "Expecting </ERROR> tag"},
    {"NestedReferences", whole, xmltest::iReply("<INSTANCENAME CLASSNAME=\"C\">" + xmltest::repeat(chain, 20000)),
     "Elements nested too deeply"},
    // Properties and values; each form of an element reads its own table and end tag.
    {"PropertyEndOfItsForm", as<PropertyXml>, "<PROPERTY NAME=\"a\"><VALUE>1</VALUE></PROPERTY.ARRAY>",
     "Expecting /PROPERTY, QUALIFIER or VALUE element"},
    // An empty-form qualifier skips on to a later end tag; with none, the
    // cursor stays inside its start tag.
    {"EmptyQualifierWithoutLaterEndTag", as<PropertyXml>,
     "<PROPERTY NAME=\"T\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"/></PROPERTY>",
     "Expecting /PROPERTY, QUALIFIER or VALUE element"},
    {"PropertyTableOfItsForm", as<PropertyXml>, "<PROPERTY NAME=\"a\" ARRAYSIZE=\"2\">",
     "Unknown attribute in list for PROPERTY (ARRAYSIZE=)"},
    {"PropertyFormNamed", as<PropertyXml>, "<PROPERTY.REFERENCE NAME=\"a\" ?>",
     "Bad attribute list for PROPERTY.REFERENCE: "},
    {"ValueFormNamed", as<ValueXml>, "<VALUE.ARRAY ?>", "Bad attribute list for VALUE.ARRAY: "},
    {"ValueEndOfItsForm", as<ValueXml>, "<VALUE>1</VALUE.ARRAY>", "Expecting /VALUE element"},
    {"ReferenceChild", as<ValueXml>, "<VALUE.REFERENCE><KEYVALUE>1</KEYVALUE></VALUE.REFERENCE>",
     "Expecting CLASSPATH, LOCALCLASSPATH, CLASSNAME, INSTANCEPATH, LOCALINSTANCEPATH or INSTANCENAME element"},
    // Names, keys and paths.
    {"ObjectPathChild", objectPath, "<OBJECTPATH><CLASSPATH/></OBJECTPATH>",
     "Expecting LOCALINSTANCEPATH or INSTANCEPATH element (1)"},
    {"ObjectPathEnd", objectPath,
     "<OBJECTPATH><LOCALINSTANCEPATH>" + lnsp + iname + "</LOCALINSTANCEPATH><X/></OBJECTPATH>",
     "Expecting /OBJECTPATH element"},
    {"InstanceNameEnd", as<InstanceNameXml>, "<INSTANCENAME CLASSNAME=\"A\"><KEYVALUE>1</KEYVALUE></INSTANCENAME>",
     "Expecting /INSTANCENAME element"},
    {"KeyBindingChild", as<KeyBindingXml>, "<KEYBINDING NAME=\"a\"><VALUE>1</VALUE></KEYBINDING>",
     "Expecting KEYVALUE or VALUE.REFERENCE element"},
    {"KeyBindingEnd", as<KeyBindingXml>, "<KEYBINDING NAME=\"a\"><KEYVALUE>1</KEYVALUE><KEYVALUE/></KEYBINDING>",
     "Expecting /KEYBINDING element"},
    {"KeyValueEnd", as<KeyValueXml>, "<KEYVALUE>1<X/></KEYVALUE>", "Expecting </KEYVALUE> tag"},
    {"NamespacePathHost", as<NameSpacePathXml>, "<NAMESPACEPATH>" + lnsp + "</NAMESPACEPATH>", "Expecting <HOST> tag"},
    {"NamespacePathLocal", as<NameSpacePathXml>, "<NAMESPACEPATH><HOST>h</HOST></NAMESPACEPATH>",
     "Expecting <LOCALNAMESPACEPATH> tag"},
    {"NamespacePathEnd", as<NameSpacePathXml>, "<NAMESPACEPATH><HOST>h</HOST>" + lnsp + "<X/></NAMESPACEPATH>",
     "Expecting </NAMESPACEPATH> tag"},
    {"LocalNamespacePathChild", as<LocalNameSpacePathXml>,
     "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"a\"/><HOST/></LOCALNAMESPACEPATH>",
     "Expecting /LOCALNAMESPACEPATH or NAMESPACE tag"},
    {"NamespaceEnd", as<NameSpaceXml>, "<NAMESPACE NAME=\"a\"><X/></NAMESPACE>", "Expecting </NAMESPACE> tag"},
    {"HostEnd", as<HostXml>, "<HOST>h<X/></HOST>", "Expecting </HOST> tag"},
    {"InstancePathNamespace", as<InstancepathValueXml>, "<INSTANCEPATH>" + iname + "</INSTANCEPATH>",
     "Expecting <NAMESPACEPATH> tag"},
    {"InstancePathInstanceName", as<InstancepathValueXml>, "<INSTANCEPATH>" + nsp + "</INSTANCEPATH>",
     "Expecting <INSTANCENAME> tag"},
    {"InstancePathEnd", as<InstancepathValueXml>, "<INSTANCEPATH>" + nsp + iname + iname + "</INSTANCEPATH>",
     "Expecting </INSTANCEPATH> tag"},
    {"LocalInstancePathNamespace", as<LocalInstancepathValueXml>, "<LOCALINSTANCEPATH>" + nsp + "</LOCALINSTANCEPATH>",
     "Expecting <LOCALNAMESPACEPATH> tag"},
    {"LocalInstancePathInstanceName", as<LocalInstancepathValueXml>, "<LOCALINSTANCEPATH>" + lnsp + "</LOCALINSTANCEPATH>",
     "Expecting <INSTANCENAME> tag"},
    {"LocalInstancePathEnd", as<LocalInstancepathValueXml>,
     "<LOCALINSTANCEPATH>" + lnsp + iname + "<X/></LOCALINSTANCEPATH>", "Expecting </LOCALINSTANCEPATH> tag"},
    {"ClassnameValueEnd", as<ClassnameValueXml>, "<CLASSNAME NAME=\"A\"><X/></CLASSNAME>",
     "Expecting </CLASSNAME> tag"},
    {"NamedInstanceWithoutInstance", as<NamedInstanceXml>, "<VALUE.NAMEDINSTANCE>" + iname + "</VALUE.NAMEDINSTANCE>",
     "Expecting INSTANCENANE and INSTANCE element"},
    {"NamedInstanceEnd", as<NamedInstanceXml>,
     "<VALUE.NAMEDINSTANCE>" + iname + instance + instance + "</VALUE.NAMEDINSTANCE>",
     "Expecting /VALUE.NAMEDINSTANCE element"},
    {"ObjectWithPathEnd", as<ObjectWithPathXml>, "<VALUE.OBJECTWITHPATH>" + instance + "</VALUE.OBJECTWITHPATH>",
     "Expecting /VALUE.OBJECTWITHPATH element"},
    {"ObjectWithPathInstance", as<ObjectWithPathXml>,
     "<VALUE.OBJECTWITHPATH><INSTANCEPATH>" + nsp + iname + "</INSTANCEPATH>" + iname + "</VALUE.OBJECTWITHPATH>",
     "Expecting INSTANCE element"},
    // Classes, methods, parameters.
    {"ClassChild", as<ClassXml>, "<CLASS NAME=\"A\"><VALUE>1</VALUE></CLASS>",
     "Expecting /CLASS, QUALIFIER, PROPERTY or METHOD element"},
    {"MethodChild", as<MethodXml>, "<METHOD NAME=\"m\"><PROPERTY NAME=\"p\"/></METHOD>",
     "Expecting /METHOD, QUALIFIER or PARAMETER element"},
    {"ParameterTableOfItsForm", as<ParameterXml>, "<PARAMETER NAME=\"a\" REFERENCECLASS=\"C\"/>",
     "Unknown attribute in list for PARAMETER (REFERENCEC)"},
    {"ParameterFormNamed", as<ParameterXml>, "<PARAMETER.REFARRAY NAME=\"a\" ?>",
     "Bad attribute list for PARAMETER.REFARRAY: "},
    {"ParameterChild", as<ParameterXml>, "<PARAMETER NAME=\"a\" TYPE=\"string\"><VALUE>1</VALUE></PARAMETER>",
     "Expecting /PARAMETER or QUALIFIER element"},
    {"ParamvalueEnd", as<ParamvalueXml>, "<PARAMVALUE NAME=\"a\"><X/></PARAMVALUE>", "Expecting </PARAMVALUE> tag"},
    {"ClassNameEnd", as<ClassNameXml>, "<CLASSNAME NAME=\"A\">x</CLASSNAME>", "Expecting </CLASSNAME> tag"},
};

class ParseFailures : public ::testing::TestWithParam<Row> {};

TEST_P(ParseFailures, ThrowTheExactMessage) {
    const Row& row = GetParam();
    testing::internal::CaptureStdout();   // a METHODRESPONSE prints its line
    try {
        row.parse(row.doc);
        ADD_FAILURE() << "parsed: " << row.doc.substr(0, 300);
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: " + row.message) << row.doc.substr(0, 300);
    }
    testing::internal::GetCapturedStdout();
}

INSTANTIATE_TEST_SUITE_P(Documents, ParseFailures, ::testing::ValuesIn(rows), xmltest::RowName());

// The CIM errors: the text of every code, and the two ways an ErrorXml is
// made (an ERROR element, the status headers), which differ on purpose.
std::string cimError(const std::string& code, const std::string& description) {
    CimXml cim(reply("<IMETHODRESPONSE NAME=\"GetInstance\"><ERROR CODE=\"" + code + "\" DESCRIPTION=\"" +
                     description + "\"/></IMETHODRESPONSE>"),
               0);   // the error is kept while parsing and thrown on access
    try {
        cim.getReturnData();
    } catch (const XmlException& e) {
        return e.getMsg();
    }
    return "(no error)";
}

// The text of each code from 0 to 18; 18 is past the end of the table.
const char* const symbols[] = {
    "Invalid/Unknown CIM Error Code: ", "CIM_ERR_FAILED: ", "CIM_ERR_ACCESS_DENIED: ", "CIM_ERR_INVALID_NAMESPACE: ",
    "CIM_ERR_INVALID_PARAMETER: ", "CIM_ERR_INVALID_CLASS: ", "CIM_ERR_NOT_FOUND: ", "CIM_ERR_NOT_SUPPORTED: ",
    "CIM_ERR_CLASS_HAS_CHILDREN:  ", "CIM_ERR_CLASS_HAS_INSTANCES: ", "CIM_ERR_INVALID_SUPERCLASS: ",
    "CIM_ERR_ALREADY_EXISTS: ", "CIM_ERR_NO_SUCH_PROPERTY: ", "CIM_ERR_TYPE_MISMATCH: ",
    "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED: ", "CIM_ERR_INVALID_QUERY: ", "CIM_ERR_METHOD_NOT_AVAILABLE: ",
    "CIM_ERR_METHOD_NOT_FOUND: ", "Invalid/Unknown CIM Error Code: "};

class CimErrorCodes : public ::testing::TestWithParam<int> {};

TEST_P(CimErrorCodes, HaveTheirSymbol) {
    const std::string code = std::to_string(GetParam());
    EXPECT_EQ(cimError(code, "d"), "Cim: (" + code + ") " + symbols[GetParam()] + "d");
}

INSTANTIATE_TEST_SUITE_P(Table, CimErrorCodes, ::testing::Range(0, 19),
                         [](const ::testing::TestParamInfo<int>& info) { return std::string(info.param < 10 ? "Code0" : "Code") + std::to_string(info.param); });

TEST(CimErrors, TextsOfBothSources) {
    EXPECT_EQ(cimError("", "d"), "Cim: () Invalid/Unknown CIM Error Code: d");
    EXPECT_EQ(cimError("99999999999999999999", "d"), "Cim: (99999999999999999999) Invalid/Unknown CIM Error Code: d");
    EXPECT_EQ(cimError("1", "a &quot;b&quot; &amp; c\\d"), "Cim: (1) CIM_ERR_FAILED: a \"b\" & c\\d");
    // An ERROR element's description that names its symbol is kept; the
    // status headers' is dropped, leaving only the code.
    EXPECT_EQ(cimError("6", "CIM_ERR_NOT_FOUND: gone"), "Cim: (6) CIM_ERR_NOT_FOUND: gone");
    struct {
        int code;
        std::string description;
        const char* message;
    } statuses[] = {{6, "CIM_ERR_NOT_FOUND: gone", "Cim: (6) "},
                    {17, "", "Cim: (17) CIM_ERR_METHOD_NOT_FOUND: "},
                    {18, "x", "Cim: (18) Invalid/Unknown CIM Error Code: x"},
                    {-1, "x", "Cim: (-1) Invalid/Unknown CIM Error Code: x"}};
    for (auto& s : statuses) EXPECT_EQ(ErrorXml(s.code, s.description).getMsg(), s.message) << s.code;
}

}  // namespace
