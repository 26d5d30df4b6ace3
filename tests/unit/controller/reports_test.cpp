// The reports over instances parsed from small CIM-XML documents: what
// neither the simulated controller of the end-to-end cases nor the seeds of
// the reports fuzzer (fuzz_replay_reports_test: RAID sets without members,
// "N.A." volumes) show, and how a list report holds its text and failure.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cim/url.h"
#include "controller/globals.h"
#include "controller/reports.h"
#include "xml/model.h"
#include "xml/xml_buffer.h"

namespace {

// Name and value; a value of digits only is a uint64, any other a string.
using Props = std::vector<std::pair<std::string, std::string>>;

std::string InstanceText(const Props& props) {
    std::string xml = "<INSTANCE CLASSNAME=\"Quilo_X\">";
    for (const auto& [name, value] : props) {
        const bool number = !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
        xml += "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + (number ? "uint64" : "string") + "\"><VALUE>" + value +
               "</VALUE></PROPERTY>";
    }
    return xml + "</INSTANCE>";
}

NamedInstanceXml Item(const Props& props) {
    XmlBuffer xb("<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_X\"></INSTANCENAME>" + InstanceText(props) +
                 "</VALUE.NAMEDINSTANCE>");
    return NamedInstanceXml(xb);
}

using List = void (*)(std::string&, NamedInstancesXml&, std::ostream&);

std::string Print(List report, const std::vector<Props>& instances) {
    NamedInstancesXml list;
    for (const Props& props : instances) list.add(Item(props));
    std::string work;
    std::ostringstream out;
    report(work, list, out);
    return out.str();
}

std::string Pad(const std::string& text, size_t width) { return text + std::string(width - text.size(), ' '); }

// dashline is another file's global: read when a test runs.
std::string Closing() { return dashline + "\n"; }

struct ReportCase {
    const char* name;
    List report;
    std::vector<Props> instances;
    std::string rows;   // between the heading and the closing line
};

class Reports : public ::testing::TestWithParam<ReportCase> {};

TEST_P(Reports, Rows) {
    const ReportCase& c = GetParam();
    const std::string empty = Print(c.report, {});
    const std::string heading = empty.substr(0, empty.size() - Closing().size());
    EXPECT_EQ(Print(c.report, c.instances), heading + c.rows + Closing());
}

Props Drive(const std::string& usage, const std::string& raidSet) {
    return {{"Usage", usage}, {"Enc", "E"}, {"Slot", "S"}, {"ModelName", "M"}, {"DeviceType", "T"},
            {"RaidSetNumber", raidSet}, {"UsageExt", "X"}};
}
std::string DriveRow(const std::string& n, const std::string& usage) {
    return Pad(n, 9) + Pad("E", 16) + Pad("S", 16) + Pad("M", 28) + Pad("T", 16) + Pad(usage, 16) + "\n";
}

const ReportCase kReportCases[] = {
    // The usage column looks at the RAID set number.
    {"DiskInfoSkipsUnavailableDrivesKeepingTheirNumbers",
     DisplayDiskInfo,
     {Drive("Member", "0"), Drive("Unavailable", "255"), Drive("", "255"), Drive("", "0")},
     DriveRow("1", "Member") + DriveRow("3", "") + DriveRow("4", "X")},
    {"SystemInfoNumbersAreSigned32Bit",
     DisplaySystemInfo,
     {{{"MemorySize", "2147483648"}, {"ModelName", "M"}, {"SerialNumber", "S"}, {"FirmVersion", "F"},
       {"BootVersion", "B"}, {"CurrentIP", "I"}, {"MAC", "A"}, {"DCacheSize", "4294967295"},
       {"ICacheSize", "4294967297"}, {"MemorySpeed", "1866"}}},
     "Model Name:\t\tM\nSerial Number:\t\tS\nFirmware Version:\tF\nBoot Code Version:\tB\nCurrent IP:\t\tI\n"
     "MAC Address:\t\tA\nCPU DCache Size:\t-1Bytes\nCPU ICache Size:\t1Bytes\nMemory Speed:\t\t1866MHz\n"
     "Memory Size:\t\t-2147483648MB\n"},
};

INSTANTIATE_TEST_SUITE_P(Lists, Reports, ::testing::ValuesIn(kReportCases),
                         [](const ::testing::TestParamInfo<ReportCase>& info) { return info.param.name; });

std::string EventFrame() {
    return Closing() + "Event Log:\n" + Closing() + Pad("No.", 9) + Pad("Date-Time", 33) + Pad("Event Type", 33) +
           Pad("Device", 33) + Pad("Elapsed Time", 33) + Pad("Errors", 33) + "\n";
}

TEST(EventInfo, EmptyLogPrintsTheHeadingAndTheClosingLine) {
    EXPECT_EQ(Print(DisplayEventInfo, {}), EventFrame() + Closing());
}

// Nothing reaches the target before print(); a failure is thrown after the
// records before it, the failing record's first cells included.
TEST(ListReport, HoldsItsTextAndItsFailureUntilPrinted) {
    NamedInstanceXml good = Item({{"Time", "t"}, {"Type", "y"}, {"Description", "d"}, {"Data1", "x"}});
    NamedInstanceXml bad = Item({{"Time", "t"}, {"Type", "y"}, {"Description", "d"}});
    std::string work;
    std::ostringstream out;
    ListReport report(kEventInfoReport, work, out);
    report.take(good);
    report.take(bad);
    report.take(good);
    EXPECT_EQ(out.str(), "");
    EXPECT_THROW(report.print(), std::out_of_range);
    const std::string cells = Pad("t", 33) + Pad("y", 33) + Pad("d", 33);
    EXPECT_EQ(out.str(), EventFrame() + Pad("1", 9) + cells + Pad("x", 20) + "\n" + Pad("2", 9) + cells);
    EXPECT_EQ(out.width(), 0);
}

std::string DiskInquiry(const std::string& serial, const std::string& slot) {
    URL path("https://root:pw@10.0.0.5/quilo/cimv2:Quilo_DiskDrive.EnclosureNumber=0,SlotNumber=3");
    XmlBuffer xb(InstanceText({{"DeviceID", serial}, {"ModelName", "M"}, {"NumberOfBlocks", "1001"},
                               {"EnclosureNumber", "0"}, {"SlotNumber", slot}, {"Usage", ""}, {"UsageExt", "X"},
                               {"FirmwareRevision", "F"}, {"MediaErrorCount", "1"}, {"TimeOutCount", "2"},
                               {"DeviceType", "NVMe"}, {"RaidSetNumber", "255"}}));
    InstanceXml instance(xb);
    std::string work;
    std::ostringstream out;
    DisplayDiskInquiry(path, work, instance, out);
    return out.str();
}

// The inquiry's usage looks at the slot number where the table looks at the
// RAID set number.
TEST(DiskInquiry, UsageFollowsTheSlotNumber) {
    EXPECT_NE(DiskInquiry("D", "255").find("\nSlot No.:\t\t\t\t256\nUsage:\t\t\t\t\t\nFirmware"), std::string::npos);
    EXPECT_NE(DiskInquiry("D", "3").find("\nUsage:\t\t\t\t\tX\n"), std::string::npos);
    EXPECT_EQ(DiskInquiry("", "3"), Closing() + "Disk Information:\n" + Closing() + "None\n");
}

}  // namespace
