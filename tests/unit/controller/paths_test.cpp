// Target paths built from a primary command and its parameter text. The
// paths of the fuzzer's seeds (every command, the common key spellings, a
// password with "@") are checked by fuzz_replay_paths_test.
#include <gtest/gtest.h>

#include <string>

#include "controller/paths.h"

namespace {

const std::string P = "https://root:pw@10.0.0.5/quilo/cimv2:";

std::string Build(pricmd primary, const std::string& parameters) {
    std::string path;
    BuildURL(primary, path, parameters, "root", "pw", "10.0.0.5");
    return path;
}

struct PathCase {
    const char* name;
    pricmd primary;
    const char* parameters;
    std::string expected;   // after the common prefix; empty: no path at all
};

class TargetPath : public ::testing::TestWithParam<PathCase> {};

TEST_P(TargetPath, Builds) {
    const PathCase& c = GetParam();
    const std::string expected = c.expected.empty() ? "" : P + c.expected;
    EXPECT_EQ(Build(c.primary, c.parameters), expected);
}

const PathCase kPathCases[] = {
    // The worked examples.
    {"rsf_create", pricmd::rsf, "CreateRAIDSet.MemberDisks=3,Enc=2,Name=RAID#01,DiskArray=14,15,16",
     "Quilo_StoragePool"},
    {"sys_beeperon", pricmd::sys, "SetBeeper.Enable=Y", "Quilo_RAIDControllerSystem"},
    {"event_clear", pricmd::event, "ClearEventLog", "Quilo_EventLog"},
    // The volume number runs to the end of the text; spellings in a fixed order.
    {"vsf_value_to_end", pricmd::vsf, "ModifyVolume.vol=1,name=x", "Quilo_StorageVolume.VolumeNo=1,name=x"},
    {"vsf_Vol_later_in_text", pricmd::vsf, "vol=3,Vol=1", "Quilo_StorageVolume.VolumeNo=1"},
    {"vsf_VOL_before_vol", pricmd::vsf, "vol=3,VOL=4", "Quilo_StorageVolume.VolumeNo=4"},
    {"vsf_Vol_before_VOL", pricmd::vsf, "VOL=4,Vol=5", "Quilo_StorageVolume.VolumeNo=5"},
    {"vsf_query_no_key", pricmd::vsf, "", "Quilo_StorageVolume"},
    // Disk pairs: the first complete pair; the earlier key is cut, the later runs on.
    {"disk_Enc_Slot", pricmd::disk, "Enc=1,Slot=2", "Quilo_DiskDrive.EnclosureNumber=1,SlotNumber=2"},
    {"disk_Enc_slot", pricmd::disk, "Enc=4,slot=5", "Quilo_DiskDrive.EnclosureNumber=4,SlotNumber=5"},
    {"disk_enc_Slot", pricmd::disk, "Slot=6,enc=7", "Quilo_DiskDrive.EnclosureNumber=7,SlotNumber=6"},
    {"disk_later_runs_to_end", pricmd::disk, "CreatePassThrough.enc=2,slot=14,id=1",
     "Quilo_DiskDrive.EnclosureNumber=2,SlotNumber=14,id=1"},
    {"disk_earlier_cut_at_blank", pricmd::disk, "enc=2 x,slot=3", "Quilo_DiskDrive.EnclosureNumber=2,SlotNumber=3"},
    {"disk_slt_no_key", pricmd::disk, "CreatePassThrough.cache=1,tag=1,lun=0,id=1,enc=2,slt=14", "Quilo_DiskDrive"},
    {"disk_one_key_missing", pricmd::disk, "enc=2", "Quilo_DiskDrive"},
    // Both keys in one word: no terminator, the rest of the text is the value.
    {"disk_one_word_slot_first", pricmd::disk, "slot=3enc=2", "Quilo_DiskDrive.EnclosureNumber=2,SlotNumber=3enc=2"},
};

INSTANTIATE_TEST_SUITE_P(Paths, TargetPath, ::testing::ValuesIn(kPathCases),
                         [](const ::testing::TestParamInfo<PathCase>& info) { return info.param.name; });

TEST(TargetPath, AppendsToWhatThePathHolds) {
    std::string path = "x";
    BuildURL(pricmd::rsf, path, "", "u", "p", "h:5989");
    EXPECT_EQ(path, "xhttps://u:p@h:5989/quilo/cimv2:Quilo_StoragePool");
}

}  // namespace
