// Replays every saved input of the reply parser's fuzz corpus through the
// fuzz target's own judge: an input may end in a rendering or in one of the
// exceptions a caller of CimXml handles, and in nothing else. The
// hand-written edge cases must also give their known result (the seeds
// copied from real replies and tests/data are checked in replies_test.cpp).
#include "fuzz/cimxml_replay.h"
#include "tests/unit/fuzz_corpus.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using cimxmlfuzz::Outcome;

// Every file, so that a crash found once stays fixed.
TEST(CorpusReplay, EveryFileEndsInARenderingOrAnExpectedException) {
    xmltest::FlagGuard flags;
    EXPECT_GE(fuzzcorpus::replayAll("cimxml", cimxmlfuzz::replay), 50u) << fuzzcorpus::folder("cimxml");
}

struct Known {
    const char* name;   // of the file edge-NAME.xml, with "-" for "_"
    Outcome outcome;
    const char* text;   // the whole rendering or message
};

constexpr Outcome shown = Outcome::Rendered, error = Outcome::XmlError;

const Known known[] = {
    {"empty", error, "Parse Exception: Expecting ?xml element"},
    {"no_prolog", error, "Parse Exception: Expecting ?xml element"},
    {"unquoted_attr", Outcome::UnquotedValue, "basic_string: construction from null is not valid"},
    {"repeated_attr", error, "Parse Exception: Unknown attribute in list for CIM (CIMVERSION)"},
    {"truncated", error, "Parse Exception: Unknown attribute in list for INSTANCE (CLASSNA)"},
    {"instance", shown, "-A=\"x\"\n-B=5\n-C=\n"},
    {"apostrophe_attrs", shown, "-A=\"x\"\n-B=5\n-C=\n"},
    {"high_bytes_as_space", shown, "-A=\"x\"\n-B=5\n-C=\n"},
    {"nul_bytes", shown, "-A=\"x\"\n-B=5\n-C=\n"},
    // "< PROPERTY" opens no PROPERTY.
    {"blanks_in_tags", error, "Parse Exception: Expecting /INSTANCE, QUALIFIER or PROPERTY element"},
    {"content_at_eof", error, "Parse Exception: Expecting /VALUE element"},
    {"instances_list", shown, "-A=\"x\"\n-B=5\n-C=\n\n-A=\"x\"\n-B=5\n-C=\n\n"},
    {"instance_then_class", error, "Parse Exception: Expecting </IRETURNVALUE> tag"},
    {"named_instance_one", shown, "X.A=\"x\"\n-A=\"x\"\n-B=5\n-C=\n"},
    {"named_instance_swapped", error, "Parse Exception: Expecting INSTANCENANE and INSTANCE element"},
    {"instance_names", shown, "X.A=\"x\"\nX.A=\"y\"\n"},
    {"objectpath", shown, "h/root/cimv2X.A=\"x\"\nX.A=\"x\"\n"},
    {"objectwithpath_empty", shown, "\n"},
    {"objectwithpath_local", shown, "root/cimv2:X.A=\"x\"\n-A=\"x\"\n"},
    {"class_names", shown, "A\nB\n"},
    {"value_array", shown, "a,b&c,n"},
    {"value_reference", shown, ">>Not Supported>>"},
    {"value_nested_deep", error, "Parse Exception: Elements nested too deeply"},
    {"empty_ireturnvalue", error, ""},      // NoReturnValue
    {"empty_imethodresponse", error, ""},   // NoReturnValue
    {"cdata", shown, "a<![CDATA[<b>&]]>c"},
    {"cdata_unterminated", error, "Parse Exception: Failed to get CDATA end tag."},
    {"entities", shown, "\\\"q\\\" \\\\ <>&'&unknown; &#65;"},
    {"error_minus3", error, "Cim: (-3) Invalid/Unknown CIM Error Code: bad"},
    {"error_99", error, "Cim: (99) Invalid/Unknown CIM Error Code: x \"y\""},
    {"error_cim_prefix", error, "Cim: (6) CIM_ERR_NOT_FOUND: gone"},
    {"error_nonnumeric", error, "Cim: (abc) Invalid/Unknown CIM Error Code: d"},
    {"methodresponse_no_return", error, "Parse Exception: Expecting /METHODRESPONSE, RETURNVALUE or ERROR element"},
    {"methodresponse_params", shown, "M: 0\na (string): x\nb (uint8): \nr (reference): h/rootX.A=\"x\""},
    {"methodresponse_error", error, "Cim: (17) CIM_ERR_METHOD_NOT_FOUND: no such method"},
    // An empty-form qualifier runs on to the next qualifier's end tag: A's
    // own value and B's start are skipped, so A ends with B's value.
    {"qualifier_empty_form", shown, "-A=\"y\"\n"},
    {"qualifier_unterminated", error, "Parse Exception: Expecting /INSTANCE, QUALIFIER or PROPERTY element"},
    {"property_kinds", shown, "-P=\"a\",\"b\"\n-R=X.A=\"x\"\n-E=\"<INSTANCE/>\"\n"},
    {"keybinding_reference", shown, "L.r=X.A=\"x\",n=4,s=\"v\",e="},
    {"class_method", shown, "-K=\n-K=\n-a\n|-b\n|-c\n|-d\n"},
};

class KnownResult : public ::testing::TestWithParam<Known> {};

TEST_P(KnownResult, ReplayGivesIt) {
    xmltest::FlagGuard flags;
    std::string file = std::string("edge-") + GetParam().name + ".xml";
    std::replace(file.begin(), file.end(), '_', '-');
    const cimxmlfuzz::Result r = fuzzcorpus::result("cimxml", file, cimxmlfuzz::replay);
    EXPECT_EQ(static_cast<int>(r.outcome), static_cast<int>(GetParam().outcome)) << r.text;
    EXPECT_EQ(r.text, GetParam().text);
}

// Named after the seed file, which ends in ".xml": no name begins another.
INSTANTIATE_TEST_SUITE_P(Seeds, KnownResult, ::testing::ValuesIn(known),
                         [](const ::testing::TestParamInfo<Known>& info) { return std::string(info.param.name) + "_xml"; });

}  // namespace
