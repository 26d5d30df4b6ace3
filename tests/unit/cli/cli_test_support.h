// Helpers for the command-line tests: argument vectors, standard input from a
// pipe, and captured standard output and error.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <initializer_list>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

// A NULL-terminated argument vector that owns its words.
class Argv {
public:
    Argv(std::initializer_list<std::string> words) : Argv(std::vector<std::string>(words)) {}
    explicit Argv(std::vector<std::string> words) : words_(std::move(words)) {
        for (std::string& w : words_) pointers_.push_back(w.data());
        pointers_.push_back(nullptr);
    }
    Argv(const Argv&) = delete;
    Argv& operator=(const Argv&) = delete;
    char** get() { return pointers_.data(); }
    int argc() const { return static_cast<int>(words_.size()); }

private:
    std::vector<std::string> words_;
    std::vector<char*> pointers_;
};

// Standard input reads `text` from a pipe, then end of input, until the
// object is destroyed.
class StdinFrom {
public:
    explicit StdinFrom(const std::string& text) {
        // With standard input closed, the pipe could land on descriptor 0.
        if (fcntl(STDIN_FILENO, F_GETFD) == -1) open("/dev/null", O_RDONLY);
        int fds[2];
        if (pipe(fds) != 0) throw std::runtime_error("pipe");
        // Small texts only: the pipe's buffer holds them without a reader.
        if (write(fds[1], text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("write");
        }
        close(fds[1]);
        saved_ = dup(STDIN_FILENO);
        dup2(fds[0], STDIN_FILENO);
        close(fds[0]);
    }
    StdinFrom(const StdinFrom&) = delete;
    StdinFrom& operator=(const StdinFrom&) = delete;
    ~StdinFrom() {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }

    // What the code under test left unread.
    static std::string Rest() {
        std::string rest;
        char buffer[256];
        ssize_t n;
        while ((n = read(STDIN_FILENO, buffer, sizeof buffer)) > 0) rest.append(buffer, n);
        return rest;
    }

private:
    int saved_ = -1;
};

struct Captured {
    std::string out;
    std::string err;
};

// Runs `body` with standard output and error captured.
template <typename Body>
Captured Capture(Body&& body) {
    // Start from the stream's default format, whatever earlier suites in
    // this binary left on it.
    std::cout.width(0);
    std::cout.fill(' ');
    std::cout.flags(std::ios_base::dec | std::ios_base::skipws);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    body();
    Captured c;
    c.out = testing::internal::GetCapturedStdout();
    c.err = testing::internal::GetCapturedStderr();
    return c;
}
