// Probes: each reading of a host runs in a child process of its own, the
// exporter's own program started again in its probe mode. The core keeps
// process-wide state (the wait time, rendering flags, the password source),
// so probes that run at the same time must not share a process; and a probe
// that crashes or hangs takes only its child down.
//
// The parent hands the child the target and the module's settings,
// passwords included, on the child's standard input (never on its command
// line or in its environment, where ps and /proc show them) and reads the
// child's answer from its standard output: a first line
//     rbz-probe up                     then the metric text of the reading
//     rbz-probe down REASON MESSAGE    the host could not be read
// At the deadline the child is killed (SIGKILL).
#pragma once

#include <sys/types.h>

#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "exporter/config.h"

// The first argument that starts a probe child (not listed by --help).
constexpr const char* kProbeChildFlag = "--probe.child";

struct ProbeOutcome {
    bool up = false;
    std::string metrics;  // the reading's metric text, when up
    std::string reason;   // when not up: timeout, http, cim, parse, url, tls, crashed, garbage, ...
    std::string message;  // when not up: what went wrong, without credentials
};

// Runs probes in children of `program` (normally /proc/self/exe) and keeps
// track of them, so that a stopping exporter can end them at once.
class ProbeRunner {
public:
    explicit ProbeRunner(std::string program) : program_(std::move(program)) {}

    // Reads `target` (HOST[:PORT]) with `module`'s settings within `seconds`.
    ProbeOutcome run(const std::string& target, const Module& module, double seconds);

    // Kills every running child; later probes end at once as failures.
    void stop();

private:
    bool track(pid_t pid);
    void untrack(pid_t pid);

    std::string program_;
    std::mutex mutex_;
    std::set<pid_t> children_;
    bool stopping_ = false;
};

// The probe mode: reads the request from standard input, reads the host and
// writes the answer on standard output. Returns the exit status.
int ProbeChildMain();

// The request a parent writes to a child (exposed for tests).
std::string EncodeProbeRequest(const std::string& target, const Module& module, double seconds);

// Parses a child's complete output into an outcome; output that does not
// follow the protocol is a failure with reason "garbage".
ProbeOutcome DecodeProbeAnswer(const std::string& output);

// Bytes as lower-case hexadecimal digits, and back (Unhex throws
// std::invalid_argument on anything else).
std::string Hex(std::string_view bytes);
std::string Unhex(std::string_view text);

// Seconds for a message: three significant digits ("0.4", "9.5", "20").
std::string Seconds(double seconds);

// `text` with every occurrence of `secret` replaced by "********", line
// feeds and other control characters by blanks: fit for a log line.
std::string Redact(std::string text, const std::string& secret);
