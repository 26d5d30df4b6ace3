#include "exporter/exporter.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "cli/long_options.h"
#include "exporter/metrics_text.h"
#include "exporter/probe_metrics.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kTextType = "text/plain; charset=utf-8";

HttpReply Text(int status, const std::string& text) {
    HttpReply reply;
    reply.status = status;
    reply.contentType = kTextType;
    reply.body = text + "\n";
    return reply;
}

std::string HtmlEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

HttpReply Home(const Config& config) {
    std::string modules;
    for (const auto& entry : config.modules) modules += "<li><code>" + HtmlEscape(entry.first) + "</code></li>\n";
    HttpReply reply;
    reply.contentType = "text/html; charset=utf-8";
    reply.body =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\"><title>rbz exporter</title></head>\n"
        "<body>\n<h1>rbz exporter</h1>\n"
        "<p>Reads the RAID controller of a VMware ESXi host over CIM, as <code>rbz --check</code> does, "
        "and answers with Prometheus metrics.</p>\n"
        "<ul>\n"
        "<li><a href=\"/probe?target=HOST&amp;module=default\"><code>/probe?target=HOST[:PORT]&amp;module=NAME</code></a>"
        " &mdash; one host's controller, RAID sets, volume sets and drives (<code>rbz_up 0</code> when it "
        "cannot be read). Prometheus sets <code>target</code> through relabelling to "
        "<code>__param_target</code>.</li>\n"
        "<li><a href=\"/metrics\"><code>/metrics</code></a> &mdash; the exporter's own metrics.</li>\n"
        "</ul>\n<p>Modules (credentials and limits, from the configuration file):</p>\n<ul>\n" +
        modules + "</ul>\n<p>rbz-exporter " + kRbzVersion + "</p>\n</body>\n</html>\n";
    return reply;
}

}  // namespace

void LogLine(const std::string& line) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    std::cerr << "rbz-exporter: " << line << std::endl;
}

double ProbeSeconds(const std::optional<std::string>& scrapeTimeout, double moduleTimeout) {
    if (!scrapeTimeout) return moduleTimeout;
    const char* text = scrapeTimeout->c_str();
    char* end = nullptr;
    errno = 0;
    const double header = std::strtod(text, &end);
    if (end == text || *end != '\0' || errno != 0 || !std::isfinite(header) || header <= 0) return moduleTimeout;
    // Half a second for the reply to reach Prometheus; short timeouts keep half.
    const double seconds = header > 1.0 ? header - 0.5 : header / 2;
    return std::min(seconds, moduleTimeout);
}

bool ValidTarget(const std::string& target) {
    if (target.empty() || target.size() > 255) return false;
    for (char c : target) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                        c == '-' || c == '_' || c == ':' || c == '[' || c == ']';
        if (!ok) return false;
    }
    return true;
}

const std::vector<double>& ExporterStats::buckets() {
    static const std::vector<double> bounds = {0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 20, 30, 60};
    return bounds;
}

ExporterStats::ExporterStats(const Config& config) : bucketCounts_(buckets().size() + 1, 0) {
    for (const auto& entry : config.modules) probes_[entry.first] = 0;
}

void ExporterStats::probed(const std::string& module, double seconds, const std::string& failure) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++probes_[module];
    if (!failure.empty()) ++failures_[{module, failure}];
    const std::vector<double>& bounds = buckets();
    const size_t bucket = std::lower_bound(bounds.begin(), bounds.end(), seconds) - bounds.begin();
    ++bucketCounts_[bucket];
    ++count_;
    sum_ += seconds;
}

void ExporterStats::entered() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++inFlight_;
}

void ExporterStats::left() {
    std::lock_guard<std::mutex> lock(mutex_);
    --inFlight_;
}

