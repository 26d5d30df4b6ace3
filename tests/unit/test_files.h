// Reading the files the unit tests take as input: the test data under
// tests/data/ and other files of this tree. A file that cannot be read ends
// the test with "cannot read PATH" (GoogleTest prints the exception's text)
// instead of handing the test an empty text to fail on in some other way.
// Call these in a test's body, not while the tests are being registered.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace testfiles {

// `name` under tests/data/ of the tree the tests were built from.
inline std::string dataPath(const std::string& name) { return std::string(RBZ_TEST_DATA) + "/" + name; }

// `path` itself, once it is known to name a readable file.
inline std::string existing(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec) || !std::ifstream(path)) throw std::runtime_error("cannot read " + path);
    return path;
}

// The whole content of the file at `path`, byte for byte.
inline std::string read(const std::string& path) {
    std::ifstream in(existing(path), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw std::runtime_error("cannot read " + path);
    return text.str();
}

}  // namespace testfiles
