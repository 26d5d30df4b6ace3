// The CIM operations against a recording transport: exact request
// documents, calling order, result types and messages.
#include "cim/cimom.h"
#include "xml/envelope.h"
#include "xml/errors.h"
#include "tests/unit/param_names.h"
#include "tests/unit/test_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <fstream>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

// Keeps every call the operations make and answers with canned bodies.
class RecordingCimom : public Cimom {
public:
    void genRequest(URL& url, const char* name, bool isMethodCall, bool hasKeys) override {
        calls.push_back(std::string("genRequest ") + name + " " + (isMethodCall ? "method" : "intrinsic") +
                        (hasKeys ? " keys " : " nokeys ") + url.className);
    }
    void addPayload(const std::string& document) override {
        calls.push_back("addPayload");
        documents.push_back(document);
    }
    std::string getResponse() override {
        calls.push_back("getResponse");
        if (replies.empty()) return "";
        std::string body = replies.front();
        replies.pop_front();
        return body;
    }
    void setClientCertificates(const char*, int, const char*, const char*) override {}

    std::vector<std::string> calls;
    std::vector<std::string> documents;
    std::deque<std::string> replies;
};

// ---- replies ----------------------------------------------------------------

std::string envelope(const std::string& response) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
           "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
           "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n" +
           response + "\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
}

