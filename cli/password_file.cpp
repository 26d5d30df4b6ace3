#include "cli/password_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "cim/wipe.h"
#include "cli/long_options.h"
#include "cli/password.h"

namespace {

// The lines not yet handed out, and the file they came from. Wiped when the
// process ends, however it ends through exit or a return from main.
struct Answers {
    std::string path;
    std::vector<std::string> lines;
    size_t next = 0;
    ~Answers() {
        for (std::string& line : lines) wipeText(line);
    }
};
Answers answers;

std::string Refusal(const std::string& path, const std::string& why) {
    return "--password-file " + path + ": " + why;
}

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// The file's bytes, read into memory that is wiped before it is let go.
std::string ReadSecretFile(const std::string& path) {
    Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) throw LongOptionError(Refusal(path, std::string("cannot read it: ") + std::strerror(errno)));
    struct stat info {};
    if (fstat(fd.get(), &info) != 0)
        throw LongOptionError(Refusal(path, std::string("cannot read it: ") + std::strerror(errno)));
    if (S_ISDIR(info.st_mode)) throw LongOptionError(Refusal(path, "cannot read it: it is a directory"));
    if ((info.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH)) != 0) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(info.st_mode & 07777));
        throw LongOptionError(Refusal(path, std::string("others than its owner may read or write it (mode ") +
                                                mode + "); chmod 600 it"));
    }
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            const int error = errno;
            wipeText(text);
            std::memset(buffer, 0, sizeof buffer);
            throw LongOptionError(Refusal(path, std::string("cannot read it: ") + std::strerror(error)));
        }
        if (n == 0) break;
        appendSecret(text, std::string_view(buffer, static_cast<size_t>(n)));
    }
    std::memset(buffer, 0, sizeof buffer);
    return text;
}

// One line per prompt, without its line feed and a carriage return before it.
std::string NextAnswer(const std::string& prompt) {
    if (answers.next >= answers.lines.size()) {
        std::string shown = prompt;
        while (!shown.empty() && (shown.back() == ' ' || shown.back() == ':')) shown.pop_back();
        throw PasswordFileExhausted("rbz: " + Refusal(answers.path, "no line left for \"" + shown + "\""));
    }
    std::string& line = answers.lines[answers.next++];
    std::string answer;
    appendSecret(answer, line);
    wipeText(line);
    return answer;
}

}  // namespace

void UsePasswordFile(const std::string& path) {
    std::string text = ReadSecretFile(path);
    WipeOnExit forgetText(text);
    answers.path = path;
    // Every line gets its place up front: a vector that grows would move the
    // short lines, which live inside the string objects, and leave copies.
    size_t count = 0;
    for (size_t at = 0; at < text.size(); ++count) {
        const size_t end = text.find('\n', at);
        at = end == std::string::npos ? text.size() : end + 1;
    }
    answers.lines.reserve(count);
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string_view line(text.data() + start, end - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        // Room for the line first, so that it is not copied while it grows.
        answers.lines.emplace_back();
        answers.lines.back().reserve(line.size());
        appendSecret(answers.lines.back(), line);
        start = end + 1;
    }
    SetPasswordSource(NextAnswer);
}
