// Replays every saved input of the status fuzzer (fuzz/corpus/status/)
// through the fuzz target's own replay function, and checks the results of
// some seeds.
#include "fuzz/status_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

TEST(StatusCorpus, EveryFileHoldsTheDecoderAndCleanUpProperties) {
    EXPECT_GE(fuzzcorpus::replayAll("status", statusfuzz::replay), 50u) << fuzzcorpus::folder("status");
}

struct Known {
    const char* file;
    std::optional<int> code;
    const char* printed;
    const char* cleaned;
};

TEST(StatusSeeds, GiveTheirKnownResults) {
    const Known known[] = {
        {"seed-code-74", 74, "Invalid Password for the RAID Controller\n", "ERROR CODE=\"74\""},
        {"seed-code-79", 79, "INTERNAL ERROR \n", "ERROR CODE=\"79\""},
        {"seed-code-65", 65, "", "ERROR CODE=\"65\""},
        {"seed-e2e-error-code-7x", 142, "", "ERROR CODE=\"7x\""},
        {"seed-code-unclosed", 74, "Invalid Password for the RAID Controller\n", "ERROR CODE=\"74"},
        {"seed-e2e-error-code-65-ok", 65, " OK \n", "ERROR CODE=\"65\" OK"},
        {"seed-reply-error-code-74", 74, "Invalid Password for the RAID Controller\n", nullptr},
        {"seed-ok-only", std::nullopt, " OK \n", "xOKx"},
        {"seed-lines-collapse", std::nullopt, "", "a\n* b"},
        {"seed-line-gets-star", std::nullopt, "", "a\n* b"},
        {"seed-line-has-star", std::nullopt, "", "a\n*b"},
        {"seed-escape-slash", std::nullopt, "", "x/y"},
        {"seed-escape-high", std::nullopt, "", "x%C3y"},
        {"seed-escape-nul", std::nullopt, "", "ab"},
        {"seed-escape-at-end", std::nullopt, "", "ab%4"},
    };
    for (const Known& k : known) {
        const statusfuzz::Result r = fuzzcorpus::result("status", k.file, statusfuzz::replay);
        EXPECT_EQ(r.code, k.code) << k.file;
        EXPECT_EQ(r.printed, k.printed) << k.file;
        if (k.cleaned) {
            EXPECT_EQ(r.cleaned, k.cleaned) << k.file;
        }
    }
}

}  // namespace
