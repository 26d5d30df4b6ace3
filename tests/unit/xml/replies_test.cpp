// Whole replies: those a real CIM server wrote, and our corpus of the
// provider's replies (tests/data), parsed into the results an operation
// gets.
#include "xml/envelope.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using xmltest::dataFile;
using xmltest::FlagGuard;
using xmltest::realReply;

std::string cimErrorOf(const std::string& body) {
    CimXml cim(body, 0);
    try {
        cim.getReturnData();
    } catch (const ErrorXml& e) {
        return e.getMsg();
    }
    return "(no error)";
}

std::string head(const std::string& s, const std::string& expected) { return s.substr(0, expected.size()); }

std::string text(const RetValXml& r, const char* q = "") {
    std::string buf;
    r.toStringBuffer(buf, q);
    return buf;
}

// ---------------------------------------------------------------- real replies

TEST(RealReplies, GetClassLinuxOperatingSystem) {
    CimXml cim(realReply("sfcb-getclass.Linux_OperatingSystem.xml"), 0);
    const auto* cls = dynamic_cast<const ClassXml*>(cim.getReturnData());
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(cls->type, TypeClass);
    EXPECT_EQ(cls->name, "Linux_OperatingSystem");
    EXPECT_EQ(cls->superclass, "CIM_OperatingSystem");
    EXPECT_EQ(cls->properties.size(), 41u);
    ASSERT_EQ(cls->methods.size(), 4u);
    EXPECT_EQ(cls->methods[0].name, "Shutdown");
    const MethodXml& change = cls->methods[2];
    EXPECT_EQ(change.name, "RequestStateChange");
    ASSERT_EQ(change.parameters.size(), 3u);
    EXPECT_EQ(change.parameters[0].name, "RequestedState");
    EXPECT_EQ(change.parameters[0].type, "uint16");
    EXPECT_EQ(change.parameters[1].kind, ParameterXml::Reference);
    EXPECT_EQ(change.parameters[1].referenceClass, "CIM_ConcreteJob");
    EXPECT_EQ(cls->methods[3].name, "execCmd");
    EXPECT_EQ(cls->qualifiers.size(), 4u);
    EXPECT_EQ(cls->qualifiers[0].text.substr(0, 35), "<QUALIFIER NAME=\"Description\" TYPE=");
}

TEST(RealReplies, EnumerateClassesGivesFortyClasses) {
    CimXml cim(realReply("sfcb-enumerateclasses.ALL.xml"), 0);
    const auto* list = dynamic_cast<const ClassesXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->type, TypeClasses);
    ASSERT_EQ(list->items.size(), 40u);
    EXPECT_EQ(list->items[0].name, "Linux_OSProcess");
    EXPECT_EQ(list->items[0].properties[0].kind, PropertyXml::Reference);
    EXPECT_EQ(list->items[0].properties[0].referenceClass, "Linux_OperatingSystem");
}

TEST(RealReplies, ReferencesGiveTwoObjectsWithPath) {
    FlagGuard guard;
    CimXml cim(realReply("sfcb-References.xml"), 0);
    const auto* list = dynamic_cast<const ObjectsWithPathXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->type, TypeObjectsWithPath);
    ASSERT_EQ(list->items.size(), 2u);
    const ObjectWithPathXml& second = list->items[1];
    ASSERT_NE(second.path, nullptr);
    std::string path;
    second.path->toStringBuffer(path, ":");
    EXPECT_EQ(path, "triptych.in.ibm.com/root/cimv2:TEST_Lineage.parent=TEST_Person.name=\"Mike\","
                    "child=TEST_Person.name=\"Gabi\"");
    EXPECT_EQ(text(second.instance), "-parent=TEST_Person.name=\"Mike\"\n-child=TEST_Person.name=\"Gabi\"\n");
}

TEST(RealReplies, InstanceOfTestPerson) {
    FlagGuard guard;
    CimXml cim(realReply("sfcb-InstanceTest2Get.xml"), 0);
    const auto* inst = dynamic_cast<const InstanceXml*>(cim.getReturnData());
    ASSERT_NE(inst, nullptr);
    EXPECT_EQ(inst->className, "TEST_Person");
    EXPECT_EQ(inst->properties.size(), 2u);
    EXPECT_EQ(text(*inst), "-extraProperty=\"defaultvalue\"\n-name=\"Michael\"\n");
}

