// Every parse failure of the document layer, each produced by a malformed
// document (a whole reply, or the fragment one element parser reads).
#include "xml/envelope.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using xmltest::prolog;
using xmltest::reply;

using Parser = void (*)(const std::string&);

template <class T>
void parseAs(const std::string& doc) {
    XmlBuffer xb(doc);
    T parsed(xb);
}

void parseReply(const std::string& doc) { CimXml cim(doc, 0); }
void parseObjectPath(const std::string& doc) {
    XmlBuffer xb(doc);
    InstanceNameXml name(xb, true);
}
void parseMessage(const std::string& doc) {
    XmlBuffer xb(doc);
    MessageXml message(xb, 0);
}
void parseSimplersp(const std::string& doc) {
    XmlBuffer xb(doc);
    SimplerspXml rsp(xb, 0);
}
void parseIMethodresponse(const std::string& doc) {
    XmlBuffer xb(doc);
    IMethodresponseXml rsp(xb, 0);
}
void parseMethodresponse(const std::string& doc) {
    XmlBuffer xb(doc);
    MethodresponseXml rsp(xb, 0);
}

struct Row {
    const char* parser;
    Parser parse;
    std::string doc;
    std::string message;   // without the "Parse Exception: " prefix
};

const std::string cimOpen = "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">";
const std::string msgOpen = "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">";
const std::string iname = "<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"k\"><KEYVALUE>1</KEYVALUE></KEYBINDING></INSTANCENAME>";
const std::string lnsp = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>";
const std::string nsp = "<NAMESPACEPATH><HOST>h</HOST>" + lnsp + "</NAMESPACEPATH>";
const std::string instance = "<INSTANCE CLASSNAME=\"A\"></INSTANCE>";
const std::string iresponse(const std::string& inner) { return "<IMETHODRESPONSE NAME=\"M\">" + inner + "</IMETHODRESPONSE>"; }

