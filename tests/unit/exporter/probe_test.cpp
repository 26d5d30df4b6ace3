// Probes in child processes: the parent's side against stand-in children
// (shell scripts that answer, fail, hang, crash or babble), the protocol
// between them, and the exporter's answers around them.
#include "exporter/exporter.h"
#include "exporter/options.h"
#include "exporter/probe.h"
#include "tests/unit/exporter/temp_dir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

Module TestModule() {
    Module module;
    module.name = "default";
    module.user = "root";
    module.password = "pw-Xy9\"q";
    module.timeout = 5;
    module.thresholds.warnTemperature = 41;
    module.caCert = "/ca.pem";
    return module;
}

constexpr const char* kUpAnswer =
    "printf 'rbz-probe up\\n# HELP rbz_health h\\n# TYPE rbz_health gauge\\nrbz_health 1\\n'";

TEST(ProbeRunner, ChildTakesItsRequestOnStandardInput) {
    TempDir dir;
    const std::string program =
        dir.script("child", std::string("printf '%s|' \"$0\" \"$@\" > \"$DIR/args\"\nenv > \"$DIR/env\"\n"
                                         "cat > \"$DIR/request\"\n") + kUpAnswer);
    ProbeRunner runner(program);
    const ProbeOutcome outcome = runner.run("127.0.0.1:5989", TestModule(), 5);
    EXPECT_TRUE(outcome.up) << outcome.reason << ": " << outcome.message;
    EXPECT_EQ(outcome.metrics, "# HELP rbz_health h\n# TYPE rbz_health gauge\nrbz_health 1\n");
    const std::string args = dir.read("args");
    EXPECT_NE(args.find("|--probe.child|"), std::string::npos) << args;
    EXPECT_EQ(args.find("pw-Xy9"), std::string::npos);
    EXPECT_EQ(dir.read("env").find("pw-Xy9"), std::string::npos);
    const std::string request = dir.read("request");
    EXPECT_EQ(request, EncodeProbeRequest("127.0.0.1:5989", TestModule(), 5));
    EXPECT_EQ(request.find("pw-Xy9"), std::string::npos) << request;
    EXPECT_NE(request.find("\"password_hex\":\"" + Hex("pw-Xy9\"q") + "\""), std::string::npos) << request;
    EXPECT_NE(request.find("\"user_hex\":\"726f6f74\""), std::string::npos) << request;
    EXPECT_NE(request.find("\"target\":\"127.0.0.1:5989\""), std::string::npos) << request;
    EXPECT_NE(request.find("\"warn_temp\":41"), std::string::npos) << request;
    EXPECT_NE(request.find("\"cacert\":\"/ca.pem\""), std::string::npos) << request;
}

struct ChildCase {
    const char* name;
    const char* body;     // the stand-in child's script
    const char* reason;   // "" when the probe is up
    const char* message;  // a part of the message
};

class ProbeChildren : public testing::TestWithParam<ChildCase> {};

TEST_P(ProbeChildren, Outcome) {
    TempDir dir;
    ProbeRunner runner(dir.script("child", GetParam().body));
    const auto start = Clock::now();
    const ProbeOutcome outcome = runner.run("host", TestModule(), 1.0);
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_LT(took, 3.0);
    EXPECT_EQ(outcome.up, std::string(GetParam().reason).empty());
    EXPECT_EQ(outcome.reason, GetParam().reason) << outcome.message;
    EXPECT_NE(outcome.message.find(GetParam().message), std::string::npos) << outcome.message;
    EXPECT_EQ(outcome.message.find("pw-Xy9"), std::string::npos) << outcome.message;
}

