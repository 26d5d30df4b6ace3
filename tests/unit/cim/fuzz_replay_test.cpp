// Replays every saved input of the attribute/value list and object path
// fuzzers (fuzz/corpus/avps/, fuzz/corpus/url/) through the fuzz targets' own
// replay functions, which check what each parse may end in.
#include "fuzz/avps_replay.h"
#include "fuzz/url_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace {

TEST(AvpsCorpus, EveryFileEndsInAListOrThePathErrors) {
    EXPECT_GE(fuzzcorpus::replayAll("avps", avpsfuzz::replay), 7u) << fuzzcorpus::folder("avps");
}

// The replay runs against the fuzzer's alias file and interface table; what
// the other tests of this binary use is put back afterwards.
TEST(UrlCorpus, EveryFileEndsInAPathOrItsOwnErrors) {
    const char* aliases = std::getenv("VOSTREL_IND");
    const std::optional<std::string> savedAliases = aliases ? std::optional<std::string>(aliases) : std::nullopt;
    const std::string savedTable = URL::interfaceTable;
    urlfuzz::setUp();
    EXPECT_GE(fuzzcorpus::replayAll("url", urlfuzz::replay), 5u) << fuzzcorpus::folder("url");
    urlfuzz::removeScratchFiles();
    URL::interfaceTable = savedTable;
    if (savedAliases) setenv("VOSTREL_IND", savedAliases->c_str(), 1);
    else unsetenv("VOSTREL_IND");
}

}  // namespace
