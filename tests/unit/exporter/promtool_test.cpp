// promtool (Debian's prometheus package) lints what the exporter serves: a
// probe's answer for a reading full of awkward names, one for a host that
// could not be read, and the exporter's own metrics after some probes. Its
// verdict is that it has nothing to say.
#include "exporter/exporter.h"
#include "exporter/probe_metrics.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

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

HealthReading OddReading() {
    HealthReading reading;
    reading.controller = {"RQ \"7730\"", "Y915\\CAB", "V1.52\n2015", ""};
    RaidSetFacts set;
    set.number = 1;
    set.name = "Raid Set # 000 \xE9t\xE9";  // Latin-1 bytes, not UTF-8
    set.state = "Rebuilding";
    set.memberDisks = 3;
    set.capacityBytes = 3000000000000ULL;
    reading.raidSets.push_back(set);
    VolumeFacts volume;
    volume.number = 0;
    volume.name = "vol{a=\"b\"}\\";
    volume.state = "Rebuilding";
    volume.progress = 0.453;
    volume.verdict.level = Health::warning;
    reading.volumes.push_back(volume);
    volume.number = 1;
    volume.name = "";
    volume.state = "Initializing";
    volume.progress = 0;
    reading.volumes.push_back(volume);
    DiskFacts disk;
    disk.enclosure = "Enc#1";
    disk.slot = "Slot 04";
    disk.model = "# HELP not a comment";
    disk.serial = "\n";
    disk.type = "SAS";
    disk.state = "state \"Foo\" not known";
    disk.temperatureCelsius = 61;
    disk.mediaErrors = 18446744073709551615ULL;
    disk.smart = {{"SMARTReadErrorRateStatus", 100}, {"Status", 1}};
    disk.verdict.level = Health::critical;
    reading.disks.push_back(disk);
    return reading;
}

TEST(Promtool, ProbeOfAnOddReadingPassesTheLint) {
    const Lint lint = Promtool(ProbeReply(true, RenderReading(OddReading(), Health::critical), 0.125));
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
