// The probe mode of the exporter's program: one reading of one host.
#include <curl/curl.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include <nlohmann/json.hpp>

#include "cim/wipe.h"
#include "cli/check.h"
#include "cli/serve.h"
#include "controller/health.h"
#include "exporter/probe.h"
#include "exporter/probe_metrics.h"
#include "transport/cimom_curl.h"
#include "xml/envelope.h"
#include "xml/errors.h"

namespace {

std::string ReadAll(int fd) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        appendSecret(text, std::string_view(buffer, static_cast<size_t>(n)));
    }
    explicit_bzero(buffer, sizeof buffer);
    return text;
}

bool WriteAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

struct Request {
    std::string target, user, password;
    double seconds = 0;
    Thresholds thresholds;
    std::string caCert, clientCert, clientKey, pin;
    bool verify = false;
    ~Request() { wipeText(password); }
};

Request Parse(std::string& text) {
    Request request;
    nlohmann::json json = nlohmann::json::parse(text);
    wipeText(text);
    request.target = json.at("target").get<std::string>();
    request.user = Unhex(json.at("user_hex").get<std::string>());
    std::string password = Unhex(json.at("password_hex").get_ref<const std::string&>());
    appendSecret(request.password, password);
    wipeText(password);
    wipeText(json.at("password_hex").get_ref<std::string&>());
    request.seconds = json.at("seconds").get<double>();
    request.thresholds.warnTemperature = json.at("warn_temp").get<unsigned>();
    request.thresholds.critTemperature = json.at("crit_temp").get<unsigned>();
    request.caCert = json.at("cacert").get<std::string>();
    request.clientCert = json.at("client_cert").get<std::string>();
    request.clientKey = json.at("client_key").get<std::string>();
    request.verify = json.at("verify").get<bool>();
    request.pin = json.at("pin").get<std::string>();
    return request;
}

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

std::string Down(const char* reason, const std::string& message, const std::string& password) {
    return "rbz-probe down " + std::string(reason) + " " + Redact(message, password) + "\n";
}

// The answer for the exception in flight.
std::string Failed(const std::string& password) {
    try {
        throw;
    } catch (const TimeoutException& e) {
        return Down("timeout", e.getMsg(), password);
    } catch (const HttpException& e) {
        const bool tls = e.getMsg().find("TLS") != std::string::npos;
        return Down(tls ? "tls" : "http", e.getMsg(), password);
    } catch (const ErrorXml& e) {
        return Down("cim", e.getMsg(), password);
    } catch (const URLException& e) {
        return Down("url", e.getMsg(), password);
    } catch (const ParseException& e) {
        return Down("parse", e.getMsg(), password);
    } catch (const NoReturnValue&) {
        return Down("parse", "Nothing Returned", password);
    } catch (const EmptyValue&) {
        return Down("parse", "The response carries no return value", password);
    } catch (const XmlException& e) {
        return Down("internal", e.getMsg(), password);
    } catch (const DoesNotExist& e) {
        return Down("internal", e.getMsg(), password);
    } catch (const std::exception& e) {
        return Down("internal", e.what(), password);
    } catch (...) {
        return Down("internal", "unknown failure", password);
    }
}

std::string Probe(const Request& request) {
    CimomCurl transport;
    transport.setTimeLimit(request.seconds);
    if (request.verify || !request.pin.empty()) transport.setPeerCheck(request.verify, request.pin);

    CommandLine cmd;
    WipeOnExit forgetPassword(cmd.password);
    cmd.host = request.target;
    cmd.user = request.user;
    appendSecret(cmd.password, request.password);
    cmd.caCert = OrNull(request.caCert);
    cmd.clientCert = OrNull(request.clientCert);
    cmd.clientKey = OrNull(request.clientKey);

    HealthReading reading = ReadHostHealth(transport, cmd);
    const Health overall = Judge(reading, request.thresholds);
    return "rbz-probe up\n" + RenderReading(reading, overall);
}

}  // namespace

int ProbeChildMain() {
    // Nothing the exporter was started with besides the three pipes and
    // /dev/null that it set up is the probe's business.
    close_range(3, ~0U, 0);
    // The answer goes to the parent on a descriptor of its own: the core
    // writes some of its diagnostics on standard output, which must not mix
    // with the answer, so standard output becomes standard error (/dev/null).
    const int answerFd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (answerFd < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return 1;
    curl_global_init(CURL_GLOBAL_ALL);
    std::string text = ReadAll(STDIN_FILENO);
    std::string answer;
    std::string password;
    WipeOnExit forget(password);
    try {
        const Request request = Parse(text);
        appendSecret(password, request.password);
        try {
            answer = Probe(request);
        } catch (...) {
            answer = Failed(password);
        }
    } catch (const std::exception& e) {
        wipeText(text);
        answer = Down("internal", std::string("the probe's request: ") + e.what(), password);
    }
    std::cout.flush();
    return WriteAll(answerFd, answer) ? 0 : 1;
}