std::string iReply(const char* name, const std::string& content) {
    return envelope(std::string("<IMETHODRESPONSE NAME=\"") + name + "\">\n<IRETURNVALUE>\n" + content +
                    "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

std::string methodReply(const char* name, const char* returnValue) {
    return envelope(std::string("<METHODRESPONSE NAME=\"") + name + "\">\n<RETURNVALUE PARAMTYPE=\"uint32\">" +
                    "<VALUE>" + returnValue + "</VALUE></RETURNVALUE>\n</METHODRESPONSE>");
}

const char* const kControllerClass =
    "<CLASS NAME=\"Quilo_RAIDControllerSystem\" SUPERCLASS=\"CIM_ComputerSystem\">\n"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"></PROPERTY>\n"
    "<METHOD NAME=\"SetWaTP\" TYPE=\"uint32\">\n<PARAMETER NAME=\"Period\" TYPE=\"uint32\"></PARAMETER>\n</METHOD>\n"
    "<METHOD NAME=\"AuthPassword\" TYPE=\"uint32\">\n<PARAMETER NAME=\"Password\" TYPE=\"string\"></PARAMETER>\n"
    "</METHOD>\n"
    "</CLASS>";

const char* const kVolumeClass =
    "<CLASS NAME=\"Quilo_StorageVolume\">\n"
    "<PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\">\n"
    "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>\n</PROPERTY>\n"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"></PROPERTY>\n"
    "<PROPERTY.ARRAY NAME=\"Levels\" TYPE=\"uint16\"></PROPERTY.ARRAY>\n"
    "<PROPERTY.REFERENCE NAME=\"Pool\" REFERENCECLASS=\"Quilo_StoragePool\"></PROPERTY.REFERENCE>\n"
    "<METHOD NAME=\"DeleteVolume\" TYPE=\"uint32\">\n"
    "<PARAMETER NAME=\"Num\" TYPE=\"uint32\"/>\n"
    "<PARAMETER.ARRAY NAME=\"Members\" TYPE=\"uint32\"/>\n"
    "<PARAMETER.REFERENCE NAME=\"Target\" REFERENCECLASS=\"Quilo_X\"/>\n"
    "</METHOD>\n"
    "</CLASS>";

std::string namedDisk(const char* tag) {
    return std::string("<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_DiskDrive\"><KEYBINDING NAME=\"Tag\">") +
           "<KEYVALUE VALUETYPE=\"string\">" + tag + "</KEYVALUE></KEYBINDING></INSTANCENAME>" +
           "<INSTANCE CLASSNAME=\"Quilo_DiskDrive\"><PROPERTY NAME=\"Tag\" TYPE=\"string\"><VALUE>" + tag +
           "</VALUE></PROPERTY></INSTANCE></VALUE.NAMEDINSTANCE>";
}

const char* const kVolumeInstance =
    "<INSTANCE CLASSNAME=\"Quilo_StorageVolume\"><PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\"><VALUE>1</VALUE>"
    "</PROPERTY></INSTANCE>";

std::string readData(const char* name) { return testfiles::read(testfiles::dataPath(name)); }

// ---- expected request pieces ------------------------------------------------

const std::string kHeader =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
    "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>";
const std::string kTrailer = "</SIMPLEREQ>\n</MESSAGE></CIM>";

std::string call(const char* op) {
    return kHeader + "<IMETHODCALL NAME=\"" + op +
           "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\"></NAMESPACE>"
           "</LOCALNAMESPACEPATH>\n";
}
std::string endCall() { return "</IMETHODCALL>" + kTrailer; }
std::string flag(const char* name, bool on) {
    return std::string("<IPARAMVALUE NAME=\"") + name + "\"><VALUE>" + (on ? "TRUE" : "FALSE") +
           "</VALUE></IPARAMVALUE>\n";
}
std::string className(const char* param, const char* name) {
    return std::string("<IPARAMVALUE NAME=\"") + param + "\"><CLASSNAME NAME=\"" + name + "\"/></IPARAMVALUE>\n";
}
std::string value(const char* param, const char* text) {
    return std::string("<IPARAMVALUE NAME=\"") + param + "\"><VALUE>" + text + "</VALUE></IPARAMVALUE>\n";
}
const std::string kVolumeKeys = "<KEYBINDING NAME=\"VolumeNo\"><KEYVALUE VALUETYPE=\"numeric\">1</KEYVALUE></KEYBINDING>";
std::string volumeName(const char* param) {
    return std::string("<IPARAMVALUE NAME=\"") + param + "\"><INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\">" +
           kVolumeKeys + "</INSTANCENAME></IPARAMVALUE>\n";
}
std::string getClassDocument(const char* cls) {
    return kHeader +
           "<IMETHODCALL NAME=\"GetClass\">\n<LOCALNAMESPACEPATH>\n<NAMESPACE NAME=\"quilo\"/>\n"
           "<NAMESPACE NAME=\"cimv2\"/>\n</LOCALNAMESPACEPATH>\n" +
           className("ClassName", cls) + flag("LocalOnly", false) + flag("IncludeQualifiers", true) +
           flag("IncludeClassOrigin", true) + endCall();
}
const std::string kExtrinsicNameSpace =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";

std::vector<std::string> oneExchange(const std::string& op, const char* cls, bool method = false,
                                     bool keys = false) {
    return {"genRequest " + op + (method ? " method" : " intrinsic") + (keys ? " keys " : " nokeys ") + cls,
            "addPayload", "getResponse"};
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// ---- document checks --------------------------------------------------------

// Exit status of xmllint on `document`; its findings go to the test's
// standard error unless `quiet`.
int xmllint(const std::string& options, const std::string& document, bool quiet = false) {
    const std::string command = "xmllint --noout " + options + " - " + (quiet ? ">/dev/null 2>&1" : "1>&2");
    FILE* pipe = popen(command.c_str(), "w");
    if (!pipe) return -1;
    std::fwrite(document.data(), 1, document.size(), pipe);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// xmllint's option to validate against the CIM-XML DTD; a DTD that is not
// there fails the test by its name (xmllint would only refuse every document).
std::string dtdValid() { return "--dtdvalid " + testfiles::existing(testfiles::dataPath("cim-dtd/DSP0203_2.3.1.dtd")); }

void expectWellFormedAndValid(const std::string& document) {
    EXPECT_EQ(xmllint("", document), 0) << document;
    EXPECT_EQ(xmllint(dtdValid(), document), 0) << document;
}

TEST(DocumentCheck, RejectsBrokenDocuments) {
    EXPECT_NE(xmllint("", "<a><b></a>", true), 0);
    EXPECT_NE(xmllint(dtdValid(), kHeader + "<IMETHODCALL NAME=\"X\"></IMETHODCALL>" + kTrailer, true), 0);
}

class CimomTest : public ::testing::Test {
protected:
    RecordingCimom cimom;
    URL disks{"https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive"};
    URL controller{"https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_RAIDControllerSystem"};
    URL volume{"https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1"};
};

// ---- enumInstances ----------------------------------------------------------

TEST_F(CimomTest, EnumInstancesDocumentAndSingleResult) {
    cimom.replies.push_back(iReply("EnumerateInstances", namedDisk("1")));
    std::unique_ptr<NamedInstancesXml> result = cimom.enumInstances(disks, nullptr, true, false, false, false);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->items.size(), 1u);
    EXPECT_EQ(result->items[0].name.className, "Quilo_DiskDrive");

    EXPECT_EQ(cimom.calls, oneExchange("EnumerateInstances", "Quilo_DiskDrive"));
    ASSERT_EQ(cimom.documents.size(), 1u);
    EXPECT_EQ(cimom.documents[0], call("EnumerateInstances") + className("ClassName", "Quilo_DiskDrive") +
                                      flag("DeepInheritance", true) + flag("LocalOnly", false) +
                                      flag("IncludeQualifiers", false) + flag("IncludeClassOrigin", false) + endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

TEST_F(CimomTest, EnumInstancesWithPropertyListAndTwoResults) {
    cimom.replies.push_back(iReply("EnumerateInstances", namedDisk("1") + "\n" + namedDisk("2")));
    std::unique_ptr<NamedInstancesXml> result = cimom.enumInstances(disks, "Tag,Model", false, true, true, true);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->items.size(), 2u);
    EXPECT_EQ(result->items[1].name.keys[0].keyValue.value, "2");
    EXPECT_EQ(cimom.documents.at(0),
              call("EnumerateInstances") + className("ClassName", "Quilo_DiskDrive") + flag("DeepInheritance", false) +
                  flag("LocalOnly", true) + flag("IncludeQualifiers", true) + flag("IncludeClassOrigin", true) +
                  "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>Tag</VALUE><VALUE>Model</VALUE>"
                  "</VALUE.ARRAY></IPARAMVALUE>\n" +
                  endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

TEST_F(CimomTest, EnumInstancesResultKinds) {
    cimom.replies.push_back("");
    EXPECT_EQ(cimom.enumInstances(disks, nullptr, true, false, false, false), nullptr);

    cimom.replies.push_back(iReply("EnumerateInstances", kVolumeInstance));
    try {
        cimom.enumInstances(disks, nullptr, true, false, false, false);
        ADD_FAILURE();
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Unexpected response type");
    }
}

TEST_F(CimomTest, EnumInstances2strReturnsTheBody) {
    const std::string body = iReply("EnumerateInstances", namedDisk("1"));
    cimom.replies.push_back(body);
    EXPECT_EQ(cimom.enumInstances2str(&disks, nullptr, true, false, false, false), body);
    EXPECT_EQ(cimom.calls, oneExchange("EnumerateInstances", "Quilo_DiskDrive"));
}

TEST_F(CimomTest, CimErrorsPassThrough) {
    cimom.replies.push_back(readData("real-replies/sfcb-ErrorTest06.xml"));
    try {
        cimom.enumInstances(disks, nullptr, true, false, false, false);
        ADD_FAILURE();
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.getMsg(), "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found");
    }
}

// ---- getInstance ------------------------------------------------------------

TEST_F(CimomTest, GetInstanceDocument) {
    cimom.replies.push_back(iReply("GetInstance", kVolumeInstance));
    std::unique_ptr<InstanceXml> result = cimom.getInstance(volume, nullptr, false, false, false);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->className, "Quilo_StorageVolume");
    EXPECT_EQ(cimom.calls, oneExchange("GetInstance", "Quilo_StorageVolume"));
    EXPECT_EQ(cimom.documents.at(0), call("GetInstance") + flag("LocalOnly", false) +
                                         flag("IncludeQualifiers", false) + flag("IncludeClassOrigin", false) +
                                         volumeName("InstanceName") + endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

TEST_F(CimomTest, GetInstanceWithPropertyListPutsInstanceNameLast) {
    cimom.replies.push_back(iReply("GetInstance", kVolumeInstance));
    cimom.getInstance(volume, "Name", true, false, true);
    EXPECT_EQ(cimom.documents.at(0),
              call("GetInstance") + flag("LocalOnly", true) + flag("IncludeQualifiers", true) +
                  flag("IncludeClassOrigin", false) +
                  "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>Name</VALUE></VALUE.ARRAY></IPARAMVALUE>\n" +
                  volumeName("InstanceName") + endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

TEST_F(CimomTest, GetInstanceResultKinds) {
    cimom.replies.push_back("");
    EXPECT_EQ(cimom.getInstance(volume, nullptr, false, false, false), nullptr);
    cimom.replies.push_back(iReply("GetInstance", namedDisk("1")));
    EXPECT_THROW(cimom.getInstance(volume, nullptr, false, false, false), ParseException);
}

// ---- getClass ---------------------------------------------------------------

TEST_F(CimomTest, GetClassDocument) {
    cimom.replies.push_back(iReply("GetClass", kVolumeClass));
    std::unique_ptr<ClassXml> cls = cimom.getClass(volume, nullptr, true, true, false);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(cls->name, "Quilo_StorageVolume");
    EXPECT_EQ(cimom.calls, oneExchange("GetClass", "Quilo_StorageVolume"));
    EXPECT_EQ(cimom.documents.at(0), getClassDocument("Quilo_StorageVolume"));
    expectWellFormedAndValid(cimom.documents[0]);
}

TEST_F(CimomTest, GetClassRejectsOtherResults) {
    cimom.replies.push_back(iReply("GetClass", kVolumeInstance));
    try {
        cimom.getClass(volume, nullptr, true, true, false);
        ADD_FAILURE();
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Unexpected response type");
    }
}

TEST_F(CimomTest, GetClass2strWithPropertyList) {
    cimom.replies.push_back("body");
    EXPECT_EQ(cimom.getClass2str(&disks, "A", false, false, true), "body");
    EXPECT_EQ(cimom.documents.at(0),
              kHeader +
                  "<IMETHODCALL NAME=\"GetClass\">\n<LOCALNAMESPACEPATH>\n<NAMESPACE NAME=\"quilo\"/>\n"
                  "<NAMESPACE NAME=\"cimv2\"/>\n</LOCALNAMESPACEPATH>\n" +
                  className("ClassName", "Quilo_DiskDrive") + flag("LocalOnly", true) +
                  flag("IncludeQualifiers", false) + flag("IncludeClassOrigin", false) +
                  "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>A</VALUE></VALUE.ARRAY></IPARAMVALUE>\n" +
                  endCall());
}

// ---- callMethod2str ---------------------------------------------------------

TEST_F(CimomTest, CallMethodOnAClassPath) {
    cimom.replies = {iReply("GetClass", kControllerClass), methodReply("SetWaTP", "0")};
    const std::string body = cimom.callMethod2str(&controller, "SetWaTP", "Period=2");
    EXPECT_EQ(body, methodReply("SetWaTP", "0"));
    EXPECT_EQ(cimom.calls, oneExchange("GetClass", "Quilo_RAIDControllerSystem") +
                               oneExchange("SetWaTP", "Quilo_RAIDControllerSystem", true, false));
    ASSERT_EQ(cimom.documents.size(), 2u);
    EXPECT_EQ(cimom.documents[0], getClassDocument("Quilo_RAIDControllerSystem"));
    EXPECT_EQ(cimom.documents[1],
              kHeader + "<METHODCALL NAME=\"SetWaTP\"><LOCALCLASSPATH>" + kExtrinsicNameSpace +
                  "<CLASSNAME NAME=\"Quilo_RAIDControllerSystem\"/></LOCALCLASSPATH>"
                  "<PARAMVALUE NAME=\"Period\"><VALUE>2</VALUE></PARAMVALUE></METHODCALL>" +
                  kTrailer);
    for (const std::string& d : cimom.documents) expectWellFormedAndValid(d);
}

TEST_F(CimomTest, CallMethodOnAnInstancePath) {
    cimom.replies = {iReply("GetClass", kVolumeClass), methodReply("DeleteVolume", "0")};
    // The method name differs in case; Bogus is not declared and is dropped.
    cimom.callMethod2str(&volume, "deletevolume", "num=2,Bogus=7,Members=1,2,3,Target=Quilo_X.Tag=\"1\"");
    EXPECT_EQ(cimom.calls, oneExchange("GetClass", "Quilo_StorageVolume") +
                               oneExchange("deletevolume", "Quilo_StorageVolume", true, true));
    ASSERT_EQ(cimom.documents.size(), 2u);
    EXPECT_EQ(cimom.documents[1],
              kHeader + "<METHODCALL NAME=\"deletevolume\"><LOCALINSTANCEPATH>" + kExtrinsicNameSpace +
                  "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\">" + kVolumeKeys +
                  "</INSTANCENAME></LOCALINSTANCEPATH>"
                  "<PARAMVALUE NAME=\"num\"><VALUE>2</VALUE></PARAMVALUE>"
                  "<PARAMVALUE NAME=\"Members\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE><VALUE>3</VALUE>"
                  "</VALUE.ARRAY></PARAMVALUE>"
                  "<PARAMVALUE NAME=\"Target\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>10.0.0.5</HOST>"
                  "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\"></NAMESPACE>"
                  "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_X\">"
                  "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
                  "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></PARAMVALUE>"
                  "</METHODCALL>" +
                  kTrailer);
    for (const std::string& d : cimom.documents) expectWellFormedAndValid(d);
}

struct NoArgumentsCase {
    const char* method;
    const char* parameters;
};

std::ostream& operator<<(std::ostream& os, const NoArgumentsCase& c) {
    return os << c.method << " " << (c.parameters ? c.parameters : "(null)");
}

class CallMethodWithoutArguments : public CimomTest, public ::testing::WithParamInterface<NoArgumentsCase> {};

TEST_P(CallMethodWithoutArguments, WritesNoParamValue) {
    cimom.replies = {iReply("GetClass", kVolumeClass), methodReply("X", "0")};
    cimom.callMethod2str(&volume, GetParam().method, GetParam().parameters);
    ASSERT_EQ(cimom.documents.size(), 2u);
    EXPECT_EQ(cimom.documents[1], kHeader + "<METHODCALL NAME=\"" + GetParam().method + "\"><LOCALINSTANCEPATH>" +
                                      kExtrinsicNameSpace + "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\">" +
                                      kVolumeKeys + "</INSTANCENAME></LOCALINSTANCEPATH></METHODCALL>" + kTrailer);
    expectWellFormedAndValid(cimom.documents[1]);
}

const NoArgumentsCase kNoArgumentCases[] = {
    {"DeleteVolume", nullptr},      // no parameter text
    {"Rebuild", "Num=2"},           // a method the class does not declare
    {"DeleteVolume", "Unknown=1"},  // only undeclared parameters
    {"DeleteVolume", ""},
};

INSTANTIATE_TEST_SUITE_P(Texts, CallMethodWithoutArguments, ::testing::ValuesIn(kNoArgumentCases),
                         paramname::Numbered([](const NoArgumentsCase& c) { return c.method; }));

TEST_F(CimomTest, CallMethodNeedsTheClass) {
    cimom.replies = {""};
    try {
        cimom.callMethod2str(&controller, "SetWaTP", "Period=2");
        ADD_FAILURE();
    } catch (const CmdException& e) {
        EXPECT_EQ(e.getMsg(), "Cmd Exception: Invalid class");
    }
    EXPECT_EQ(cimom.calls, oneExchange("GetClass", "Quilo_RAIDControllerSystem"));
}

TEST_F(CimomTest, CallMethodChecksTheKeys) {
    URL wrongKey("https://h/quilo/cimv2:Quilo_StorageVolume.Number=1");
    cimom.replies = {iReply("GetClass", kVolumeClass)};
    try {
        cimom.callMethod2str(&wrongKey, "DeleteVolume", nullptr);
        ADD_FAILURE();
    } catch (const CmdException& e) {
        EXPECT_EQ(e.getMsg(), "Cmd Exception: Bad key specification");
    }
    EXPECT_EQ(cimom.calls.size(), 3u);

    URL otherCase("https://h/quilo/cimv2:Quilo_StorageVolume.volumeno=1");
    cimom.replies = {iReply("GetClass", kVolumeClass), methodReply("DeleteVolume", "0")};
    EXPECT_NO_THROW(cimom.callMethod2str(&otherCase, "DeleteVolume", nullptr));
}

TEST_F(CimomTest, CallMethodParsesTheReply) {
    cimom.replies = {iReply("GetClass", kControllerClass), methodReply("SetWaTP", "0")};
    ::testing::internal::CaptureStdout();
    std::unique_ptr<MethodresponseXml> response = cimom.callMethod(controller, "SetWaTP", "Period=2");
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("callMethod:\n", 0), 0u) << out;
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->name, "SetWaTP");

    cimom.replies = {iReply("GetClass", kControllerClass), iReply("SetWaTP", kVolumeInstance)};
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(cimom.callMethod(controller, "SetWaTP", nullptr), ParseException);
    ::testing::internal::GetCapturedStdout();
}

// ---- the other operations ---------------------------------------------------

struct OperationCase {
    const char* name;
    const char* operation;   // the CIM operation in genRequest and IMETHODCALL
    std::function<void(Cimom&, URL&)> run;
    std::string reply;
    std::string parameters;  // the IPARAMVALUEs expected, in order
};

std::ostream& operator<<(std::ostream& os, const OperationCase& c) { return os << c.name; }

class OtherOperations : public ::testing::TestWithParam<OperationCase> {};

TEST_P(OtherOperations, WriteTheirDocuments) {
    const OperationCase& c = GetParam();
    RecordingCimom cimom;
    URL volume("https://10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1");
    cimom.replies.push_back(c.reply);
    c.run(cimom, volume);
    EXPECT_EQ(cimom.calls, oneExchange(c.operation, "Quilo_StorageVolume"));
    ASSERT_EQ(cimom.documents.size(), 1u);
    EXPECT_EQ(cimom.documents[0], call(c.operation) + c.parameters + endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

const std::string kVolumePath =
    "<VALUE.OBJECTWITHPATH><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH>"
    "<NAMESPACE NAME=\"quilo\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>"
    "<INSTANCENAME CLASSNAME=\"Quilo_StoragePool\"></INSTANCENAME></INSTANCEPATH>"
    "<INSTANCE CLASSNAME=\"Quilo_StoragePool\"></INSTANCE></VALUE.OBJECTWITHPATH>";
const std::string kPoolName =
    "<OBJECTPATH><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"/>"
    "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_StoragePool\"></INSTANCENAME>"
    "</INSTANCEPATH></OBJECTPATH>";

ClassXml& volumeClass() {
    static ClassXml cls = [] {
        XmlBuffer xb(kVolumeClass);
        return ClassXml(xb);
    }();
    return cls;
}

const OperationCase kOperationCases[] = {
    {"EnumInstanceNames", "EnumerateInstanceNames",
     [](Cimom& c, URL& u) {
         auto r = c.enumInstanceNames(u);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 1u);   // a single name becomes a list of one
     },
     iReply("EnumerateInstanceNames", "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\"></INSTANCENAME>"),
     className("ClassName", "Quilo_StorageVolume")},
    {"EnumClasses", "EnumerateClasses",
     [](Cimom& c, URL& u) {
         auto r = c.enumClasses(u, true, false, true, false);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 1u);
     },
     iReply("EnumerateClasses", kVolumeClass),
     className("ClassName", "Quilo_StorageVolume") + flag("DeepInheritance", true) + flag("LocalOnly", false) +
         flag("IncludeQualifiers", true) + flag("IncludeClassOrigin", false)},
    {"EnumClassNames", "EnumerateClassNames",
     [](Cimom& c, URL& u) {
         auto r = c.enumClassNames(u, false);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 2u);
     },
     iReply("EnumerateClassNames", "<CLASSNAME NAME=\"A\"/><CLASSNAME NAME=\"B\"/>"),
     className("ClassName", "Quilo_StorageVolume") + flag("DeepInheritance", false)},
    {"EnumClassNames2str", "EnumerateClassNames",
     [](Cimom& c, URL& u) { EXPECT_EQ(c.enumClassNames2str(&u, true), "raw"); }, "raw",
     className("ClassName", "Quilo_StorageVolume") + flag("DeepInheritance", true)},
    {"DeleteClass", "DeleteClass", [](Cimom& c, URL& u) { EXPECT_EQ(c.deleteClass(u), nullptr); }, "",
     className("ClassName", "Quilo_StorageVolume")},
    {"DeleteInstance", "DeleteInstance", [](Cimom& c, URL& u) { EXPECT_EQ(c.deleteInstance(u), nullptr); }, "",
     volumeName("InstanceName")},
    {"AssociatorsAll", "Associators",
     [](Cimom& c, URL& u) {
         auto r = c.associators(u, "Quilo_A", "Quilo_StoragePool", "Dependent", "Antecedent", "Name,Size", true,
                                false);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 1u);
     },
     iReply("Associators", kVolumePath),
     volumeName("ObjectName") + className("AssocClass", "Quilo_A") + className("ResultClass", "Quilo_StoragePool") +
         value("Role", "Dependent") + value("ResultRole", "Antecedent") + flag("IncludeQualifiers", true) +
         flag("IncludeClassOrigin", false) +
         "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>Name</VALUE><VALUE>Size</VALUE></VALUE.ARRAY>"
         "</IPARAMVALUE>\n"},
    {"AssociatorsNone", "Associators",
     [](Cimom& c, URL& u) {
         EXPECT_EQ(c.associators2str(&u, nullptr, nullptr, nullptr, nullptr, nullptr, false, true), "raw");
     },
     "raw", volumeName("ObjectName") + flag("IncludeQualifiers", false) + flag("IncludeClassOrigin", true)},
    {"AssociatorNames", "AssociatorNames",
     [](Cimom& c, URL& u) {
         auto r = c.associatorNames(u, "Quilo_A", nullptr, "Dependent", nullptr);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 2u);
     },
     iReply("AssociatorNames", kPoolName + kPoolName),
     volumeName("ObjectName") + className("AssocClass", "Quilo_A") + value("Role", "Dependent")},
    {"References", "References",
     [](Cimom& c, URL& u) {
         auto r = c.references(u, "Quilo_A", "Dependent", nullptr, false, false);
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 2u);
     },
     iReply("References", kVolumePath + kVolumePath),
     volumeName("ObjectName") + className("ResultClass", "Quilo_A") + value("Role", "Dependent") +
         flag("IncludeQualifiers", false) + flag("IncludeClassOrigin", false)},
    {"References2str", "References",
     [](Cimom& c, URL& u) { EXPECT_EQ(c.references2str(&u, nullptr, nullptr, "X", true, true), "raw"); }, "raw",
     volumeName("ObjectName") + flag("IncludeQualifiers", true) + flag("IncludeClassOrigin", true) +
         "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>X</VALUE></VALUE.ARRAY></IPARAMVALUE>\n"},
    {"ReferenceNames", "ReferenceNames",
     [](Cimom& c, URL& u) {
         auto r = c.referenceNames(u, nullptr, "Dependent");
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->items.size(), 1u);
     },
     iReply("ReferenceNames", kPoolName), volumeName("ObjectName") + value("Role", "Dependent")},
    {"GetProperty", "GetProperty",
     [](Cimom& c, URL& u) {
         auto r = c.getProperty(u, "Name");
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->value, "vol1");
     },
     iReply("GetProperty", "<VALUE>vol1</VALUE>"), value("PropertyName", "Name") + volumeName("InstanceName")},
    {"SetProperty", "SetProperty",
     // A successful SetProperty returns nothing, which the reply parser reports.
     [](Cimom& c, URL& u) { EXPECT_THROW(c.setProperty(u, &volumeClass(), "name=\"vol 2\""), NoReturnValue); },
     envelope("<IMETHODRESPONSE NAME=\"SetProperty\">\n</IMETHODRESPONSE>"),
     value("PropertyName", "Name") + "<IPARAMVALUE NAME=\"NewValue\"><VALUE>vol 2</VALUE></IPARAMVALUE>\n" +
         volumeName("InstanceName")},
    {"CreateInstance", "CreateInstance",
     [](Cimom& c, URL& u) {
         auto r = c.createInstance(u, &volumeClass(), "Name=v,VolumeNo=3,Levels=1,5");
         ASSERT_NE(r, nullptr);
         EXPECT_EQ(r->type, TypeInstanceName);
     },
     iReply("CreateInstance", "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\"></INSTANCENAME>"),
     "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"Quilo_StorageVolume\">"
     "\n<PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\"><VALUE>3</VALUE></PROPERTY>"
     "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>v</VALUE></PROPERTY>"
     "\n<PROPERTY.ARRAY NAME=\"Levels\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>5</VALUE></VALUE.ARRAY>"
     "</PROPERTY.ARRAY></INSTANCE></IPARAMVALUE>\n"},
};

