// sys info and event info, compared byte for byte.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "controller/reports.h"
#include "report_support.h"
#include "tests/unit/param_names.h"

namespace {

using namespace report_test;

std::vector<Prop> Controller(const std::string& memorySize = "1024") {
    // Not in report order, and with a property the report does not print.
    return {Num("MemorySize", memorySize),       Str("ModelName", "ARC-1886"),
            Str("SerialNumber", "Y123"),         Str("FirmVersion", "V1.56 2019-02-01"),
            Str("BootVersion", "V1.56"),         Str("CurrentIP", "192.168.0.38"),
            Str("MAC", "00.1B.4D.00.00.01"),     Num("DCacheSize", "32768"),
            Num("ICacheSize", "16384"),          Num("MemorySpeed", "1866"),
            Str("Name", "Quilo RAID Controller")};
}

const char* const kVendor =
    "Quilo Technology Co., Ltd.\n"
    "7F, No. 128, Lantern Bridge Road, Alder Park, Quilo City 40577\n"
    "Support: support@quilo-tech.example\n"
    "Web: https://www.quilo-tech.example\n";

std::string ControllerBlock(const std::string& memory) {
    return "Model Name:\t\tARC-1886\n"
           "Serial Number:\t\tY123\n"
           "Firmware Version:\tV1.56 2019-02-01\n"
           "Boot Code Version:\tV1.56\n"
           "Current IP:\t\t192.168.0.38\n"
           "MAC Address:\t\t00.1B.4D.00.00.01\n"
           "CPU DCache Size:\t32768Bytes\n"
           "CPU ICache Size:\t16384Bytes\n"
           "Memory Speed:\t\t1866MHz\n"
           "Memory Size:\t\t" + memory + "MB\n";
}

std::string SystemReport(const std::vector<std::string>& instances) {
    auto list = Named(instances);
    std::string work;
    std::ostringstream out;
    DisplaySystemInfo(work, *list, out);
    return out.str();
}

TEST(SystemInfo, WholeReport) {
    const std::string expected = Dashes() + kVendor + Dashes() + "RAID Controller Information:\n" + Dashes() +
                                 ControllerBlock("1024") + Dashes();
    EXPECT_EQ(SystemReport({NamedText("Quilo_RAIDControllerSystem", "Name", "C0", Controller())}), expected);
}

TEST(SystemInfo, EveryInstanceInEnumerationOrder) {
    const std::string expected = Dashes() + kVendor + Dashes() + "RAID Controller Information:\n" + Dashes() +
                                 ControllerBlock("512") + ControllerBlock("2048") + Dashes();
    EXPECT_EQ(SystemReport({NamedText("Quilo_RAIDControllerSystem", "Name", "C0", Controller("512")),
                            NamedText("Quilo_RAIDControllerSystem", "Name", "C1", Controller("2048"))}),
              expected);
}

struct MemoryCase {
    const char* rendered;
    const char* printed;
};

class SystemNumbers : public ::testing::TestWithParam<MemoryCase> {};

// Numbers are cut into 32 bits, wrapping, and printed signed.
TEST_P(SystemNumbers, ThirtyTwoBitSigned) {
    const std::string out =
        SystemReport({NamedText("Quilo_RAIDControllerSystem", "Name", "C0", Controller(GetParam().rendered))});
    EXPECT_NE(out.find(std::string("Memory Size:\t\t") + GetParam().printed + "MB\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(Wrap, SystemNumbers,
                         ::testing::Values(MemoryCase{"0", "0"}, MemoryCase{"2147483647", "2147483647"},
                                           MemoryCase{"2147483648", "-2147483648"},
                                           MemoryCase{"4294967295", "-1"}, MemoryCase{"4294967297", "1"}),
                         paramname::Numbered([](const MemoryCase& c) { return c.rendered; }));

TEST(SystemInfo, NoInstancesPrintsTheFrameOnly) {
    EXPECT_EQ(SystemReport({}),
              Dashes() + kVendor + Dashes() + "RAID Controller Information:\n" + Dashes() + Dashes());
}

TEST(SystemInfo, AbsentKeyIsOutOfRange) {
    std::vector<Prop> props = Controller();
    props.erase(props.begin() + 1);   // ModelName
    EXPECT_THROW(SystemReport({NamedText("Quilo_RAIDControllerSystem", "Name", "C0", props)}), std::out_of_range);
}

// ---------------------------------------------------------------- events

std::string EventText(const std::string& id, const std::string& description, const std::string& data1 = "x") {
    return NamedText("Quilo_EventLog", "InstanceID", id,
                     {Str("Time", "2024-01-02 03:04:05"), Str("Type", "Info"), Str("Description", description),
                      Str("Data1", data1), Num("RecordNo", id)});
}

std::string EventReport(const std::vector<std::string>& instances) {
    auto list = Named(instances);
    std::string work;
    std::ostringstream out;
    DisplayEventInfo(work, *list, out);
    return out.str();
}

std::string EventHeading() {
    return Pad("No.", 9) + Pad("Date-Time", 33) + Pad("Event Type", 33) + Pad("Device", 33) +
           Pad("Elapsed Time", 33) + Pad("Errors", 33) + "\n";
}

std::string EventRow(int n, const std::string& description, const std::string& data1) {
    return Pad(std::to_string(n), 9) + Pad("2024-01-02 03:04:05", 33) + Pad("Info", 33) + Pad(description, 33) +
           Pad(data1, 20) + "\n";
}

TEST(EventInfo, RowsNumberedInEnumerationOrder) {
    const std::string expected = Dashes() + "Event Log:\n" + Dashes() + EventHeading() +
                                 EventRow(1, "Power On", "a") + EventRow(2, "Raid Set Created", "b") +
                                 EventRow(3, "Disk Failed", "c") + Dashes();
    EXPECT_EQ(EventReport({EventText("7", "Power On", "a"), EventText("3", "Raid Set Created", "b"),
                           EventText("9", "Disk Failed", "c")}),
              expected);
}

TEST(EventInfo, CellsAreLeftAlignedAndPaddedWithBlanks) {
    const std::string out = EventReport({EventText("1", "Power On", "H")});
    EXPECT_NE(out.find("No.      Date-Time                        Event Type"), std::string::npos) << out;
    EXPECT_NE(out.find("\n1        2024-01-02 03:04:05              Info"), std::string::npos) << out;
    // Data1 is the last cell: twenty wide, blanks included.
    EXPECT_NE(out.find("H                   \n"), std::string::npos) << out;
}

TEST(EventInfo, LongValueIsPrintedWholeAndPushesTheRowRight) {
    const std::string longText(40, 'D');
    const std::string out = EventReport({EventText("1", longText, "z")});
    EXPECT_NE(out.find(Pad("Info", 33) + longText + Pad("z", 20) + "\n"), std::string::npos) << out;
}

TEST(EventInfo, EmptyEnumerationPrintsHeadingAndClosingLine) {
    EXPECT_EQ(EventReport({}), Dashes() + "Event Log:\n" + Dashes() + EventHeading() + Dashes());
}

TEST(EventInfo, AbsentKeyIsOutOfRange) {
    const std::string text = NamedText("Quilo_EventLog", "InstanceID", "1",
                                       {Str("Time", "t"), Str("Type", "y"), Str("Description", "d")});
    auto list = Named({text});
    std::string work;
    std::ostringstream out;
    EXPECT_THROW(DisplayEventInfo(work, *list, out), std::out_of_range);
    // The failed cell leaves no width behind for whatever is printed next.
    EXPECT_EQ(out.width(), 0);
}

// Rows are formatted in blocks before they reach the stream; a failure in a
// later row must still deliver everything printed before it, the cells of
// the failing row included.
TEST(EventInfo, AbsentKeyInALaterRowKeepsWhatWasPrinted) {
    const std::string partial = NamedText("Quilo_EventLog", "InstanceID", "2",
                                          {Str("Time", "2024-01-02 03:04:05"), Str("Type", "Info"),
                                           Str("Description", "b")});
    auto list = Named({EventText("1", "a", "d1"), partial});
    std::string work;
    std::ostringstream out;
    EXPECT_THROW(DisplayEventInfo(work, *list, out), std::out_of_range);
    EXPECT_EQ(out.str(), Dashes() + "Event Log:\n" + Dashes() + EventHeading() + EventRow(1, "a", "d1") +
                             Pad("2", 9) + Pad("2024-01-02 03:04:05", 33) + Pad("Info", 33) + Pad("b", 33));
}

// Enough rows to fill the output blocks several times over.
TEST(EventInfo, ManyRowsComeOutWholeAndInOrder) {
    std::vector<std::string> texts;
    std::string rows;
    for (int i = 1; i <= 1500; ++i) {
        const std::string description = "Device " + std::to_string(i * 7919 % 1000);
        texts.push_back(EventText(std::to_string(i), description, std::to_string(i)));
        rows += EventRow(i, description, std::to_string(i));
    }
    EXPECT_EQ(EventReport(texts), Dashes() + "Event Log:\n" + Dashes() + EventHeading() + rows + Dashes());
}

}  // namespace
