// Replays every saved input of the reply parser's fuzz corpus through the
// fuzz target's own judge, so that a crash found once stays fixed: an input
// may end in a rendering or in one of the exceptions a caller of CimXml
// handles, and in nothing else. The seeds whose result is known (the real
// server replies, our test data, the hand-written edge cases) must also give
// that result.
#include "fuzz/cimxml_replay.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <exception>
#include <ostream>
#include <filesystem>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

namespace fs = std::filesystem;
using cimxmlfuzz::Outcome;

const fs::path corpusDir = fs::path(RBZ_SOURCE_DIR) / "fuzz" / "corpus" / "cimxml";

std::vector<std::string> corpusFiles() {
    std::vector<std::string> names;
    std::error_code ec;
    for (const fs::directory_entry& e : fs::directory_iterator(corpusDir, ec))
        if (e.is_regular_file()) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

cimxmlfuzz::Result replayFile(const std::string& name) {
    const std::string body = xmltest::readFile((corpusDir / name).string());
    return cimxmlfuzz::replay(reinterpret_cast<const uint8_t*>(body.data()), body.size());
}

// ---------------------------------------------------------------- every file

class CorpusReplay : public ::testing::TestWithParam<std::string> {};

TEST_P(CorpusReplay, EndsInARenderingOrAnExpectedException) {
    xmltest::FlagGuard flags;
    try {
        replayFile(GetParam());
    } catch (const std::exception& e) {
        ADD_FAILURE() << GetParam() << ": escaped " << typeid(e).name() << ": " << e.what();
    } catch (...) {
        ADD_FAILURE() << GetParam() << ": escaped an exception of unknown type";
    }
}

INSTANTIATE_TEST_SUITE_P(FuzzCorpus, CorpusReplay, ::testing::ValuesIn(corpusFiles()),
                         paramname::Numbered([](const std::string& file) { return file; }));

// The corpus is where the test expects it, with the seeds in it.
TEST(CorpusReplayFolder, HoldsTheSeeds) {
    const std::vector<std::string> files = corpusFiles();
    EXPECT_GE(files.size(), 50u) << corpusDir;
    for (const char* seed : {"sfcb-References.xml", "data-enum-DiskDrive.xml", "edge-empty.xml"})
        EXPECT_NE(std::find(files.begin(), files.end(), seed), files.end()) << seed;
}

// ---------------------------------------------------------------- known results

struct Known {
    const char* file;
    Outcome outcome;
    const char* text;   // the whole rendering or message, or with `part` a piece of it
    bool part;
};

void PrintTo(const Known& k, std::ostream* os) { *os << k.file; }

const Known knownResults[] = {
    // Replies of a real CIM server.
    {"sfcb-ErrorTest01.xml", Outcome::XmlError, "Cim: (1) CIM_ERR_FAILED: invalid imethodcall XML", false},
    {"sfcb-ErrorTest06.xml", Outcome::XmlError,
     "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found", false},
    {"sfcb-ErrorTest11.xml", Outcome::XmlError,
     "Cim: (11) CIM_ERR_ALREADY_EXISTS: Operation cannot be carried out because an object already exists", false},
    {"sfcb-GetProperty.xml", Outcome::XmlError,
     "Cim: (1) CIM_ERR_FAILED: DefaultProvider does not support property operations", false},
    {"sfcb-InstanceTest2Get.xml", Outcome::Rendered, "-extraProperty=\"defaultvalue\"\n-name=\"Michael\"\n", false},
    {"sfcb-References.xml", Outcome::Rendered,
     "triptych.in.ibm.com/root/cimv2TEST_Lineage.parent=TEST_Person.name=\"Mike\",child=TEST_Person.name=\"Gabi\"\n"
     "-parent=TEST_Person.name=\"Mike\"\n-child=TEST_Person.name=\"Gabi\"\n",
     true},
    {"sfcb-Indication03CreateSubscription.xml", Outcome::Rendered,
     "CIM_IndicationSubscription.Filter=root/interop:CIM_IndicationFilter.SystemCreationClassName="
     "\"CIM_ComputerSystem\",",
     true},
    {"sfcb-getclass.Linux_OperatingSystem.xml", Outcome::Rendered, "\n-CSCreationClassName=\n", true},
    {"sfcb-enumerateclasses.ALL.xml", Outcome::Rendered, "\n-EnabledState=5\n", true},
    // Our own test data.
    {"data-error-NotFound.xml", Outcome::XmlError,
     "Cim: (6) CIM_ERR_NOT_FOUND: No volume set with VolumeNo=7 & no pass-through disk", false},
    {"data-methodresponse-AuthPassword.xml", Outcome::Rendered,
     "AuthPassword: ERROR CODE=0x00 OK\nStatus (uint32): 0\nMessage (string): Password \\\"accepted\\\"\n"
     "Retries (uint8): ",
     false},
    {"data-enum-StorageVolume.xml", Outcome::Rendered,
     "Quilo_StorageVolume.VolumeNo=1\n-VolumeNo=1\n-ElementName=\"Data <fast>\"\n", true},
    // Hand-written edge cases.
    {"edge-empty.xml", Outcome::XmlError, "Parse Exception: Expecting ?xml element", false},
    {"edge-no-prolog.xml", Outcome::XmlError, "Parse Exception: Expecting ?xml element", false},
    {"edge-unquoted-attr.xml", Outcome::UnquotedValue, "", true},
    {"edge-repeated-attr.xml", Outcome::XmlError, "Parse Exception: Unknown attribute in list for CIM (CIMVERSION)",
     false},
    {"edge-instance.xml", Outcome::Rendered, "-A=\"x\"\n-B=5\n-C=\n", false},
    {"edge-apostrophe-attrs.xml", Outcome::Rendered, "-A=\"x\"\n-B=5\n-C=\n", false},
    {"edge-high-bytes-as-space.xml", Outcome::Rendered, "-A=\"x\"\n-B=5\n-C=\n", false},
    {"edge-instances-list.xml", Outcome::Rendered, "-A=\"x\"\n-B=5\n-C=\n\n-A=\"x\"\n-B=5\n-C=\n\n", false},
    {"edge-instance-then-class.xml", Outcome::XmlError, "Parse Exception: Expecting </IRETURNVALUE> tag", false},
    {"edge-named-instance-one.xml", Outcome::Rendered, "X.A=\"x\"\n-A=\"x\"\n-B=5\n-C=\n", false},
    {"edge-named-instance-swapped.xml", Outcome::XmlError,
     "Parse Exception: Expecting INSTANCENANE and INSTANCE element", false},
    {"edge-instance-names.xml", Outcome::Rendered, "X.A=\"x\"\nX.A=\"y\"\n", false},
    {"edge-objectpath.xml", Outcome::Rendered, "h/root/cimv2X.A=\"x\"\nX.A=\"x\"\n", false},
    {"edge-class-names.xml", Outcome::Rendered, "A\nB\n", false},
    {"edge-value-array.xml", Outcome::Rendered, "a,b&c,n", false},
    {"edge-value-reference.xml", Outcome::Rendered, ">>Not Supported>>", false},
    {"edge-value-nested-deep.xml", Outcome::XmlError, "Parse Exception: ", true},
    {"edge-empty-ireturnvalue.xml", Outcome::XmlError, "", false},     // NoReturnValue
    {"edge-empty-imethodresponse.xml", Outcome::XmlError, "", false},  // NoReturnValue
    {"edge-cdata.xml", Outcome::Rendered, "a<![CDATA[<b>&]]>c", false},
    {"edge-cdata-unterminated.xml", Outcome::XmlError, "Parse Exception: Failed to get CDATA end tag.", false},
    {"edge-entities.xml", Outcome::Rendered, "\\\"q\\\" \\\\ <>&'&unknown; &#65;", false},
    {"edge-error-minus3.xml", Outcome::XmlError, "Cim: (-3) Invalid/Unknown CIM Error Code: bad", false},
    {"edge-error-99.xml", Outcome::XmlError, "Cim: (99) Invalid/Unknown CIM Error Code: x \"y\"", false},
    {"edge-error-cim-prefix.xml", Outcome::XmlError, "Cim: (6) CIM_ERR_NOT_FOUND: gone", false},
    {"edge-error-nonnumeric.xml", Outcome::XmlError, "Cim: (abc) Invalid/Unknown CIM Error Code: d", false},
    {"edge-methodresponse-no-return.xml", Outcome::XmlError,
     "Parse Exception: Expecting /METHODRESPONSE, RETURNVALUE or ERROR element", false},
    {"edge-methodresponse-params.xml", Outcome::Rendered,
     "M: 0\na (string): x\nb (uint8): \nr (reference): h/rootX.A=\"x\"", false},
    {"edge-methodresponse-error.xml", Outcome::XmlError, "Cim: (17) CIM_ERR_METHOD_NOT_FOUND: no such method", false},
    // An empty-form qualifier runs on to the next qualifier's end tag: A's
    // own value and B's start are skipped, so A ends with B's value.
    {"edge-qualifier-empty-form.xml", Outcome::Rendered, "-A=\"y\"\n", false},
    {"edge-property-kinds.xml", Outcome::Rendered, "-P=\"a\",\"b\"\n-R=X.A=\"x\"\n-E=\"<INSTANCE/>\"\n", false},
    {"edge-keybinding-reference.xml", Outcome::Rendered, "L.r=X.A=\"x\",n=4,s=\"v\",e=", false},
    {"edge-class-method.xml", Outcome::Rendered, "-K=\n-K=\n-a\n|-b\n|-c\n|-d\n", false},
    {"edge-objectwithpath-local.xml", Outcome::Rendered, "root/cimv2:X.A=\"x\"\n-A=\"x\"\n", false},
};

class KnownResult : public ::testing::TestWithParam<Known> {};

TEST_P(KnownResult, ReplayGivesIt) {
    xmltest::FlagGuard flags;
    const Known& k = GetParam();
    const cimxmlfuzz::Result r = replayFile(k.file);
    EXPECT_EQ(static_cast<int>(r.outcome), static_cast<int>(k.outcome)) << r.text;
    if (k.part)
        EXPECT_NE(r.text.find(k.text), std::string::npos) << r.text;
    else
        EXPECT_EQ(r.text, k.text);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KnownResult, ::testing::ValuesIn(knownResults),
                         paramname::Numbered([](const Known& c) { return c.file; }));

// The judge leaves the rendering switches at their defaults, whatever pass
// it ran last.
TEST(CorpusReplayFlags, DefaultsAfterAReplay) {
    xmltest::FlagGuard flags;
    replayFile("sfcb-References.xml");
    EXPECT_EQ(useNl, 1);
    EXPECT_EQ(addType, 0);
    EXPECT_EQ(noVal, 0);
    EXPECT_EQ(noQuotes, 0);
    EXPECT_EQ(dlmRefs, 0);
}

}  // namespace
