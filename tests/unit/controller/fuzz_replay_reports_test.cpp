// Replays every saved input of the report fuzzer (fuzz/corpus/reports/)
// through the fuzz target's own replay function, and checks the outcome of
// some seeds.
#include "fuzz/reports_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using reportsfuzz::Outcome;

TEST(ReportsCorpus, EveryFileCutsValuesOrFailsOutOfRange) {
    EXPECT_GE(fuzzcorpus::replayAll("reports", reportsfuzz::replay), 40u) << fuzzcorpus::folder("reports");
}

struct Known {
    const char* file;
    Outcome outcome;
    const char* printed;   // a piece of the output
};

TEST(ReportsSeeds, GiveTheirKnownOutcomes) {
    const Known known[] = {
        // Cuts over a rendering: the table with a field of every form ends at
        // a key the text lacks.
        {"seed-0-rebuilding", Outcome::OutOfRange, ""},
        {"seed-0-key-absent", Outcome::OutOfRange, ""},
        // The reports over complete instances.
        {"seed-1-complete-system", Outcome::Printed, "Memory Size:\t\t4096MB\n"},
        {"seed-2-complete-events", Outcome::Printed, "\n3        2015-09-16 10:02:00"},
        {"seed-3-complete-disks", Outcome::Printed, "ST4000NM                    SAS             RaidSet Member  \n"},
        {"seed-4-complete-volumes", Outcome::Printed, "N.A.               3                         2000GB      \n"},
        {"seed-5-complete-pools", Outcome::Printed, "\n1        ====="},
        {"seed-5-zero-members", Outcome::Printed, "\n1        2        ====="},
        {"seed-6-complete-sata", Outcome::Printed, "SMART Calibration Retries:\t\tN.A.\n"},
        {"seed-6-complete-sas", Outcome::Printed, "Read Errors Recovered W/O Delay:\t0\nRead Errors Recovered W Delay:\t\t0X1\n"},
        {"seed-6-unavailable", Outcome::Printed, "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found\n"},
        {"seed-6-no-device-id", Outcome::Printed, "Disk Information:\n"},
        {"seed-7-complete-volume", Outcome::Printed, "Capacity:\t\t2000GB\n"},
        // The test data lack keys the reports read (the drives' "Enc" and
        // "Slot", the volumes' "MemberDisks"), and so does an empty instance.
        {"seed-3-enum-diskdrive", Outcome::OutOfRange, "Disk(s) Information:"},
        {"seed-4-enum-storagevolume", Outcome::OutOfRange, "Volume Set(s) Information:"},
        {"seed-1-empty", Outcome::OutOfRange, "RAID Controller Information:"},
        {"seed-3-unavailable-between", Outcome::OutOfRange, ""},
    };
    for (const Known& k : known) {
        const reportsfuzz::Result r = fuzzcorpus::result("reports", k.file, reportsfuzz::replay);
        EXPECT_EQ(static_cast<int>(r.outcome), static_cast<int>(k.outcome)) << k.file << ":\n" << r.printed;
        EXPECT_NE(r.printed.find(k.printed), std::string::npos) << k.file << ":\n" << r.printed;
    }
}

}  // namespace
