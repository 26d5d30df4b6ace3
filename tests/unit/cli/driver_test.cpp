// The driver: what reaches the serving side of a command line, and how each
// kind of failure ends the run. Usage texts, refusals, help, the option
// grammar and the -w values are end-to-end cases (tests/e2e/cases/cli_*.json,
// bad_cmdline.json).
#include "cli/driver.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <iomanip>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli_test_support.h"
#include "xml/errors.h"

namespace {

struct Outcome {
    int status = -1;
    std::string out, err, served = "-", unread;
};

// Runs "rbz WORDS..." with standard input `typed`. `served` describes what
// the serving side got: host|user|password|parameters|primary.option|certificates.
Outcome RunLine(std::vector<std::string> words, const std::string& typed,
            const std::function<int()>& reply = [] { return 0; }) {
    words.insert(words.begin(), "rbz");
    Argv argv(std::move(words));
    StdinFrom input(typed);
    Outcome r;
    const Captured c = Capture([&] {
        r.status = RunRbz(argv.argc(), argv.get(), [&](CommandLine& cmd) {
            const auto file = [](const char* name) { return std::string(name != nullptr ? name : "-"); };
            r.served = cmd.host + "|" + cmd.user + "|" + cmd.password + "|" + cmd.parameters + "|" +
                       std::to_string(static_cast<int>(cmd.primary)) + "." +
                       std::to_string(static_cast<int>(cmd.option)) + "|" + file(cmd.caCert) + "," +
                       file(cmd.clientCert) + "," + file(cmd.clientKey);
            return reply();
        });
    });
    r.out = c.out;
    r.err = c.err;
    r.unread = StdinFrom::Rest();
    return r;
}

struct LineCase {
    std::string name;
    std::vector<std::string> words;
    std::string typed;
    std::string served;   // "-": nothing served
    std::string out;
    std::string unread;
};
void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class Lines : public testing::TestWithParam<LineCase> {};

TEST_P(Lines, ReachTheServingSide) {
    const LineCase& c = GetParam();
    const Outcome r = RunLine(c.words, c.typed);
    EXPECT_EQ(r.status, c.served == "-" ? 16 : 0);
    EXPECT_TRUE(r.served == c.served) << r.served.substr(0, 200);
    EXPECT_EQ(c.served == "-" ? r.out.substr(0, c.out.size()) : r.out, c.out);   // refused: the usage follows
    EXPECT_EQ(r.err, c.served == "-" ? "Invalid invocation syntax\n" : "");
    EXPECT_EQ(r.unread, c.unread);
}

const std::string kMiB(1 << 20, '7');
const std::string kHighMiB(1 << 20, '\xe9');

std::vector<LineCase> LineCases() {
    std::string everyByte;   // but the line feed, in a password longer than any terminal line
    for (int b = 0; b < 256; ++b)
        if (b != '\n') everyByte.push_back(static_cast<char>(b));
    const std::string longPassword(100000, 'n');
    std::vector<std::string> manyWords = {"-i", "h", "-u", "root", "vsf", "create"};
    std::string joined = "CreateVolume.";
    for (int i = 0; i < 100000; ++i) {
        manyWords.push_back(std::to_string(i));
        joined += (i > 0 ? "," : "") + std::to_string(i);
    }
    return {
        {"whole_line", {"-cacert", "ca.pem", "-clientcert", "c.pem", "-clientkey", "k.pem", "-i", "10.0.0.5:5989", "-u",
                        "root", "vsf", "inq", "vol=1"}, "pw\nrest", "10.0.0.5:5989|root|pw|vol=1|3.780|ca.pem,c.pem,k.pem",
         "\r", "rest"},
        // Options stand anywhere and the first wins; after the command they are parameters too.
        {"first_option_wins", {"sys", "setip", "10.1.1.1", "-u", "admin", "-i", "a", "-i", "b", "-u", "other"}, "pw\r\n",
         "a|admin|pw|SetEthernetAddr.IP=10.1.1.1,-u,admin,-i,a,-i,b,-u,other|5.1289|-,-,-", "\r", ""},
        {"option_words_exact", {"-ihost", "-u", "root", "event", "info", "x-i", "y"}, "", "|root||x-i,y|9.2560|-,-,-", "\r",
         ""},
        // Every position is a candidate for the command, option values included.
        {"value_read_as_command", {"-i", "h", "-u", "event", "info", "sys", "info"}, "",
         "h|event||sys,info|9.2560|-,-,-", "\r", ""},
        {"refused_position_keeps_its_parameters", {"snmp", "port1", "x", "sys", "info"}, "",
         "|||x,sys,info|5.1312|-,-,-", "\r\r", ""},
        {"option_word_that_is_a_command", {"-i", "h", "-u", "root", "sys", "disk", "info"}, "",
         "h|root||info|4.1031|-,-,-", "\r\r", ""},
        {"empty_words", {"", "-i", "h", "-u", "", "rsf", "delete", "", ""}, "pw\n", "h||pw|DeleteRAIDSet.,|2.513|-,-,-",
         "\r", ""},
        {"parameter_of_a_mebibyte", {"-i", "h", "-u", "root", "rsf", "delete", "RAIDNo=" + kMiB}, "pw\n",
         "h|root|pw|DeleteRAIDSet.RAIDNo=" + kMiB + "|2.513|-,-,-", "\r", ""},
        {"parameter_of_high_bytes", {"-i", "h", "-u", "root", "rsf", "delete", "RAIDNo=" + kHighMiB}, "pw\n",
         "h|root|pw|DeleteRAIDSet.RAIDNo=" + kHighMiB + "|2.513|-,-,-", "\r", ""},
        {"host_and_user_of_a_mebibyte", {"-i", kMiB, "-u", kHighMiB, "sys", "info"}, "pw\n",
         kMiB + "|" + kHighMiB + "|pw||5.1312|-,-,-", "\r", ""},
        {"many_words", manyWords, "pw\n", "h|root|pw|" + joined + "|3.768|-,-,-", "\r", ""},
        {"password_of_every_byte", {"-i", "h", "-u", "root", "sys", "info"}, everyByte + "\nrest\n",
         "h|root|" + everyByte + "||5.1312|-,-,-", "\r", "rest\n"},
        {"password_of_300000_bytes", {"-i", "h", "-u", "root", "sys", "info"}, std::string(300000, '\xff') + "\nrest\n",
         "h|root|" + std::string(300000, '\xff') + "||5.1312|-,-,-", "\r", "rest\n"},
        // Both new controller passwords are read, then the ESXi one.
        {"chgpw_twice_the_same", {"-i", "h", "-u", "root", "sys", "chgpw"}, longPassword + "\n" + longPassword + "\nesxi\nrest",
         "h|root|esxi|ChangePassword.password=" + longPassword + "|5.1283|-,-,-", "\r", "rest"},
        {"chgpw_differing_in_the_last_character", {"-i", "h", "-u", "root", "sys", "chgpw"},
         longPassword + "\n" + longPassword.substr(1) + "m\nesxi\n", "-", "\rDescript", "esxi\n"},
        {"empty_option_word_is_refused_unasked", {"-i", "h", "-u", "root", "sys", ""}, "pw\n", "-", "\rDescript", "pw\n"},
    };
}

INSTANTIATE_TEST_SUITE_P(Words, Lines, testing::ValuesIn(LineCases()),
                         [](const testing::TestParamInfo<LineCase>& info) { return info.param.name; });

struct FailureCase {
    const char* name;
    std::function<void()> fail;   // thrown by the serving side after it set a field width
    int status;
    const char* out;
    const char* err;
};
void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class Failures : public testing::TestWithParam<FailureCase> {};

TEST_P(Failures, EndTheRunAsTheirKindSays) {
    const FailureCase& c = GetParam();
    const Outcome r = RunLine({"-i", "h", "-u", "root", "sys", "info"}, "", [&] {
        std::cout << std::setw(40);   // a report that failed half-way; the driver's output must not inherit it
        c.fail();
        return 13;
    });
    std::cout.width(0);   // the served row leaves it set
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, std::string("\r") + c.out);
    EXPECT_EQ(r.err, c.err);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Failures, testing::Values(
    FailureCase{"served", [] {}, 13, "", ""},
    FailureCase{"cmd", [] { throw CmdException("Class name not specified"); }, 0, "\n", ""},
    FailureCase{"no_return_value", [] { throw NoReturnValue(); }, 0, "", "Nothing Returned\n"},
    FailureCase{"http", [] { throw HttpException("boom"); }, 16, "", "Http Exception: boom\n"},
    FailureCase{"url", [] { throw URLException("bad path"); }, 16, "", "Url Exception: bad path\n"},
    FailureCase{"parse", [] { throw ParseException("abc"); }, 16, "", "Parse Exception: abc\n"},
    FailureCase{"empty_value", [] { throw EmptyValue(); }, 16, "", "\n"},
    // The message is printed as it came; its cleaned-up form is not.
    FailureCase{"message_with_newlines", [] { throw HttpException("a\n\nb%41"); }, 16, "", "Http Exception: a\n\nb%41\n"},
    FailureCase{"does_not_exist", [] { throw DoesNotExist("x"); }, 16, "", "*\n* what happened? \n*\n\n"},
    FailureCase{"std_exception", [] { throw std::out_of_range("x"); }, 16, "", "*\n* what happened? \n*\n\n"},
    FailureCase{"anything", [] { throw 42; }, 16, "", "*\n* what happened? \n*\n\n"}),
    [](const testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });

}  // namespace