std::vector<Row> rows() {
    return {
        // Scanner failures met while reading a reply.
        {"reply", parseReply, prolog() + "<CIM CIMVERSION=\"2.0\" CIMVERSION=\"2.0\">",
         "Unknown attribute in list for CIM (CIMVERSION)"},
        {"reply", parseReply, prolog() + "<CIM CIMVERSION \"2.0\">", "'=' expected in attribute list"},
        {"reply", parseReply, prolog() + "<CIM CIMVERSION=\"2.0\" ! >", "Bad attribute list for CIM: "},
        {"reply", parseReply, reply(iresponse("<IRETURNVALUE><VALUE><![CDATA[x</VALUE></IRETURNVALUE>")),
         "Failed to get CDATA end tag."},
        // Envelope.
        {"reply", parseReply, "<CIM/>", "Expecting ?xml element"},
        {"reply", parseReply, prolog() + "<MESSAGE/>", "Expecting CIM element"},
        {"reply", parseReply, prolog() + "<CIM CIMVERSION=\"2.0\" ?>", "Bad attribute list for CIM: "},
        {"reply", parseReply, prolog() + cimOpen + "<SIMPLERSP/></CIM>", "Expecting MESSAGE element"},
        {"reply", parseReply, prolog() + "<CIM CIMVERSION=\"2.0\"/>", "Expecting MESSAGE element"},
        {"reply", parseReply,
         prolog() + cimOpen + msgOpen + "<SIMPLERSP>" + iresponse("<IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE>") +
             "</SIMPLERSP></MESSAGE></CIMX>",
         "Expecting </CIM> tag"},
        {"message", parseMessage, "<FOO/>", "Expecting MESSAGE element"},
        {"reply", parseReply, prolog() + cimOpen + "<MESSAGE ID=\"1\" ?></CIM>", "Bad attribute list for MESSAGE: "},
        {"reply", parseReply, prolog() + cimOpen + msgOpen + "<FOO/></MESSAGE></CIM>", "Expecting SIMPLERSP element"},
        {"reply", parseReply,
         prolog() + cimOpen + msgOpen + "<SIMPLERSP>" + iresponse("<IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE>") +
             "</SIMPLERSP></CIM>",
         "Expecting </MESSAGE> tag"},
        {"simplersp", parseSimplersp, "<FOO/>", "Expecting SIMPLERSP element"},
        {"simplersp", parseSimplersp, "<SIMPLERSP ?>", "Bad attribute list for SIMPLERSP: "},
        {"reply", parseReply, reply("<EXPMETHODRESPONSE NAME=\"M\"/>"),
         "Expecting IMETHODRESPONSE or METHODRESPONSE element"},
        {"simplersp", parseSimplersp, "<SIMPLERSP/>", "Expecting IMETHODRESPONSE or METHODRESPONSE element"},
        {"simplersp", parseSimplersp,
         "<SIMPLERSP>" + iresponse("<IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE>") + "</MESSAGE>",
         "Expecting </SIMPLERSP> tag"},
        {"imethodresponse", parseIMethodresponse, "<METHODRESPONSE NAME=\"M\"/>", "Expecting IMETHODRESPONSE element"},
        {"imethodresponse", parseIMethodresponse, "<IMETHODRESPONSE NAME=\"M\" ?>", "Bad attribute list for IMETHODRESPONSE: "},
        {"reply", parseReply,
         reply("<IMETHODRESPONSE NAME=\"M\"><IRETURNVALUE><CLASSNAME NAME=\"A\"/></IRETURNVALUE><PARAMVALUE NAME=\"p\"/>"
               "</IMETHODRESPONSE>"),
         "Expecting </IMETHODRESPONSE> tag(2)"},
        {"reply", parseReply,
         reply("<IMETHODRESPONSE NAME=\"M\"><ERROR CODE=\"1\"/><ERROR CODE=\"2\"/></IMETHODRESPONSE>"),
         "Expecting </IMETHODRESPONSE> tag(3)"},
        {"reply", parseReply, reply(iresponse("<PARAMVALUE NAME=\"p\"/>")),
         "Expecting /IMETHODRESPONSE, IRETURNVALUE or ERROR element"},
        {"methodresponse", parseMethodresponse, "<IMETHODRESPONSE NAME=\"M\"/>", "Expecting METHODRESPONSE element"},
        {"methodresponse", parseMethodresponse, "<METHODRESPONSE NAME=\"M\" ?>", "Bad attribute list for METHODRESPONSE: "},
        {"reply", parseReply,
         reply("<METHODRESPONSE NAME=\"M\"><RETURNVALUE><VALUE>0</VALUE></RETURNVALUE><PARAMVALUE NAME=\"p\"/>"
               "<ERROR CODE=\"1\"/></METHODRESPONSE>"),
         "Expecting </METHODRESPONSE> tag(2)"},
        {"reply", parseReply,
         reply("<METHODRESPONSE NAME=\"M\"><ERROR CODE=\"1\"/><PARAMVALUE NAME=\"p\"/></METHODRESPONSE>"),
         "Expecting </METHODRESPONSE> tag(3)"},
        {"reply", parseReply, reply("<METHODRESPONSE NAME=\"M\"><PARAMVALUE NAME=\"p\"/></METHODRESPONSE>"),
         "Expecting /METHODRESPONSE, RETURNVALUE or ERROR element"},
        {"ireturnvalue", parseAs<IReturnvalueXml>, "<RETURNVALUE/>", "Expecting IRETURNVALUE element"},
        {"ireturnvalue", parseAs<IReturnvalueXml>, "<IRETURNVALUE ?>", "Bad attribute list for IRETURNVALUE: "},
        {"reply", parseReply, xmltest::iReply(instance + "<CLASS NAME=\"B\"/>"), "Expecting </IRETURNVALUE> tag"},
        {"ireturnvalue", parseAs<IReturnvalueXml>, "<IRETURNVALUE><VALUE>1</VALUE><VALUE>2</VALUE></IRETURNVALUE>",
         "Expecting </IRETURNVALUE> tag"},
        {"reply", parseReply, xmltest::iReply("<KEYVALUE>1</KEYVALUE>"), "Expecting INSTANCE, CLASS or ... element"},
        {"returnvalue", parseAs<ReturnvalueXml>, "<IRETURNVALUE/>", "Expecting RETURNVALUE element"},
        {"returnvalue", parseAs<ReturnvalueXml>, "<RETURNVALUE PARAMTYPE=\"uint32\" ?>", "Bad attribute list for RETURNVALUE: "},
        {"returnvalue", parseAs<ReturnvalueXml>, "<RETURNVALUE><VALUE>1</VALUE></IRETURNVALUE>",
         "Expecting </RETURNVALUE> tag"},
        {"returnvalue", parseAs<ReturnvalueXml>, "<RETURNVALUE><HOST>h</HOST></RETURNVALUE>",
         "Expecting INSTANCE, CLASS or ... element"},
        {"error", parseAs<ErrorXml>, "<ERRORS/>", "Expecting ERROR element"},
        {"error", parseAs<ErrorXml>, "<ERROR CODE=\"1\" ?>", "Bad attribute list for ERROR: "},
        {"error", parseAs<ErrorXml>, "<ERROR CODE=\"1\">" + instance + "</ERROR>", "Expecting </ERROR> tag"},
        // Instances, properties, values, keys and paths.
        {"instance", parseAs<InstanceXml>, "<INSTANCENAME CLASSNAME=\"A\"/>", "Expecting INSTANCE element"},
        {"instance", parseAs<InstanceXml>, "<INSTANCE CLASSNAME=\"A\" ?>", "Bad attribute list for INSTANCE: "},
        {"instance", parseAs<InstanceXml>, "<INSTANCE CLASSNAME=\"A\"><VALUE>1</VALUE></INSTANCE>",
         "Expecting /INSTANCE, QUALIFIER or PROPERTY element"},
        {"instance", parseAs<InstanceXml>, "<INSTANCE CLASSNAME=\"A\" LANG=\"en\">",
         "Unknown attribute in list for INSTANCE (LANG=\"en\">)"},
        {"property", parseAs<PropertyXml>, "<PARAMETER NAME=\"a\"/>", "Expecting PROPERTY element xx"},
        {"property", parseAs<PropertyXml>, "<PROPERTY NAME=\"a\" ?>", "Bad attribute list for PROPERTY: "},
        {"property", parseAs<PropertyXml>, "<PROPERTY.REFERENCE NAME=\"a\" ?>", "Bad attribute list for PROPERTY.REFERENCE: "},
        {"property", parseAs<PropertyXml>, "<PROPERTY.ARRAY NAME=\"a\" ?>", "Bad attribute list for PROPERTY.ARRAY: "},
        {"property", parseAs<PropertyXml>, "<PROPERTY NAME=\"a\" ARRAYSIZE=\"2\">",
         "Unknown attribute in list for PROPERTY (ARRAYSIZE=)"},
        {"property", parseAs<PropertyXml>, "<PROPERTY NAME=\"a\"><KEYVALUE>1</KEYVALUE></PROPERTY>",
         "Expecting /PROPERTY, QUALIFIER or VALUE element"},
        {"property", parseAs<PropertyXml>, "<PROPERTY NAME=\"a\"><VALUE>1</VALUE></PROPERTY.ARRAY>",
         "Expecting /PROPERTY, QUALIFIER or VALUE element"},
        {"qualifier", parseAs<QualifierXml>, "<PROPERTY NAME=\"a\"/>", "Expecting QUALIFIER element"},
        {"value", parseAs<ValueXml>, "<KEYVALUE>1</KEYVALUE>", "Expecting VALUE element"},
        {"value", parseAs<ValueXml>, "<VALUE ?>", "Bad attribute list for VALUE: "},
        {"value", parseAs<ValueXml>, "<VALUE.ARRAY ?>", "Bad attribute list for VALUE.ARRAY: "},
        {"value", parseAs<ValueXml>, "<VALUE.REFERENCE><KEYVALUE>1</KEYVALUE></VALUE.REFERENCE>",
         "Expecting CLASSPATH, LOCALCLASSPATH, CLASSNAME, INSTANCEPATH, LOCALINSTANCEPATH or INSTANCENAME element"},
        {"value", parseAs<ValueXml>, "<VALUE.REFERENCE/>",
         "Expecting CLASSPATH, LOCALCLASSPATH, CLASSNAME, INSTANCEPATH, LOCALINSTANCEPATH or INSTANCENAME element"},
        {"value", parseAs<ValueXml>, "<VALUE>1</VALUE.ARRAY>", "Expecting /VALUE element"},
        {"value", parseAs<ValueXml>, "<VALUE.ARRAY><VALUE>1</VALUE><KEYVALUE/></VALUE.ARRAY>",
         "Expecting /VALUE element"},
        {"value", parseAs<ValueXml>, "<VALUE.REFERENCE><CLASSNAME NAME=\"A\"/><CLASSNAME NAME=\"B\"/></VALUE.REFERENCE>",
         "Expecting /VALUE element"},
        {"objectpath", parseObjectPath, iname, "Expecting OBJECTPATH element"},
        {"objectpath", parseObjectPath, "<OBJECTPATH ?>", "Bad attribute list for OBJECTPATH: "},
        {"objectpath", parseObjectPath, "<OBJECTPATH><CLASSPATH/></OBJECTPATH>",
         "Expecting LOCALINSTANCEPATH or INSTANCEPATH element (1)"},
        {"objectpath", parseObjectPath,
         "<OBJECTPATH><LOCALINSTANCEPATH>" + lnsp + iname + "</LOCALINSTANCEPATH><X/></OBJECTPATH>",
         "Expecting /OBJECTPATH element"},
        {"instancename", parseAs<InstanceNameXml>, instance, "Expecting INSTANCENAME element"},
        {"instancename", parseAs<InstanceNameXml>, "<INSTANCENAME CLASSNAME=\"A\" ?>", "Bad attribute list for INSTANCENAME: "},
        {"instancename", parseAs<InstanceNameXml>, "<INSTANCENAME CLASSNAME=\"A\"><KEYVALUE>1</KEYVALUE></INSTANCENAME>",
         "Expecting /INSTANCENAME element"},
        {"keybinding", parseAs<KeyBindingXml>, "<KEYVALUE>1</KEYVALUE>", "Expecting KEYBINDING element"},
        {"keybinding", parseAs<KeyBindingXml>, "<KEYBINDING NAME=\"a\" ?>", "Bad attribute list for KEYBINDING: "},
        {"keybinding", parseAs<KeyBindingXml>, "<KEYBINDING NAME=\"a\"><VALUE>1</VALUE></KEYBINDING>",
         "Expecting KEYVALUE or VALUE.REFERENCE element"},
        {"keybinding", parseAs<KeyBindingXml>, "<KEYBINDING NAME=\"a\"/>", "Expecting KEYVALUE or VALUE.REFERENCE element"},
        {"keybinding", parseAs<KeyBindingXml>,
         "<KEYBINDING NAME=\"a\"><KEYVALUE>1</KEYVALUE><KEYVALUE>2</KEYVALUE></KEYBINDING>",
         "Expecting /KEYBINDING element"},
        {"keyvalue", parseAs<KeyValueXml>, "<KEYBINDING/>", "Expecting KEYVALUE element"},
        {"keyvalue", parseAs<KeyValueXml>, "<KEYVALUE VALUETYPE=\"string\" ?>", "Bad attribute list for KEYVALUE: "},
        {"keyvalue", parseAs<KeyValueXml>, "<KEYVALUE>1<X/></KEYVALUE>", "Expecting </KEYVALUE> tag"},
        {"namespacepath", parseAs<NameSpacePathXml>, lnsp, "Expecting NAMESPACEPATH element"},
        {"namespacepath", parseAs<NameSpacePathXml>, "<NAMESPACEPATH ?>", "Bad attribute list for NAMESPACEPATH: "},
        {"namespacepath", parseAs<NameSpacePathXml>, "<NAMESPACEPATH>" + lnsp + "</NAMESPACEPATH>",
         "Expecting <HOST> tag"},
        {"namespacepath", parseAs<NameSpacePathXml>, "<NAMESPACEPATH><HOST>h</HOST></NAMESPACEPATH>",
         "Expecting <LOCALNAMESPACEPATH> tag"},
        {"namespacepath", parseAs<NameSpacePathXml>, "<NAMESPACEPATH><HOST>h</HOST>" + lnsp + "<X/></NAMESPACEPATH>",
         "Expecting </NAMESPACEPATH> tag"},
        {"localnamespacepath", parseAs<LocalNameSpacePathXml>, nsp, "Expecting LOCALNAMESPACEPATH element"},
        {"localnamespacepath", parseAs<LocalNameSpacePathXml>, "<LOCALNAMESPACEPATH ?>",
         "Bad attribute list for LOCALNAMESPACEPATH: "},
        {"localnamespacepath", parseAs<LocalNameSpacePathXml>,
         "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"a\"/><HOST/></LOCALNAMESPACEPATH>",
         "Expecting /LOCALNAMESPACEPATH or NAMESPACE tag"},
        {"namespace", parseAs<NameSpaceXml>, "<NAMESPACEPATH/>", "Expecting NAMESPACE element"},
        {"namespace", parseAs<NameSpaceXml>, "<NAMESPACE NAME=\"a\" ?>", "Bad attribute list for NAMESPACE: "},
        {"namespace", parseAs<NameSpaceXml>, "<NAMESPACE NAME=\"a\"><X/></NAMESPACE>", "Expecting </NAMESPACE> tag"},
        {"host", parseAs<HostXml>, "<HOSTS/>", "Expecting HOST element"},
        {"host", parseAs<HostXml>, "<HOST ?>", "Bad attribute list for HOST: "},
        {"host", parseAs<HostXml>, "<HOST>h<X/></HOST>", "Expecting </HOST> tag"},
        {"instancepath", parseAs<InstancepathValueXml>, "<LOCALINSTANCEPATH/>", "Expecting INSTANCEPATH element"},
        {"instancepath", parseAs<InstancepathValueXml>, "<INSTANCEPATH ?>", "Bad attribute list for INSTANCEPATH: "},
        {"instancepath", parseAs<InstancepathValueXml>, "<INSTANCEPATH>" + iname + "</INSTANCEPATH>",
         "Expecting <NAMESPACEPATH> tag"},
        {"instancepath", parseAs<InstancepathValueXml>, "<INSTANCEPATH>" + nsp + "</INSTANCEPATH>",
         "Expecting <INSTANCENAME> tag"},
        {"instancepath", parseAs<InstancepathValueXml>, "<INSTANCEPATH>" + nsp + iname + iname + "</INSTANCEPATH>",
         "Expecting </INSTANCEPATH> tag"},
        {"localinstancepath", parseAs<LocalInstancepathValueXml>, "<INSTANCEPATH/>",
         "Expecting LOCALINSTANCEPATH element"},
        {"localinstancepath", parseAs<LocalInstancepathValueXml>, "<LOCALINSTANCEPATH ?>",
         "Bad attribute list for LOCALINSTANCEPATH: "},
        {"localinstancepath", parseAs<LocalInstancepathValueXml>, "<LOCALINSTANCEPATH>" + nsp + "</LOCALINSTANCEPATH>",
         "Expecting <LOCALNAMESPACEPATH> tag"},
        {"localinstancepath", parseAs<LocalInstancepathValueXml>, "<LOCALINSTANCEPATH>" + lnsp + "</LOCALINSTANCEPATH>",
         "Expecting <INSTANCENAME> tag"},
        {"localinstancepath", parseAs<LocalInstancepathValueXml>,
         "<LOCALINSTANCEPATH>" + lnsp + iname + "<X/></LOCALINSTANCEPATH>", "Expecting </LOCALINSTANCEPATH> tag"},
        {"classnamevalue", parseAs<ClassnameValueXml>, "<CLASS NAME=\"A\"/>", "Expecting CLASSNAME element"},
        {"classnamevalue", parseAs<ClassnameValueXml>, "<CLASSNAME NAME=\"A\" ?>", "Bad attribute list for CLASSNAME: "},
        {"classnamevalue", parseAs<ClassnameValueXml>, "<CLASSNAME NAME=\"A\"><X/></CLASSNAME>",
         "Expecting </CLASSNAME> tag"},
        {"namedinstance", parseAs<NamedInstanceXml>, instance, "Expecting VALUE.NAMEDINSTANCE element"},
        {"namedinstance", parseAs<NamedInstanceXml>, "<VALUE.NAMEDINSTANCE ?>", "Bad attribute list for VALUE.NAMEDINSTANCE: "},
        {"namedinstance", parseAs<NamedInstanceXml>,
         "<VALUE.NAMEDINSTANCE>" + instance + iname + "</VALUE.NAMEDINSTANCE>",
         "Expecting INSTANCENANE and INSTANCE element"},
        {"namedinstance", parseAs<NamedInstanceXml>, "<VALUE.NAMEDINSTANCE>" + iname + "</VALUE.NAMEDINSTANCE>",
         "Expecting INSTANCENANE and INSTANCE element"},
        {"namedinstance", parseAs<NamedInstanceXml>,
         "<VALUE.NAMEDINSTANCE>" + iname + instance + instance + "</VALUE.NAMEDINSTANCE>",
         "Expecting /VALUE.NAMEDINSTANCE element"},
        {"objectwithpath", parseAs<ObjectWithPathXml>, "<VALUE.NAMEDINSTANCE/>", "Expecting VALUE.OBJECTWITHPATH element"},
        {"objectwithpath", parseAs<ObjectWithPathXml>, "<VALUE.OBJECTWITHPATH ?>",
         "Bad attribute list for VALUE.OBJECTWITHPATH: "},
        {"objectwithpath", parseAs<ObjectWithPathXml>, "<VALUE.OBJECTWITHPATH>" + instance + "</VALUE.OBJECTWITHPATH>",
         "Expecting /VALUE.OBJECTWITHPATH element"},
        {"objectwithpath", parseAs<ObjectWithPathXml>,
         "<VALUE.OBJECTWITHPATH><INSTANCEPATH>" + nsp + iname + "</INSTANCEPATH>" + iname + "</VALUE.OBJECTWITHPATH>",
         "Expecting INSTANCE element"},
        // Classes, methods, parameters.
        {"class", parseAs<ClassXml>, instance, "Expecting CLASS element"},
        {"class", parseAs<ClassXml>, "<CLASS NAME=\"A\" ?>", "Bad attribute list for CLASS: "},
        {"class", parseAs<ClassXml>, "<CLASS NAME=\"A\"><VALUE>1</VALUE></CLASS>",
         "Expecting /CLASS, QUALIFIER, PROPERTY or METHOD element"},
        {"method", parseAs<MethodXml>, "<METHODS/>", "Expecting METHOD element"},
        {"method", parseAs<MethodXml>, "<METHOD NAME=\"m\" ?>", "Bad attribute list for METHOD: "},
        {"method", parseAs<MethodXml>, "<METHOD NAME=\"m\"><PROPERTY NAME=\"p\"/></METHOD>",
         "Expecting /METHOD, QUALIFIER or PARAMETER element"},
        {"parameter", parseAs<ParameterXml>, "<PROPERTY NAME=\"a\"/>", "Expecting PARAMETER element xx"},
        {"parameter", parseAs<ParameterXml>, "<PARAMETER NAME=\"a\" ?>", "Bad attribute list for PARAMETER: "},
        {"parameter", parseAs<ParameterXml>, "<PARAMETER.REFARRAY NAME=\"a\" ?>", "Bad attribute list for PARAMETER.REFARRAY: "},
        {"parameter", parseAs<ParameterXml>, "<PARAMETER NAME=\"a\" REFERENCECLASS=\"C\"/>",
         "Unknown attribute in list for PARAMETER (REFERENCEC)"},
        {"parameter", parseAs<ParameterXml>, "<PARAMETER NAME=\"a\" TYPE=\"string\"><VALUE>1</VALUE></PARAMETER>",
         "Expecting /PARAMETER or QUALIFIER element"},
        {"paramvalue", parseAs<ParamvalueXml>, "<IPARAMVALUE NAME=\"a\"/>", "Expecting PARAMVALUE tag"},
        {"paramvalue", parseAs<ParamvalueXml>, "<PARAMVALUE NAME=\"a\" ?>", "Bad attribute list for PARAMVALUE: "},
        {"paramvalue", parseAs<ParamvalueXml>, "<PARAMVALUE NAME=\"a\"><KEYVALUE/></PARAMVALUE>",
         "Expecting </PARAMVALUE> tag"},
        {"classname", parseAs<ClassNameXml>, "<CLASS NAME=\"A\"/>", "Expecting CLASSNAME element"},
        {"classname", parseAs<ClassNameXml>, "<CLASSNAME NAME=\"A\" ?>", "Bad attribute list for CLASSNAME: "},
        {"classname", parseAs<ClassNameXml>, "<CLASSNAME NAME=\"A\">x</CLASSNAME >x", "Expecting </CLASSNAME> tag"},
    };
}

class ParseFailures : public ::testing::TestWithParam<Row> {};

TEST_P(ParseFailures, ThrowsTheExactMessage) {
    const Row& row = GetParam();
    testing::internal::CaptureStdout();   // METHODRESPONSE parsing prints its line
    try {
        row.parse(row.doc);
        testing::internal::GetCapturedStdout();
        FAIL() << "parsed: " << row.doc;
    } catch (const ParseException& e) {
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(e.getMsg(), "Parse Exception: " + row.message) << row.doc;
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, ParseFailures, ::testing::ValuesIn(rows()),
                         paramname::Numbered([](const Row& c) { return c.parser; }));

}  // namespace
