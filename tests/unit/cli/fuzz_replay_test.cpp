// Replays every saved input of the command-line and status fuzzers
// (fuzz/corpus/cmdline/, fuzz/corpus/status/) through the fuzz targets' own
// replay functions, which check what each run may end in.
#include "fuzz/cmdline_replay.h"
#include "fuzz/status_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

namespace {

TEST(CmdlineCorpus, EveryFileEndsAsTheDriverMayEnd) {
    EXPECT_GE(fuzzcorpus::replayAll("cmdline", cmdlinefuzz::replay), 200u) << fuzzcorpus::folder("cmdline");
}

TEST(StatusCorpus, EveryFileHoldsTheDecoderAndCleanUpProperties) {
    EXPECT_GE(fuzzcorpus::replayAll("status", statusfuzz::replay), 50u) << fuzzcorpus::folder("status");
}

}  // namespace
