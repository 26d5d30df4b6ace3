// The error family and the CIM errors: prefixes, the error symbol table,
// and the two ways an ErrorXml is made.
#include "xml/envelope.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ErrorFamily, MessagesCarryTheirPrefixes) {
    EXPECT_EQ(ParseException("abc").getMsg(), "Parse Exception: abc");
    EXPECT_EQ(CmdException("").getMsg(), "Cmd Exception: ");
    EXPECT_EQ(HttpException("x").getMsg(), "Http Exception: x");
    EXPECT_EQ(URLException("y").getMsg(), "Url Exception: y");
    EXPECT_EQ(NoReturnValue().getMsg(), "");
    EXPECT_EQ(EmptyValue().getMsg(), "");
    EXPECT_EQ(XmlException().getMsg(), "");
}

TEST(ErrorFamily, DoesNotExistIsNotAnXmlException) {
    bool asXml = false;
    bool asItself = false;
    try {
        Option<std::string> none;
        none.val();
    } catch (const XmlException&) {
        asXml = true;
    } catch (const DoesNotExist& e) {
        asItself = true;
        EXPECT_EQ(e.getMsg(), "Object of type Tnot found...");
    }
    EXPECT_FALSE(asXml);
    EXPECT_TRUE(asItself);
}

TEST(CimErrorSymbols, TableHasEighteenEntriesWithTheDeliberateDoubleBlank) {
    EXPECT_EQ(CIM_ERR_MAX, 17);
    EXPECT_STREQ(CimErrorSymbols[0], "Invalid/Unknown CIM Error Code: ");
    EXPECT_STREQ(CimErrorSymbols[8], "CIM_ERR_CLASS_HAS_CHILDREN:  ");
    EXPECT_STREQ(CimErrorSymbols[17], "CIM_ERR_METHOD_NOT_FOUND: ");
}

struct CodeCase {
    const char* code;   // as written in the reply
    const char* symbol;
};

class ErrorFromReply : public ::testing::TestWithParam<CodeCase> {};

TEST_P(ErrorFromReply, PrefixesTheSymbolOfTheCode) {
    const std::string body = xmltest::reply(std::string("<IMETHODRESPONSE NAME=\"GetInstance\"><ERROR CODE=\"") +
                                            GetParam().code + "\" DESCRIPTION=\"went wrong\"/></IMETHODRESPONSE>");
    CimXml cim(body, 0);   // an ERROR parses completely; it is thrown on access
    try {
        cim.getReturnData();
        FAIL() << "no error thrown";
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.code, GetParam().code);
        EXPECT_EQ(e.description, std::string(GetParam().symbol) + "went wrong");
        EXPECT_EQ(e.getMsg(), std::string("Cim: (") + GetParam().code + ") " + GetParam().symbol + "went wrong");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codes, ErrorFromReply,
    ::testing::Values(CodeCase{"0", "Invalid/Unknown CIM Error Code: "}, CodeCase{"1", "CIM_ERR_FAILED: "},
                      CodeCase{"2", "CIM_ERR_ACCESS_DENIED: "}, CodeCase{"3", "CIM_ERR_INVALID_NAMESPACE: "},
                      CodeCase{"4", "CIM_ERR_INVALID_PARAMETER: "}, CodeCase{"5", "CIM_ERR_INVALID_CLASS: "},
                      CodeCase{"6", "CIM_ERR_NOT_FOUND: "}, CodeCase{"7", "CIM_ERR_NOT_SUPPORTED: "},
                      CodeCase{"8", "CIM_ERR_CLASS_HAS_CHILDREN:  "}, CodeCase{"9", "CIM_ERR_CLASS_HAS_INSTANCES: "},
                      CodeCase{"10", "CIM_ERR_INVALID_SUPERCLASS: "}, CodeCase{"11", "CIM_ERR_ALREADY_EXISTS: "},
                      CodeCase{"12", "CIM_ERR_NO_SUCH_PROPERTY: "}, CodeCase{"13", "CIM_ERR_TYPE_MISMATCH: "},
                      CodeCase{"14", "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED: "},
                      CodeCase{"15", "CIM_ERR_INVALID_QUERY: "}, CodeCase{"16", "CIM_ERR_METHOD_NOT_AVAILABLE: "},
                      CodeCase{"17", "CIM_ERR_METHOD_NOT_FOUND: "},
                      CodeCase{"18", "Invalid/Unknown CIM Error Code: "},
                      CodeCase{"99", "Invalid/Unknown CIM Error Code: "},
                      CodeCase{"-3", "Invalid/Unknown CIM Error Code: "},
                      CodeCase{"abc", "Invalid/Unknown CIM Error Code: "},
                      CodeCase{"", "Invalid/Unknown CIM Error Code: "},
                      CodeCase{"99999999999999999999", "Invalid/Unknown CIM Error Code: "}),
    paramname::Numbered([](const CodeCase& c) { return c.code; }));

TEST(ErrorFromReply, DescriptionNamingItsSymbolIsKept) {
    const std::string body = xmltest::reply(
        "<IMETHODRESPONSE NAME=\"GetInstance\"><ERROR CODE=\"6\" DESCRIPTION=\"CIM_ERR_NOT_FOUND: gone\"/>"
        "</IMETHODRESPONSE>");
    CimXml cim(body, 0);
    try {
        cim.getReturnData();
        FAIL() << "no error thrown";
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.getMsg(), "Cim: (6) CIM_ERR_NOT_FOUND: gone");
    }
}

TEST(ErrorFromReply, DescriptionEntitiesAreDecodedPlainly) {
    const std::string body = xmltest::reply(
        "<IMETHODRESPONSE NAME=\"GetInstance\"><ERROR CODE=\"1\" DESCRIPTION=\"a &quot;b&quot; &amp; c\\d\">"
        "</ERROR></IMETHODRESPONSE>");
    CimXml cim(body, 0);
    try {
        cim.getReturnData();
        FAIL() << "no error thrown";
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.getMsg(), "Cim: (1) CIM_ERR_FAILED: a \"b\" & c\\d");
    }
}

struct StatusCase {
    int code;
    const char* description;
    const char* message;
};

class ErrorFromStatus : public ::testing::TestWithParam<StatusCase> {};

TEST_P(ErrorFromStatus, ComposesTheMessage) {
    std::string description = GetParam().description;
    ErrorXml e(GetParam().code, description);
    EXPECT_EQ(e.getMsg(), GetParam().message);
    EXPECT_EQ(e.code, std::to_string(GetParam().code));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ErrorFromStatus,
    ::testing::Values(StatusCase{6, "not here", "Cim: (6) CIM_ERR_NOT_FOUND: not here"},
                      StatusCase{17, "", "Cim: (17) CIM_ERR_METHOD_NOT_FOUND: "},
                      StatusCase{18, "x", "Cim: (18) Invalid/Unknown CIM Error Code: x"},
                      StatusCase{-1, "x", "Cim: (-1) Invalid/Unknown CIM Error Code: x"},
                      // Unlike the ERROR element, a description that names its
                      // symbol is dropped here.
                      StatusCase{6, "CIM_ERR_NOT_FOUND: not here", "Cim: (6) "}),
    paramname::Numbered([](const StatusCase& c) { return c.code; }));

TEST(ErrorFromStatus, IsCaughtAsAnXmlException) {
    std::string description = "x";
    try {
        throw ErrorXml(2, description);
    } catch (const XmlException& e) {
        EXPECT_EQ(e.getMsg(), "Cim: (2) CIM_ERR_ACCESS_DENIED: x");
    }
}

}  // namespace