TEST(RealReplies, SubscriptionNameWithTwoReferenceKeys) {
    FlagGuard guard;
    CimXml cim(realReply("sfcb-Indication03CreateSubscription.xml"), 0);
    const auto* name = dynamic_cast<const InstanceNameXml*>(cim.getReturnData());
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->type, TypeInstanceName);
    EXPECT_EQ(name->className, "CIM_IndicationSubscription");
    ASSERT_EQ(name->keys.size(), 2u);
    EXPECT_EQ(name->keys[0].kind, KeyBindingXml::Reference);
    EXPECT_EQ(name->keys[1].kind, KeyBindingXml::Reference);
    EXPECT_EQ(name->keys[1].name, "Handler");
    std::string key;
    name->keys[1].toStringBuffer(key, "");
    EXPECT_EQ(key, "Handler=root/interop:CIM_IndicationHandlerCIMXML.SystemCreationClassName=\"CIM_ComputerSystem\","
                   "SystemName=\"localhost.localdomain\",CreationClassName=\"CIM_IndicationHandlerCIMXML\","
                   "Name=\"TestHandler0\"");
}

struct ErrorReply {
    const char* file;
    const char* message;
};

class RealErrorReplies : public ::testing::TestWithParam<ErrorReply> {};

TEST_P(RealErrorReplies, ThrowTheirCimError) { EXPECT_EQ(cimErrorOf(realReply(GetParam().file)), GetParam().message); }

INSTANTIATE_TEST_SUITE_P(
    Files, RealErrorReplies,
    ::testing::Values(
        ErrorReply{"sfcb-ErrorTest01.xml", "Cim: (1) CIM_ERR_FAILED: invalid imethodcall XML"},
        ErrorReply{"sfcb-ErrorTest06.xml", "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found"},
        ErrorReply{"sfcb-ErrorTest11.xml",
                   "Cim: (11) CIM_ERR_ALREADY_EXISTS: Operation cannot be carried out because an object already exists"},
        ErrorReply{"sfcb-GetProperty.xml",
                   "Cim: (1) CIM_ERR_FAILED: DefaultProvider does not support property operations"}),
    paramname::Numbered([](const ErrorReply& c) { return c.file; }));

// ---------------------------------------------------------------- our corpus

TEST(Corpus, ControllerEnumerationOfOneIsASingleNamedInstance) {
    FlagGuard guard;
    CimXml cim(dataFile("enum-RAIDControllerSystem.xml"), 0);
    auto result = cim.takeReturnData();
    auto* one = dynamic_cast<NamedInstanceXml*>(result.get());
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->type, TypeNamedInstance);
    std::string work;
    one->name.toStringBuffer(work, ":");
    work += "\n";
    one->instance.toStringBuffer(work, "");
    const std::string expected =
        ":Quilo_RAIDControllerSystem.CreationClassName=\"Quilo_RAIDControllerSystem\",Name=\"QUILO-1882IX-0001\"\n"
        "-CreationClassName=\"Quilo_RAIDControllerSystem\"\n-Name=\"QUILO-1882IX-0001\"\n-ModelName=";
    EXPECT_EQ(head(work, expected), expected);
    EXPECT_NE(work.find("\n-ModelName=\"Quilo-1882IX-24 & Expander\"\n"), std::string::npos);
    EXPECT_NE(work.find("\n-MemorySize=2048\n"), std::string::npos);
    EXPECT_NE(work.find("\n-Description=\n"), std::string::npos);
}

struct Enumeration {
    const char* file;
    const char* className;
    size_t count;
    const char* firstName;   // the first instance name rendered with ":"
    const char* line;        // a line of the last instance's text
};

class CorpusEnumerations : public ::testing::TestWithParam<Enumeration> {};

