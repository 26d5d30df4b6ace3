// Whole replies: those a real CIM server wrote, our corpus of the provider's
// replies (tests/data) and broken ones, parsed into the results an
// operation gets; and every prefix of them, as a connection cut short
// leaves it.
#include "xml/envelope.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using xmltest::dataFile;
using xmltest::realReply;

struct Row {
    const char* name;
    std::string body;
    size_t items;                      // of a list result; 1 for any other, 0 for an error
    bool whole;                        // the first piece is the whole text, or only its start
    std::vector<std::string> pieces;   // the others stand anywhere in it
};

// The result as describe() gives it with type marks (arrays "[]",
// references "&", keys "#"), or the error.
std::string read(const std::string& body, size_t& items) {
    xmltest::FlagGuard guard;
    addType = 1;
    items = 0;
    try {
        CimXml cim(body, 0);
        const RetValXml& r = *cim.getReturnData();
        items = 1;
        if (const auto* l = dynamic_cast<const NamedInstancesXml*>(&r)) items = l->items.size();
        if (const auto* l = dynamic_cast<const ClassesXml*>(&r)) items = l->items.size();
        if (const auto* l = dynamic_cast<const ObjectsWithPathXml*>(&r)) items = l->items.size();
        return xmltest::describe(r);
    } catch (const XmlException& e) {
        return "error: " + e.getMsg();
    } catch (const std::logic_error& e) {   // an unquoted attribute value
        return "error: " + std::string(e.what());
    }
}

class Replies : public ::testing::TestWithParam<Row> {};

TEST_P(Replies, GiveTheirResult) {
    const Row& row = GetParam();
    ASSERT_FALSE(row.body.empty()) << "no such file";
    size_t items;
    testing::internal::CaptureStdout();   // a method response prints a line
    std::string text = read(row.body, items);
    text = testing::internal::GetCapturedStdout() + text;
    EXPECT_EQ(items, row.items);
    EXPECT_EQ(row.whole ? text : text.substr(0, row.pieces[0].size()), row.pieces[0]);
    for (size_t i = 1; i < row.pieces.size(); ++i) EXPECT_NE(text.find(row.pieces[i]), std::string::npos) << i;
}

