// A private temporary directory for a test, removed with its files.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/rbz-test-XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp");
        path_ = pattern;
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    // A file of `text` with `mode`; its path.
    std::string write(const std::string& name, const std::string& text, mode_t mode) const {
        const std::string file = path_ + "/" + name;
        std::ofstream(file, std::ios::binary) << text;
        chmod(file.c_str(), mode);
        return file;
    }
    // An executable shell script; "$DIR" in `body` is this directory.
    std::string script(const std::string& name, const std::string& body) const {
        return write(name, "#!/bin/sh\nDIR='" + path_ + "'\n" + body + "\n", 0700);
    }
    std::string read(const std::string& name) const {
        std::ifstream in(path_ + "/" + name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};
