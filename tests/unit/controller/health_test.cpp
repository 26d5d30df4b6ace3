// The state table: one row per rule, an object with its values in, the
// verdict (level and findings) out.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cim/cimom.h"
#include "cim/url.h"
#include "controller/health.h"
#include "tests/unit/test_files.h"

namespace {

enum class Kind { raidSet, volume, disk };

struct TableCase {
    const char* name;
    Kind kind;
    std::string state;                   // RAIDState, VolumeState, or the drive's state
    std::optional<double> progress = {};               // volumes
    std::optional<unsigned> temperature = {};          // drives
    std::uint64_t mediaErrors = 0;                     // drives
    std::vector<std::pair<std::string, unsigned>> smart = {};   // drives
    Health level = Health::ok;
    std::vector<std::string> problems = {};
    Thresholds thresholds = {};
};

class StateTable : public ::testing::TestWithParam<TableCase> {};

TEST_P(StateTable, Verdict) {
    const TableCase& c = GetParam();
    HealthReading reading;
    const Verdict* verdict = nullptr;
    switch (c.kind) {
    case Kind::raidSet:
        reading.raidSets.push_back(RaidSetFacts{});
        reading.raidSets.back().state = c.state;
        verdict = &reading.raidSets.back().verdict;
        break;
    case Kind::volume:
        reading.volumes.push_back(VolumeFacts{});
        reading.volumes.back().state = c.state;
        reading.volumes.back().progress = c.progress;
        verdict = &reading.volumes.back().verdict;
        break;
    case Kind::disk: {
        DiskFacts disk;
        disk.state = c.state;
        disk.temperatureCelsius = c.temperature;
        disk.mediaErrors = c.mediaErrors;
        disk.smart = c.smart;
        reading.disks.push_back(disk);
        verdict = &reading.disks.back().verdict;
        break;
    }
    }
    EXPECT_EQ(Judge(reading, c.thresholds), c.level);
    EXPECT_EQ(verdict->level, c.level);
    EXPECT_EQ(verdict->problems, c.problems);
}

using P = std::vector<std::string>;
using S = std::vector<std::pair<std::string, unsigned>>;
constexpr Health OK = Health::ok, WARN = Health::warning, CRIT = Health::critical;

TableCase Volume(const char* name, const char* state, Health level, P problems = {}) {
    return {name, Kind::volume, state, {}, {}, 0, {}, level, std::move(problems)};
}
TableCase RaidSet(const char* name, const char* state, Health level, P problems = {}) {
    return {name, Kind::raidSet, state, {}, {}, 0, {}, level, std::move(problems)};
}
TableCase Disk(const char* name, const char* state, Health level, P problems = {}) {
    return {name, Kind::disk, state, {}, {}, 0, {}, level, std::move(problems)};
}
TableCase Hot(const char* name, unsigned celsius, Health level, P problems = {}, Thresholds t = {}) {
    return {name, Kind::disk, "Free", {}, celsius, 0, {}, level, std::move(problems), t};
}
TableCase Smart(const char* name, const char* property, unsigned value, Health level, P problems = {}) {
    return {name, Kind::disk, "RaidSet Member", {}, {}, 0, S{{property, value}}, level, std::move(problems)};
}

const TableCase kTable[] = {
    Volume("VolumeNormal", "Normal", OK),
    Volume("VolumeInitializing", "Initializing", OK),
    Volume("VolumeMigrating", "Migrating", OK),
    Volume("VolumeChecking", "Checking", OK),
    Volume("VolumeRebuildingNoProgress", "Rebuilding", WARN, {"Rebuilding"}),
    {"VolumeRebuildingWithProgress", Kind::volume, "Rebuilding", 0.453, {}, 0, {}, WARN, {"Rebuilding 45.3%"}},
    Volume("VolumeDegraded", "Degraded", CRIT, {"Degraded"}),
    Volume("VolumeFailed", "Failed", CRIT, {"Failed"}),
    Volume("VolumeOffline", "Offline", CRIT, {"Offline"}),
    Volume("VolumeUnknownState", "Foo", WARN, {"state \"Foo\" not known"}),
    Volume("VolumeStateComparedExactly", "normal", WARN, {"state \"normal\" not known"}),
    Volume("VolumeEmptyState", "", WARN, {"state \"\" not known"}),

    RaidSet("RaidSetNormal", "Normal", OK),
    RaidSet("RaidSetInitializing", "Initializing", OK),
    RaidSet("RaidSetMigrating", "Migrating", OK),
    RaidSet("RaidSetChecking", "Checking", OK),
    RaidSet("RaidSetRebuilding", "Rebuilding", WARN, {"Rebuilding"}),
    RaidSet("RaidSetDegraded", "Degraded", CRIT, {"Degraded"}),
    RaidSet("RaidSetIncomplete", "Incomplete", CRIT, {"Incomplete"}),
    RaidSet("RaidSetFailed", "Failed", CRIT, {"Failed"}),
    RaidSet("RaidSetOffline", "Offline", CRIT, {"Offline"}),
    RaidSet("RaidSetUnknownState", "Foo", WARN, {"state \"Foo\" not known"}),

    Disk("DiskRaidSetMember", "RaidSet Member", OK),
    Disk("DiskFree", "Free", OK),
    Disk("DiskPassThrough", "Pass Through", OK),
    Disk("DiskHotSpare", "Hot Spare", OK),
    Disk("DiskFailed", "Failed", CRIT, {"Failed"}),
    Disk("DiskUnavailable", "Unavailable", CRIT, {"Unavailable"}),
    Disk("DiskUnknownState", "Rebuilding", WARN, {"state \"Rebuilding\" not known"}),

    Hot("TemperatureBelowWarn", 49, OK),
    Hot("TemperatureAtWarn", 50, WARN, {"temperature 50 C"}),
    Hot("TemperatureBelowCrit", 59, WARN, {"temperature 59 C"}),
    Hot("TemperatureAtCrit", 60, CRIT, {"temperature 60 C"}),
    Hot("TemperatureOtherThresholdsOk", 50, OK, {}, Thresholds{55, 65}),
    Hot("TemperatureOtherThresholdsWarn", 55, WARN, {"temperature 55 C"}, Thresholds{55, 65}),
    Hot("TemperatureOtherThresholdsCrit", 65, CRIT, {"temperature 65 C"}, Thresholds{55, 65}),
    {"TemperatureNotReported", Kind::disk, "Free", {}, std::nullopt, 0, {}, OK, {}},

    {"NoMediaErrors", Kind::disk, "Free", {}, {}, 0, {}, OK, {}},
    {"OneMediaError", Kind::disk, "Free", {}, {}, 1, {}, WARN, {"media errors 1"}},

    Smart("SmartHealthy", "SMARTReadErrorRateStatus", 100, OK),
    Smart("SmartAtWarnLimit", "SMARTSeekErrorRateStatus", 50, OK),
    Smart("SmartBelowWarnLimit", "SMARTSpinupTimeStatus", 49, WARN, {"SMARTSpinupTime 49"}),
    Smart("SmartAtCritLimit", "SMARTSpinupRetriesStatus", 20, WARN, {"SMARTSpinupRetries 20"}),
    Smart("SmartBelowCritLimit", "SMARTReallocationCountStatus", 3, CRIT, {"SMARTReallocationCount 3"}),
    Smart("SsdWearLeft", "SSDWearingIndicatorStatus", 20, OK),
    Smart("SsdWearLow", "SSDWearingIndicatorStatus", 19, WARN, {"SSDWearingIndicator 19"}),
    Smart("SsdReservedSpaceGone", "SSDReservedSpaceStatus", 9, CRIT, {"SSDReservedSpace 9"}),

    // Findings add up; the gravest gives the level.
    {"FailedHotDriveWithErrors", Kind::disk, "Failed", {}, 52, 37, S{{"SMARTReallocationCountStatus", 40}},
     CRIT, {"Failed", "temperature 52 C", "media errors 37", "SMARTReallocationCount 40"}},
};

INSTANTIATE_TEST_SUITE_P(Rows, StateTable, ::testing::ValuesIn(kTable),
                         [](const ::testing::TestParamInfo<TableCase>& info) { return info.param.name; });

TEST(Judge, WorstOfAllObjectsFromEmptyVerdicts) {
    HealthReading reading;
    reading.raidSets.push_back(RaidSetFacts{});
    reading.raidSets.back().state = "Rebuilding";
    reading.volumes.push_back(VolumeFacts{});
    reading.volumes.back().state = "Normal";
    EXPECT_EQ(Judge(reading, {}), Health::warning);
    reading.volumes.back().state = "Offline";
    EXPECT_EQ(Judge(reading, {}), Health::critical);
    // Judging again starts from empty verdicts.
    EXPECT_EQ(reading.volumes.back().verdict.problems, P{"Offline"});
}

}  // namespace