INSTANTIATE_TEST_SUITE_P(StandIns, ProbeChildren, testing::Values(
    ChildCase{"answers_up", "cat >/dev/null\nprintf 'rbz-probe up\\nrbz_health 0\\n'", "", ""},
    ChildCase{"reports_a_failure",
              "cat >/dev/null\nprintf 'rbz-probe down http Http Exception: Invalid username/password.\\n'", "http",
              "Invalid username/password."},
    ChildCase{"failure_with_the_password_redacted",
              "cat >/dev/null\nprintf 'rbz-probe down cim the password pw-Xy9\"q was said\\n'", "cim",
              "the password ******** was said"},
    ChildCase{"hangs_and_is_killed", "cat >/dev/null\nexec sleep 30", "timeout", "killed"},
    ChildCase{"hangs_without_reading", "exec sleep 30", "timeout", "killed"},
    ChildCase{"answers_then_hangs", "cat >/dev/null\nprintf 'rbz-probe up\\nrbz_health 0\\n'\nexec sleep 30",
              "timeout", "killed"},
    ChildCase{"crashes", "cat >/dev/null\nkill -SEGV $$", "crashed", "Segmentation fault"},
    ChildCase{"exits_with_an_error", "cat >/dev/null\nprintf 'rbz-probe up\\nrbz_health 0\\n'\nexit 3", "crashed",
              "status 3"},
    ChildCase{"writes_nothing", "cat >/dev/null", "garbage", "answered nothing"},
    ChildCase{"writes_no_header", "cat >/dev/null\necho hello", "garbage", "does not start with its header"},
    ChildCase{"writes_no_metric", "cat >/dev/null\nprintf 'rbz-probe up\\nhello\\n'", "garbage", "no metric"},
    ChildCase{"cuts_a_line", "cat >/dev/null\nprintf 'rbz-probe up\\nrbz_health'", "garbage", "middle of a line"},
    // What the answer's first line may not be.
    ChildCase{"header_alone", "cat >/dev/null\necho 'rbz-probe up'", "garbage", "middle of a line"},
    ChildCase{"down_without_message", "cat >/dev/null\necho 'rbz-probe down parse'", "parse", ""},
    ChildCase{"down_two_lines", "cat >/dev/null\nprintf 'rbz-probe down parse a\\nb\\n'", "garbage", "not one line"},
    ChildCase{"down_odd_reason", "cat >/dev/null\necho 'rbz-probe down Bad! x'", "garbage", "no reason"},
    ChildCase{"down_empty_reason", "cat >/dev/null\necho 'rbz-probe down  x'", "garbage", "no reason"},
    ChildCase{"other_header", "cat >/dev/null\necho 'rbz-probe sideways'", "garbage", "header"},
    ChildCase{"writes_too_much", "cat >/dev/null\necho 'rbz-probe up'\nyes 'rbz_health 0' | head -c 20000000",
              "garbage", "longer than"}),
    [](const testing::TestParamInfo<ChildCase>& info) { return std::string(info.param.name); });

TEST(ProbeRunner, MissingProgramIsAFailure) {
    ProbeRunner runner("/nonexistent/rbz-exporter");
    const ProbeOutcome outcome = runner.run("host", TestModule(), 1.0);
    EXPECT_FALSE(outcome.up);
    EXPECT_FALSE(outcome.reason.empty());
}

