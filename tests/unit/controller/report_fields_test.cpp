// Cutting values out of an instance's text form by key.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>

#include "controller/report_fields.h"
#include "tests/unit/param_names.h"

namespace {

TEST(CutString, TakesTheTextBetweenTheFirstTwoQuotes) {
    EXPECT_EQ(CutString("-A=\"x y\"\n-B=\"z\"\n", "-A="), "x y");
    EXPECT_EQ(CutString("-A=\"\"\n", "-A="), "");
}

TEST(CutString, KeyIncludesDashAndEquals) {
    const std::string text = "-SlotNumber=5\n-Slot=\"7\"\n";
    EXPECT_EQ(CutString(text, "-Slot="), "7");
}

TEST(CutString, UnquotedValueTakesTheNextQuotedText) {
    // The scan counts quotes from the key on, wherever they stand.
    EXPECT_EQ(CutString("-A=\n-B=\"z\"\n", "-A="), "z");
}

TEST(CutString, NoEscapesAreUndone) {
    EXPECT_EQ(CutString("-A=\"a\\\\b\"\n", "-A="), "a\\\\b");
}

TEST(CutString, AbsentKeyOrOpenQuoteIsOutOfRange) {
    EXPECT_THROW(CutString("-A=\"x\"\n", "-B="), std::out_of_range);
    EXPECT_THROW(CutString("-A=\"x\n", "-A="), std::out_of_range);
    EXPECT_THROW(CutString("-A=\n", "-A="), std::out_of_range);
}

struct NumberCase {
    const char* text;
    uint64_t value;
};

class CutNumberCase : public ::testing::TestWithParam<NumberCase> {};

TEST_P(CutNumberCase, AccumulatesDigitsUpToTheLineEnd) {
    EXPECT_EQ(CutNumber(GetParam().text, "-N="), GetParam().value) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, CutNumberCase,
    ::testing::Values(NumberCase{"-N=42\n", 42}, NumberCase{"-N=\n", 0},
                      // Every other character is skipped, not a terminator.
                      NumberCase{"-N=-5\n", 5}, NumberCase{"-N=1.5\n", 15}, NumberCase{"-N=\"12\"x3\n", 123},
                      NumberCase{"-N=1 000\n-M=7\n", 1000},
                      // Any control character ends the number.
                      NumberCase{"-N=12\t34\n", 12}, NumberCase{"-N=12\r\n", 12},
                      // Wrapping at 2^64.
                      NumberCase{"-N=18446744073709551615\n", UINT64_MAX},
                      NumberCase{"-N=18446744073709551616\n", 0}),
    paramname::Numbered([](const NumberCase& c) { return c.text; }));

TEST(CutNumber, NoLineEndOrNoKeyIsOutOfRange) {
    EXPECT_THROW(CutNumber("-N=12", "-N="), std::out_of_range);
    EXPECT_THROW(CutNumber("-M=12\n", "-N="), std::out_of_range);
}

TEST(CutBytes, AccumulatesIntoADouble) {
    EXPECT_DOUBLE_EQ(CutBytes("-C=2000398934016\n", "-C="), 2000398934016.0);
    EXPECT_DOUBLE_EQ(CutBytes("-C=99999999999999999999\n", "-C="), 1e20);
    EXPECT_THROW(CutBytes("-C=1", "-C="), std::out_of_range);
}

}  // namespace

namespace {

// Bytes that tell their place: a block written twice, left out or cut short
// shows.
std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
    return bytes;
}

// Reports of these sizes end in the first block, on a block's edge, in the
// last small block, in the first large one, and after several large ones.
class HeldSizes : public ::testing::TestWithParam<size_t> {};

TEST_P(HeldSizes, EveryByteIsHeldUntilWrittenThenForgotten) {
    const size_t size = GetParam();
    const std::string bytes = Pattern(size);
    std::ostringstream target;
    HeldOutput held(target);
    // Pieces of changing size, single characters among them.
    for (size_t at = 0, piece = 1; at < size; at += piece, piece = piece * 3 % 70001 + 1) {
        piece = std::min(piece, size - at);
        if (piece == 1)
            held.stream().put(bytes[at]);
        else
            held.stream().write(bytes.data() + at, static_cast<std::streamsize>(piece));
    }
    EXPECT_TRUE(target.str().empty());
    held.writeTo(target);
    EXPECT_TRUE(target.str() == bytes) << size << " bytes in, " << target.str().size() << " out";
    held.writeTo(target);
    EXPECT_EQ(target.str().size(), size);
    // Held again from the start.
    held.stream() << "after";
    held.writeTo(target);
    EXPECT_EQ(target.str().substr(size), "after");
}

INSTANTIATE_TEST_SUITE_P(Blocks, HeldSizes,
                         ::testing::Values(size_t{0}, size_t{1}, size_t{64} << 10, (size_t{64} << 10) + 1,
                                           size_t{1} << 20, (size_t{1} << 20) + (size_t{64} << 10) + 5,
                                           (size_t{7} << 20) + 3),
                         paramname::Numbered([](size_t size) { return size; }));

}  // namespace
