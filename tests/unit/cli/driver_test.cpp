#include "cli/driver.h"

#include <gtest/gtest.h>

#include <climits>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/usage.h"
#include "cli_test_support.h"
#include "transport/settings.h"
#include "xml/errors.h"
#include "tests/unit/param_names.h"

namespace {

std::string UsageText(void (*print)()) { return Capture(print).out; }

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
    std::optional<CommandLine> served;  // what reached the server side, if anything
    // The certificate names, copied while the argument vector lives; the
    // pointers in `served` are cleared.
    std::optional<std::string> caCert, clientCert, clientKey;
    std::string unread;                 // standard input left over
};

// Runs the driver on `words` (argv[0] included) with standard input `typed`;
// the server side records the command line and then calls `reply`.
Outcome RunLine(const std::vector<std::string>& words, const std::string& typed = "",
            const std::function<int()>& reply = [] { return 0; }) {
    Argv argv(words);
    StdinFrom input(typed);
    Outcome o;
    const Captured c = Capture([&] {
        o.status = RunRbz(argv.argc(), argv.get(), [&](CommandLine& cmd) {
            o.served = cmd;
            for (auto [from, to] : {std::pair{&CommandLine::caCert, &o.caCert},
                                    std::pair{&CommandLine::clientCert, &o.clientCert},
                                    std::pair{&CommandLine::clientKey, &o.clientKey}}) {
                if (cmd.*from != nullptr) *to = std::string(cmd.*from);
                (*o.served).*from = nullptr;
            }
            return reply();
        });
    });
    o.out = c.out;
    o.err = c.err;
    o.unread = StdinFrom::Rest();
    return o;
}

class Driver : public testing::Test {
protected:
    void SetUp() override { waitTime = 0; }
    void TearDown() override { waitTime = 0; }
};

TEST_F(Driver, NoArgumentsPrintsTheGeneralUsage) {
    const Outcome o = RunLine({"rbz"}, "never read\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, UsageText(GeneralUsage));
    EXPECT_EQ(o.err, "");
    EXPECT_FALSE(o.served);
    EXPECT_EQ(o.unread, "never read\n");
}

TEST_F(Driver, VersionBannerWinsAnywhere) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"rbz", "-v"},
                                               {"rbz", "-i", "h", "-u", "root", "sys", "chgpw", "-v"},
                                               {"rbz", "snmp", "port1", "-v"},
                                               {"rbz", "-v", "-h"},
                                               {"rbz", "-v", "-i"}}) {
        const Outcome o = RunLine(words, "a\nb\n");
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, " Quilo Technology WBEM Client Utility v1.6.3.1, Date: 2015/09/16\n");
        EXPECT_EQ(o.out, "");
        EXPECT_FALSE(o.served);
        EXPECT_EQ(o.unread, "a\nb\n") << "nothing may be asked";
    }
}

TEST_F(Driver, VersionMustBeTheExactWord) {
    const Outcome o = RunLine({"rbz", "-version"});
    EXPECT_EQ(o.status, 16);
    EXPECT_EQ(o.err, "Invalid invocation syntax\n");
}

struct HelpCase {
    const char* name;
    std::vector<std::string> words;
    void (*usage)();  // null: nothing printed
    const char* before;  // carriage returns written while parsing
};

void PrintTo(const HelpCase& c, std::ostream* os) { *os << c.name; }

class Help : public Driver, public testing::WithParamInterface<HelpCase> {};

TEST_P(Help, PrintsTheUsageOfThePrimaryCommand) {
    const HelpCase& c = GetParam();
    const Outcome o = RunLine(c.words);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, c.before + (c.usage != nullptr ? UsageText(c.usage) : std::string()));
    EXPECT_EQ(o.err, "");
    EXPECT_FALSE(o.served);
}

