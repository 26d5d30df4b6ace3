// vsf info, vsf inq and rsf info, compared byte for byte.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "controller/reports.h"
#include "report_support.h"
#include "tests/unit/param_names.h"

namespace {

using namespace report_test;

// -------------------------------------------------------------- vsf info

std::string VolumeText(const std::string& no, const std::string& raidSet, const std::string& capacity,
                       const std::string& name = "Volume---VOL#000") {
    return NamedText("Quilo_StorageVolume", "DeviceID", no,
                     {Num("VolumeNo", no), Str("ElementName", name), Num("RAIDLevel", "5"),
                      Num("RaidSetNumber", raidSet), Num("MemberDisks", "3"), Num("Capacity", capacity)});
}

std::string VolumeInfo(const std::vector<std::string>& instances) {
    auto list = Named(instances);
    std::string work;
    std::ostringstream out;
    DisplayVolumeInfo(work, *list, out);
    return out.str();
}

std::string VolumeHeading() {
    return Pad("No.", 9) + Pad("VolumeSet Name", 22) + Pad("RAID Level", 18) + Pad("RaidSet No.", 19) +
           Pad("Member Disks", 26) + Pad("Capacity", 16) + "\n";
}

std::string VolumeRow(const std::string& no, const std::string& raidSet, const std::string& number,
                      const std::string& unit, const std::string& name = "Volume---VOL#000") {
    return Pad(no, 9) + Pad(name, 22) + Pad("5", 18) + Pad(raidSet, 19) + Pad("3", 26) + number + Pad(unit, 8) + "\n";
}

TEST(VolumeInfo, WholeReport) {
    const std::string expected = Dashes() + "Volume Set(s) Information:\n" + Dashes() + VolumeHeading() +
                                 VolumeRow("1", "1", "2000", "GB") + VolumeRow("2", "N.A.", "1.5", "GB") +
                                 VolumeRow("3", "5", "999", "B") + Dashes();
    EXPECT_EQ(VolumeInfo({VolumeText("1", "0", "2000398934016"), VolumeText("2", "255", "1500000000"),
                          VolumeText("3", "4", "999")}),
              expected);
}

TEST(VolumeInfo, CapacityUnitPaddedToEight) {
    const std::string out = VolumeInfo({VolumeText("1", "0", "2000398934016")});
    EXPECT_NE(out.find("3                         2000GB      \n"), std::string::npos) << out;
}

TEST(VolumeInfo, NoVolumesPrintsHeadingOnly) {
    EXPECT_EQ(VolumeInfo({}), Dashes() + "Volume Set(s) Information:\n" + Dashes() + VolumeHeading() + Dashes());
}

TEST(VolumeInfo, AbsentKeyIsOutOfRange) {
    const std::string text = NamedText("Quilo_StorageVolume", "DeviceID", "1", {Num("VolumeNo", "1")});
    EXPECT_THROW(VolumeInfo({text}), std::out_of_range);
}

// --------------------------------------------------------------- vsf inq

std::vector<Prop> Volume(const std::string& state, const std::string& progress, const std::string& capacity) {
    return {Str("ElementName", "Volume---VOL#000"), Num("Capacity", capacity), Num("StripeSize", "64"),
            Num("RAIDLevel", "5"), Num("Channel", "0"), Num("ID", "2"), Num("Lun", "1"),
            Str("CacheMode", "Write Back"), Str("WriteProtect", "Disabled"), Str("TaggedQueuing", "Enabled"),
            Str("VolumeState", state), Num("Progress", progress), Str("DeviceID", "VOL-ID-1")};
}

std::string VolumeInquiry(const std::vector<Prop>& props) {
    URL path("https://root:pw@10.0.0.5/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1");
    auto instance = Instance("Quilo_StorageVolume", props);
    std::string work;
    std::ostringstream out;
    DisplayVolumeInquiry(path, work, *instance, out);
    return out.str();
}

TEST(VolumeInquiry, WholeReport) {
    const std::string expected = Dashes() + " Volume Information:\n" + Dashes() +
                                 "Volume Set Name:\tVolume---VOL#000\n"
                                 "Capacity:\t\t2000GB\n"
                                 "Stripe Size:\t\t64K\n"
                                 "RAIDLevel:\t\t5\n"
                                 "SCSI CH:\t\t0\n"
                                 "SCSI ID:\t\t2\n"
                                 "SCSI Lun:\t\t1\n"
                                 "Cache Mode:\t\tWrite Back\n"
                                 "Write Protect:\t\tDisabled\n"
                                 "Tagged Queuing:\t\tEnabled\n"
                                 "Volume State:\t\tRebuilding(45.3%)\n";
    EXPECT_EQ(VolumeInquiry(Volume("Rebuilding", "453", "2000398934016")), expected);
}

struct StateCase {
    const char* state;
    const char* progress;
    const char* printed;
};

class VolumeProgress : public ::testing::TestWithParam<StateCase> {};

TEST_P(VolumeProgress, StateLine) {
    const StateCase& c = GetParam();
    const std::string out = VolumeInquiry(Volume(c.state, c.progress, "1"));
    EXPECT_NE(out.find(std::string("\nVolume State:\t\t") + c.printed + "\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(States, VolumeProgress,
                         ::testing::Values(StateCase{"Initializing", "5", "Initializing(0.5%)"},
                                           StateCase{"Initializing", "1000", "Initializing(100.0%)"},
                                           StateCase{"Rebuilding", "0", "Rebuilding(0.0%)"},
                                           StateCase{"Normal", "453", "Normal"},
                                           StateCase{"rebuilding", "453", "rebuilding"},
                                           StateCase{"Rebuilding ", "453", "Rebuilding "}),
                         paramname::Numbered(
                             [](const StateCase& c) { return std::string(c.state) + " " + c.progress; }));

TEST(VolumeInquiry, ProgressReadOnlyWhileItMatters) {
    auto props = Volume("Normal", "0", "1");
    props.erase(props.begin() + 11);   // Progress
    EXPECT_NO_THROW(VolumeInquiry(props));
    props[10] = Str("VolumeState", "Initializing");
    EXPECT_THROW(VolumeInquiry(props), std::out_of_range);
}

struct Bytes {
    const char* count;
    const char* printed;
};

class VolumeCapacity : public ::testing::TestWithParam<Bytes> {};

// Four significant digits, the unit right after the number.
TEST_P(VolumeCapacity, Scaled) {
    const std::string out = VolumeInquiry(Volume("Normal", "0", GetParam().count));
    EXPECT_NE(out.find(std::string("\nCapacity:\t\t") + GetParam().printed + "\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(Boundaries, VolumeCapacity,
                         ::testing::Values(Bytes{"999", "999B"}, Bytes{"1000", "1000B"}, Bytes{"1001", "1.001KB"},
                                           Bytes{"1000000", "1000KB"}, Bytes{"1234567", "1.235MB"},
                                           Bytes{"1000000000", "1000MB"}, Bytes{"1000000001", "1GB"},
                                           Bytes{"1500000000", "1.5GB"}, Bytes{"2000398934016", "2000GB"},
                                           Bytes{"12345678901234", "1.235e+04GB"}),
                         paramname::Numbered([](const Bytes& c) { return c.count; }));

// --------------------------------------------------------------- rsf info

std::string RaidSetText(const std::string& no, const std::string& members, const std::string& state) {
    if (members == "0")   // a set without members: nothing more is read from it
        return NamedText("Quilo_StoragePool", "InstanceID", "RS" + no,
                         {Num("RaidSetNumber", no), Num("MemberDisks", members)});
    return NamedText("Quilo_StoragePool", "InstanceID", "RS" + no,
                     {Num("RaidSetNumber", no), Str("InstanceID", "Raid Set # 00" + no), Num("Volumes", "1"),
                      Num("MemberDisks", members), Str("RAIDState", state), Num("Capacity", "6000000000000"),
                      Num("FreeRawCapacity", "4000000000")});
}

std::string RaidSetInfo(const std::vector<std::string>& instances) {
    auto list = Named(instances);
    std::string work;
    std::ostringstream out;
    DisplayRAIDSetInfo(work, *list, out);
    return out.str();
}

std::string RaidSetHeading() {
    return Pad("No.", 9) + Pad("RAID Set", 20) + Pad("Volumes", 12) + Pad("Members", 12) +
           Pad("Raid Set State", 25) + Pad("Capacity", 19) + Pad("Free Raw Capacity", 26) + "\n";
}

std::string RaidSetRow(const std::string& shown, const std::string& no, const std::string& state) {
    return Pad(shown, 9) + Pad("Raid Set # 00" + no, 20) + Pad("1", 12) + Pad("3", 12) + Pad(state, 25) + "6000" +
           Pad("GB", 15) + "4" + Pad("GB", 25) + "\n";
}

TEST(RaidSetInfo, WholeReport) {
    const std::string expected = Dashes() + "RAID Set(s) Information:\n" + Dashes() + RaidSetHeading() +
                                 RaidSetRow("1", "0", "Normal") + RaidSetRow("2", "1", "Degraded") + Dashes();
    EXPECT_EQ(RaidSetInfo({RaidSetText("0", "3", "Normal"), RaidSetText("1", "3", "Degraded")}), expected);
}

TEST(RaidSetInfo, SetWithoutMembersSharesTheNextLine) {
    const std::string expected = Dashes() + "RAID Set(s) Information:\n" + Dashes() + RaidSetHeading() +
                                 Pad("1", 9) + RaidSetRow("2", "1", "Normal") + Dashes();
    EXPECT_EQ(RaidSetInfo({RaidSetText("0", "0", ""), RaidSetText("1", "3", "Normal")}), expected);
}

TEST(RaidSetInfo, NumbersWrapInThirtyTwoBits) {
    const std::string text =
        NamedText("Quilo_StoragePool", "InstanceID", "x",
                  {Num("RaidSetNumber", "4294967295"), Num("MemberDisks", "4294967296")});   // wraps to zero
    EXPECT_EQ(RaidSetInfo({text}), Dashes() + "RAID Set(s) Information:\n" + Dashes() + RaidSetHeading() +
                                       Pad("0", 9) + Dashes());
}

}  // namespace