// ---------------------------------------------------------------- the reading

namespace {

// Answers each enumeration with the sample reply of its class.
class SampleCimom : public Cimom {
public:
    std::vector<std::string> classes;
    void genRequest(URL& url, const char*, bool, bool) override { classes.push_back(url.className); }
    void addPayload(const std::string&) override {}
    std::string getResponse() override {
        std::string name = classes.back();
        name.erase(0, std::string("Quilo_").size());
        return testfiles::read(testfiles::dataPath("enum-" + name + ".xml"));
    }
    void setClientCertificates(const char*, int, const char*, const char*) override {}
};

}  // namespace

TEST(ReadHealth, TypedAndDecodedFromTheSampleReplies) {
    SampleCimom cimom;
    const URL controller("https://root:x@127.0.0.1:5989/quilo/cimv2:Quilo_RAIDControllerSystem");
    const HealthReading r = ReadHealth(cimom, controller);
    EXPECT_EQ(cimom.classes, (P{"Quilo_RAIDControllerSystem", "Quilo_StoragePool", "Quilo_StorageVolume",
                                "Quilo_DiskDrive"}));
    EXPECT_EQ(r.controller.model, "Quilo-1882IX-24 & Expander");
    EXPECT_EQ(r.controller.firmware, "V1.56 2019-07-30");
    ASSERT_EQ(r.raidSets.size(), 2u);
    EXPECT_EQ(r.raidSets[1].number, 2u);
    EXPECT_EQ(r.raidSets[1].name, "Quilo:RaidSet1");
    EXPECT_EQ(r.raidSets[1].state, "Rebuilding");
    EXPECT_EQ(r.raidSets[1].capacityBytes, 8001563222016u);
    ASSERT_EQ(r.volumes.size(), 2u);
    EXPECT_EQ(r.volumes[1].name, "Data <fast>");
    EXPECT_EQ(r.volumes[1].raidLevel, 10u);   // "Raid 1+0", read as vsf info shows it
    EXPECT_EQ(r.volumes[1].raidSet, 1u);
    EXPECT_EQ(r.volumes[1].progress, 0.0);    // Initializing, no Progress value
    EXPECT_EQ(r.volumes[0].progress, std::nullopt);
    ASSERT_EQ(r.disks.size(), 3u);
    EXPECT_EQ(r.disks[0].enclosure + "/" + r.disks[0].slot, "1/1");   // no Enc, Slot texts: the numbers
    EXPECT_EQ(r.disks[0].state, "RaidSet Member");
    EXPECT_EQ(r.disks[0].temperatureCelsius, 36u);   // SATA without a temperature status
    EXPECT_TRUE(r.disks[0].smart.empty());           // a status written as a word is not reported
    EXPECT_EQ(r.disks[1].state, "Pass Through");
    EXPECT_EQ(r.disks[2].state, "Unavailable");
    EXPECT_EQ(r.disks[2].capacityBytes, 0u);
}
