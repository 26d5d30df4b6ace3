// Replays every saved input of the attribute/value list fuzzer
// (fuzz/corpus/avps/) through the fuzz target's own replay function, and
// checks the results of the seeds.
#include "fuzz/avps_replay.h"
#include "tests/unit/fuzz_corpus.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

TEST(AvpsCorpus, EveryFileEndsInAListOrThePathErrors) {
    EXPECT_GE(fuzzcorpus::replayAll("avps", avpsfuzz::replay), 7u) << fuzzcorpus::folder("avps");
}

struct Known {
    const char* file;
    size_t entries;
    const char* document;   // mode 0: a piece of the arguments as a method call writes them
};

TEST(AvpsSeeds, GiveTheirKnownResults) {
    const Known known[] = {
        {"enable", 1, "<VALUE>Y</VALUE>"},
        {"array", 2, "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE><VALUE>3</VALUE></VALUE.ARRAY><VALUE>5</VALUE>"},
        // Two references in the array, then the single reference and Other.
        {"refs", 3,
         "<INSTANCENAME CLASSNAME=\"Quilo_X\"><KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE>"
         "</KEYBINDING><KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"
         "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE><VALUE.REFERENCE>"},
        {"plain", 2, ""},        // A with the values 1 and 2, B
        {"properties", 3, ""},   // the reference Owner ends before ",Name"
        {"alist", 3, ""},        // "A", "" and "B"; the trailing comma yields nothing
        {"make", 1, ""},
    };
    for (const Known& k : known) {
        const avpsfuzz::Result r = fuzzcorpus::result("avps", k.file, avpsfuzz::replay);
        EXPECT_EQ(r.entries, k.entries) << k.file;
        EXPECT_NE(r.document.find(k.document), std::string::npos) << k.file << ": " << r.document;
        EXPECT_EQ(r.notGotten, std::nullopt) << k.file;
    }
}

}  // namespace
