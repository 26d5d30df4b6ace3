// The controller password check through AuthPassword.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/auth.h"
#include "dispatch_fake_cimom.h"
#include "tests/unit/param_names.h"

namespace {

using fake::FakeCimom;
using fake::Prompts;

struct Outcome {
    bool accepted;
    std::string printed;
};

Outcome Verify(FakeCimom& cimom, const std::string& answer) {
    Prompts::Reset(answer);
    std::ostringstream out;
    const bool accepted = VerifyControllerPassword(cimom, "root", "esxi", "10.0.0.5", Prompts::Read, out);
    return {accepted, out.str()};
}

FakeCimom WithAuthReply(const std::string& value) {
    FakeCimom cimom;
    cimom.replies["GetClass"] = fake::ClassReply();
    cimom.replies["AuthPassword"] = fake::MethodReply("AuthPassword", value);
    return cimom;
}

TEST(VerifyControllerPassword, AcceptedPasswordSendsAuthPassword) {
    FakeCimom cimom = WithAuthReply("OK");
    const Outcome o = Verify(cimom, "0000");
    EXPECT_TRUE(o.accepted);
    EXPECT_EQ(o.printed, "");
    ASSERT_EQ(Prompts::shown, std::vector<std::string>{"Enter RAID Controller's PassWord:"});
    // The class first (to learn the method's parameters), then the method on
    // the controller class itself, without keys.
    using P = std::pair<std::string, std::string>;
    EXPECT_EQ(cimom.sequence(), (std::vector<P>{{"GetClass", "Quilo_RAIDControllerSystem"},
                                                {"AuthPassword", "Quilo_RAIDControllerSystem"}}));
    const fake::Request& call = cimom.requests[1];
    EXPECT_TRUE(call.isMethodCall);
    EXPECT_FALSE(call.hasKeys);
    EXPECT_NE(call.document.find("<METHODCALL NAME=\"AuthPassword\">"), std::string::npos) << call.document;
    EXPECT_NE(call.document.find("<PARAMVALUE NAME=\"password\"><VALUE>0000</VALUE></PARAMVALUE>"),
              std::string::npos)
        << call.document;
}

TEST(VerifyControllerPassword, EmptyPasswordIsSentAsIs) {
    FakeCimom cimom = WithAuthReply("OK");
    EXPECT_TRUE(Verify(cimom, "").accepted);
    ASSERT_EQ(cimom.requests.size(), 2u);
    EXPECT_NE(cimom.requests[1].document.find("<PARAMVALUE NAME=\"password\">"), std::string::npos)
        << cimom.requests[1].document;
}

struct ReplyCase {
    const char* value;
    bool accepted;
    const char* printed;
};

class AuthReplies : public ::testing::TestWithParam<ReplyCase> {};

TEST_P(AuthReplies, Outcome) {
    FakeCimom cimom = WithAuthReply(GetParam().value);
    const Outcome o = Verify(cimom, "1234");
    EXPECT_EQ(o.accepted, GetParam().accepted) << GetParam().value;
    EXPECT_EQ(o.printed, GetParam().printed) << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(
    Replies, AuthReplies,
    ::testing::Values(
        ReplyCase{"ERROR CODE=\"74\"", false,
                  "Invalid Password for the RAID Controller\nController Password Incorrect\n"},
        ReplyCase{"ERROR CODE=\"66\"", false, "RAID Set Not Normal\nController Password Incorrect\n"},
        // Unlisted codes print the verification table's default.
        ReplyCase{"ERROR CODE=\"65\"", false, "Disk Test Failed\nController Password Incorrect\n"},
        ReplyCase{"ERROR CODE=\"49\"", false, "Disk Test Failed\nController Password Incorrect\n"},
        // "OK" anywhere accepts, also beside an error code.
        ReplyCase{"ERROR CODE=\"74\" BOOK", true, "Invalid Password for the RAID Controller\n"},
        ReplyCase{"Refused", false, "Controller Password Incorrect\n"}),
    paramname::Numbered([](const ReplyCase& c) { return c.value; }));

TEST(VerifyControllerPassword, TransportFailurePassesThrough) {
    FakeCimom cimom = WithAuthReply("OK");
    cimom.failures["AuthPassword"] = [] { throw HttpException("refused"); };
    Prompts::Reset("0000");
    std::ostringstream out;
    EXPECT_THROW(VerifyControllerPassword(cimom, "root", "esxi", "10.0.0.5", Prompts::Read, out), HttpException);
    EXPECT_EQ(out.str(), "");
}

}  // namespace