TEST_P(CorpusEnumerations, GiveNamedInstances) {
    FlagGuard guard;
    const Enumeration& e = GetParam();
    CimXml cim(dataFile(e.file), 0);
    const auto* list = dynamic_cast<const NamedInstancesXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->type, TypeNamedInstances);
    ASSERT_EQ(list->items.size(), e.count);
    for (const NamedInstanceXml& item : list->items) {
        EXPECT_EQ(item.name.className, e.className);
        EXPECT_EQ(item.instance.className, e.className);
    }
    std::string name;
    list->items[0].name.toStringBuffer(name, ":");
    EXPECT_EQ(name, e.firstName);
    EXPECT_NE(text(list->items.back().instance).find(e.line), std::string::npos) << text(list->items.back().instance);
}

INSTANTIATE_TEST_SUITE_P(
    Files, CorpusEnumerations,
    ::testing::Values(
        Enumeration{"enum-DiskDrive.xml", "Quilo_DiskDrive", 3, ":Quilo_DiskDrive.EnclosureNumber=1,SlotNumber=1",
                    "\n-Usage=\"Unavailable\"\n"},
        Enumeration{"enum-StoragePool.xml", "Quilo_StoragePool", 2,
                    ":Quilo_StoragePool.InstanceID=\"Quilo:RaidSet0\"", "\n-ElementName=\"Raid Set \\\"Backup\\\"\"\n"},
        Enumeration{"enum-StorageVolume.xml", "Quilo_StorageVolume", 2, ":Quilo_StorageVolume.VolumeNo=0",
                    "\n-ElementName=\"Data <fast>\"\n"},
        Enumeration{"enum-EventLog.xml", "Quilo_EventLog", 3,
                    ":Quilo_EventLog.CreationClassName=\"Quilo_EventLog\",Name=\"Event000\"",
                    "-Time=\"2024-03-01 12:40:51\"\n-Type=\"VolumeSet\"\n-Description=\"Complete Init\"\n"
                    "-Data1=\"002:25:42\"\n"}),
    paramname::Numbered([](const Enumeration& c) { return c.file; }));

TEST(Corpus, PoolVolumesAreANumericArray) {
    FlagGuard guard;
    CimXml cim(dataFile("enum-StoragePool.xml"), 0);
    const auto* list = dynamic_cast<const NamedInstancesXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    EXPECT_NE(text(list->items[0].instance).find("\n-Volumes=0,1\n"), std::string::npos);
}

TEST(Corpus, KeyFlagsFromTheInstanceName) {
    FlagGuard guard;
    CimXml cim(dataFile("enum-DiskDrive.xml"), 0);
    auto* list = dynamic_cast<NamedInstancesXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    InstanceXml& inst = list->items[0].instance;
    for (PropertyXml& p : inst.properties) p.key = 0;
    inst.propagateKeyFlags(list->items[0].name.keys);
    int keys = 0;
    for (const PropertyXml& p : inst.properties) keys += p.key;
    EXPECT_EQ(keys, 2);
    addType = 1;
    const std::string marked = "-EnclosureNumber#=1\n-SlotNumber#=1\n-DeviceID=\"Enc#1 Slot#1\"\n";
    EXPECT_EQ(head(text(inst), marked), marked);
    addType = 0;
    const std::string plain = "-EnclosureNumber=1\n-SlotNumber=1\n-DeviceID=\"Enc#1 Slot#1\"\n";
    EXPECT_EQ(head(text(inst), plain), plain);
}

TEST(Corpus, GetInstanceOfAVolumeRendersByteForByte) {
    FlagGuard guard;
    CimXml cim(dataFile("getinstance-StorageVolume.xml"), 0);
    auto result = cim.takeReturnData();
    ASSERT_NE(dynamic_cast<InstanceXml*>(result.get()), nullptr);
    EXPECT_EQ(text(*result),
              "-VolumeNo=1\n-ElementName=\"Data <fast>\"\n-RAIDLevel=\"Raid 1+0\"\n-RaidSetNumber=0\n"
              "-Capacity=2000398934016\n-StripeSize=64\n-CacheMode=\"Write Back\"\n-TaggedQueuing=\"Enabled\"\n"
              "-Channel=0\n-ID=1\n-Lun=0\n-VolumeState=\"Initializing\"\n-Progress=\n-WriteProtect=FALSE\n");
}

