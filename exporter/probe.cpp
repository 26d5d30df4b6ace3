#include "exporter/probe.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include <nlohmann/json.hpp>

#include "cim/wipe.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kUp = "rbz-probe up\n";
constexpr std::string_view kDown = "rbz-probe down ";
// A reading of the largest controller is far below this; more is garbage.
constexpr size_t kMaxAnswer = 16 * 1024 * 1024;

struct Pipe {
    int read = -1, write = -1;
    Pipe() {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
        read = fds[0];
        write = fds[1];
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    void closeRead() {
        if (read >= 0) close(read);
        read = -1;
    }
    void closeWrite() {
        if (write >= 0) close(write);
        write = -1;
    }
};

ProbeOutcome Failure(const char* reason, std::string message) {
    ProbeOutcome outcome;
    outcome.reason = reason;
    outcome.message = std::move(message);
    return outcome;
}

// Writes all of `data`, giving up at the deadline (a child that does not
// read its input).
bool WriteAll(int fd, const std::string& data, Clock::time_point deadline) {
    size_t done = 0;
    while (done < data.size()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd p{fd, POLLOUT, 0};
        const int ready = poll(&p, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        const ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Waits for the child to end until the deadline; kills it then. Returns the
// wait status; `killed` tells whether the deadline struck. The wait is a
// poll on the child's pidfd, so it ends the moment the child does.
int Reap(pid_t pid, Clock::time_point deadline, bool& killed) {
    int status = 0;
    const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    for (;;) {
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) break;
        if (done < 0 && errno != EINTR) break;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            killed = true;
            kill(pid, SIGKILL);
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            break;
        }
        if (pidfd >= 0) {
            pollfd p{pidfd, POLLIN, 0};
            poll(&p, 1, static_cast<int>(left));
        } else {
            // A kernel without pidfds: look again shortly.
            std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, 2)));
        }
    }
    if (pidfd >= 0) close(pidfd);
    return status;
}

}  // namespace

std::string Hex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text(bytes.size() * 2, '0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text[2 * i] = kDigits[byte >> 4];
        text[2 * i + 1] = kDigits[byte & 15];
    }
    return text;
}

std::string Unhex(std::string_view text) {
    const auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    if (text.size() % 2 != 0) throw std::invalid_argument("hexadecimal text of odd length");
    std::string bytes(text.size() / 2, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        const int high = digit(text[2 * i]), low = digit(text[2 * i + 1]);
        if (high < 0 || low < 0) throw std::invalid_argument("not a hexadecimal digit");
        bytes[i] = static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string Seconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", seconds);
    return text;
}

std::string Redact(std::string text, const std::string& secret) {
    if (!secret.empty()) {
        for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at + 8))
            text.replace(at, secret.size(), "********");
    }
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
    return text;
}

std::string EncodeProbeRequest(const std::string& target, const Module& module, double seconds) {
    nlohmann::json request;
    request["target"] = target;
    // The credentials as hexadecimal digits: they may hold any bytes, and
    // JSON takes only UTF-8 text.
    request["user_hex"] = Hex(module.user);
    std::string password = Hex(module.password);
    request["password_hex"] = password;
    wipeText(password);
    request["seconds"] = seconds;
    request["warn_temp"] = module.thresholds.warnTemperature;
    request["crit_temp"] = module.thresholds.critTemperature;
    request["cacert"] = module.caCert;
    request["client_cert"] = module.clientCert;
    request["client_key"] = module.clientKey;
    request["verify"] = module.verify;
    request["pin"] = module.pin;
    std::string text = request.dump();
    wipeText(request["password_hex"].get_ref<std::string&>());
    return text;
}

