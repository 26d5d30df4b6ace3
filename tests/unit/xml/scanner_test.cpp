// The scanner: look-ahead that never moves on failure, attribute lists,
// text content cut in place, and the entity decoder.
#include "xml/render_flags.h"
#include "xml/xml_buffer.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <cstring>
#include <string>

namespace {

const XmlElement nameType{"NAME", "TYPE"};

TEST(XmlBufferLookAhead, TagEqualsAcceptsBlanksBeforeTheName) {
    XmlBuffer xb("  <  VALUE>x</VALUE>");
    ASSERT_EQ(xb.tagEquals("VALUE"), 1);
    EXPECT_EQ(*xb.cur(), '>');
}

TEST(XmlBufferLookAhead, TagEqualsRefusesLongerNameAndOtherCase) {
    XmlBuffer longer("<VALUEX>");
    EXPECT_EQ(longer.tagEquals("VALUE"), 0);
    EXPECT_EQ(longer.cur(), longer.begin());

    XmlBuffer upper("<VALUE>");
    EXPECT_EQ(upper.tagEquals("value"), 0);
    EXPECT_EQ(upper.cur(), upper.begin());

    XmlBuffer endTag("</VALUE>");
    EXPECT_EQ(endTag.tagEquals("VALUE"), 0);
}

TEST(XmlBufferLookAhead, NextEqualsStopsAtLettersAndDigitsOnly) {
    struct Row {
        const char* text;
        bool expected;
    };
    const Row rows[] = {
        {"VALUE.ARRAY>", true}, {"VALUE.REFERENCE>", true}, {"VALUE>", true}, {"VALUE/>", true},
        {"VALUES>", false},     {"VALUE2>", false},         {"VALU", false},  {"value>", false},
    };
    for (const Row& r : rows) EXPECT_EQ(XmlBuffer::nextEquals(r.text, "VALUE"), r.expected) << r.text;
    EXPECT_FALSE(XmlBuffer::nextEquals(nullptr, "VALUE"));
}

TEST(XmlBufferLookAhead, NextTagSkipsWhiteSpaceAndLeavesTheLessThan) {
    XmlBuffer xb(" \n\t<INSTANCE>");
    const char* p = xb.nextTag();
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(XmlBuffer::nextEquals(p, "INSTANCE"));
    EXPECT_EQ(*xb.cur(), '<');

    XmlBuffer text("abc<X>");
    EXPECT_EQ(text.nextTag(), nullptr);
}

TEST(XmlBufferLookAhead, HighBytesAndControlsAreWhiteSpace) {
    const std::string body = std::string("\xC8\x80\xFF\x01 ") + "<A/>";
    XmlBuffer xb(body);
    xb.skipWS();
    EXPECT_EQ(*xb.cur(), '<');
    EXPECT_EQ(xb.tagEquals("A"), 1);
}

TEST(XmlBufferLookAhead, SkipWSStopsAtTheEnd) {
    XmlBuffer xb("   ");
    xb.skipWS();
    EXPECT_EQ(xb.cur(), xb.end());
    EXPECT_EQ(xb.nextTag(), nullptr);
    EXPECT_EQ(xb.getChar('<'), 0);
    EXPECT_EQ(xb.getChar("</"), 0);
    EXPECT_EQ(xb.getWord("A"), 0);
}

TEST(XmlBufferLookAhead, GetCharAndGetWord) {
    XmlBuffer xb("</Name>");
    EXPECT_EQ(xb.getChar("<?"), 0);
    EXPECT_EQ(xb.getChar("</"), 1);
    EXPECT_EQ(xb.getWord("Nam", 0), 0);   // followed by a letter
    EXPECT_EQ(xb.getWord("NAME", 1), 0);
    EXPECT_EQ(xb.getWord("NAME", 0), 1);
    EXPECT_EQ(xb.getChar('>'), '>');
    EXPECT_EQ(xb.getChar('>'), 0);
}

TEST(XmlBufferLookAhead, EndTagRestoresTheCursorOnMismatch) {
    XmlBuffer xb(" </ VALUE.ARRAY >");
    EXPECT_EQ(xb.endTag("VALUE"), 0);
    EXPECT_EQ(xb.cur(), xb.begin());
    EXPECT_EQ(xb.endTag("VALUE.ARRAY"), 1);
    EXPECT_EQ(xb.cur(), xb.end());

    XmlAttr empty;
    empty.emptyElement = true;
    XmlBuffer other("<X>");
    EXPECT_EQ(other.endTag("VALUE", &empty), 1);
    EXPECT_EQ(other.cur(), other.begin());
}

TEST(XmlBufferLookAhead, SkipElementSearchesForwardForTheEndTag) {
    XmlBuffer xb("<QUALIFIER NAME=\"a\"><VALUE>1</VALUE></QUALIFIER><NEXT/>");
    ASSERT_EQ(xb.skipElement("QUALIFIER"), 1);
    EXPECT_EQ(std::string(xb.cur()), "<NEXT/>");
    EXPECT_EQ(xb.skipElement("QUALIFIER"), 0);
    EXPECT_EQ(std::string(xb.cur()), "<NEXT/>");
}

TEST(XmlBufferLookAhead, TestAttrLooksInsideTheCurrentStartTagOnly) {
    XmlBuffer xb("<QUALIFIER NAME=\"KEY\" TYPE=\"boolean\"><VALUE NAME=\"key\"/>");
    ASSERT_EQ(xb.tagEquals("QUALIFIER"), 1);
    EXPECT_EQ(xb.testAttr("NAME=", "key", 0), 1);
    EXPECT_EQ(xb.testAttr("NAME=", "key", 1), 0);
    EXPECT_EQ(xb.testAttr("TYPE=", "bool", 0), 0);   // the quote must follow
    EXPECT_EQ(std::string(xb.cur()).substr(0, 6), " NAME=");

    XmlBuffer apostrophe("<QUALIFIER NAME= 'Key'>");
    ASSERT_EQ(apostrophe.tagEquals("QUALIFIER"), 1);
    EXPECT_EQ(apostrophe.testAttr("NAME=", "key", 0), 1);

    XmlBuffer later("<QUALIFIER NAME=\"Description\"><X NAME=\"key\"/>");
    ASSERT_EQ(later.tagEquals("QUALIFIER"), 1);
    EXPECT_EQ(later.testAttr("NAME=", "key", 0), 0);
}

TEST(XmlBufferAttributes, NamesMatchWithoutCaseInTableOrder) {
    XmlBuffer xb("<P type='uint8' name=\"Size\" >rest");
    ASSERT_EQ(xb.tagEquals("P"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(nameType, attr, "P"), 1);
    EXPECT_EQ(attr.attr[0], "Size");
    EXPECT_EQ(attr.attr[1], "uint8");
    EXPECT_FALSE(attr.emptyElement);
    EXPECT_EQ(std::string(xb.cur()), "rest");
}

TEST(XmlBufferAttributes, AbsentAttributesStayEmptyAndSlashCloses) {
    XmlBuffer xb("<P NAME=\"a\"/>");
    ASSERT_EQ(xb.tagEquals("P"), 1);
    XmlAttr attr;
    attr.attr[1] = "left over";
    ASSERT_EQ(xb.attrsOk(nameType, attr, "P"), 1);
    EXPECT_TRUE(attr.emptyElement);
    EXPECT_EQ(attr.attr[0], "a");
    EXPECT_EQ(attr.attr[1], "");
}

TEST(XmlBufferAttributes, QuestionMarkEndOnlyClosesTheProlog) {
    XmlBuffer xb("<P NAME=\"a\"?>");
    ASSERT_EQ(xb.tagEquals("P"), 1);
    XmlAttr attr;
    try {
        xb.attrsOk(nameType, attr, "P");
        FAIL() << "accepted";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Bad attribute list for P: ");
    }

    XmlBuffer hdr("<?xml version=\"1.0\" encoding=\"utf-8\" ?><CIM/>");
    EXPECT_EQ(hdr.xmlHdr(), 1);
    EXPECT_EQ(hdr.tagEquals("CIM"), 1);

    XmlBuffer none("<CIM/>");
    EXPECT_EQ(none.xmlHdr(), 0);
}

struct AttrFailure {
    const char* text;
    const char* message;
};

class XmlBufferAttrFailures : public ::testing::TestWithParam<AttrFailure> {};

TEST_P(XmlBufferAttrFailures, ThrowsItsMessage) {
    XmlBuffer xb(GetParam().text);
    ASSERT_EQ(xb.tagEquals("P"), 1);
    XmlAttr attr;
    try {
        xb.attrsOk(nameType, attr, "P");
        FAIL() << "no exception";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), GetParam().message);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, XmlBufferAttrFailures,
    ::testing::Values(
        AttrFailure{"<P NAME=\"a\" NAME=\"b\">", "Parse Exception: Unknown attribute in list for P (NAME=\"b\">)"},
        AttrFailure{"<P SIZE=\"1234567890123\">", "Parse Exception: Unknown attribute in list for P (SIZE=\"1234)"},
        AttrFailure{"<P NAMES=\"a\">", "Parse Exception: Unknown attribute in list for P (NAMES=\"a\">)"},
        AttrFailure{"<P NAME \"a\">", "Parse Exception: '=' expected in attribute list"},
        AttrFailure{"<P NAME=\"a\" 5>", "Parse Exception: Bad attribute list for P: "},
        AttrFailure{"<P NAME=\"a\"", "Parse Exception: Bad attribute list for P: "},
        AttrFailure{"<P NAME=\"a\" / >", "Parse Exception: Bad attribute list for P: "}),
    paramname::Numbered([](const AttrFailure& c) { return c.text; }));

TEST(XmlBufferAttributes, UnquotedValueIsAStandardLogicError) {
    XmlBuffer xb("<P NAME=a>");
    ASSERT_EQ(xb.tagEquals("P"), 1);
    XmlAttr attr;
    bool family = false;
    bool logic = false;
    try {
        xb.attrsOk(nameType, attr, "P");
    } catch (const XmlException&) {
        family = true;
    } catch (const std::logic_error&) {
        logic = true;
    }
    EXPECT_FALSE(family);
    EXPECT_TRUE(logic);

    XmlBuffer atEnd("<P NAME=");
    ASSERT_EQ(atEnd.tagEquals("P"), 1);
    EXPECT_THROW(atEnd.attrsOk(nameType, attr, "P"), std::logic_error);
}

TEST(XmlBufferAttributes, ValueRunsToTheMatchingQuoteOrTheEnd) {
    XmlBuffer xb(" 'it\"s' \"open");
    EXPECT_EQ(xb.getValue("A"), "it\"s");
    EXPECT_EQ(xb.getValue("B"), "open");
    EXPECT_EQ(xb.cur(), xb.end());
}

TEST(XmlBufferAttributes, EntitiesInValuesAreKept) {
    XmlBuffer xb("\"a &amp; b\"");
    EXPECT_EQ(xb.getValue("A"), "a &amp; b");
}

TEST(XmlBufferContent, EmptyContentAndEmptyElement) {
    XmlBuffer xb("<VALUE></VALUE>");
    ASSERT_EQ(xb.tagEquals("VALUE"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(XmlElement(0), attr, "VALUE"), 1);
    const char* text = xb.getContent(&attr);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(xb.endTag("VALUE", &attr), 1);

    XmlBuffer empty("<VALUE/>");
    ASSERT_EQ(empty.tagEquals("VALUE"), 1);
    ASSERT_EQ(empty.attrsOk(XmlElement(0), attr, "VALUE"), 1);
    EXPECT_EQ(empty.getContent(&attr), nullptr);
}

TEST(XmlBufferContent, CdataIsKeptWithItsMarkers) {
    XmlBuffer xb("<VALUE>a<![CDATA[b<c>]]>c</VALUE>");
    ASSERT_EQ(xb.tagEquals("VALUE"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(XmlElement(0), attr, "VALUE"), 1);
    EXPECT_STREQ(xb.getContent(&attr), "a<![CDATA[b<c>]]>c");
    EXPECT_EQ(xb.endTag("VALUE", &attr), 1);
}

TEST(XmlBufferContent, ContentIsCutInPlaceAndTheEndTagStillReads) {
    XmlBuffer xb("<KEYVALUE VALUETYPE=\"string\">x &lt; y</KEYVALUE>");
    ASSERT_EQ(xb.tagEquals("KEYVALUE"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(XmlElement{"VALUETYPE"}, attr, "KEYVALUE"), 1);
    const char* text = xb.getContent(&attr);
    EXPECT_STREQ(text, "x &lt; y");
    EXPECT_EQ(text, xb.cur() - 8 - 2);   // moved two bytes to the front
    EXPECT_EQ(xb.endTag("KEYVALUE", &attr), 1);
}

TEST(XmlBufferContent, ContentUpToTheEndOfTheText) {
    XmlBuffer xb("<A>abc");
    ASSERT_EQ(xb.tagEquals("A"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(XmlElement(0), attr, "A"), 1);
    EXPECT_STREQ(xb.getContent(&attr), "abc");
    EXPECT_EQ(xb.cur(), xb.end());
}

TEST(XmlBufferContent, UnterminatedCdataFails) {
    XmlBuffer xb("<A>x<![CDATA[abc]]</A>");
    ASSERT_EQ(xb.tagEquals("A"), 1);
    XmlAttr attr;
    ASSERT_EQ(xb.attrsOk(XmlElement(0), attr, "A"), 1);
    try {
        xb.getContent(&attr);
        FAIL() << "no exception";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Failed to get CDATA end tag.");
    }
}

TEST(XmlBufferCopy, CopyingThrows) {
    XmlBuffer xb("<A/>");
    try {
        XmlBuffer copy(xb);
        FAIL() << "copied";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: I told you not to!");
    }
}

struct Unescape {
    const char* text;
    int mode;
    const char* expected;
};

class UnescapeXml : public ::testing::TestWithParam<Unescape> {};

TEST_P(UnescapeXml, Decodes) {
    EXPECT_EQ(unescapeXml(GetParam().text, GetParam().mode), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Table, UnescapeXml,
    ::testing::Values(Unescape{"a&amp;b\\c", 1, "a&b\\\\c"}, Unescape{"a&amp;b\\c", 0, "a&b\\c"},
                      Unescape{"&quot;x&quot;", 0, "\"x\""}, Unescape{"&quot;x&quot;", 1, "\\\"x\\\""},
                      Unescape{"&lt;&gt;&apos;", 1, "<>'"}, Unescape{"&LT;&Amp;&GT;", 0, "<&>"},
                      Unescape{"&#65;&nbsp;&", 0, "&#65;&nbsp;&"}, Unescape{"&amp", 0, "&amp"},
                      Unescape{"&amp;lt;", 0, "&lt;"}, Unescape{"", 1, ""}),
    paramname::Numbered([](const Unescape& c) { return c.text; }));

TEST(UnescapeXmlNull, NullTextIsEmpty) { EXPECT_EQ(unescapeXml(nullptr, 1), ""); }

}  // namespace
