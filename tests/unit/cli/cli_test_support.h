// Helpers for the command-line tests: argument vectors, standard input from
// a file, and captured standard output and error.
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

// A NULL-terminated argument vector that owns its words.
class Argv {
public:
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

// Standard input reads `text` (of any length) from a temporary file, then
// end of input, until the object is destroyed.
class StdinFrom {
public:
    explicit StdinFrom(const std::string& text) {
        FILE* file = std::tmpfile();
        if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0)
            throw std::runtime_error("tmpfile");
        std::rewind(file);
        saved_ = dup(STDIN_FILENO);
        dup2(fileno(file), STDIN_FILENO);
        std::fclose(file);
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
        char buffer[4096];
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
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    body();
    Captured c;
    c.out = testing::internal::GetCapturedStdout();
    c.err = testing::internal::GetCapturedStderr();
    return c;
}
