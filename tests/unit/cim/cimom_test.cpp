// The CIM operations against a recording transport: the exact request
// documents (valid against the CIM-XML DTD), the transport calls in their
// order, the kind of result each operation accepts, a method call's GetClass
// and key check, and the refusals made before anything is sent.
#include "cim/cimom.h"
#include "tests/unit/xml/xml_test_util.h"
#include "xml/envelope.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using xmltest::iReply;

// Writes each call as it comes: "Op(Class flags) send receive; ".
class RecordingCimom : public Cimom {
public:
    void genRequest(URL& url, const char* name, bool isMethodCall, bool hasKeys) override {
        calls += std::string(name) + "(" + url.className + (isMethodCall ? " method" : "") +
                 (hasKeys ? " keys) " : ") ");
    }
    void addPayload(const std::string& document) override {
        calls += "send ";
        documents.push_back(document);
    }
    std::string getResponse() override {
        calls += "receive; ";
        replies.emplace_back();   // once the canned replies are used up, empty ones
        std::string body = replies.front();
        replies.pop_front();
        return body;
    }
    void setClientCertificates(const char*, int, const char*, const char*) override {}

    std::string calls;
    std::vector<std::string> documents;
    std::deque<std::string> replies;
};

// xmllint's exit status for `document` checked against the CIM-XML DTD.
int validate(const std::string& document) {
    const std::string dtd = testfiles::existing(testfiles::dataPath("cim-dtd/DSP0203_2.3.1.dtd"));
    FILE* pipe = popen(("xmllint --noout --dtdvalid " + dtd + " - 1>&2").c_str(), "w");
    if (!pipe) return -1;
    std::fwrite(document.data(), 1, document.size(), pipe);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

const std::string head = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
                         "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>";
const std::string tail = "</SIMPLEREQ>\n</MESSAGE></CIM>";
// The namespace path of intrinsic operations, of GetClass and of method calls: three spellings.
const std::string intrinsicNs = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\">"
                                "</NAMESPACE></LOCALNAMESPACEPATH>\n";
const std::string getClassNs =
    "\n<LOCALNAMESPACEPATH>\n<NAMESPACE NAME=\"quilo\"/>\n<NAMESPACE NAME=\"cimv2\"/>\n</LOCALNAMESPACEPATH>\n";
const std::string methodNs =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";

std::string intrinsic(const std::string& op, const std::string& params) {
    return head + "<IMETHODCALL NAME=\"" + op + "\">" + (op == "GetClass" ? getClassNs : intrinsicNs) + params +
           "</IMETHODCALL>" + tail;
}
std::string param(const char* name, const std::string& content) {
    return std::string("<IPARAMVALUE NAME=\"") + name + "\">" + content + "</IPARAMVALUE>\n";
}
std::string value(const char* name, const std::string& text) { return param(name, "<VALUE>" + text + "</VALUE>"); }
std::string cls(const char* name, const std::string& c) { return param(name, "<CLASSNAME NAME=\"" + c + "\"/>"); }
// The boolean parameters D(eepInheritance), L(ocalOnly), (Include)Q(ualifiers)
// and (Include Class)O(rigin) named in `names`, each T or F in `values`.
std::string flags(const std::string& names, const char* values) {
    static const char* const all[] = {"DeepInheritance", "LocalOnly", "IncludeQualifiers", "IncludeClassOrigin"};
    std::string out;
    for (size_t i = 0; i < names.size(); ++i)
        out += value(all[std::string("DLQO").find(names[i])], values[i] == 'T' ? "TRUE" : "FALSE");
    return out;
}
std::string list(const std::string& v) { return param("PropertyList", "<VALUE.ARRAY>" + v + "</VALUE.ARRAY>"); }

const std::string volumeName = "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\"><KEYBINDING NAME=\"VolumeNo\">"
                               "<KEYVALUE VALUETYPE=\"numeric\">1</KEYVALUE></KEYBINDING></INSTANCENAME>";
const std::string className = cls("ClassName", "Quilo_StorageVolume");
const std::string objectName = param("ObjectName", volumeName);
const std::string instanceName = param("InstanceName", volumeName);

const std::string controllerClass =
    "<CLASS NAME=\"Quilo_RAIDControllerSystem\"><METHOD NAME=\"SetWaTP\" TYPE=\"uint32\"><PARAMETER NAME=\"Period\" "
    "TYPE=\"uint32\"/></METHOD></CLASS>";
const std::string volumeClass =
    "<CLASS NAME=\"V\"><PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE"
    "</VALUE></QUALIFIER></PROPERTY><PROPERTY NAME=\"Name\" TYPE=\"string\"/><PROPERTY.ARRAY NAME=\"Levels\" "
    "TYPE=\"uint16\"/><PROPERTY.REFERENCE NAME=\"Pool\"/><METHOD NAME=\"DeleteVolume\" TYPE=\"uint32\"><PARAMETER "
    "NAME=\"Num\" TYPE=\"uint32\"/><PARAMETER.ARRAY NAME=\"Members\" TYPE=\"uint32\"/><PARAMETER.REFERENCE "
    "NAME=\"Target\"/></METHOD></CLASS>";
const std::string volumeInstance = "<INSTANCE CLASSNAME=\"V\"><PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\"><VALUE>1"
                                   "</VALUE></PROPERTY><PROPERTY NAME=\"Name\" TYPE=\"string\"/></INSTANCE>";
const std::string named = "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"D\"/><INSTANCE CLASSNAME=\"D\"/>"
                          "</VALUE.NAMEDINSTANCE>";
const std::string methodReply = xmltest::reply("<METHODRESPONSE NAME=\"M\"><RETURNVALUE/></METHODRESPONSE>");

// Parsed on first use, not while the program starts: the parsers' tables are set up then.
ClassXml* declared() { static ClassXml c = xmltest::parse<ClassXml>(volumeClass); return &c; }
InstanceXml* existing() { static InstanceXml i = xmltest::parse<InstanceXml>(volumeInstance); return &i; }

const char* const controllerPath = "https://10.0.0.5/quilo/cimv2:Quilo_RAIDControllerSystem";
const char* const volumePath = "https://10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1";

using Run = std::function<std::unique_ptr<RetValXml>(Cimom&, URL&)>;
#define RUN(call) [](Cimom& c, URL& u) -> std::unique_ptr<RetValXml> { return call; }

struct Operation {
    const char* name;
    const char* op;   // in genRequest and IMETHODCALL; "" when refused before sending
    std::string reply;
    Run run;
    std::string result;   // what the caller got (see describe), "null" or what was thrown
    std::string params;   // the IPARAMVALUEs written
};

class Operations : public ::testing::TestWithParam<Operation> {};

TEST_P(Operations, WriteTheirDocumentAndTakeTheirKindOfResult) {
    const Operation& o = GetParam();
    RecordingCimom cimom;
    URL volume(volumePath);
    cimom.replies = {o.reply};
    std::string result;
    try {
        const std::unique_ptr<RetValXml> r = o.run(cimom, volume);
        result = r ? xmltest::describe(*r) : "null";
    } catch (const XmlException& e) {
        result = e.getMsg();
    }
    EXPECT_EQ(result, o.result);
    EXPECT_EQ(cimom.calls, *o.op ? std::string(o.op) + "(Quilo_StorageVolume) send receive; " : "");
    if (!*o.op) return;   // refused before sending
    EXPECT_EQ(cimom.documents.at(0), intrinsic(o.op, o.params));
    EXPECT_EQ(validate(cimom.documents[0]), 0) << cimom.documents[0];
}

const char* const unexpected = "Parse Exception: Unexpected response type";

INSTANTIATE_TEST_SUITE_P(
    Table, Operations,
    ::testing::Values(
        // A single result becomes a list of one.
        Operation{"EnumInstancesAll", "EnumerateInstances", iReply(named), RUN(c.enumInstances(u, 0, 1, 0, 0, 0)),
                  "NamedInstances: D.\n\n", className + flags("DLQO", "TFFF")},
        Operation{"EnumInstancesPropertyList", "EnumerateInstances", iReply(volumeInstance),
                  RUN(c.enumInstances(u, "Tag,Model", 0, 1, 1, 1)), unexpected,
                  className + flags("DLQO", "FTTT") + list("<VALUE>Tag</VALUE><VALUE>Model</VALUE>")},
        Operation{"GetInstanceAll", "GetInstance", iReply("<INSTANCE CLASSNAME=\"V\"/>"),
                  RUN(c.getInstance(u, nullptr, 0, 0, 0)), "Instance: ", flags("LQO", "FFF") + instanceName},
        Operation{"GetInstancePropertyList", "GetInstance", iReply(named), RUN(c.getInstance(u, "Name", 1, 0, 1)),
                  unexpected, flags("LQO", "TTF") + list("<VALUE>Name</VALUE>") + instanceName},
        Operation{"GetClass", "GetClass", iReply("<CLASS NAME=\"V\"/>"), RUN(c.getClass(u, nullptr, 1, 1, 0)),
                  "Class: ", className + flags("LQO", "FTT")},
        Operation{"EnumInstanceNames", "EnumerateInstanceNames", iReply("<INSTANCENAME CLASSNAME=\"X\"/>"),
                  RUN(c.enumInstanceNames(u)), "InstanceNames: X.\n", className},
        Operation{"EnumClasses", "EnumerateClasses", iReply("<CLASS NAME=\"V\"/>"), RUN(c.enumClasses(u, 1, 0, 1, 0)),
                  "Classes: \n", className + flags("DLQO", "TFTF")},
        Operation{"EnumClassNames", "EnumerateClassNames", iReply("<CLASSNAME NAME=\"A\"/>"),
                  RUN(c.enumClassNames(u, false)), "ClassNames: A\n", className + flags("D", "F")},
        Operation{"DeleteClass", "DeleteClass", "", RUN(c.deleteClass(u)), "null", className},
        Operation{"DeleteInstance", "DeleteInstance", "", RUN(c.deleteInstance(u)), "null", instanceName},
        Operation{"Associators", "Associators", iReply("<VALUE.OBJECTWITHPATH/>"),
                  RUN(c.associators(u, "A", "P", "Dependent", "Antecedent", "N,S", 1, 0)), "ObjectsWithPath: \n\n",
                  objectName + cls("AssocClass", "A") + cls("ResultClass", "P") + value("Role", "Dependent") +
                      value("ResultRole", "Antecedent") + flags("QO", "TF") + list("<VALUE>N</VALUE><VALUE>S</VALUE>")},
        Operation{"AssociatorNames", "AssociatorNames", iReply("<INSTANCENAME CLASSNAME=\"P\"/>"),
                  RUN(c.associatorNames(u, "A", 0, "Dep", 0)), "InstanceNames: P.\n",
                  objectName + cls("AssocClass", "A") + value("Role", "Dep")},
        Operation{"References", "References", iReply("<VALUE.OBJECTWITHPATH/>"),
                  RUN(c.references(u, "A", "Dep", 0, 0, 0)), "ObjectsWithPath: \n\n",
                  objectName + cls("ResultClass", "A") + value("Role", "Dep") + flags("QO", "FF")},
        Operation{"ReferenceNames", "ReferenceNames", iReply("<INSTANCENAME CLASSNAME=\"P\"/>"),
                  RUN(c.referenceNames(u, nullptr, "Dep")), "InstanceNames: P.\n", objectName + value("Role", "Dep")},
        Operation{"GetProperty", "GetProperty", iReply("<VALUE>vol1</VALUE>"), RUN(c.getProperty(u, "Name")),
                  "Value: vol1", value("PropertyName", "Name") + instanceName},
        // A successful SetProperty returns nothing, which the reply parser reports.
        Operation{"SetPropertyDone", "SetProperty", xmltest::reply("<IMETHODRESPONSE NAME=\"SetProperty\"/>"),
                  RUN(c.setProperty(u, declared(), "name=\"vol 2\"")), "",
                  value("PropertyName", "Name") + value("NewValue", "vol 2") + instanceName},
        Operation{"SetPropertyNoReply", "SetProperty", "", RUN(c.setProperty(u, declared(), "Name=x")),
                  "Cmd Exception: Unable to get response", value("PropertyName", "Name") + value("NewValue", "x") +
                                                                 instanceName},
        Operation{"SetPropertyUnknown", "", "", RUN(c.setProperty(u, declared(), "Size=1")),
                  "Cmd Exception: Unknown property", ""},
        Operation{"CreateWithoutKey", "", "", RUN(c.createInstance(u, declared(), "Name=v")),
                  "Cmd Exception: Bad key specification", ""},
        Operation{"CreateUndeclared", "", "", RUN(c.createInstance(u, declared(), "VolumeNo=1,Foo=1,Bar=2")),
                  "Cmd Exception: Undefined attribute(s) specified: Foo, Bar", ""},
        // The properties in the order the class declares them.
        Operation{"CreateInstance", "CreateInstance", "", RUN(c.createInstance(u, declared(), "Name=v,VolumeNo=3")),
                  "null",
                  param("NewInstance", "<INSTANCE CLASSNAME=\"Quilo_StorageVolume\">\n<PROPERTY NAME=\"VolumeNo\" "
                                       "TYPE=\"uint32\"><VALUE>3</VALUE></PROPERTY>\n<PROPERTY NAME=\"Name\" "
                                       "TYPE=\"string\"><VALUE>v</VALUE></PROPERTY></INSTANCE>")},
        Operation{"ModifyInstance", "ModifyInstance", "",
                  RUN(c.modifyInstance(u, existing(), "name=new")), "null",
                  param("ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + volumeName + "<INSTANCE CLASSNAME=\"Quilo_"
                        "StorageVolume\">\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>new</VALUE></PROPERTY>"
                        "</INSTANCE></VALUE.NAMEDINSTANCE>")}),
    [](const ::testing::TestParamInfo<Operation>& info) { return info.param.name; });

// Calls `method` on `path`: what it threw, or "" when it sent the call.
std::string callMethod(RecordingCimom& cimom, const char* path, const char* method, const char* arguments) {
    URL url(path);
    try {
        cimom.callMethod2str(&url, method, arguments);
    } catch (const XmlException& e) {
        return e.getMsg();
    }
    return "";
}

std::string methodCall(const std::string& method, const std::string& target, const std::string& arguments) {
    return head + "<METHODCALL NAME=\"" + method + "\">" + target + arguments + "</METHODCALL>" + tail;
}
const std::string volumeTarget = "<LOCALINSTANCEPATH>" + methodNs + volumeName + "</LOCALINSTANCEPATH>";

// A method call reads the class first, then names the class (or the
// instance by its keys) and the arguments the method declares.
TEST(MethodCalls, GetTheClassThenCallTheMethod) {
    RecordingCimom cimom;
    cimom.replies = {iReply(controllerClass, "GetClass"), methodReply};
    URL url(controllerPath);
    EXPECT_EQ(cimom.callMethod2str(&url, "SetWaTP", "Period=2"), methodReply);
    EXPECT_EQ(cimom.calls, "GetClass(Quilo_RAIDControllerSystem) send receive; "
                           "SetWaTP(Quilo_RAIDControllerSystem method) send receive; ");
    EXPECT_EQ(cimom.documents.at(0),
              intrinsic("GetClass", cls("ClassName", "Quilo_RAIDControllerSystem") + flags("LQO", "FTT")));
    EXPECT_EQ(cimom.documents[1],
              methodCall("SetWaTP", "<LOCALCLASSPATH>" + methodNs + "<CLASSNAME NAME=\"Quilo_RAIDControllerSystem\"/>",
                         "</LOCALCLASSPATH><PARAMVALUE NAME=\"Period\"><VALUE>2</VALUE></PARAMVALUE>"));
    for (const std::string& d : cimom.documents) EXPECT_EQ(validate(d), 0) << d;
}

TEST(MethodCalls, OnAnInstanceWriteTheDeclaredArgumentsInTheirForms) {
    RecordingCimom cimom;
    cimom.replies = {iReply(volumeClass, "GetClass"), methodReply};
    // The method's name differs in case; Bogus is not declared and is dropped.
    const char* const arguments = "num=2,Bogus=7,Members=1,2,3,Target=Quilo_X.Tag=\"1\"";
    EXPECT_EQ(callMethod(cimom, volumePath, "deletevolume", arguments), "");
    EXPECT_EQ(cimom.calls, "GetClass(Quilo_StorageVolume) send receive; "
                           "deletevolume(Quilo_StorageVolume method keys) send receive; ");
    EXPECT_EQ(cimom.documents.at(1),
              methodCall("deletevolume", volumeTarget,
                         "<PARAMVALUE NAME=\"num\"><VALUE>2</VALUE></PARAMVALUE><PARAMVALUE NAME=\"Members\">"
                         "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE><VALUE>3</VALUE></VALUE.ARRAY></PARAMVALUE>"
                         "<PARAMVALUE NAME=\"Target\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>10.0.0.5"
                         "</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\">"
                         "</NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_X\">"
                         "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
                         "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></PARAMVALUE>"));
    EXPECT_EQ(validate(cimom.documents[1]), 0) << cimom.documents[1];
    // No arguments, or a method the class does not declare.
    const std::pair<const char*, const char*> none[] = {{"DeleteVolume", nullptr}, {"Rebuild", "Num=2"}};
    for (const auto& [method, arguments] : none) {
        cimom.documents.clear();
        cimom.replies = {iReply(volumeClass, "GetClass"), methodReply};
        EXPECT_EQ(callMethod(cimom, volumePath, method, arguments), "");
        EXPECT_EQ(cimom.documents.at(1), methodCall(method, volumeTarget, "")) << method;
    }
}

TEST(MethodCalls, NeedTheClassAndItsKeys) {
    RecordingCimom cimom;
    EXPECT_EQ(callMethod(cimom, controllerPath, "SetWaTP", "Period=2"), "Cmd Exception: Invalid class");
    cimom.replies = {iReply(volumeClass, "GetClass")};
    EXPECT_EQ(callMethod(cimom, "https://h/quilo/cimv2:Quilo_StorageVolume.Number=1", "DeleteVolume", nullptr),
              "Cmd Exception: Bad key specification");
    EXPECT_EQ(cimom.calls, "GetClass(Quilo_RAIDControllerSystem) send receive; "
                           "GetClass(Quilo_StorageVolume) send receive; ");
    cimom.replies = {iReply(volumeClass, "GetClass"), methodReply};
    EXPECT_EQ(callMethod(cimom, "https://h/quilo/cimv2:Quilo_StorageVolume.volumeno=1", "DeleteVolume", nullptr), "");
}

}  // namespace
