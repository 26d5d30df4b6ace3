// The scanner: look-ahead that never moves on failure, white space read as
// signed bytes, attribute lists, text content cut in place, and the entity
// decoder.
#include "xml/xml_buffer.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

TEST(XmlBufferLookAhead, TagsMoveTheCursorOnlyOnAMatch) {
    XmlBuffer blanks("  <  VALUE> </ VALUE >");
    ASSERT_EQ(blanks.tagEquals("VALUE"), 1);
    EXPECT_EQ(*blanks.cur(), '>');
    for (const char* text : {"<VALUEX>", "<value>", "</VALUE>"}) {
        XmlBuffer xb(text);
        EXPECT_EQ(xb.tagEquals("VALUE"), 0) << text;
        EXPECT_EQ(xb.cur(), xb.begin()) << text;
    }
    blanks.getChar('>');
    EXPECT_EQ(blanks.endTag("VALUE.ARRAY"), 0);
    EXPECT_EQ(blanks.endTag("VALUE"), 1);
    EXPECT_EQ(blanks.cur(), blanks.end());
}

TEST(XmlBufferLookAhead, NextEqualsStopsAtLettersAndDigitsOnly) {
    for (const char* yes : {"VALUE.ARRAY>", "VALUE>", "VALUE/>"})
        EXPECT_TRUE(XmlBuffer::nextEquals(yes, "VALUE")) << yes;
    for (const char* no : {"VALUES>", "VALUE2>", "VALU", "value>"})
        EXPECT_FALSE(XmlBuffer::nextEquals(no, "VALUE")) << no;
    EXPECT_FALSE(XmlBuffer::nextEquals(nullptr, "VALUE"));
}

TEST(XmlBufferLookAhead, HighBytesAndControlsAreWhiteSpaceUpToTheEnd) {
    XmlBuffer xb(std::string("\xC8\x80\xFF\x01 ") + "<A/>");
    xb.skipWS();
    EXPECT_EQ(xb.tagEquals("A"), 1);
    XmlBuffer blank(" \t\xA0");
    EXPECT_EQ(blank.nextTag(), nullptr);
    EXPECT_EQ(blank.cur(), blank.end());
    EXPECT_EQ(blank.getChar('<') + blank.getChar("</") + blank.getWord("A"), 0);
}

struct Row {
    const char* name;
    std::string text;
    std::string expected;
};

// A row starting "<A" reads that element's content, any other the
// attributes of <P>.
//
// The attributes of <P> read against the table NAME, TYPE: "NAME|TYPE|" and
// how the tag ended with what follows it, or what was thrown.
std::string attributes(const std::string& text) {
    XmlBuffer xb(text);
    if (!xb.tagEquals("P")) return "no tag";
    XmlAttr attr;
    attr.attr = {"stale", "stale"};
    try {
        xb.attrsOk(XmlElement{"NAME", "TYPE"}, attr, "P");
    } catch (const XmlException& e) {
        return e.getMsg();
    } catch (const std::logic_error&) {
        return "std::logic_error";   // not of the exception family
    }
    const std::string end = attr.emptyElement ? "|/>" : "|>";
    return std::string(attr.attr[0]) + "|" + std::string(attr.attr[1]) + end + xb.cur();
}

// The content of <A>, or "(null)" for the empty form, and whether the end
// tag still reads after it ("|1").
std::string content(const std::string& text) {
    XmlBuffer xb(text);
    XmlAttr attr;
    if (!xb.tagEquals("A") || !xb.attrsOk(XmlElement(0), attr, "A")) return "no tag";
    try {
        const char* got = xb.getContent(&attr);
        return (got ? std::string(got) : "(null)") + "|" + std::to_string(xb.endTag("A", &attr));
    } catch (const XmlException& e) {
        return e.getMsg();
    }
}

class XmlBufferReads : public ::testing::TestWithParam<Row> {};

TEST_P(XmlBufferReads, Read) {
    const std::string& text = GetParam().text;
    EXPECT_EQ(text.rfind("<A", 0) == 0 ? content(text) : attributes(text), GetParam().expected);
}

const std::string unknown = "Parse Exception: Unknown attribute in list for P (";
const std::string badList = "Parse Exception: Bad attribute list for P: ";

INSTANTIATE_TEST_SUITE_P(
    Table, XmlBufferReads,
    ::testing::Values(
        Row{"NamesWithoutCaseInTableOrder", "<P type='uint8' name=\"Size\" >rest", "Size|uint8|>rest"},
        Row{"AbsentStaysEmptySlashCloses", "<P NAME=\"a\"/>", "a||/>"},
        Row{"ValueRunsToItsOwnQuote", "<P NAME='it\"s'>", "it\"s||>"},
        Row{"EntitiesKept", "<P NAME=\"a &amp; b\">", "a &amp; b||>"},
        Row{"Repeated", "<P NAME=\"a\" NAME=\"b\">", unknown + "NAME=\"b\">)"},
        Row{"UnknownShowsTenBytes", "<P SIZE=\"1234567890123\">", unknown + "SIZE=\"1234)"},
        Row{"LongerName", "<P NAMES=\"a\">", unknown + "NAMES=\"a\">)"},
        Row{"NoEquals", "<P NAME \"a\">", "Parse Exception: '=' expected in attribute list"},
        Row{"NotAName", "<P NAME=\"a\" 5>", badList}, Row{"UnterminatedValue", "<P NAME=\"a\"", badList},
        Row{"SlashApart", "<P NAME=\"a\" / >", badList},
        Row{"QuestionMarkEndsOnlyTheProlog", "<P NAME=\"a\"?>", badList},
        Row{"Unquoted", "<P NAME=a>", "std::logic_error"}, Row{"NoValueAtTheEnd", "<P NAME=", "std::logic_error"},
        Row{"EmptyContent", "<A></A>", "|1"}, Row{"EmptyElement", "<A/>", "(null)|1"},
        Row{"ContentCutInPlace", "<A>x &lt; y</A>", "x &lt; y|1"},
        Row{"CdataKeptWithItsMarkers", "<A>a<![CDATA[b<c>]]>c</A>", "a<![CDATA[b<c>]]>c|1"},
        Row{"ContentUpToTheEnd", "<A>abc", "abc|0"},
        Row{"UnterminatedCdata", "<A>x<![CDATA[abc]]</A>", "Parse Exception: Failed to get CDATA end tag."}),
    xmltest::RowName());

TEST(UnescapeXml, DecodesTheFiveEntitiesOnce) {
    const struct {
        const char* text;
        int mode;
        const char* expected;
    } rows[] = {
        {"a&amp;b\\c", 1, "a&b\\\\c"}, {"a&amp;b\\c", 0, "a&b\\c"}, {"&LT;&Amp;&GT;&apos;", 0, "<&>'"},
        {"&amp", 0, "&amp"},             {"&amp;lt;", 0, "&lt;"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(unescapeXml(r.text, r.mode), r.expected) << r.text << ", mode " << r.mode;
    EXPECT_EQ(unescapeXml(nullptr, 1), "");
}

}  // namespace