const HelpCase kHelpCases[] = {
    {"alone", {"rbz", "-h"}, GeneralUsage, ""},
    {"sys_info", {"rbz", "sys", "info", "-h"}, SysUsage, "\r"},
    {"rsf_info", {"rbz", "-h", "rsf", "info"}, RsfUsage, "\r"},
    {"vsf_inq", {"rbz", "vsf", "inq", "vol=1", "-h"}, VsfUsage, "\r"},
    {"disk_info", {"rbz", "disk", "info", "-h"}, DiskUsage, "\r"},
    {"event_clear", {"rbz", "event", "clear", "-h"}, EventUsage, "\r"},
    // The primary command is known even when its line is refused.
    {"rsf_refused", {"rbz", "rsf", "createhs", "-h"}, RsfUsage, "\r"},
    {"sys_last_word", {"rbz", "sys", "-h"}, SysUsage, ""},
    {"set_prints_nothing", {"rbz", "set", "savecfg", "-h"}, nullptr, "\r"},
    {"net_prints_nothing", {"rbz", "net", "info", "-h"}, nullptr, "\r"},
    {"main", {"rbz", "main", "-h"}, GeneralUsage, ""},
    {"exit", {"rbz", "exit", "-h"}, GeneralUsage, ""},
    {"with_dangling_option", {"rbz", "sys", "info", "-h", "-i"}, SysUsage, "\r"},
};

INSTANTIATE_TEST_SUITE_P(Words, Help, testing::ValuesIn(kHelpCases),
                         paramname::ByName());

TEST_F(Driver, HelpAfterChgpwAsksBothNewPasswordsFirst) {
    const Outcome o = RunLine({"rbz", "sys", "chgpw", "-h"}, "one\ntwo\nrest");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "\r" + UsageText(SysUsage));
    EXPECT_EQ(o.unread, "rest");
}

struct RefusedCase {
    const char* name;
    std::vector<std::string> words;
    const char* typed;
    const char* before;
};

void PrintTo(const RefusedCase& c, std::ostream* os) { *os << c.name; }

class Refused : public Driver, public testing::WithParamInterface<RefusedCase> {};

TEST_P(Refused, InvalidInvocationSyntax) {
    const RefusedCase& c = GetParam();
    const Outcome o = RunLine(c.words, c.typed);
    EXPECT_EQ(o.status, 16);
    EXPECT_EQ(o.err, "Invalid invocation syntax\n");
    EXPECT_EQ(o.out, c.before + UsageText(GeneralUsage));
    EXPECT_FALSE(o.served);
}

const RefusedCase kRefusedCases[] = {
    {"snmp_port1", {"rbz", "-i", "h", "-u", "root", "snmp", "port1", "1"}, "", "\r"},
    {"snmp_port3", {"rbz", "-i", "h", "-u", "root", "snmp", "port3", "1"}, "", ""},
    {"rsf_createhs", {"rbz", "-i", "h", "-u", "root", "rsf", "createhs"}, "", "\r"},
    {"set_savecfg", {"rbz", "set", "savecfg"}, "", "\r"},
    {"ntp_info", {"rbz", "ntp", "info"}, "", "\r"},
    {"vsf_piece", {"rbz", "vsf", "inf"}, "", "\r"},
    {"no_command", {"rbz", "-i", "h", "-u", "root"}, "", ""},
    {"main", {"rbz", "main", "info"}, "", ""},
    {"primary_last", {"rbz", "-i", "h", "-u", "root", "sys"}, "", ""},
    {"chgpw_mismatch", {"rbz", "-i", "h", "-u", "root", "sys", "chgpw"}, "one\ntwo\n", "\r"},
    {"dangling_i", {"rbz", "-i"}, "", ""},
    {"dangling_u", {"rbz", "-i", "h", "sys", "info", "-u"}, "", "\r"},
    {"dangling_w", {"rbz", "-i", "h", "-u", "root", "sys", "info", "-w"}, "", "\r"},
    {"dangling_cacert", {"rbz", "sys", "info", "-cacert"}, "", "\r"},
    {"dangling_clientcert", {"rbz", "sys", "info", "-clientcert"}, "", "\r"},
    {"dangling_clientkey", {"rbz", "sys", "info", "-clientkey"}, "", "\r"},
    {"bad_w_without_command", {"rbz", "-w", "abc"}, "", ""},
};

