// Replays every saved input of the command-line fuzzer (fuzz/corpus/cmdline/)
// through the fuzz target's own replay function: the driver and the CIM
// dispatch against the stand-in server, the passwords on a pipe. Some seeds
// are also checked for the run they must give.
#include "fuzz/cmdline_replay.h"
#include "tests/unit/fuzz_corpus.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace {

using cmdlinefuzz::Thrown;

TEST(CmdlineCorpus, EveryFileEndsAsTheDriverMayEnd) {
    EXPECT_GE(fuzzcorpus::replayAll("cmdline", cmdlinefuzz::replay), 200u) << fuzzcorpus::folder("cmdline");
}

TEST(CmdlineCorpus, HoldsTheSeeds) {
    const std::vector<std::string> files = fuzzcorpus::files("cmdline");
    for (const char* seed : {"seed-e2e-snmp-port1-is-refused-by-the-argument-parser", "seed-auth-refused",
                             "seed-query-1-vsf-inq-vol-1", "seed-transport-down"})
        EXPECT_NE(std::find(files.begin(), files.end(), seed), files.end()) << seed;
}

struct Known {
    const char* file;
    int status;
    bool served;
    Thrown thrown;
    const char* out;   // a piece of standard output
    const char* err;   // standard error, whole
    const char* lastRequest;
};

void PrintTo(const Known& k, std::ostream* os) { *os << k.file; }

class CmdlineSeeds : public ::testing::TestWithParam<Known> {};

TEST_P(CmdlineSeeds, GiveTheirKnownRun) {
    const Known& k = GetParam();
    const cmdlinefuzz::Result r = fuzzcorpus::result("cmdline", k.file, cmdlinefuzz::replay);
    EXPECT_EQ(r.status, k.status);
    EXPECT_EQ(r.served, k.served);
    EXPECT_EQ(static_cast<int>(r.thrown), static_cast<int>(k.thrown)) << r.message;
    EXPECT_NE(r.out.find(k.out), std::string::npos) << r.out;
    EXPECT_EQ(r.err, k.err);
    EXPECT_EQ(r.requests.empty() ? "" : r.requests.back().name, k.lastRequest);
}

const Known kKnown[] = {
    {"seed-e2e-snmp-port1-is-refused-by-the-argument-parser", 16, false, Thrown::Nothing, "\rDescription:\n",
     "Invalid invocation syntax\n", ""},
    {"seed-edge-no-words", 0, false, Thrown::Nothing, "Description:\n", "", ""},
    {"seed-edge-chgpw-mismatch", 16, false, Thrown::Nothing, "", "Invalid invocation syntax\n", ""},
    {"seed-edge-trailing-i", 16, false, Thrown::Nothing, "", "Invalid invocation syntax\n", ""},
    // A query under each of the stand-in server's answers.
    {"seed-query-1-sys-info", 0, true, Thrown::Nothing, "Memory Size:\t\t4096MB\n", "", "EnumerateInstances"},
    {"seed-query-1-vsf-inq-vol-1", 0, true, Thrown::Nothing, "Volume State:\t\tInitializing(45.3%)\n", "",
     "GetInstance"},
    {"seed-query-1-disk-inq-enc-1-slot-4", 0, true, Thrown::Nothing, "Rotation Speed:\t\t\t\t7200(RPM)\n", "",
     "GetInstance"},
    {"seed-query-2-rsf-info", 0, true, Thrown::Nothing, "None\n", "", "EnumerateInstances"},
    {"seed-query-3-event-info", 0, true, Thrown::NoReturn, "", "Nothing Returned\n", "EnumerateInstances"},
    {"seed-query-4-vsf-info", 16, true, Thrown::Unknown, "", "*\n* what happened? \n*\n\n", "EnumerateInstances"},
    {"seed-query-5-disk-info", 16, true, Thrown::Xml, "", "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found\n",
     "EnumerateInstances"},
    // The reply cut off inside the first VALUE's start tag.
    {"seed-query-6-sys-info", 16, true, Thrown::Xml, "", "Parse Exception: Bad attribute list for VALUE: \n",
     "EnumerateInstances"},
    {"seed-query-7-disk-inq-enc-1-slot-4", 0, true, Thrown::Nothing,
     "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found\n", "", "GetInstance"},
    // The password check and the method.
    {"seed-auth-refused", 13, true, Thrown::Nothing,
     "Invalid Password for the RAID Controller\nController Password Incorrect\n", "", "AuthPassword"},
    {"seed-auth-empty", 13, true, Thrown::Nothing, "Controller Password Incorrect\n", "", "AuthPassword"},
    {"seed-auth-status-and-ok", 0, true, Thrown::Nothing, "RAID Set Not Normal\n OK \n", "", "SetBeeper"},
    {"seed-method-code-74", 0, true, Thrown::Nothing, "\rInvalid Password for the RAID Controller\n", "",
     "DeleteVolume"},
    {"seed-transport-down", 16, true, Thrown::Xml, "", "Http Exception: Unable to connect to 10.0.0.5\n", "SetWaTP"},
    // No class for net: the empty path fails in the path parser.
    {"seed-edge-net-info", 16, true, Thrown::Xml, "", "Url Exception: Only supporting http or https protocols\n", ""},
};

INSTANTIATE_TEST_SUITE_P(Seeds, CmdlineSeeds, ::testing::ValuesIn(kKnown),
                         paramname::Numbered([](const Known& c) { return c.file; }));

}  // namespace