std::string ExporterStats::render() const {
    std::lock_guard<std::mutex> lock(mutex_);
    MetricText out;
    out.family("rbz_exporter_build_info", "gauge", "The exporter's version, always 1.");
    out.sample("rbz_exporter_build_info", {{"version", kRbzVersion}}, 1.0);
    out.family("rbz_exporter_probes_total", "counter", "Probes asked for, by module.");
    for (const auto& [module, count] : probes_) out.sample("rbz_exporter_probes_total", {{"module", module}}, count);
    out.family("rbz_exporter_probe_failures_total", "counter",
               "Probes that could not read their host, by module and reason.");
    for (const auto& [key, count] : failures_)
        out.sample("rbz_exporter_probe_failures_total", {{"module", key.first}, {"reason", key.second}}, count);
    out.family("rbz_exporter_probe_duration_seconds", "histogram", "Seconds the probes took.");
    std::uint64_t cumulative = 0;
    const std::vector<double>& bounds = buckets();
    for (size_t i = 0; i < bounds.size(); ++i) {
        cumulative += bucketCounts_[i];
        out.sample("rbz_exporter_probe_duration_seconds_bucket", {{"le", FormatValue(bounds[i])}}, cumulative);
    }
    cumulative += bucketCounts_.back();
    out.sample("rbz_exporter_probe_duration_seconds_bucket", {{"le", "+Inf"}}, cumulative);
    out.sample("rbz_exporter_probe_duration_seconds_sum", sum_);
    out.sample("rbz_exporter_probe_duration_seconds_count", {}, count_);
    out.family("rbz_exporter_probes_in_flight", "gauge", "Probes running now.");
    out.sample("rbz_exporter_probes_in_flight", static_cast<double>(inFlight_));
    return out.take();
}

Exporter::Exporter(Config config, std::string program, unsigned maxProbes)
    : config_(std::move(config)), runner_(std::move(program)), stats_(config_), maxProbes_(maxProbes) {}

HttpReply Exporter::handle(const HttpRequest& request) {
    if (request.path != "/" && request.path != "/metrics" && request.path != "/probe")
        return Text(404, "Not found: " + request.path + " (try /, /metrics or /probe?target=HOST&module=NAME)");
    if (request.method != "GET" && request.method != "HEAD") {
        HttpReply reply = Text(405, "Method not allowed: " + request.method);
        reply.headers.emplace_back("Allow", "GET, HEAD");
        return reply;
    }
    if (request.path == "/") return Home(config_);
    if (request.path == "/metrics") {
        HttpReply reply;
        reply.contentType = kMetricsContentType;
        reply.body = stats_.render();
        return reply;
    }
    return probe(request);
}

bool Exporter::enter(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!slotFree_.wait_until(lock, deadline, [this] { return stopping_ || running_ < maxProbes_; })) return false;
    if (stopping_) return false;
    ++running_;
    return true;
}

void Exporter::leave() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        --running_;
    }
    slotFree_.notify_one();
}

void Exporter::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    slotFree_.notify_all();
    runner_.stop();
}

HttpReply Exporter::probe(const HttpRequest& request) {
    for (const char* secret : {"password", "pass", "pw", "user"})
        if (request.query.count(secret))
            return Text(400, std::string("The parameter \"") + secret +
                                 "\" is not taken: credentials belong in a module of the configuration file");
    const auto target = request.query.find("target");
    if (target == request.query.end() || target->second.empty())
        return Text(400, "The parameter \"target\" is missing: /probe?target=HOST[:PORT]&module=NAME");
    if (!ValidTarget(target->second))
        return Text(400, "The target is not a host name or address with an optional port: \"" +
                             EscapeLabelValue(target->second) + "\"");
    const auto named = request.query.find("module");
    const std::string moduleName = named == request.query.end() || named->second.empty() ? "default" : named->second;
    const auto found = config_.modules.find(moduleName);
    if (found == config_.modules.end())
        return Text(400, "Unknown module \"" + EscapeLabelValue(moduleName) + "\" (not in the configuration file)");
    const Module& module = found->second;

    const Clock::time_point start = Clock::now();
    const double seconds = ProbeSeconds(request.scrapeTimeout, module.timeout);
    const Clock::time_point deadline =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));

    ProbeOutcome outcome;
    if (enter(deadline)) {
        stats_.entered();
        const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
        try {
            outcome = runner_.run(target->second, module, std::max(left, 0.001));
        } catch (const std::exception& e) {  // no pipe or memory for the child
            outcome = ProbeOutcome();
            outcome.reason = "spawn";
            outcome.message = e.what();
        }
        stats_.left();
        leave();
    } else {
        outcome.reason = "busy";
        outcome.message = "no free probe slot (--probes.max " + std::to_string(maxProbes_) + ") within " +
                          Seconds(seconds) + " s";
    }
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    stats_.probed(moduleName, took, outcome.up ? std::string() : outcome.reason);
    if (!outcome.up)
        LogLine("probe of " + target->second + " (module " + moduleName + ") failed: " + outcome.reason + ": " +
                Redact(outcome.message, module.password));

    HttpReply reply;
    reply.contentType = kMetricsContentType;
    reply.body = ProbeReply(outcome.up, outcome.metrics, took);
    return reply;
}
