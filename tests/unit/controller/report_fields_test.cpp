// The rules of the report fields: one row per rule, a rendering in and the
// printed text out. Forms the simulated controller's reports show exactly
// (tests/e2e/cases/cmd_queries.json: "Rebuilding(45.3%)", "Normal", "0X1A",
// "N.A.", "2000.4 GB", an empty usage shown by its extended one) and the
// signed 32-bit cut of sys info (reports_test) have no row of their own.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "controller/report_fields.h"

namespace {

struct FieldCase {
    const char* name;
    std::vector<Field> fields;
    std::string text;      // the rendering the values are cut from
    std::string printed;
    bool completes = true;   // false: a guard ended the record
    size_t index = 0;
};

class Fields : public ::testing::TestWithParam<FieldCase> {};

TEST_P(Fields, Print) {
    const FieldCase& c = GetParam();
    std::ostringstream os;
    ResetStream(os);
    EXPECT_EQ(PrintFields(os, c.text, c.fields.data(), c.fields.size(), c.index), c.completes);
    EXPECT_EQ(os.str(), c.printed);
}

const Field kText = Cell("-T=", 0, Cut::Text);
const Field kUsage = Cell("-Usage=", 0, Cut::Text, Form::UsageOr, "-R=");
const Field kState = Cell("-S=", 0, Cut::Text, Form::StateProgress, "-P=");
const Field kBlank = Cell("-C=", 0, Cut::Bytes, Form::BytesBlank);
const Field kUnit8 = Cell("-C=", 8, Cut::Bytes, Form::BytesField);

FieldCase Num(const char* name, Cut cut, Form form, const char* value, const char* printed) {
    return {name, {Cell("-N=", 0, cut, form)}, std::string("-N=") + value + "\n", printed};
}
FieldCase Bytes(const char* name, const Field& f, const char* value, const char* printed) {
    return {name, {f}, std::string("-C=") + value + "\n", printed};
}

const FieldCase kFieldCases[] = {
    // Text: between the first two quotes after the key, nothing undone.
    {"TextPaddedToTheWidth", {Cell("-T=", 8, Cut::Text)}, "-T=\"x y\"\n-U=\"z\"\n", "x y     "},
    {"TextWiderThanTheWidthWhole", {Cell("-T=", 2, Cut::Text)}, "-T=\"abcd\"\n", "abcd"},
    {"KeyIncludesDashAndEquals", {Cell("-Slot=", 0, Cut::Text)}, "-SlotNumber=5\n-Slot=\"7\"\n", "7"},
    // The key's first occurrence, wherever it is: not the first line that
    // begins with it, nor the first place its name follows another byte.
    {"FirstOccurrenceOfTheWholeKey", {kText}, "-AT=\"1\"\nX-T=\"8\"\n-T=\"2\"\n", "8"},
    {"UnquotedValueTakesTheNextQuoted", {kText}, "-T=\n-B=\"z\"\n", "z"},
    {"NoEscapesUndone", {kText}, "-T=\"a\\\\b\"\n", "a\\\\b"},
    // Numbers: the digits up to the first control character, others skipped.
    {"NumberPaddedToTheWidth", {Cell("-N=", 6, Cut::UInt32)}, "-N=42\n", "42    "},
    Num("DigitsUpToTheLineEnd", Cut::UInt64, Form::Value, "\"1-2\"x3\t4", "123"),
    Num("UInt32Wraps", Cut::UInt32, Form::Value, "4294967297", "1"),
    Num("UInt64WrapsAt2To64", Cut::UInt64, Form::Value, "18446744073709551616", "0"),
    {"IndexCountsFromOne", {Cell({}, 4, Cut::UInt32, Form::Index)}, "", "42  ", true, 41},
    Num("PlusOneOf7", Cut::UInt64, Form::PlusOne, "7", "8"),
    Num("PlusOneWrapsIn32Bits", Cut::UInt32, Form::PlusOne, "4294967295", "0"),
    Num("RaidSet255", Cut::UInt32, Form::NaIf255ElsePlusOne, "255", "N.A."),
    Num("RaidSet0", Cut::UInt32, Form::NaIf255ElsePlusOne, "0", "1"),
    Num("HexZero", Cut::UInt64, Form::Hex, "0", "0"),
    // Decimal units above strict limits: six significant digits and a blank,
    // or four and the unit padded.
    Bytes("Blank999", kBlank, "999", "999 B"),
    Bytes("Blank1001", kBlank, "1001", "1.001 KB"),
    Bytes("Blank1234567", kBlank, "1234567", "1.23457 MB"),
    Bytes("Blank10To9", kBlank, "1000000000", "1000 MB"),
    Bytes("BlankBeyond64Bits", kBlank, "99999999999999999999", "1e+11 GB"),
    Bytes("Unit999", kUnit8, "999", "999B       "),
    Bytes("Unit1001", kUnit8, "1001", "1.001KB      "),
    Bytes("Unit2TB", kUnit8, "2000398934016", "2000GB      "),
    // Usage: the text, else the extended usage unless the number is 255.
    {"UsageText", {kUsage}, "-Usage=\"Free\"\n-R=3\n-UsageExt=\"x\"\n", "Free"},
    {"EmptyUsageAt255", {kUsage}, "-Usage=\"\"\n-R=255\n-UsageExt=\"x\"\n", ""},
    // Progress in tenths of a per cent, for two states spelt exactly.
    {"StateSpeltOtherwise", {kState}, "-S=\"rebuilding\"\n-P=453\n", "rebuilding"},
    {"Line", {Line("-N=", "Size:", 2, Cut::Int32, Form::Value, "MB")}, "-N=1024\n", "Size:\t\t1024MB\n"},
    // Guards end the record, with their message if they have one.
    {"GuardOnText", {Guard("-U=", Cut::Text, "Gone"), kText}, "-U=\"Gone\"\n-T=\"t\"\n", "", false},
    {"GuardMessage", {Guard("-U=", Cut::Text, "Gone", "None"), kText}, "-U=\"Gone\"\n", "None\n", false},
    {"GuardPasses", {Guard("-U=", Cut::Text, "Gone", "None"), kText}, "-U=\"Here\"\n-T=\"t\"\n", "t"},
    {"GuardOnZeroIn32Bits", {Guard("-N=", Cut::UInt32), kText}, "-N=4294967296\n-T=\"t\"\n", "", false},
    {"GuardOnZeroPasses", {Guard("-N=", Cut::UInt32), kText}, "-N=1\n-T=\"t\"\n", "t"},
};

INSTANTIATE_TEST_SUITE_P(Rules, Fields, ::testing::ValuesIn(kFieldCases),
                         [](const ::testing::TestParamInfo<FieldCase>& info) { return info.param.name; });

TEST(Cuts, AbsentKeyOrValueRunningOffTheEndIsOutOfRange) {
    EXPECT_THROW(CutString("-A=\"x\"\n", "-B="), std::out_of_range);
    EXPECT_THROW(CutString("-A=\"x\n", "-A="), std::out_of_range);
    EXPECT_THROW(CutNumber("-N=12", "-N="), std::out_of_range);
    EXPECT_THROW(CutBytes("-C=1", "-C="), std::out_of_range);
    // A failed cut leaves no width pending for whatever is printed next.
    std::ostringstream os;
    const Field cell[] = {Cell("-N=", 9, Cut::UInt32)};
    EXPECT_THROW(PrintFields(os, "-M=1\n", cell), std::out_of_range);
    EXPECT_EQ(os.width(), 0);
}

}  // namespace
