// The controller's status codes inside method replies, and the clean-up of
// exception messages.
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>

#include "cli/status.h"
#include "tests/unit/param_names.h"

namespace {

struct DecodeCase {
    const char* reply;
    std::optional<int> code;
};

class StatusDecode : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(StatusDecode, Code) { EXPECT_EQ(DecodeStatus(GetParam().reply), GetParam().code) << GetParam().reply; }

INSTANTIATE_TEST_SUITE_P(
    Replies, StatusDecode,
    ::testing::Values(DecodeCase{"<VALUE>ERROR CODE=\"74\"</VALUE>", 74}, DecodeCase{"ERROR CODE=\"176\"", 176},
                      DecodeCase{"no marker at all", std::nullopt}, DecodeCase{"", std::nullopt},
                      DecodeCase{"error code=\"74\"", std::nullopt},
                      // Every character but a quote counts as a digit.
                      DecodeCase{"ERROR CODE=\"7x\"", 7 * 10 + ('x' - '0')},
                      DecodeCase{"ERROR CODE=\"7 4\"", (7 * 10 + (' ' - '0')) * 10 + 4},
                      DecodeCase{"ERROR CODE=74\"5\"", 745},
                      // Only the first marker counts; the scan stops after the second quote.
                      DecodeCase{"ERROR CODE=\"71\" ERROR CODE=\"74\"", 71},
                      // A missing closing quote ends at the end of the reply.
                      DecodeCase{"ERROR CODE=\"74", 74}, DecodeCase{"ERROR CODE=", 0},
                      // 32 bits, wrapping.
                      DecodeCase{"ERROR CODE=\"4294967297\"", 1}),
    paramname::Numbered([](const DecodeCase& c) { return c.reply; }));

struct TextCase {
    int code;
    const char* driver;   // "" when the driver prints nothing
    const char* verify;
};

class StatusTables : public ::testing::TestWithParam<TextCase> {};

TEST_P(StatusTables, Texts) {
    EXPECT_EQ(DriverStatusText(GetParam().code), GetParam().driver) << GetParam().code;
    EXPECT_EQ(VerifyStatusText(GetParam().code), GetParam().verify) << GetParam().code;
}

INSTANTIATE_TEST_SUITE_P(
    Codes, StatusTables,
    ::testing::Values(TextCase{49, "Incorrect Argument Number Received", "Disk Test Failed"},
                      TextCase{51, "File Access Denied", "Disk Test Failed"},
                      TextCase{66, "RAIDSet Not Normal", "RAID Set Not Normal"},
                      TextCase{67, "VolumeSet Not Normal", "Volume Set Not Normal"},
                      TextCase{68, "No RAID Set", "No RAID Set"}, TextCase{69, "No Volume Set", "No Volume Set"},
                      TextCase{70, "No Physical Drive", "No Physical Drive"},
                      TextCase{71, "Parameter Error", "Parameter Error"},
                      TextCase{72, "Unsupported Command", "Unsupported Command"},
                      TextCase{73, "Disk Configuration Changed", "Disk Configuration Changed"},
                      TextCase{74, "Invalid Password for the RAID Controller",
                               "Invalid Password for the RAID Controller"},
                      TextCase{75, "No Disk Space", "No Disk Space"}, TextCase{76, "CheckSum Error", "CheckSum Error"},
                      TextCase{77, "Rassword Required", "Rassword Required"},
                      TextCase{78, "No More Data", "No More Data"},
                      TextCase{79, "INTERNAL ERROR ", "INTERNAL ERROR "},
                      TextCase{80, "Firmware CRC Error", "Firmware CRC Error"},
                      TextCase{81, "Firmware Invalid", "Firmware Invalid"},
                      TextCase{82, "Firmware Update Failed", "Firmware Update Failed"},
                      TextCase{83, "Firmware No HDD", "Firmware No HDD"}, TextCase{84, "End of Data", "End of Data"},
                      TextCase{85, "Encryption Type Mismatch", "Encryption Type Mismatch"},
                      TextCase{86, "Encryption Key Length Invalid", "Encryption Key Length Invalid"},
                      TextCase{87, "Encryption Key Invalid", "Encryption Key Invalid"},
                      TextCase{88, "Disk Test Failed", "Disk Test Failed"},
                      TextCase{176, "Command Timed Out", "Command Timed Out"},
                      // Unlisted codes.
                      TextCase{0, "", "Disk Test Failed"}, TextCase{50, "", "Disk Test Failed"},
                      TextCase{65, "", "Disk Test Failed"}, TextCase{89, "", "Disk Test Failed"},
                      TextCase{142, "", "Disk Test Failed"}, TextCase{0xB1, "", "Disk Test Failed"}),
    paramname::Numbered([](const TextCase& c) { return c.code; }));

struct MethodCase {
    const char* reply;
    const char* printed;
};

class StatusLines : public ::testing::TestWithParam<MethodCase> {};

TEST_P(StatusLines, Printed) {
    std::ostringstream out;
    PrintMethodStatus(GetParam().reply, out);
    EXPECT_EQ(out.str(), GetParam().printed) << GetParam().reply;
}

INSTANTIATE_TEST_SUITE_P(
    Replies, StatusLines,
    ::testing::Values(MethodCase{"ERROR CODE=\"74\"", "Invalid Password for the RAID Controller\n"},
                      MethodCase{"ERROR CODE=\"65\"", ""}, MethodCase{"ERROR CODE=\"65\" OK", " OK \n"},
                      MethodCase{"ERROR CODE=\"7x\"", ""}, MethodCase{"<VALUE>OK</VALUE>", " OK \n"},
                      // "OK" anywhere counts, inside a word too.
                      MethodCase{"ERROR CODE=\"71\" BOOKED", "Parameter Error\n OK \n"},
                      MethodCase{"ok", ""}, MethodCase{"", ""}),
    paramname::Numbered([](const MethodCase& c) { return c.reply; }));

struct CleanCase {
    const char* name;
    std::string in;
    std::string out;
};

class StatusCleanUp : public ::testing::TestWithParam<CleanCase> {};

TEST_P(StatusCleanUp, Rewrites) {
    std::string message = GetParam().in;
    CleanUpMsg(message);
    EXPECT_EQ(message, GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, StatusCleanUp,
    ::testing::Values(
        CleanCase{"next_line_marked", "a\nb", "a\n* b"}, CleanCase{"marked_line_kept", "a\n*b", "a\n*b"},
        // The blank line collapses; the line feed left is looked at again and
        // marks the line after it.
        CleanCase{"blank_line", "a\n\nb", "a\n* b"}, CleanCase{"blank_lines", "a\n\n\nb", "a\n* b"},
        CleanCase{"leading_blank_line", "\n\nb", "\n* b"},
        CleanCase{"every_line", "a\nb\nc", "a\n* b\n* c"}, CleanCase{"last_line_feed", "a\n", "a\n"},
        CleanCase{"escape", "x%2Fy", "x/y"}, CleanCase{"letter", "%41", "A"},
        CleanCase{"line_feed_escape", "a%0Ab", "a\nb"},
        // High digit 8..F: left alone.
        CleanCase{"eight_bit", "x%C3y", "x%C3y"}, CleanCase{"eight_bit_8", "%80", "%80"},
        CleanCase{"bad_low_digit", "%4g", "%4g"}, CleanCase{"bad_high_digit", "%g4", "%g4"},
        CleanCase{"percent_at_end", "ab%", "ab%"}, CleanCase{"percent_one_before_end", "ab%4", "ab%4"},
        // %00 inserts nothing; the character after it is stepped over.
        CleanCase{"nul", "a%00b", "ab"}, CleanCase{"nul_then_escape", "%00%41", "%41"},
        CleanCase{"nul_at_end", "a%00", "a"},
        // Past the real end a terminating NUL is read, which marks a last line.
        CleanCase{"nul_then_line_feed", "%00a\n", "a\n* "},
        // Characters below '0' are negative digits; the sign test lets some through.
        CleanCase{"below_zero", "%!1", std::string(1, '\x11')}, CleanCase{"empty", "", ""}),
    paramname::ByName());

}  // namespace