INSTANTIATE_TEST_SUITE_P(Table, OtherOperations, ::testing::ValuesIn(kOperationCases), paramname::ByName());

TEST(ModifyInstance, WritesANamedInstance) {
    RecordingCimom cimom;
    URL volume("https://10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1");
    XmlBuffer xb(
        "<INSTANCE CLASSNAME=\"Quilo_StorageVolume\"><PROPERTY NAME=\"VolumeNo\" TYPE=\"uint32\"><VALUE>1</VALUE>"
        "</PROPERTY><PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>old</VALUE></PROPERTY></INSTANCE>");
    InstanceXml instance(xb);
    cimom.replies.push_back("");
    cimom.modifyInstance(volume, &instance, "name=new");
    EXPECT_EQ(cimom.calls, oneExchange("ModifyInstance", "Quilo_StorageVolume"));
    ASSERT_EQ(cimom.documents.size(), 1u);
    EXPECT_EQ(cimom.documents[0], call("ModifyInstance") +
                                      "<IPARAMVALUE NAME=\"ModifiedInstance\"><VALUE.NAMEDINSTANCE>"
                                      "<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\">" +
                                      kVolumeKeys +
                                      "</INSTANCENAME><INSTANCE CLASSNAME=\"Quilo_StorageVolume\">"
                                      "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>new</VALUE></PROPERTY>"
                                      "</INSTANCE></VALUE.NAMEDINSTANCE></IPARAMVALUE>\n" +
                                      endCall());
    expectWellFormedAndValid(cimom.documents[0]);
}