ProbeOutcome DecodeProbeAnswer(const std::string& output) {
    if (output.compare(0, kUp.size(), kUp) == 0) {
        ProbeOutcome outcome;
        outcome.up = true;
        outcome.metrics = output.substr(kUp.size());
        // Every line a comment or a sample of ours, the last one ended.
        if (outcome.metrics.empty() || outcome.metrics.back() != '\n')
            return Failure("garbage", "the probe's answer ends in the middle of a line");
        size_t start = 0;
        while (start < outcome.metrics.size()) {
            const size_t end = outcome.metrics.find('\n', start);
            const std::string_view line(outcome.metrics.data() + start, end - start);
            if (line.substr(0, 2) != "# " && line.substr(0, 4) != "rbz_")
                return Failure("garbage", "the probe's answer holds a line that is no metric");
            start = end + 1;
        }
        return outcome;
    }
    if (output.compare(0, kDown.size(), kDown) == 0) {
        const size_t end = output.find('\n');
        if (end == std::string::npos || end + 1 != output.size())
            return Failure("garbage", "the probe's failure is not one line");
        const std::string rest = output.substr(kDown.size(), end - kDown.size());
        const size_t blank = rest.find(' ');
        const std::string reason = rest.substr(0, blank);
        if (reason.empty()) return Failure("garbage", "the probe's failure has no reason");
        for (char c : reason)
            if (!(c >= 'a' && c <= 'z')) return Failure("garbage", "the probe's failure has no reason");
        return Failure(reason.c_str(), blank == std::string::npos ? std::string() : rest.substr(blank + 1));
    }
    if (output.empty()) return Failure("garbage", "the probe answered nothing");
    return Failure("garbage", "the probe's answer does not start with its header");
}

bool ProbeRunner::track(pid_t pid) {
    std::lock_guard<std::mutex> lock(mutex_);
    children_.insert(pid);
    return !stopping_;
}

void ProbeRunner::untrack(pid_t pid) {
    std::lock_guard<std::mutex> lock(mutex_);
    children_.erase(pid);
}

void ProbeRunner::stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    for (pid_t pid : children_) kill(pid, SIGKILL);
}

ProbeOutcome ProbeRunner::run(const std::string& target, const Module& module, double seconds) {
    const Clock::time_point deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return Failure("stopped", "the exporter is stopping");
    }
    Pipe input, output;

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.read, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.write, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The child starts with no signal blocked and the default actions (the
    // exporter blocks SIGTERM and SIGINT in its threads and ignores SIGPIPE).
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (int s : {SIGPIPE, SIGTERM, SIGINT, SIGHUP}) sigaddset(&defaults, s);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::string name = "rbz-exporter";
    std::string flag = kProbeChildFlag;
    char* argv[] = {name.data(), flag.data(), nullptr};
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, program_.c_str(), &actions, &attributes, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (rc != 0) return Failure("spawn", "cannot start " + program_ + ": " + std::strerror(rc));
    input.closeRead();
    output.closeWrite();
    if (!track(pid)) kill(pid, SIGKILL);

    std::string request = EncodeProbeRequest(target, module, seconds);
    const bool sent = WriteAll(input.write, request, deadline);
    wipeText(request);
    input.closeWrite();

    std::string answer;
    bool tooLong = false;
    if (sent) {
        char buffer[65536];
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) break;
            pollfd p{output.read, POLLIN, 0};
            const int ready = poll(&p, 1, static_cast<int>(left));
            if (ready < 0 && errno == EINTR) continue;
            if (ready <= 0) break;
            const ssize_t n = read(output.read, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            answer.append(buffer, static_cast<size_t>(n));
            if (answer.size() > kMaxAnswer) {
                tooLong = true;
                break;
            }
        }
    }
    output.closeRead();
    bool killed = false;
    const int status = Reap(pid, tooLong ? Clock::now() : deadline, killed);
    untrack(pid);

    if (tooLong) return Failure("garbage", "the probe's answer is longer than " + std::to_string(kMaxAnswer) + " bytes");
    if (killed) return Failure("timeout", "no answer within " + Seconds(seconds) + " s: the probe was killed");
    if (WIFSIGNALED(status)) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return Failure("stopped", "the exporter is stopping");
        }
        return Failure("crashed", std::string("the probe died of signal ") + strsignal(WTERMSIG(status)));
    }
    if (!sent) return Failure("crashed", "the probe did not take its request");
    ProbeOutcome outcome = DecodeProbeAnswer(answer);
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0 && outcome.up)
        return Failure("crashed", "the probe ended with status " + std::to_string(WEXITSTATUS(status)));
    outcome.message = Redact(outcome.message, module.password);
    return outcome;
}