TEST(ProbeRunner, StopEndsRunningChildren) {
    TempDir dir;
    ProbeRunner runner(dir.script("child", "cat >/dev/null\nexec sleep 30"));
    ProbeOutcome outcome;
    const auto start = Clock::now();
    std::thread probe([&] { outcome = runner.run("host", TestModule(), 20); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    runner.stop();
    probe.join();
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 5.0);
    EXPECT_EQ(outcome.reason, "stopped");
    EXPECT_EQ(runner.run("host", TestModule(), 1).reason, "stopped");
}

TEST(Hex, AnyBytesThereAndBack) {
    const std::string bytes("\x00\xe9\n\"\\zZ\xff", 8);
    EXPECT_EQ(Hex(bytes), "00e90a225c7a5aff");
    EXPECT_EQ(Unhex(Hex(bytes)), bytes);
    EXPECT_EQ(Hex(""), "");
    EXPECT_EQ(Unhex(""), "");
    EXPECT_THROW(Unhex("abc"), std::invalid_argument);
    EXPECT_THROW(Unhex("0g"), std::invalid_argument);
    EXPECT_THROW(Unhex("AB"), std::invalid_argument);
    // A password that is not UTF-8 (a Latin-1 file) still makes a request.
    Module latin1 = TestModule();
    latin1.password = "\xe9t\xe9";
    EXPECT_NE(EncodeProbeRequest("h", latin1, 1).find("\"password_hex\":\"e974e9\""), std::string::npos);
}

TEST(Redact, PasswordAndControlCharacters) {
    EXPECT_EQ(Redact("a pw b pw\nc\td", "pw"), "a ******** b ******** c d");
    EXPECT_EQ(Redact("nothing here", ""), "nothing here");
    EXPECT_EQ(Redact("aaaa", "aa"), "****************");
}

struct SecondsCase {
    const char* name;
    std::optional<std::string> header;
    double module;
    double seconds;
};

class ProbeTime : public testing::TestWithParam<SecondsCase> {};

TEST_P(ProbeTime, FromHeaderAndModule) {
    EXPECT_DOUBLE_EQ(ProbeSeconds(GetParam().header, GetParam().module), GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(Headers, ProbeTime, testing::Values(
    SecondsCase{"no_header", std::nullopt, 20, 20}, SecondsCase{"header_below_module", "10", 20, 9.5},
    SecondsCase{"module_below_header", "30", 20, 20}, SecondsCase{"fraction", "2.5", 20, 2},
    SecondsCase{"short_header_halved", "0.8", 20, 0.4}, SecondsCase{"zero_header", "0", 20, 20},
    SecondsCase{"negative_header", "-3", 20, 20}, SecondsCase{"text_header", "soon", 20, 20},
    SecondsCase{"trailing_text", "10s", 20, 20}, SecondsCase{"infinite_header", "inf", 20, 20}),
    [](const testing::TestParamInfo<SecondsCase>& info) { return std::string(info.param.name); });

struct TargetCase {
    const char* name;
    std::string target;
    bool valid;
};

class Targets : public testing::TestWithParam<TargetCase> {};

TEST_P(Targets, HostAndPortOnly) { EXPECT_EQ(ValidTarget(GetParam().target), GetParam().valid); }

INSTANTIATE_TEST_SUITE_P(Texts, Targets, testing::Values(
    TargetCase{"name", "esx01.example.org", true}, TargetCase{"with_port", "10.0.0.5:5989", true},
    TargetCase{"ipv6", "[fe80::1]:5989", true}, TargetCase{"underscore", "esx_01", true},
    TargetCase{"empty", "", false}, TargetCase{"credentials", "root:pw@host", false},
    TargetCase{"path", "host/other", false}, TargetCase{"blank", "host x", false},
    TargetCase{"line_feed", "host\n", false}, TargetCase{"percent", "host%2f", false},
    TargetCase{"too_long", std::string(256, 'a'), false}),
    [](const testing::TestParamInfo<TargetCase>& info) { return std::string(info.param.name); });

// The exporter's answers with a stand-in child.
class ExporterAnswers : public testing::Test {
protected:
    Config TwoModules() {
        Config config;
        Module module = TestModule();
        config.modules["default"] = module;
        module.name = "lab";
        config.modules["lab"] = module;
        return config;
    }
    HttpRequest Get(const std::string& path, std::map<std::string, std::string> query = {}) {
        HttpRequest request;
        request.method = "GET";
        request.path = path;
        request.query = std::move(query);
        return request;
    }
    TempDir dir;
};

TEST_F(ExporterAnswers, PathsMethodsAndParameters) {
    Exporter exporter(TwoModules(), dir.script("child", "exit 9"), 4);
    struct Row {
        HttpRequest request;
        int status;
        const char* text;
    };
    HttpRequest post = Get("/metrics");
    post.method = "POST";
    const Row rows[] = {
        {Get("/"), 200, "/probe?target=HOST[:PORT]&amp;module=NAME"},
        {Get("/metrics"), 200, "rbz_exporter_build_info{version="},
        {Get("/nothing"), 404, "Not found: /nothing"},
        {Get("/probe/"), 404, "Not found"},
        {post, 405, "Method not allowed: POST"},
        {Get("/probe"), 400, "\"target\" is missing"},
        {Get("/probe", {{"target", ""}}), 400, "\"target\" is missing"},
        {Get("/probe", {{"target", "root:x@host"}}), 400, "not a host name"},
        {Get("/probe", {{"target", "h"}, {"module", "nope"}}), 400, "Unknown module \"nope\""},
        {Get("/probe", {{"target", "h"}, {"password", "x"}}), 400, "credentials belong in a module"},
    };
    for (const Row& row : rows) {
        const HttpReply reply = exporter.handle(row.request);
        EXPECT_EQ(reply.status, row.status) << row.request.path;
        EXPECT_NE(reply.body.find(row.text), std::string::npos) << reply.body;
    }
    // None of those started a probe.
    const std::string metrics = exporter.stats().render();
    EXPECT_NE(metrics.find("\nrbz_exporter_probes_total{module=\"default\"} 0\n"), std::string::npos) << metrics;
    EXPECT_NE(metrics.find("\nrbz_exporter_probes_total{module=\"lab\"} 0\n"), std::string::npos) << metrics;
}

// A probe up, down or timed out through the whole exporter: tests/e2e/test_exporter.py.
TEST_F(ExporterAnswers, ProbesBeyondTheBoundWaitForASlot) {
    Exporter exporter(TwoModules(), dir.script("slow", "cat >/dev/null\nsleep 1\necho 'rbz-probe up'\necho 'rbz_health 0'"), 1);
    HttpReply first;
    std::thread running([&] { first = exporter.handle(Get("/probe", {{"target", "a"}})); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_NE(exporter.stats().render().find("\nrbz_exporter_probes_in_flight 1\n"), std::string::npos);
    // No slot within half a second: down, counted as busy.
    HttpRequest hurried = Get("/probe", {{"target", "b"}});
    hurried.scrapeTimeout = "0.8";
    const HttpReply second = exporter.handle(hurried);
    EXPECT_NE(second.body.find("\nrbz_up 0\n"), std::string::npos);
    // A patient one gets the slot when the first ends.
    HttpRequest patient = Get("/probe", {{"target", "c"}});
    patient.scrapeTimeout = "5";
    const HttpReply third = exporter.handle(patient);
    running.join();
    EXPECT_NE(first.body.find("\nrbz_up 1\n"), std::string::npos) << first.body;
    EXPECT_NE(third.body.find("\nrbz_up 1\n"), std::string::npos) << third.body;
    const std::string metrics = exporter.stats().render();
    EXPECT_NE(metrics.find("reason=\"busy\"} 1\n"), std::string::npos) << metrics;
    EXPECT_NE(metrics.find("\nrbz_exporter_probes_total{module=\"default\"} 3\n"), std::string::npos) << metrics;
}

struct OptionCase {
    const char* name;
    std::vector<std::string> words;
    const char* error;  // "" when accepted
    const char* config;
    const char* listen;
    unsigned probes;
};

class ExporterCommandLine : public testing::TestWithParam<OptionCase> {};

TEST_P(ExporterCommandLine, Parsed) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.begin(), "rbz-exporter");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    if (std::string(GetParam().error).empty()) {
        const ExporterOptions options = ParseExporterOptions(static_cast<int>(words.size()), argv.data());
        EXPECT_EQ(options.configFile, GetParam().config);
        EXPECT_EQ(options.listenAddress, GetParam().listen);
        EXPECT_EQ(options.probesMax, GetParam().probes);
    } else {
        try {
            ParseExporterOptions(static_cast<int>(words.size()), argv.data());
            FAIL() << "accepted";
        } catch (const ExporterOptionError& e) {
            EXPECT_NE(std::string(e.what()).find(GetParam().error), std::string::npos) << e.what();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Lines, ExporterCommandLine, testing::Values(
    OptionCase{"defaults", {}, "", "/etc/rbz-exporter.yml", ":9799", 32},
    OptionCase{"separate_values", {"--config.file", "/x.yml", "--web.listen-address", "127.0.0.1:0", "--probes.max", "3"},
               "", "/x.yml", "127.0.0.1:0", 3},
    OptionCase{"joined_values", {"--config.file=/y.yml", "--web.listen-address=[::1]:9100", "--probes.max=100"}, "",
               "/y.yml", "[::1]:9100", 100},
    OptionCase{"unknown_option", {"--config"}, "unknown option --config", "", "", 0},
    OptionCase{"stray_word", {"probe"}, "unexpected argument \"probe\"", "", "", 0},
    OptionCase{"value_missing", {"--config.file"}, "needs a value", "", "", 0},
    OptionCase{"flag_with_value", {"--help=yes"}, "takes no value", "", "", 0},
    OptionCase{"probes_zero", {"--probes.max", "0"}, "from 1 to 4096", "", "", 0},
    OptionCase{"probes_negative", {"--probes.max", "-1"}, "from 1 to 4096", "", "", 0},
    OptionCase{"probes_text", {"--probes.max", "many"}, "from 1 to 4096", "", "", 0},
    OptionCase{"listen_no_port", {"--web.listen-address", "localhost"}, "expected [HOST]:PORT", "", "", 0},
    OptionCase{"listen_big_port", {"--web.listen-address", ":65536"}, "from 0 to 65535", "", "", 0},
    OptionCase{"listen_bare_ipv6", {"--web.listen-address", "::1:80"}, "in brackets", "", "", 0}),
    [](const testing::TestParamInfo<OptionCase>& info) { return std::string(info.param.name); });

TEST(ListenAddresses, HostAndPort) {
    EXPECT_EQ(ParseListenAddress(":9799").host, "");
    EXPECT_EQ(ParseListenAddress(":9799").port, 9799);
    EXPECT_EQ(ParseListenAddress("[::1]:80").host, "::1");
    EXPECT_EQ(ParseListenAddress("127.0.0.1:0").host, "127.0.0.1");
    EXPECT_EQ(ParseListenAddress("127.0.0.1:0").port, 0);
}

}  // namespace