INSTANTIATE_TEST_SUITE_P(Words, Refused, testing::ValuesIn(kRefusedCases),
                         paramname::ByName());

TEST_F(Driver, ServedCommandCarriesTheWholeLine) {
    const Outcome o = RunLine({"rbz", "-cacert", "ca.pem", "-clientcert", "c.pem", "-clientkey",
                           "k.pem", "-i", "10.0.0.5:5989", "-u", "root", "vsf", "inq", "vol=1"},
                          "pw\nrest");
    ASSERT_TRUE(o.served);
    const CommandLine& cmd = *o.served;
    EXPECT_EQ(cmd.host, "10.0.0.5:5989");
    EXPECT_EQ(cmd.user, "root");
    EXPECT_EQ(cmd.password, "pw");
    EXPECT_EQ(cmd.parameters, "vol=1");
    EXPECT_EQ(cmd.primary, pricmd::vsf);
    EXPECT_EQ(cmd.option, subcmd::vsf_inq);
    EXPECT_EQ(o.caCert, "ca.pem");
    EXPECT_EQ(o.clientCert, "c.pem");
    EXPECT_EQ(o.clientKey, "k.pem");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "\r");
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.unread, "rest");
}

TEST_F(Driver, OptionsStandAnywhereAndTheFirstWins) {
    const Outcome o = RunLine({"rbz", "sys", "setip", "10.1.1.1", "-u", "admin", "-i", "a", "-i", "b",
                           "-u", "other"},
                          "pw\r\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->host, "a");
    EXPECT_EQ(o.served->user, "admin");
    EXPECT_EQ(o.served->password, "pw");
    EXPECT_FALSE(o.caCert);
    EXPECT_FALSE(o.clientCert);
    EXPECT_FALSE(o.clientKey);
    // The option words after the parameters are parameters too.
    EXPECT_EQ(o.served->parameters, "SetEthernetAddr.IP=10.1.1.1,-u,admin,-i,a,-i,b,-u,other");
}

TEST_F(Driver, OptionWordsAreExact) {
    const Outcome o = RunLine({"rbz", "-ihost", "-u", "root", "event", "info", "x-i", "y"});
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->host, "");
    EXPECT_EQ(o.served->user, "root");
}

TEST_F(Driver, EmptyInputGivesAnEmptyPassword) {
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "info"}, "");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->password, "");
}

TEST_F(Driver, FirstParsingPositionWinsOptionValuesIncluded) {
    // The user name "event" is taken as the primary command.
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "event", "info", "sys", "info"});
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->primary, pricmd::event);
    EXPECT_EQ(o.served->option, subcmd::event_info);
    EXPECT_EQ(o.served->parameters, "sys,info");
}

TEST_F(Driver, RefusedPositionsLeaveTheirParameters) {
    const Outcome o = RunLine({"rbz", "snmp", "port1", "x", "sys", "info"});
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->primary, pricmd::sys);
    EXPECT_EQ(o.served->option, subcmd::sys_info);
    EXPECT_EQ(o.served->parameters, "x,sys,info");
    EXPECT_EQ(o.out, "\r\r");
}

TEST_F(Driver, ChgpwCarriesTheNewPasswordThenAsksTheEsxiOne) {
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "chgpw"}, "n3w\nn3w\nesxi\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->parameters, "ChangePassword.password=n3w");
    EXPECT_EQ(o.served->password, "esxi");
}

TEST_F(Driver, UnservedPrimaryCommandsStillReachTheServerSide) {
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "net", "info"});
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->primary, pricmd::net);
    EXPECT_EQ(o.served->option, subcmd::net_info);
}

struct WaitCase {
    const char* name;
    std::vector<std::string> words;
    int wait;
};

void PrintTo(const WaitCase& c, std::ostream* os) { *os << c.name; }

class Wait : public Driver, public testing::WithParamInterface<WaitCase> {};

