// The reply header callback, fed crafted lines the way libcurl hands them:
// one line at a time, CR LF included, with no terminating zero. What the
// CIM status headers then do to a run is played end to end
// (tests/e2e/cases/transport_http.json, hostile_server.json, replies.json).
#include "transport/cimom_curl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Row {
    const char* name;
    std::string memory;   // the bytes around the line
    size_t offset;        // where the line starts in `memory`
    size_t length;        // the count handed to the callback; 0: to the end of `memory`
    std::string expected;   // description|code|code as written|CIMError, "-" and -77 where untouched
};

// The status record after the callback read the line.
std::string record(const Row& r) {
    // An exact-size heap copy, so that a sanitizer build sees any read past
    // the line's end.
    std::vector<char> bytes(r.memory.begin(), r.memory.end());
    CimErrorData data;
    data.statusDescription = data.statusCodeText = data.errorHeader = "-";
    data.statusCode = -77;
    const size_t length = r.length ? r.length : r.memory.size() - r.offset;
    EXPECT_EQ(CimomCurl::headerCb(bytes.data() + r.offset, 1, length, &data), length);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), r.memory) << "the line must be left as it came";
    return data.statusDescription + "|" + std::to_string(data.statusCode) + "|" + data.statusCodeText + "|" +
           data.errorHeader;
}

class HeaderCb : public testing::TestWithParam<Row> {};

TEST_P(HeaderCb, FillsOnlyTheMatchingField) { EXPECT_EQ(record(GetParam()), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    Lines, HeaderCb,
    testing::Values(
        Row{"StatusLine", "HTTP/1.1 200 OK\r\n", 0, 0, "-|-77|-|-"},
        Row{"OtherHeader", "Content-Type: application/xml\r\n", 0, 0, "-|-77|-|-"},
        Row{"StatusCodeAnyCase", "cimstatuscode: 12\r\n", 0, 0, "-|12|12|-"},
        // The value is taken from two bytes after the colon.
        Row{"StatusCodeNoBlank", "CIMStatusCode:16\r\n", 0, 0, "-|6|6|-"},
        Row{"StatusCodeBlanksAround", "CIMStatusCode:   7 \t\r\n", 0, 0, "-|7|7|-"},
        Row{"StatusCodeEmpty", "CIMStatusCode:\r\n", 0, 0, "-|0||-"},
        Row{"StatusCodeBareLine", "CIMStatusCode: 4", 0, 0, "-|4|4|-"},
        Row{"DescriptionExact", "CIMStatusDescription: The object was not found\r\n", 0, 0,
            "The object was not found|-77|-|-"},
        Row{"DescriptionAnyCase", "cimSTATUSdescription: x\r\n", 0, 0, "x|-77|-|-"},
        Row{"DescriptionOfALongerName", "X-CIMStatusDescription: tail\r\n", 0, 0, "tail|-77|-|-"},
        Row{"DescriptionEmpty", "CIMStatusDescription:\r\n", 0, 0, "|-77|-|-"},
        Row{"DescriptionOnlyBlank", "CIMStatusDescription: \r\n", 0, 0, "|-77|-|-"},
        Row{"DescriptionCutAtCarriageReturn", "CIMStatusDescription: a\rb\r\n", 0, 0, "a|-77|-|-"},
        // CIMError is measured from 13 characters back: the plain header
        // does not match.
        Row{"PlainCIMErrorIsNotRead", "CIMError: 65\r\n", 0, 0, "-|-77|-|-"},
        Row{"CIMErrorThirteenBackExact", "CIMErrorXXXXX: 65\r\n", 0, 0, "-|-77|-|A"},
        Row{"CIMErrorThirteenBackAnyCase", "cimerrorABCDE:66\r\n", 0, 0, "-|-77|-|B"},
        Row{"ShortNameNoMatch", "Code: 6\r\n", 0, 0, "-|-77|-|-"},
        // The count ends before the colon: what follows in memory is not
        // part of the line and must not be looked at.
        Row{"ColonOnlyPastTheLine", "CIMStatusCode: 5\r\n", 0, 13, "-|-77|-|-"},
        // The line ends without CR LF and without a zero; the value stops at the count.
        Row{"ValueStopsAtCount", "CIMStatusDescription: abcdef", 0, 24, "ab|-77|-|-"},
        Row{"NumberStopsAtCount", "CIMStatusCode: 12345", 0, 17, "-|12|12|-"},
        // The name is measured back from the colon but never before the
        // line's first byte, even though the bytes before it spell a status header.
        Row{"NoLookBehindLineStart", "CIMStatusCode: 5\r\n", 9, 9, "-|-77|-|-"},
        Row{"NoLookBehindForDescription", "XCIMStatusDescription: d\r\n", 5, 21, "-|-77|-|-"}),
    [](const testing::TestParamInfo<Row>& info) { return info.param.name; });

}  // namespace
