// The text format's escaping and number forms, the families of a reading as a
// probe answers them, and promtool's lint of what the exporter serves.
#include "exporter/exporter.h"
#include "exporter/metrics_text.h"
#include "exporter/probe_metrics.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

namespace {

struct EscapeCase {
    const char* name;
    std::string raw;
    std::string label;  // as a label value
    std::string help;   // as a help text
};

class Escaping : public testing::TestWithParam<EscapeCase> {};

TEST_P(Escaping, LabelValueAndHelpText) {
    EXPECT_EQ(EscapeLabelValue(GetParam().raw), GetParam().label);
    EXPECT_EQ(EscapeHelp(GetParam().raw), GetParam().help);
}

INSTANTIATE_TEST_SUITE_P(Texts, Escaping, testing::Values(
    EscapeCase{"plain", "Raid Set # 000", "Raid Set # 000", "Raid Set # 000"},
    EscapeCase{"backslash", "a\\b", "a\\\\b", "a\\\\b"},
    EscapeCase{"double_quote", "say \"hi\"", "say \\\"hi\\\"", "say \"hi\""},
    EscapeCase{"line_feed", "one\ntwo", "one\\ntwo", "one\\ntwo"},
    EscapeCase{"all_three", "\\\"\n", "\\\\\\\"\\n", "\\\\\"\\n"},
    EscapeCase{"utf8_kept", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x92\xBE", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x92\xBE",
               "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x92\xBE"},
    EscapeCase{"latin1_byte_replaced", "caf\xE9", "caf\xEF\xBF\xBD", "caf\xEF\xBF\xBD"},
    EscapeCase{"overlong_replaced", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    EscapeCase{"surrogate_replaced", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
               "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    EscapeCase{"cut_sequence_replaced", "x\xE2\x82", "x\xEF\xBF\xBD\xEF\xBF\xBD", "x\xEF\xBF\xBD\xEF\xBF\xBD"},
    EscapeCase{"empty", "", "", ""}),
    [](const testing::TestParamInfo<EscapeCase>& info) { return std::string(info.param.name); });

struct ValueCase {
    const char* name;
    double value;
    const char* text;
};

class Values : public testing::TestWithParam<ValueCase> {};

TEST_P(Values, ShortestExactForm) { EXPECT_EQ(FormatValue(GetParam().value), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(Numbers, Values, testing::Values(
    ValueCase{"zero", 0.0, "0"}, ValueCase{"one", 1.0, "1"}, ValueCase{"ratio", 0.453, "0.453"},
    ValueCase{"terabytes", 4000787030016.0, "4000787030016"}, ValueCase{"negative", -2.5, "-2.5"},
    ValueCase{"plus_infinity", std::numeric_limits<double>::infinity(), "+Inf"},
    ValueCase{"minus_infinity", -std::numeric_limits<double>::infinity(), "-Inf"},
    ValueCase{"not_a_number", std::nan(""), "NaN"}),
    [](const testing::TestParamInfo<ValueCase>& info) { return std::string(info.param.name); });

TEST(MetricText, FamilyThenSamplesWithEscapedLabels) {
    MetricText out;
    out.family("rbz_x", "gauge", "Help with \\ and\nline.");
    out.sample("rbz_x", {{"a", "1"}, {"b", "q\"v"}}, 2.0);
    out.sample("rbz_x", {}, std::uint64_t{18446744073709551615ULL});
    EXPECT_EQ(out.text(),
              "# HELP rbz_x Help with \\\\ and\\nline.\n"
              "# TYPE rbz_x gauge\n"
              "rbz_x{a=\"1\",b=\"q\\\"v\"} 2\n"
              "rbz_x 18446744073709551615\n");
}

// A reading with one object in each state that changes what is written.
HealthReading MixedReading() {
    HealthReading reading;
    reading.controller = {"RQ-7730", "Y915CAB12345", "V1.52 2015-08-20", "V1.52 2015-07-03"};
    RaidSetFacts set;
    set.number = 1;
    set.name = "Raid Set # 000";
    set.state = "Rebuilding";
    set.memberDisks = 3;
    set.capacityBytes = 3000000000000ULL;
    set.freeCapacityBytes = 1000000000000ULL;
    set.verdict.level = Health::warning;
    reading.raidSets.push_back(set);
    set.number = 2;
    set.name = "Raid Set # 001 \xE9t\xE9";  // Latin-1 bytes, not UTF-8
    reading.raidSets.push_back(set);
    VolumeFacts rebuilding;
    rebuilding.number = 2;
    rebuilding.name = "data";
    rebuilding.state = "Rebuilding";
    rebuilding.capacityBytes = 2000000000000ULL;
    rebuilding.progress = 0.453;
    rebuilding.verdict.level = Health::warning;
    VolumeFacts initializing = rebuilding;
    initializing.number = 3;
    initializing.name = "new \"one\"";
    initializing.state = "Initializing";
    initializing.progress = 0.1;
    initializing.verdict.level = Health::ok;
    VolumeFacts degraded = rebuilding;
    degraded.number = 4;
    degraded.name = "back\\up";
    degraded.state = "Degraded";
    degraded.progress.reset();
    degraded.verdict.level = Health::critical;
    VolumeFacts braces = initializing;   // awkward names for the lint
    braces.number = 5;
    braces.name = "vol{a=\"b\"}\\";
    braces.progress = 0;
    VolumeFacts unnamed = braces;
    unnamed.number = 6;
    unnamed.name = "";
    reading.volumes = {rebuilding, initializing, degraded, braces, unnamed};
    DiskFacts hot;
    hot.enclosure = "2";
    hot.slot = "17";
    hot.model = "ST4000NM0035";
    hot.serial = "ZC1\nX";
    hot.firmware = "TN03";
    hot.type = "SATA";
    hot.state = "Normal";
    hot.capacityBytes = 4000787030016ULL;
    hot.temperatureCelsius = 65;
    hot.mediaErrors = 2;
    hot.timeouts = 1;
    hot.smart = {{"SMARTReadErrorRateStatus", 100}, {"SMARTSpinUpTimeStatus", 97}};
    hot.verdict.level = Health::critical;
    DiskFacts cold = hot;
    cold.slot = "18";
    cold.temperatureCelsius.reset();
    cold.smart.clear();
    cold.state = "Failed";
    DiskFacts odd = hot;
    odd.enclosure = "Enc#1";
    odd.slot = "Slot 04";
    odd.model = "# HELP not a comment";
    odd.serial = "\n";
    odd.state = "state \"Foo\" not known";
    odd.mediaErrors = 18446744073709551615ULL;
    odd.smart = {{"Status", 1}};
    reading.disks = {hot, cold, odd};
    return reading;
}

bool Has(const std::string& text, const std::string& line) {
    return text.find("\n" + line + "\n") != std::string::npos;
}

TEST(ProbeMetrics, AReadingWithStates) {
    const std::string text = RenderReading(MixedReading(), Health::critical);
    const char* lines[] = {
        "rbz_health 2",
        "rbz_controller_info{model=\"RQ-7730\",serial=\"Y915CAB12345\",firmware=\"V1.52 2015-08-20\","
        "boot_code=\"V1.52 2015-07-03\"} 1",
        "rbz_raidset_state{raidset=\"1\",name=\"Raid Set # 000\",state=\"Rebuilding\"} 1",
        "rbz_raidset_health{raidset=\"1\",name=\"Raid Set # 000\"} 1",
        "rbz_raidset_member_disks{raidset=\"1\",name=\"Raid Set # 000\"} 3",
        "rbz_raidset_capacity_bytes{raidset=\"1\",name=\"Raid Set # 000\"} 3000000000000",
        "rbz_raidset_free_capacity_bytes{raidset=\"1\",name=\"Raid Set # 000\"} 1000000000000",
        "rbz_volume_state{volume=\"2\",name=\"data\",state=\"Rebuilding\"} 1",
        "rbz_volume_state{volume=\"3\",name=\"new \\\"one\\\"\",state=\"Initializing\"} 1",
        "rbz_volume_health{volume=\"4\",name=\"back\\\\up\"} 2",
        "rbz_volume_rebuild_progress_ratio{volume=\"2\",name=\"data\"} 0.453",
        "rbz_volume_initialization_progress_ratio{volume=\"3\",name=\"new \\\"one\\\"\"} 0.1",
        "rbz_volume_capacity_bytes{volume=\"4\",name=\"back\\\\up\"} 2000000000000",
        "rbz_disk_info{enclosure=\"2\",slot=\"17\",model=\"ST4000NM0035\",serial=\"ZC1\\nX\",firmware=\"TN03\","
        "type=\"SATA\"} 1",
        "rbz_disk_state{enclosure=\"2\",slot=\"18\",state=\"Failed\"} 1",
        "rbz_disk_health{enclosure=\"2\",slot=\"17\"} 2",
        "rbz_disk_temperature_celsius{enclosure=\"2\",slot=\"17\"} 65",
        "rbz_disk_media_errors_total{enclosure=\"2\",slot=\"18\"} 2",
        "rbz_disk_timeouts_total{enclosure=\"2\",slot=\"17\"} 1",
        "rbz_disk_capacity_bytes{enclosure=\"2\",slot=\"17\"} 4000787030016",
        "rbz_disk_smart_status{enclosure=\"2\",slot=\"17\",attribute=\"SMARTReadErrorRate\"} 100",
        "rbz_disk_smart_status{enclosure=\"2\",slot=\"17\",attribute=\"SMARTSpinUpTime\"} 97",
        "# TYPE rbz_disk_media_errors_total counter",
        "# TYPE rbz_volume_state gauge",
    };
    for (const char* line : lines) EXPECT_TRUE(Has(text, line)) << line << "\nin:\n" << text;
    // Progress only in the family of the volume's state; no temperature for
    // a drive without one.
    EXPECT_EQ(text.find("rbz_volume_rebuild_progress_ratio{volume=\"3\""), std::string::npos);
    EXPECT_EQ(text.find("rbz_volume_initialization_progress_ratio{volume=\"2\""), std::string::npos);
    EXPECT_EQ(text.find("rbz_volume_rebuild_progress_ratio{volume=\"4\""), std::string::npos);
    EXPECT_EQ(text.find("rbz_disk_temperature_celsius{enclosure=\"2\",slot=\"18\"}"), std::string::npos);
}

TEST(ProbeMetrics, EachFamilyOnceWithItsSamplesTogether) {
    const std::string text = RenderReading(MixedReading(), Health::warning);
    std::vector<std::string> families;
    std::string current;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos) << "the text does not end with a line feed";
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.rfind("# TYPE ", 0) == 0) {
            current = line.substr(7, line.find(' ', 7) - 7);
            for (const std::string& seen : families) EXPECT_NE(seen, current) << "family opened twice";
            families.push_back(current);
        } else if (line.rfind("# HELP ", 0) != 0) {
            EXPECT_EQ(line.substr(0, line.find_first_of("{ ")), current) << line;
        }
    }
    EXPECT_EQ(families.size(), 20u);
}

TEST(ProbeMetrics, ReplyUpAndDown) {
    const std::string reading = RenderReading(MixedReading(), Health::ok);
    const std::string up = ProbeReply(true, reading, 0.25);
    EXPECT_EQ(up.rfind("# HELP rbz_up ", 0), 0u);
    EXPECT_TRUE(Has(up, "rbz_up 1"));
    EXPECT_TRUE(Has(up, "rbz_health 0"));
    EXPECT_NE(up.find(reading), std::string::npos);
    const std::string last = "\nrbz_probe_duration_seconds 0.25\n";
    ASSERT_GT(up.size(), last.size());
    EXPECT_EQ(up.substr(up.size() - last.size()), last);

    const std::string down = ProbeReply(false, reading, 1.5);
    EXPECT_EQ(down,
              "# HELP rbz_up 1 when the host's RAID controller was read, 0 otherwise.\n"
              "# TYPE rbz_up gauge\n"
              "rbz_up 0\n"
              "# HELP rbz_probe_duration_seconds Seconds the probe of this host took.\n"
              "# TYPE rbz_probe_duration_seconds gauge\n"
              "rbz_probe_duration_seconds 1.5\n");
}

// promtool (Debian's prometheus package) lints what the exporter serves: a
// probe's answer for a reading full of awkward names, one for a host that
// could not be read, and the exporter's own metrics after some probes. Its
// verdict is that it has nothing to say.
struct Lint {
    int status = -1;
    std::string output;
};

Lint Promtool(const std::string& text) {
    char path[] = "/tmp/rbz-promtool-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) throw std::runtime_error("mkstemp");
    close(fd);
    std::ofstream(path, std::ios::binary) << text;
    const std::string command = std::string("promtool check metrics < ") + path + " 2>&1";
    Lint lint;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("popen");
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) lint.output.append(buffer, n);
    const int status = pclose(pipe);
    lint.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    unlink(path);
    return lint;
}

TEST(Promtool, ProbeOfAReadingWithAwkwardNamesPassesTheLint) {
    const Lint lint = Promtool(ProbeReply(true, RenderReading(MixedReading(), Health::critical), 0.125));
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "");
}