TEST_P(Wait, SetsTheWaitPeriod) {
    std::vector<std::string> words = {"rbz", "-i", "h", "-u", "root", "sys", "info"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    waitTime = 99;
    const Outcome o = RunLine(words);
    EXPECT_TRUE(o.served) << "a bad -w value is not reported";
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(waitTime, GetParam().wait);
}

const WaitCase kWaitCases[] = {
    {"decimal", {"-w", "5"}, 5},
    {"hexadecimal", {"-w", "0x10"}, 16},
    {"octal", {"-w", "010"}, 8},
    {"forever", {"-w", "-1"}, -1},
    {"not_a_number", {"-w", "abc"}, 0},
    {"trailing_garbage", {"-w", "3s"}, 3},
    {"last_wins", {"-w", "5", "-w", "7"}, 7},
    {"absent", {}, 99},
    // Beyond an int the value is held at the nearer end, never cut to 32 bits.
    {"beyond_64_bits", {"-w", "99999999999999999999"}, INT_MAX},
    {"two_to_the_32", {"-w", "4294967296"}, INT_MAX},
    {"hexadecimal_beyond_int", {"-w", "0x80000000"}, INT_MAX},
    {"far_below_zero", {"-w", "-99999999999999999999"}, INT_MIN},
    {"just_below_int", {"-w", "-2147483649"}, INT_MIN},
};

INSTANTIATE_TEST_SUITE_P(Values, Wait, testing::ValuesIn(kWaitCases),
                         paramname::ByName());

struct FailureCase {
    const char* name;
    std::function<int()> reply;
    int status;
    const char* out;
    const char* err;
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class Failures : public Driver, public testing::WithParamInterface<FailureCase> {};

TEST_P(Failures, EndTheRunAsTheirKindSays) {
    const FailureCase& c = GetParam();
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "info"}, "", c.reply);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, std::string("\r") + c.out);
    EXPECT_EQ(o.err, c.err);
}

TEST_F(Driver, FailureOutputIgnoresAWidthLeftPending) {
    // A report that throws after setting a field width.
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "info"}, "", []() -> int {
        std::cout << std::setw(40);
        throw CmdException("x");
    });
    EXPECT_EQ(o.out, "\r\n");
}

const FailureCase kFailureCases[] = {
    {"served", [] { return 0; }, 0, "", ""},
    {"password_refused", [] { return 13; }, 13, "", ""},
    {"cmd", []() -> int { throw CmdException("Class name not specified"); }, 0, "\n", ""},
    {"no_return_value", []() -> int { throw NoReturnValue(); }, 0, "", "Nothing Returned\n"},
    {"http", []() -> int { throw HttpException("boom"); }, 16, "", "Http Exception: boom\n"},
    {"url", []() -> int { throw URLException("bad path"); }, 16, "", "Url Exception: bad path\n"},
    {"parse", []() -> int { throw ParseException("abc"); }, 16, "", "Parse Exception: abc\n"},
    {"empty_value", []() -> int { throw EmptyValue(); }, 16, "", "\n"},
    {"message_with_newlines", []() -> int { throw HttpException("a\n\nb%41"); }, 16, "",
     "Http Exception: a\n\nb%41\n"},
    {"does_not_exist", []() -> int { throw DoesNotExist("Object of type Tnot found..."); }, 16, "",
     "*\n* what happened? \n*\n\n"},
    {"std_exception", []() -> int { throw std::runtime_error("x"); }, 16, "",
     "*\n* what happened? \n*\n\n"},
    {"anything", []() -> int { throw 42; }, 16, "", "*\n* what happened? \n*\n\n"},
};

INSTANTIATE_TEST_SUITE_P(Kinds, Failures, testing::ValuesIn(kFailureCases),
                         paramname::ByName());

TEST_F(Driver, ArgumentCountBoundsTheScan) {
    // Words past argc are not looked at even when the vector goes on.
    Argv argv({"rbz", "-v", "sys", "info"});
    StdinFrom input("");
    const Captured c = Capture([&] {
        EXPECT_EQ(RunRbz(1, argv.get(), [](CommandLine&) { return 5; }), 0);
    });
    EXPECT_EQ(c.out, UsageText(GeneralUsage));
    EXPECT_EQ(c.err, "");
}

}  // namespace
