// The reply header callback, fed crafted lines the way libcurl hands them:
// one line at a time, CR LF included, with no terminating zero.
#include "transport/cimom_curl.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

constexpr int untouchedCode = -77;
const char* const untouchedText = "untouched";

struct HeaderCase {
    const char* name;
    std::string memory;   // the bytes around the line
    size_t offset;        // where the line starts in `memory`
    size_t length;        // the count handed to the callback
    std::string description;
    int code;
    std::string errorHeader;
};

HeaderCase line(const char* name, const std::string& text, std::string description, int code,
                std::string errorHeader) {
    return {name, text, 0, text.size(), std::move(description), code, std::move(errorHeader)};
}

const std::vector<HeaderCase> headerCases = {
    line("StatusLine", "HTTP/1.1 200 OK\r\n", untouchedText, untouchedCode, untouchedText),
    line("OtherHeader", "Content-Type: application/xml\r\n", untouchedText, untouchedCode, untouchedText),
    line("StatusCode", "CIMStatusCode: 6\r\n", untouchedText, 6, untouchedText),
    line("StatusCodeAnyCase", "cimstatuscode: 12\r\n", untouchedText, 12, untouchedText),
    line("StatusCodeNoBlank", "CIMStatusCode:16\r\n", untouchedText, 6, untouchedText),
    line("StatusCodeNotANumber", "CIMStatusCode: x\r\n", untouchedText, 0, untouchedText),
    line("StatusCodeBareLine", "CIMStatusCode: 4", untouchedText, 4, untouchedText),
    line("Description", "CIMStatusDescription: The object was not found\r\n", "The object was not found",
         untouchedCode, untouchedText),
    line("DescriptionAnyCase", "cimSTATUSdescription: x\r\n", "x", untouchedCode, untouchedText),
    line("DescriptionOfLongerName", "X-CIMStatusDescription: tail\r\n", "tail", untouchedCode, untouchedText),
    line("DescriptionEmpty", "CIMStatusDescription:\r\n", "", untouchedCode, untouchedText),
    line("DescriptionOnlyBlank", "CIMStatusDescription: \r\n", "", untouchedCode, untouchedText),
    line("DescriptionCutAtCarriageReturn", "CIMStatusDescription: a\rb\r\n", "a", untouchedCode, untouchedText),
    line("PlainCIMErrorIsNotRead", "CIMError: 65\r\n", untouchedText, untouchedCode, untouchedText),
    line("CIMErrorThirteenBack", "CIMErrorXXXXX: 65\r\n", untouchedText, untouchedCode, "A"),
    line("CIMErrorThirteenBackAnyCase", "cimerrorABCDE:66\r\n", untouchedText, untouchedCode, "B"),
    line("ShortNameNoMatch", "Code: 6\r\n", untouchedText, untouchedCode, untouchedText),
    // The count ends before the colon: what follows in memory is not part of
    // the line and must not be looked at.
    {"ColonOnlyPastTheLine", "CIMStatusCode: 5\r\n", 0, 13, untouchedText, untouchedCode, untouchedText},
    // The line ends without CR LF and without a zero; the value stops at the count.
    {"ValueStopsAtCount", "CIMStatusDescription: abcdef", 0, 24, "ab", untouchedCode, untouchedText},
    {"NumberStopsAtCount", "CIMStatusCode: 12345", 0, 17, untouchedText, 12, untouchedText},
    // The name is measured back from the colon but never before the line's
    // first byte, even though the bytes before it spell a status header.
    {"NoLookBehindLineStart", "CIMStatusCode: 5\r\n", 9, 9, untouchedText, untouchedCode, untouchedText},
    {"NoLookBehindForDescription", "XCIMStatusDescription: d\r\n", 5, 21, untouchedText, untouchedCode,
     untouchedText},
};

class HeaderCbTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderCbTest, FillsOnlyTheMatchingField) {
    const HeaderCase& c = GetParam();
    // An exact-size heap copy of the line, so that a sanitizer build sees
    // any read past its end.
    std::vector<char> bytes(c.memory.begin(), c.memory.end());
    CimErrorData record;
    record.statusDescription = untouchedText;
    record.statusCode = untouchedCode;
    record.errorHeader = untouchedText;

    const size_t returned = CimomCurl::headerCb(bytes.data() + c.offset, 1, c.length, &record);

    EXPECT_EQ(returned, c.length);
    EXPECT_EQ(record.statusDescription, c.description);
    EXPECT_EQ(record.statusCode, c.code);
    EXPECT_EQ(record.errorHeader, c.errorHeader);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), c.memory) << "the line must be left as it came";
}

INSTANTIATE_TEST_SUITE_P(Lines, HeaderCbTest, testing::ValuesIn(headerCases), paramname::ByName());

TEST(HeaderCb, CountIsSizeTimesItems) {
    std::string text = "CIMStatusCode: 3\r\n";   // 18 bytes as 2 items of 9
    CimErrorData record;
    EXPECT_EQ(CimomCurl::headerCb(text.data(), 2, 9, &record), 18u);
    EXPECT_EQ(record.statusCode, 3);
}

TEST(HeaderCb, LaterHeadersOverwriteEarlierOnes) {
    CimErrorData record;
    std::string first = "CIMStatusCode: 3\r\n";
    std::string second = "CIMStatusCode: 0\r\n";
    CimomCurl::headerCb(first.data(), 1, first.size(), &record);
    CimomCurl::headerCb(second.data(), 1, second.size(), &record);
    EXPECT_EQ(record.statusCode, 0);
}

TEST(HeaderCb, DumpTracesTheLineWithoutCarriageReturn) {
    std::string text = "CIMStatusCode: 3\r\n";
    CimErrorData record;
    dumpXml = 1;
    testing::internal::CaptureStderr();
    CimomCurl::headerCb(text.data(), 1, text.size(), &record);
    const std::string traced = testing::internal::GetCapturedStderr();
    dumpXml = 0;
    EXPECT_EQ(traced, "From server: CIMStatusCode: 3\n");
}

// The code is also kept as written, so that one that is no number, or too
// big for an int, is still reported as the server wrote it.
TEST(HeaderCb, KeepsTheStatusCodeAsWritten) {
    const struct {
        std::string line;
        int code;
        std::string text;
    } cases[] = {
        {"CIMStatusCode: 6\r\n", 6, "6"},
        {"CIMStatusCode: abc\r\n", 0, "abc"},
        {"CIMStatusCode: 4294967296\r\n", INT_MAX, "4294967296"},
        {"CIMStatusCode: -99999999999\r\n", INT_MIN, "-99999999999"},
        {"CIMStatusCode:   7 \t\r\n", 7, "7"},
        {"CIMStatusCode:\r\n", 0, ""},
    };
    for (const auto& c : cases) {
        std::string line = c.line;
        CimErrorData record;
        CimomCurl::headerCb(line.data(), 1, line.size(), &record);
        EXPECT_EQ(record.statusCode, c.code) << c.line;
        EXPECT_EQ(record.statusCodeText, c.text) << c.line;
    }
}

TEST(WriteCb, AppendsEveryChunk) {
    std::ostringstream out;
    std::string a = "<?xml";
    std::string b = " version";
    EXPECT_EQ(CimomCurl::writeCb(a.data(), 1, a.size(), &out), a.size());
    EXPECT_EQ(CimomCurl::writeCb(b.data(), 4, 2, &out), 8u);
    EXPECT_EQ(out.str(), "<?xml version");
}

}  // namespace
