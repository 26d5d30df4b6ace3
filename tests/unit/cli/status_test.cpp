// Decoding the controller's status code, and the clean-up of exception
// messages with the hexadecimal digits of their escapes. The texts printed
// for each code are end-to-end cases (tests/e2e/cases/cli_dispatch.json).
#include "cli/status.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

struct DecodeCase {
    const char* name;
    const char* reply;
    std::optional<int> code;
};
void PrintTo(const DecodeCase& c, std::ostream* os) { *os << c.name; }

class StatusDecode : public testing::TestWithParam<DecodeCase> {};

TEST_P(StatusDecode, Code) { EXPECT_EQ(DecodeStatus(GetParam().reply), GetParam().code); }

INSTANTIATE_TEST_SUITE_P(Replies, StatusDecode, testing::Values(
    DecodeCase{"in_a_value", "<VALUE>ERROR CODE=\"74\"</VALUE>", 74}, DecodeCase{"three_digits", "ERROR CODE=\"176\"", 176},
    DecodeCase{"no_marker", "no marker at all", std::nullopt}, DecodeCase{"empty", "", std::nullopt},
    DecodeCase{"marker_case", "error code=\"74\"", std::nullopt},
    // Every character but a quote counts as a digit.
    DecodeCase{"letter", "ERROR CODE=\"7x\"", 7 * 10 + ('x' - '0')},
    DecodeCase{"blank", "ERROR CODE=\"7 4\"", (7 * 10 + (' ' - '0')) * 10 + 4},
    DecodeCase{"unquoted_start", "ERROR CODE=74\"5\"", 745},
    // Only the first marker counts; the scan stops after the second quote.
    DecodeCase{"first_marker", "ERROR CODE=\"71\" ERROR CODE=\"74\"", 71},
    // A missing closing quote ends at the end of the reply.
    DecodeCase{"unclosed", "ERROR CODE=\"74", 74}, DecodeCase{"marker_at_end", "ERROR CODE=", 0},
    DecodeCase{"wraps_at_32_bits", "ERROR CODE=\"4294967297\"", 1}),
    [](const testing::TestParamInfo<DecodeCase>& info) { return std::string(info.param.name); });

struct CleanCase {
    const char* name;
    std::string in, out;
};
void PrintTo(const CleanCase& c, std::ostream* os) { *os << c.name; }

class StatusCleanUp : public testing::TestWithParam<CleanCase> {};

TEST_P(StatusCleanUp, Rewrites) {
    std::string message = GetParam().in;
    CleanUpMsg(message);
    EXPECT_EQ(message, GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Messages, StatusCleanUp, testing::Values(
    CleanCase{"next_line_marked", "a\nb\nc", "a\n* b\n* c"}, CleanCase{"marked_line_kept", "a\n*b", "a\n*b"},
    // A blank line collapses; the line feed left is looked at again and marks the line after it.
    CleanCase{"blank_lines", "a\n\n\nb", "a\n* b"}, CleanCase{"leading_blank_line", "\n\nb", "\n* b"},
    CleanCase{"last_line_feed", "a\n", "a\n"}, CleanCase{"escape", "x%2Fy", "x/y"},
    CleanCase{"line_feed_escape", "a%0Ab", "a\nb"},
    // High digit 8..F, or not a hexadecimal digit: left alone.
    CleanCase{"eight_bit", "x%C3y%80", "x%C3y%80"}, CleanCase{"bad_digits", "%4g%g4", "%4g%g4"},
    CleanCase{"percent_at_the_end", "ab%", "ab%"}, CleanCase{"percent_one_before_the_end", "ab%4", "ab%4"},
    // %00 inserts nothing and steps over the character after it.
    CleanCase{"nul_between", "a%00b", "ab"}, CleanCase{"nul_then_escape", "%00%41", "%41"},
    // Past the real end a terminating NUL is read, which marks a last line.
    CleanCase{"nul_then_line_feed", "%00a\n", "a\n* "},
    // Characters below '0' are negative digits; the sign test lets some through.
    CleanCase{"below_zero", "%!1", std::string(1, '\x11')}, CleanCase{"empty", "", ""},
    CleanCase{"digits_any_case", "%09%0a%0f%0A%0F", "\t\n\x0f\n\x0f"},
    CleanCase{"no_digits", "%0:%0g%0G%0/", "%0:%0g%0G%0/"},
    // A blank, a NUL and a byte above 0x7F as the high digit: their negative
    // values times 16 cut to a char (0, 0 and 48) pass the sign test.
    CleanCase{"far_below_zero", std::string("% 1%\0" "2%\xC3" "1", 9), "\x01\x02" "1"}),
    [](const testing::TestParamInfo<CleanCase>& info) { return std::string(info.param.name); });

}  // namespace