TEST(Promtool, ProbeOfAnEmptyControllerPassesTheLint) {
    const Lint lint = Promtool(ProbeReply(true, RenderReading(HealthReading(), Health::ok), 0.5));
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "");
}

TEST(Promtool, ProbeOfAHostDownPassesTheLint) {
    const Lint lint = Promtool(ProbeReply(false, "", 9.5));
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "");
}

TEST(Promtool, ExportersOwnMetricsPassTheLint) {
    Config config;
    config.modules["default"].name = "default";
    config.modules["lab \"b\""].name = "lab \"b\"";
    ExporterStats stats(config);
    stats.probed("default", 0.3, "");
    stats.probed("default", 25, "timeout");
    stats.probed("lab \"b\"", 0.01, "http");
    stats.entered();
    const std::string text = stats.render();
    const Lint lint = Promtool(text);
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "");
    // And the numbers are the ones counted.
    EXPECT_NE(text.find("\nrbz_exporter_probes_total{module=\"default\"} 2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nrbz_exporter_probe_failures_total{module=\"default\",reason=\"timeout\"} 1\n"),
              std::string::npos);
    EXPECT_NE(text.find("\nrbz_exporter_probe_duration_seconds_bucket{le=\"0.05\"} 1\n"), std::string::npos);
    EXPECT_NE(text.find("\nrbz_exporter_probe_duration_seconds_bucket{le=\"30\"} 3\n"), std::string::npos);
    EXPECT_NE(text.find("\nrbz_exporter_probe_duration_seconds_bucket{le=\"+Inf\"} 3\n"), std::string::npos);
    EXPECT_NE(text.find("\nrbz_exporter_probe_duration_seconds_count 3\n"), std::string::npos);
    EXPECT_NE(text.find("\nrbz_exporter_probes_in_flight 1\n"), std::string::npos);
}

// The lint is not one that passes everything: a counter without _total and
// a family without help are found.
TEST(Promtool, TheLintFindsFaults) {
    const Lint lint = Promtool("# TYPE rbz_errors counter\nrbz_errors 1\n");
    EXPECT_NE(lint.output, "");
}

}  // namespace
