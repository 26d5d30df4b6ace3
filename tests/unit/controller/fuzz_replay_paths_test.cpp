// Replays every saved input of the path builder fuzzer (fuzz/corpus/paths/)
// through the fuzz target's own replay function, and checks the paths of
// the seeds.
#include "fuzz/paths_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using pathsfuzz::Outcome;

TEST(PathsCorpus, EveryFileBuildsPathsWithTheirProperties) {
    EXPECT_GE(fuzzcorpus::replayAll("paths", pathsfuzz::replay), 30u) << fuzzcorpus::folder("paths");
}

struct Known {
    const char* file;
    const char* path;   // after "https://root:pw@10.0.0.5/quilo/cimv2:", unless it begins with "https:"
    Outcome outcome;
};

TEST(PathsSeeds, GiveTheirKnownPaths) {
    const std::string p = "https://root:pw@10.0.0.5/quilo/cimv2:";
    const Known known[] = {
        {"seed-vsf-deletevolume-vol-2", "Quilo_StorageVolume.VolumeNo=2", Outcome::Parsed},
        {"seed-vsf-deletevolume-num-2", "Quilo_StorageVolume", Outcome::Parsed},
        {"seed-disk-enc-2-slot-11", "Quilo_DiskDrive.EnclosureNumber=2,SlotNumber=11", Outcome::Parsed},
        {"seed-disk-slot-11-enc-2", "Quilo_DiskDrive.EnclosureNumber=2,SlotNumber=11", Outcome::Parsed},
        {"seed-disk-enc-1-slot-2-enc-3", "Quilo_DiskDrive.EnclosureNumber=3,SlotNumber=2", Outcome::Parsed},
        {"seed-vsf-vol-1-vol-3", "Quilo_StorageVolume.VolumeNo=1,vol=3", Outcome::Parsed},
        {"seed-event", "Quilo_EventLog", Outcome::Parsed},
        // Both keys in one word: the first runs to the end of the text, and
        // its value holds an "=" the path parser refuses.
        {"seed-disk-enc-2slot-3", "Quilo_DiskDrive.EnclosureNumber=2slot=3,SlotNumber=3", Outcome::UrlError},
        {"seed-primary-net", "", Outcome::NoPath},
        {"seed-primary-beyond", "", Outcome::NoPath},
        // The password goes into the path as it is; the parser ends the user
        // part at the first "@" and reads "word@10.0.0.5" as the port.
        {"seed-password-with-at", "https://root:p@ss:word@10.0.0.5/quilo/cimv2:Quilo_RAIDControllerSystem",
         Outcome::UrlError},
    };
    for (const Known& k : known) {
        const pathsfuzz::Result r = fuzzcorpus::result("paths", k.file, pathsfuzz::replay);
        const std::string expected =
            std::string(k.path).rfind("https:", 0) == 0 || *k.path == '\0' ? k.path : p + k.path;
        EXPECT_EQ(r.path, expected) << k.file;
        EXPECT_EQ(static_cast<int>(r.outcome), static_cast<int>(k.outcome)) << k.file << ": " << r.rendered;
    }
}

}  // namespace
