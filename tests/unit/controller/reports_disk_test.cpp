// disk info and disk inq, compared byte for byte.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "controller/reports.h"
#include "report_support.h"
#include "tests/unit/param_names.h"

namespace {

using namespace report_test;

const std::string kCelsius = "\xE2\x84\x83";

// ------------------------------------------------------------- disk info

std::string DriveRow(const std::string& usage, const std::string& raidSet, const std::string& usageExt,
                     const std::string& model = "ST4000NM0035") {
    return NamedText("Quilo_DiskDrive", "DeviceID", model,
                     {Str("Usage", usage), Str("Enc", "Enclosure#1"), Str("Slot", "Slot#3"),
                      Str("ModelName", model), Str("DeviceType", "SATA"), Num("RaidSetNumber", raidSet),
                      Str("UsageExt", usageExt)});
}

std::string DiskInfo(const std::vector<std::string>& instances) {
    auto list = Named(instances);
    std::string work;
    std::ostringstream out;
    DisplayDiskInfo(work, *list, out);
    return out.str();
}

std::string DiskHeading() {
    return Pad("No.", 9) + Pad("Enclosure No.", 16) + Pad("Slot No.", 16) + Pad("ModelName", 28) +
           Pad("Device Type", 16) + Pad("Usage", 16) + "\n";
}

std::string DiskRow(int n, const std::string& usage, const std::string& model = "ST4000NM0035") {
    return Pad(std::to_string(n), 9) + Pad("Enclosure#1", 16) + Pad("Slot#3", 16) + Pad(model, 28) +
           Pad("SATA", 16) + Pad(usage, 16) + "\n";
}

TEST(DiskInfo, UnavailableDrivesAreSkippedAndLeaveGaps) {
    const std::string expected = Dashes() + "Disk(s) Information:\n" + Dashes() + DiskHeading() +
                                 DiskRow(1, "RaidSet Member") + DiskRow(3, "Free") + Dashes();
    EXPECT_EQ(DiskInfo({DriveRow("RaidSet Member", "0", "x"), DriveRow("Unavailable", "255", "x"),
                        DriveRow("Free", "255", "x")}),
              expected);
}

struct UsageCase {
    const char* usage;
    const char* raidSet;
    const char* printed;
};

class DiskInfoUsage : public ::testing::TestWithParam<UsageCase> {};

// The table looks at the RAID set number: 255 or a usage text prints the
// usage text, otherwise the extended usage.
TEST_P(DiskInfoUsage, Column) {
    const UsageCase& c = GetParam();
    EXPECT_EQ(DiskInfo({DriveRow(c.usage, c.raidSet, "Raid Set # 000")}),
              Dashes() + "Disk(s) Information:\n" + Dashes() + DiskHeading() + DiskRow(1, c.printed) + Dashes());
}

INSTANTIATE_TEST_SUITE_P(Rules, DiskInfoUsage,
                         ::testing::Values(UsageCase{"", "255", ""}, UsageCase{"", "0", "Raid Set # 000"},
                                           UsageCase{"Hot Spare", "0", "Hot Spare"},
                                           UsageCase{"Hot Spare", "255", "Hot Spare"}),
                         paramname::Numbered(
                             [](const UsageCase& c) { return std::string(c.usage) + " " + c.raidSet; }));

TEST(DiskInfo, LongModelNamePushesTheRowRight) {
    const std::string model(30, 'M');
    const std::string out = DiskInfo({DriveRow("Free", "255", "x", model)});
    EXPECT_NE(out.find(Pad("Slot#3", 16) + model + Pad("SATA", 16)), std::string::npos) << out;
}

TEST(DiskInfo, NoDrivesPrintsHeadingOnly) {
    EXPECT_EQ(DiskInfo({}), Dashes() + "Disk(s) Information:\n" + Dashes() + DiskHeading() + Dashes());
}

// -------------------------------------------------------------- disk inq

std::vector<Prop> Common(const std::string& type) {
    return {Str("DeviceID", "WD-WCC4E1234567"), Str("ModelName", "WDC WD40EFRX"),
            Num("NumberOfBlocks", "2000398934016"), Num("EnclosureNumber", "0"), Num("SlotNumber", "3"),
            Str("Usage", "Free"), Str("UsageExt", "ext"), Str("FirmwareRevision", "82.00A82"),
            Num("MediaErrorCount", "2"), Num("TimeOutCount", "0"), Str("DeviceType", type)};
}

std::vector<Prop> With(std::vector<Prop> props, const std::vector<Prop>& more) {
    props.insert(props.end(), more.begin(), more.end());
    return props;
}

std::vector<Prop> Replace(std::vector<Prop> props, const Prop& p) {
    for (Prop& q : props)
        if (q.name == p.name) q = p;
    return props;
}

const std::vector<Prop> kSata = {
    Num("DeviceTemperatureStatus", "35"),     Num("SMARTReadErrorRateStatus", "200"),
    Num("SMARTSpinupTimeStatus", "180"),      Num("SMARTReallocationCountStatus", "100"),
    Num("SMARTSeekErrorRateStatus", "200"),   Num("SMARTSpinupRetriesStatus", "100"),
    Num("SMARTCalibrationRetriesStatus", "255"), Num("SSDReservedSpaceStatus", "100"),
    Num("SSDWearingIndicatorStatus", "255"),
};

const std::vector<Prop> kSas = {
    Num("RotationSpeed", "15000"),
    Num("DeviceTemperature", "40"),
    Num("ReadErrorsRecoveredWODelay", "26"),
    Num("ReadErrorsRecoveredWDelay", "0"),
    Num("ReadErrorsRecoveredWRetry", "255"),
    Num("ReadErrorsRecovered", "1"),
    Num("ReadTotalBytes", "1234567890123"),
    Num("ReadErrorsUnrecovered", "16"),
    Num("WriteErrorsRecoveredWODelay", "10"),
    Num("WriteErrorsRecoveredWDelay", "11"),
    Num("WriteErrorsRecoveredWRetry", "12"),
    Num("WriteErrorsRecovered", "13"),
    Num("WriteTotalBytes", "4096"),
    Num("WriteErrorsUnrecovered", "14"),
    Num("VerifyErrorsRecoveredWODelay", "15"),
    Num("VerifyErrorsRecoveredWDelay", "17"),
    Num("VerifyErrorsRecoveredWRetry", "18"),
    Num("VerifyErrorsRecovered", "19"),
    Num("VerifyErrorsUnrecovered", "20"),
    Num("Non-MediumErrors", "21"),
    Num("DefectPListBlockCount", "18446744073709551615"),
    Num("DefectGListBlockCount", "3"),
};

const char* const kDiskPath = "https://root:pw@10.0.0.5/quilo/cimv2:Quilo_DiskDrive.EnclosureNumber=0,SlotNumber=3";

std::string DiskInquiry(const std::vector<Prop>& props, std::ostringstream& out) {
    URL path(kDiskPath);
    auto instance = Instance("Quilo_DiskDrive", props);
    std::string work;
    DisplayDiskInquiry(path, work, *instance, out);
    return out.str();
}

std::string DiskInquiry(const std::vector<Prop>& props) {
    std::ostringstream out;
    return DiskInquiry(props, out);
}

std::string CommonLines(const std::string& type) {
    return Dashes() + "Disk Information:\n" + Dashes() +
           "Serial Number:\t\t\t\tWD-WCC4E1234567\n"
           "Model Name:\t\t\t\tWDC WD40EFRX\n"
           "Capacity:\t\t\t\t2000.4 GB\n"
           "Enclosure No.:\t\t\t\t1\n"
           "Slot No.:\t\t\t\t4\n"
           "Usage:\t\t\t\t\tFree\n"
           "Firmware Rev.:\t\t\t\t82.00A82\n"
           "Media Error Count:\t\t\t2\n"
           "TimeOut Count:\t\t\t\t0\n"
           "Device Type:\t\t\t\t" + type + "\n";
}

TEST(DiskInquiry, SataDrive) {
    const std::string expected = CommonLines("SATA") +
                                 "Device Temperature:\t\t\t35" + kCelsius + "\n"
                                 "SMART Read Error Rate:\t\t\t200\n"
                                 "SMART Spin up Time:\t\t\t180\n"
                                 "SMART Reallocation Count:\t\t100\n"
                                 "SMART Seek Error Rate:\t\t\t200\n"
                                 "SMART Spin up Retries:\t\t\t100\n"
                                 "SMART Calibration Retries:\t\tN.A.\n"
                                 "SSD Reserved Space:\t\t\t100\n"
                                 "SSD Wearing Indicator:\t\t\tN.A.\n";
    EXPECT_EQ(DiskInquiry(With(Common("SATA"), kSata)), expected);
}

TEST(DiskInquiry, SasDriveHexadecimalCounters) {
    const std::string expected = CommonLines("SAS") +
                                 "Rotation Speed:\t\t\t\t15000(RPM)\n"
                                 "Device Temperature:\t\t\t40" + kCelsius + "\n"
                                 "Read Errors Recovered W/O Delay:\t0X1A\n"
                                 "Read Errors Recovered W Delay:\t\t0\n"
                                 "Read Errors Recovered W Retry:\t\t0XFF\n"
                                 "Read Errors Recovered:\t\t\t0X1\n"
                                 "Read Total Bytes:\t\t\t0X11F71FB04CB\n"
                                 "Read Errors Unrecovered:\t\t0X10\n"
                                 "Write Errors Recovered W/O Delay:\t0XA\n"
                                 "Write Errors Recovered W Delay:\t\t0XB\n"
                                 "Write Errors Recovered W Retry:\t\t0XC\n"
                                 "Write Errors Recovered:\t\t\t0XD\n"
                                 "Write Total Bytes:\t\t\t0X1000\n"
                                 "Write Errors Unrecovered:\t\t0XE\n"
                                 "Verify Errors Recovered W/O Delay:\t0XF\n"
                                 "Verify Errors Recovered W Delay:\t0X11\n"
                                 "Verify Errors Recovered W Retry:\t0X12\n"
                                 "Verify Errors Recovered:\t\t0X13\n"
                                 "Verify Errors Unrecovered:\t\t0X14\n"
                                 "Non-Medium Errors:\t\t\t0X15\n"
                                 "Defect PList Block Count:\t\t0XFFFFFFFFFFFFFFFF\n"
                                 "Defect GList Block Count:\t\t0X3\n";
    std::ostringstream out;
    EXPECT_EQ(DiskInquiry(With(Common("SAS"), kSas), out), expected);
    // The stream is left in hexadecimal mode.
    EXPECT_EQ(out.flags() & std::ios_base::basefield, std::ios_base::hex);
}

TEST(DiskInquiry, NextReportStartsInDecimalAgain) {
    std::ostringstream out;
    DiskInquiry(With(Common("SAS"), kSas), out);
    out.str("");
    DiskInquiry(With(Common("SATA"), kSata), out);
    EXPECT_NE(out.str().find("SMART Read Error Rate:\t\t\t200\n"), std::string::npos) << out.str();
}

TEST(DiskInquiry, OtherTypeEndsAfterDeviceType) {
    // No section, so its keys need not be there.
    EXPECT_EQ(DiskInquiry(Common("NVMe")), CommonLines("NVMe"));
    EXPECT_EQ(DiskInquiry(Common("sata")), CommonLines("sata"));
}

TEST(DiskInquiry, UnavailableDriveIsNotFound) {
    EXPECT_EQ(DiskInquiry(Replace(Common("SATA"), Str("Usage", "Unavailable"))),
              "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found\n");
}

TEST(DiskInquiry, EmptySerialNumberPrintsNone) {
    EXPECT_EQ(DiskInquiry(Replace(Common("SATA"), Str("DeviceID", ""))),
              Dashes() + "Disk Information:\n" + Dashes() + "None\n");
}

struct InquiryUsage {
    const char* usage;
    const char* slot;
    const char* printed;
};

class DiskInquiryUsage : public ::testing::TestWithParam<InquiryUsage> {};

// The inquiry looks at the slot number where the table looks at the RAID
// set number.
TEST_P(DiskInquiryUsage, Line) {
    const InquiryUsage& c = GetParam();
    auto props = Replace(Replace(Common("X"), Str("Usage", c.usage)), Num("SlotNumber", c.slot));
    props.push_back(Num("RaidSetNumber", "255"));
    const std::string out = DiskInquiry(props);
    EXPECT_NE(out.find(std::string("\nUsage:\t\t\t\t\t") + c.printed + "\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(Rules, DiskInquiryUsage,
                         ::testing::Values(InquiryUsage{"", "255", ""}, InquiryUsage{"", "3", "ext"},
                                           InquiryUsage{"Free", "3", "Free"}),
                         paramname::Numbered(
                             [](const InquiryUsage& c) { return std::string(c.usage) + " " + c.slot; }));

TEST(DiskInquiry, SlotAndEnclosureShownOneBased) {
    auto props = Replace(Replace(Common("X"), Num("EnclosureNumber", "7")), Num("SlotNumber", "255"));
    const std::string out = DiskInquiry(props);
    EXPECT_NE(out.find("\nEnclosure No.:\t\t\t\t8\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\nSlot No.:\t\t\t\t256\n"), std::string::npos) << out;
}

struct Blocks {
    const char* count;
    const char* printed;
};

class DiskCapacity : public ::testing::TestWithParam<Blocks> {};

// Decimal units, strict comparisons, six significant digits, a blank before
// the unit.
TEST_P(DiskCapacity, Scaled) {
    const std::string out = DiskInquiry(Replace(Common("X"), Num("NumberOfBlocks", GetParam().count)));
    EXPECT_NE(out.find(std::string("\nCapacity:\t\t\t\t") + GetParam().printed + "\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, DiskCapacity,
    ::testing::Values(Blocks{"0", "0 B"}, Blocks{"999", "999 B"}, Blocks{"1000", "1000 B"},
                      Blocks{"1001", "1.001 KB"}, Blocks{"1000000", "1000 KB"}, Blocks{"1000001", "1 MB"},
                      Blocks{"1234567", "1.23457 MB"}, Blocks{"1000000000", "1000 MB"},
                      Blocks{"1000000001", "1 GB"}, Blocks{"2000398934016", "2000.4 GB"}),
    paramname::Numbered([](const Blocks& c) { return c.count; }));

TEST(DiskInquiry, AbsentKeyIsOutOfRange) {
    auto props = Common("SATA");
    props.erase(props.begin() + 2);   // NumberOfBlocks
    EXPECT_THROW(DiskInquiry(props), std::out_of_range);
    EXPECT_THROW(DiskInquiry(Common("SATA")), std::out_of_range);   // the SATA section's keys
}

}  // namespace