// ---- messages of the other operations ---------------------------------------

struct MessageCase {
    const char* name;
    std::function<void(Cimom&, URL&)> run;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const MessageCase& c) { return os << c.name; }

class OperationMessages : public ::testing::TestWithParam<MessageCase> {};

TEST_P(OperationMessages, RefuseBeforeSending) {
    RecordingCimom cimom;
    URL volume("https://10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1");
    try {
        GetParam().run(cimom, volume);
        ADD_FAILURE();
    } catch (const CmdException& e) {
        EXPECT_EQ(e.getMsg(), GetParam().message);
    }
    EXPECT_TRUE(cimom.calls.empty());
}

InstanceXml& volumeInstance() {
    static InstanceXml instance = [] {
        XmlBuffer xb(kVolumeInstance);
        return InstanceXml(xb);
    }();
    return instance;
}

const MessageCase kMessageCases[] = {
    {"CreateWithoutKey", [](Cimom& c, URL& u) { c.createInstance(u, &volumeClass(), "Name=v"); },
     "Cmd Exception: Bad key specification"},
    {"CreateUnknown", [](Cimom& c, URL& u) { c.createInstance(u, &volumeClass(), "VolumeNo=1,Foo=1,Bar=2"); },
     "Cmd Exception: Undefined attribute(s) specified: Foo, Bar"},
    {"CreateReference",
     [](Cimom& c, URL& u) { c.createInstance(u, &volumeClass(), "VolumeNo=1,Pool=Quilo_StoragePool.Id=1"); },
     "Cmd Exception: create/modify instance with reference values not yet supported"},
    {"ModifyUnknown", [](Cimom& c, URL& u) { c.modifyInstance(u, &volumeInstance(), "VolumeNo=2,Size=9"); },
     "Cmd Exception: Undefined attribute(s) specified: Size"},
    {"SetPropertyTwoPairs", [](Cimom& c, URL& u) { c.setProperty(u, &volumeClass(), "Name=a,VolumeNo=2"); },
     "Cmd Exception: Invalid or missing prop-value specification"},
    {"SetPropertyNoText", [](Cimom& c, URL& u) { c.setProperty(u, &volumeClass(), nullptr); },
     "Cmd Exception: Invalid or missing prop-value specification"},
    {"SetPropertyUnknown", [](Cimom& c, URL& u) { c.setProperty(u, &volumeClass(), "Size=1"); },
     "Cmd Exception: Unknown property"},
    {"SetPropertyReference",
     [](Cimom& c, URL& u) { c.setProperty(u, &volumeClass(), "Pool=Quilo_StoragePool.Id=1"); },
     "Cmd Exception: create/modify instance with reference values not yet supported"},
};

INSTANTIATE_TEST_SUITE_P(Table, OperationMessages, ::testing::ValuesIn(kMessageCases), paramname::ByName());

TEST(SetProperty, EmptyReplyIsAnError) {
    RecordingCimom cimom;
    URL volume("https://10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1");
    try {
        cimom.setProperty(volume, &volumeClass(), "Name=x");
        ADD_FAILURE();
    } catch (const CmdException& e) {
        EXPECT_EQ(e.getMsg(), "Cmd Exception: Unable to get response");
    }
    EXPECT_EQ(cimom.calls, oneExchange("SetProperty", "Quilo_StorageVolume"));
}

}  // namespace