const Row rows[] = {
    // A real CIM server's replies.
    // A class: its properties, its keys, then its methods' parameters.
    {"RealGetClass", realReply("sfcb-getclass.Linux_OperatingSystem.xml"), 1, false,
     {"Class: -", "\n-Name#=\n|-CreationClassName#=\n|-CSName#=\n|-CSCreationClassName#=\n",
      "\n-RequestedState\n|-Job&\n|-TimeoutPeriod\n-cmd\n|-out\n"}},
    {"RealEnumerateClasses", realReply("sfcb-enumerateclasses.ALL.xml"), 40, false,
     {"Classes: -GroupComponent&=\n-PartComponent&=\n", "\n-EnabledState=5\n"}},
    {"RealReferences", realReply("sfcb-References.xml"), 2, false,
     {"ObjectsWithPath: ", "triptych.in.ibm.com/root/cimv2TEST_Lineage.parent=TEST_Person.name=\"Mike\","
      "child=TEST_Person.name=\"Gabi\"\n-parent&=TEST_Person.name=\"Mike\"\n-child&=TEST_Person.name=\"Gabi\"\n"}},
    {"RealInstance", realReply("sfcb-InstanceTest2Get.xml"), 1, true,
     {"Instance: -extraProperty=\"defaultvalue\"\n-name=\"Michael\"\n"}},
    {"RealNameWithReferenceKeys", realReply("sfcb-Indication03CreateSubscription.xml"), 1, false,
     {"InstanceName: CIM_IndicationSubscription.Filter=root/interop:CIM_IndicationFilter.SystemCreationClassName=",
      ",Handler=root/interop:CIM_IndicationHandlerCIMXML.SystemCreationClassName=\"CIM_ComputerSystem\","
      "SystemName=\"localhost.localdomain\",CreationClassName=\"CIM_IndicationHandlerCIMXML\",Name=\"TestHandler0\""}},
    {"RealError01", realReply("sfcb-ErrorTest01.xml"), 0, true,
     {"error: Cim: (1) CIM_ERR_FAILED: invalid imethodcall XML"}},
    {"RealError06", realReply("sfcb-ErrorTest06.xml"), 0, true,
     {"error: Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found"}},
    {"RealError11", realReply("sfcb-ErrorTest11.xml"), 0, true,
     {"error: Cim: (11) CIM_ERR_ALREADY_EXISTS: Operation cannot be carried out because an object already exists"}},
    {"RealGetProperty", realReply("sfcb-GetProperty.xml"), 0, true,
     {"error: Cim: (1) CIM_ERR_FAILED: DefaultProvider does not support property operations"}},
    // Our corpus. An enumeration of one is a single named instance.
    {"ControllerInstances", dataFile("enum-RAIDControllerSystem.xml"), 1, false,
     {"NamedInstance: Quilo_RAIDControllerSystem.CreationClassName=\"Quilo_RAIDControllerSystem\","
      "Name=\"QUILO-1882IX-0001\"\n-CreationClassName#=",
      "\n-ModelName=\"Quilo-1882IX-24 & Expander\"\n", "\n-MemorySize=2048\n", "\n-Description=\n"}},
    {"Disks", dataFile("enum-DiskDrive.xml"), 3, false,
     {"NamedInstances: Quilo_DiskDrive.EnclosureNumber=1,SlotNumber=1\n-EnclosureNumber#=1\n",
      "\n-Usage=\"Unavailable\"\n"}},
    {"Pools", dataFile("enum-StoragePool.xml"), 2, false,
     {"NamedInstances: Quilo_StoragePool.InstanceID=\"Quilo:RaidSet0\"\n", "\n-Volumes[]=0,1\n",
      "\n-ElementName=\"Raid Set \\\"Backup\\\"\"\n"}},
    {"Volumes", dataFile("enum-StorageVolume.xml"), 2, false,
     {"NamedInstances: Quilo_StorageVolume.VolumeNo=0\n", "\n-ElementName=\"Data <fast>\"\n"}},
    {"Events", dataFile("enum-EventLog.xml"), 3, false,
     {"NamedInstances: Quilo_EventLog.CreationClassName=\"Quilo_EventLog\",Name=\"Event000\"\n",
      "-Time=\"2024-03-01 12:40:51\"\n-Type=\"VolumeSet\"\n-Description=\"Complete Init\"\n-Data1=\"002:25:42\"\n"}},
    {"OneVolume", dataFile("getinstance-StorageVolume.xml"), 1, true,
     {"Instance: -VolumeNo#=1\n-ElementName=\"Data <fast>\"\n-RAIDLevel=\"Raid 1+0\"\n-RaidSetNumber=0\n"
      "-Capacity=2000398934016\n-StripeSize=64\n-CacheMode=\"Write Back\"\n-TaggedQueuing=\"Enabled\"\n-Channel=0\n"
      "-ID=1\n-Lun=0\n-VolumeState=\"Initializing\"\n-Progress=\n-WriteProtect=FALSE\n"}},
    {"MethodResponse", dataFile("methodresponse-AuthPassword.xml"), 1, true,
     {"MethodresponseXml:\nMethodresponse: AuthPassword: ERROR CODE=0x00 OK\nStatus (uint32): 0\n"
      "Message (string): Password \\\"accepted\\\"\nRetries (uint8): "}},
    {"ControllerClass", dataFile("getclass-RAIDControllerSystem.xml"), 1, true,
     {"Class: -CreationClassName#=\n-Name#=\n-ModelName=\n-MemorySize=\n-CreationClassName#=\n|-Name#=\n-Enable\n"
      "-Period\n-Password\n-Addresses[]\n|-Port&\n|-Gateways#\n"}},
    {"Error", dataFile("error-NotFound.xml"), 0, true,
     {"error: Cim: (6) CIM_ERR_NOT_FOUND: No volume set with VolumeNo=7 & no pass-through disk"}},
    // Found by fuzzing: a QUALIFIER's start tag runs into a second prolog,
    // and an instance's QUALIFIER without end tag skips into the next
    // instance, where a VALUE stands among the instance's children.
    {"BrokenQualifierWithoutEndTag", dataFile("broken/qualifier-without-end-tag.xml"), 0, true,
     {"error: Parse Exception: Expecting /INSTANCE, QUALIFIER or PROPERTY element"}},
};

INSTANTIATE_TEST_SUITE_P(Files, Replies, ::testing::ValuesIn(rows), xmltest::RowName());

// A reply cut anywhere before the end of its CIM element is refused, with
// an exception a caller is prepared for; from there on, it reads as whole.
TEST(CutReplies, EveryPrefixEndsCleanly) {
    std::vector<std::string> problems;
    size_t items;
    testing::internal::CaptureStdout();
    for (const Row& row : rows) {
        if (row.body.empty() || row.body.size() > 8000) continue;
        const size_t complete = row.body.rfind("</CIM>") + 6;
        const std::string whole = read(row.body, items);
        for (size_t n = 0; n < row.body.size(); ++n) {
            const std::string text = read(row.body.substr(0, n), items);
            if (n < complete ? text.rfind("error: ", 0) != 0 : text != whole)
                problems.push_back(std::string(row.name) + " cut at " + std::to_string(n));
        }
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(problems.empty()) << problems.size() << " problems, first: " << problems.front();
}

}  // namespace