TEST(Corpus, GetClassWithMethodsAndParameters) {
    CimXml cim(dataFile("getclass-RAIDControllerSystem.xml"), 0);
    const auto* cls = dynamic_cast<const ClassXml*>(cim.getReturnData());
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(cls->name, "Quilo_RAIDControllerSystem");
    EXPECT_EQ(cls->properties.size(), 4u);
    ASSERT_EQ(cls->keys.size(), 2u);
    EXPECT_EQ(cls->keys[0].name, "CreationClassName");
    EXPECT_EQ(cls->keys[1].name, "Name");
    ASSERT_EQ(cls->methods.size(), 5u);
    EXPECT_EQ(cls->methods[0].name, "SetBeeper");
    ASSERT_EQ(cls->methods[0].parameters.size(), 1u);
    EXPECT_EQ(cls->methods[0].parameters[0].name, "Enable");
    EXPECT_EQ(cls->methods[0].parameters[0].qualifiers.size(), 1u);
    const MethodXml& eth = cls->methods[3];
    EXPECT_EQ(eth.qualifiers.size(), 1u);
    ASSERT_EQ(eth.parameters.size(), 3u);
    EXPECT_EQ(eth.parameters[0].kind, ParameterXml::Array);
    EXPECT_EQ(eth.parameters[0].arraySize, "4");
    EXPECT_EQ(eth.parameters[1].kind, ParameterXml::Reference);
    EXPECT_EQ(eth.parameters[2].kind, ParameterXml::RefArray);
    EXPECT_EQ(eth.parameters[2].referenceClass, "CIM_RemoteServiceAccessPoint");
    EXPECT_TRUE(cls->methods[4].parameters.empty());

    ArrayXml<PropertyXml> pathKeys;
    pathKeys.add(PropertyXml("name=\"x\"", false));
    EXPECT_EQ(cls->keysOk(pathKeys), 0);
    pathKeys.add(PropertyXml("CREATIONCLASSNAME=Quilo_RAIDControllerSystem", false));
    EXPECT_EQ(cls->keysOk(pathKeys), 1);
}

TEST(Corpus, MethodResponseWithOutputParameters) {
    const std::string document = dataFile("methodresponse-AuthPassword.xml");
    testing::internal::CaptureStdout();
    CimXml cim(document, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "MethodresponseXml:\n");
    auto result = cim.takeReturnData();
    auto* rsp = dynamic_cast<MethodresponseXml*>(result.get());
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->type, TypeMethodresponse);
    EXPECT_EQ(rsp->name, "AuthPassword");
    ASSERT_NE(rsp->returnValue, nullptr);
    const auto* rv = dynamic_cast<const ValueXml*>(rsp->returnValue->result.get());
    ASSERT_NE(rv, nullptr);
    EXPECT_EQ(rv->value, "ERROR CODE=0x00 OK");
    ASSERT_NE(rsp->outParms, nullptr);
    ASSERT_EQ(rsp->outParms->size(), 3u);
    EXPECT_EQ((*rsp->outParms)[1].paramType, "string");
    EXPECT_EQ((*rsp->outParms)[1].value->value, "Password &quot;accepted&quot;");
    EXPECT_EQ((*rsp->outParms)[2].value, nullptr);
    // The tree gave the response away.
    EXPECT_THROW(cim.getReturnData(), EmptyValue);
}

TEST(Corpus, ErrorReply) {
    EXPECT_EQ(cimErrorOf(dataFile("error-NotFound.xml")),
              "Cim: (6) CIM_ERR_NOT_FOUND: No volume set with VolumeNo=7 & no pass-through disk");
}

// A broken reply found by fuzzing: a QUALIFIER's start tag runs into a
// second prolog, and an instance's QUALIFIER without end tag skips into the
// next instance, where a VALUE stands among the instance's children.
TEST(BrokenReplies, QualifierWithoutEndTagSkipsIntoTheNextInstance) {
    try {
        CimXml cim(dataFile("broken/qualifier-without-end-tag.xml"), 0);
        FAIL() << "parsed";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Expecting /INSTANCE, QUALIFIER or PROPERTY element");
    }
}

}  // namespace
