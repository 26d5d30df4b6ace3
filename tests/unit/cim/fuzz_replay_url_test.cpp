// Replays every saved input of the object path fuzzer (fuzz/corpus/url/)
// through the fuzz target's own replay function, and checks the results of
// the seeds.
#include "fuzz/url_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace {

using urlfuzz::Outcome;

// The replay runs against the fuzzer's alias file and interface table; the
// suite puts back what the other tests of this binary expect.
class UrlCorpus : public ::testing::Test {
public:
    static void SetUpTestSuite() {
        const char* aliases = std::getenv("VOSTREL_IND");
        savedAliases = aliases ? std::optional<std::string>(aliases) : std::nullopt;
        savedTable = URL::interfaceTable;
        urlfuzz::setUp();
    }
    static void TearDownTestSuite() {
        urlfuzz::removeScratchFiles();
        URL::interfaceTable = savedTable;
        if (savedAliases)
            setenv("VOSTREL_IND", savedAliases->c_str(), 1);
        else
            unsetenv("VOSTREL_IND");
    }

private:
    static inline std::optional<std::string> savedAliases;
    static inline std::string savedTable;
};

TEST_F(UrlCorpus, EveryFileEndsInAPathOrItsOwnErrors) {
    EXPECT_GE(fuzzcorpus::replayAll("url", urlfuzz::replay), 5u) << fuzzcorpus::folder("url");
}

struct Known {
    const char* file;
    Outcome outcome;
    const char* text;
};

class UrlSeeds : public UrlCorpus {};

TEST_F(UrlSeeds, GiveTheirKnownResults) {
    const Known known[] = {
        {"keys", Outcome::Parsed, "10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2"},
        // The alias "lab" of the fuzzer's alias file.
        {"alias", Outcome::Parsed, "10.1.2.3:5989/quilo/cimv2:Quilo_StorageVolume.VolumeNo=1"},
        // The zone leaves the host; no class, so an empty one after the ":".
        {"zone", Outcome::Parsed, "[fe80::1]:5989/root/cimv2:"},
        {"reference", Outcome::Parsed,
         "h:5989/root/cimv2:Quilo_Assoc.Antecedent=\"quilo/cimv2:Quilo_X\",Tag=\"1\",B=\"Quilo_Y\",Id=2"},
        // An empty port, an empty namespace component, a comma in a quoted value.
        {"odd", Outcome::Parsed, "[fe80::1]:/a//b:C.a=\"x,y\",b=TRUE"},
    };
    for (const Known& k : known) {
        const urlfuzz::Result r = fuzzcorpus::result("url", k.file, urlfuzz::replay);
        EXPECT_EQ(static_cast<int>(r.outcome), static_cast<int>(k.outcome)) << k.file << ": " << r.text;
        EXPECT_EQ(r.text, k.text) << k.file;
    }
}

}  // namespace
