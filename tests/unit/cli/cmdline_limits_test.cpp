// Command lines beyond what a shell normally passes: words of 1 MiB (exec
// refuses words above 128 KiB, so only an in-process call meets them), very
// many words, empty words, bytes above 127, and passwords of 100,000
// characters and more on standard input.
#include "cli/driver.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/usage.h"
#include "cli_test_support.h"
#include "transport/settings.h"
#include "tests/unit/param_names.h"

namespace {

constexpr size_t kMiB = 1 << 20;

// Standard input reads `text` from a temporary file (a pipe would need a
// reader for texts beyond its buffer), until the object is destroyed.
class StdinFromFile {
public:
    explicit StdinFromFile(const std::string& text) {
        FILE* file = std::tmpfile();
        if (file == nullptr) throw std::runtime_error("tmpfile");
        if (std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0)
            throw std::runtime_error("write");
        std::rewind(file);
        saved_ = dup(STDIN_FILENO);
        dup2(fileno(file), STDIN_FILENO);
        std::fclose(file);
    }
    StdinFromFile(const StdinFromFile&) = delete;
    StdinFromFile& operator=(const StdinFromFile&) = delete;
    ~StdinFromFile() {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }

private:
    int saved_ = -1;
};

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
    std::optional<CommandLine> served;
};

Outcome RunLine(const std::vector<std::string>& words, const std::string& typed = "") {
    Argv argv(words);
    StdinFromFile input(typed);
    Outcome o;
    const Captured c = Capture([&] {
        o.status = RunRbz(argv.argc(), argv.get(), [&](CommandLine& cmd) {
            o.served = cmd;
            o.served->caCert = o.served->clientCert = o.served->clientKey = nullptr;
            return 0;
        });
    });
    o.out = c.out;
    o.err = c.err;
    return o;
}

class CmdlineLimits : public testing::Test {
protected:
    void SetUp() override { waitTime = 0; }
    void TearDown() override { waitTime = 0; }
};

const std::string kDigits(kMiB, '7');
const std::string kHighBytes(kMiB, '\xe9');

TEST_F(CmdlineLimits, ParameterWordOfOneMebibyteReachesTheMethodText) {
    for (const std::string* word : {&kDigits, &kHighBytes}) {
        const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "rsf", "delete", "RAIDNo=" + *word}, "pw\n");
        ASSERT_TRUE(o.served);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "\r");
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.served->parameters, "DeleteRAIDSet.RAIDNo=" + *word);
        EXPECT_EQ(o.served->password, "pw");
    }
}

TEST_F(CmdlineLimits, HostAndUserOfOneMebibyteArePassedOn) {
    const Outcome o = RunLine({"rbz", "-i", kDigits, "-u", kHighBytes, "sys", "info"}, "pw\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.served->host, kDigits);
    EXPECT_EQ(o.served->user, kHighBytes);
}

struct RefusedWordCase {
    const char* name;
    std::vector<std::string> words;
    const char* out;   // before the general usage
};

void PrintTo(const RefusedWordCase& c, std::ostream* os) { *os << c.name; }

class RefusedWord : public CmdlineLimits, public testing::WithParamInterface<RefusedWordCase> {};

TEST_P(RefusedWord, AsInvalidSyntaxWithoutAPrompt) {
    const Outcome o = RunLine(GetParam().words, "never read\n");
    EXPECT_FALSE(o.served);
    EXPECT_EQ(o.status, 16);
    EXPECT_EQ(o.err, "Invalid invocation syntax\n");
    EXPECT_EQ(o.out, GetParam().out + Capture(GeneralUsage).out);
}

INSTANTIATE_TEST_SUITE_P(Words, RefusedWord, testing::Values(
    RefusedWordCase{"CommandWordOfOneMebibyte", {"rbz", "-i", "h", "-u", "root", std::string(kMiB, 's'), "info"}, ""},
    RefusedWordCase{"CommandWordOfHighBytes", {"rbz", "-i", "h", "-u", "root", kHighBytes, "info"}, ""},
    RefusedWordCase{"OptionWordOfOneMebibyte", {"rbz", "-i", "h", "-u", "root", "sys", std::string(kMiB, 'i')}, ""},
    RefusedWordCase{"EmptyCommandWord", {"rbz", "-i", "h", "-u", "root", "", "info"}, ""},
    RefusedWordCase{"EmptyOptionWord", {"rbz", "-i", "h", "-u", "root", "sys", ""}, "\r"},
    RefusedWordCase{"OnlyEmptyWords", {"rbz", "", "", ""}, ""}),
    paramname::ByName());

TEST_F(CmdlineLimits, ManyParameterWordsAreJoinedWithCommas) {
    std::vector<std::string> words = {"rbz", "-i", "h", "-u", "root", "vsf", "create"};
    std::string joined = "CreateVolume.";
    for (int i = 0; i < 100000; ++i) {
        words.push_back(std::to_string(i));
        joined += (i > 0 ? "," : "") + std::to_string(i);
    }
    const Outcome o = RunLine(words, "pw\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->parameters, joined);
}

TEST_F(CmdlineLimits, EmptyWordsAreKeptAsEmptyParameters) {
    const Outcome o = RunLine({"rbz", "", "-i", "h", "-u", "", "rsf", "delete", "", ""}, "pw\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.served->user, "");
    EXPECT_EQ(o.served->parameters, "DeleteRAIDSet.,");
}

// Every byte but the line feed, in a password far longer than a terminal
// line; the carriage return is not at the end, so it stays.
TEST_F(CmdlineLimits, PasswordOfAnyBytesAndLengthIsTakenWhole) {
    std::string everyByte;
    for (int b = 1; b < 256; ++b)
        if (b != '\n') everyByte.push_back(static_cast<char>(b));
    for (const std::string& password : {std::string(100000, 'p'), everyByte, std::string(300000, '\xff')}) {
        const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "info"}, password + "\nrest\n");
        ASSERT_TRUE(o.served);
        EXPECT_EQ(o.served->password.size(), password.size());
        EXPECT_TRUE(o.served->password == password);
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.out, "\r") << "the password shows nowhere";
    }
}

TEST_F(CmdlineLimits, NewControllerPasswordOf100000Characters) {
    const std::string password(100000, 'n');
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "chgpw"},
                              password + "\n" + password + "\nesxi\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(o.served->parameters, "ChangePassword.password=" + password);
    EXPECT_EQ(o.served->password, "esxi");
    EXPECT_EQ(o.out, "\r");
}

TEST_F(CmdlineLimits, NewControllerPasswordsDifferingOnlyInTheLastOf100000Characters) {
    const std::string first(100000, 'n');
    const std::string second = std::string(99999, 'n') + "m";
    const Outcome o = RunLine({"rbz", "-i", "h", "-u", "root", "sys", "chgpw"}, first + "\n" + second + "\nesxi\n");
    EXPECT_FALSE(o.served);
    EXPECT_EQ(o.status, 16);
    EXPECT_EQ(o.err, "Invalid invocation syntax\n");
}

TEST_F(CmdlineLimits, WaitValueOfOneMebibyteOfDigitsIsHeldAtTheLargestInt) {
    const Outcome o = RunLine({"rbz", "-w", std::string(kMiB, '9'), "-i", "h", "-u", "root", "sys", "info"}, "pw\n");
    ASSERT_TRUE(o.served);
    EXPECT_EQ(waitTime, 2147483647);
}

}  // namespace
