// The exporter's answers, apart from the HTTP server that carries them:
// GET / (how to use it), GET /metrics (the exporter's own metrics) and
// GET /probe?target=HOST[:PORT]&module=NAME (one host's metrics).
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "exporter/config.h"
#include "exporter/probe.h"

struct HttpRequest {
    std::string method;  // "GET", ...
    std::string path;    // "/probe"
    std::map<std::string, std::string> query;  // decoded arguments
    std::optional<std::string> scrapeTimeout;  // X-Prometheus-Scrape-Timeout-Seconds
};

struct HttpReply {
    int status = 200;
    std::string contentType;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // besides Content-Type
};

// Seconds from the scrape timeout header to the end of a probe: the header
// less a margin for the reply to travel, bounded by the module's timeout.
// A header that is missing or no positive number leaves the module's.
double ProbeSeconds(const std::optional<std::string>& scrapeTimeout, double moduleTimeout);

// Whether `target` is a host name or address with an optional port, and
// nothing that could change the meaning of the URL it goes into.
bool ValidTarget(const std::string& target);

// The exporter's own counters and the probe histogram, safe to use from
// several threads.
class ExporterStats {
public:
    explicit ExporterStats(const Config& config);
    void probed(const std::string& module, double seconds, const std::string& failure);
    void entered();
    void left();
    std::string render() const;

    static const std::vector<double>& buckets();

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::uint64_t> probes_;
    std::map<std::pair<std::string, std::string>, std::uint64_t> failures_;
    std::vector<std::uint64_t> bucketCounts_;  // not cumulative
    std::uint64_t count_ = 0;
    double sum_ = 0;
    std::int64_t inFlight_ = 0;
};

class Exporter {
public:
    Exporter(Config config, std::string program, unsigned maxProbes);

    HttpReply handle(const HttpRequest& request);

    // Ends the probes in progress and refuses new ones.
    void stop();

    const ExporterStats& stats() const { return stats_; }

private:
    HttpReply probe(const HttpRequest& request);
    bool enter(std::chrono::steady_clock::time_point deadline);
    void leave();

    Config config_;
    ProbeRunner runner_;
    ExporterStats stats_;
    unsigned maxProbes_;
    std::mutex mutex_;
    std::condition_variable slotFree_;
    unsigned running_ = 0;
    bool stopping_ = false;
};

// Writes one line on standard error, whole (lines of several threads never
// mix).
void LogLine(const std::string& line);
