// Replaying a fuzz target's saved corpus (fuzz/corpus/<target>/) in the unit
// tests: every file through the target's own replay function, so that an
// input the fuzzer once broke the code with stays fixed. A replay function
// reports a fault by throwing (a fuzzcheck::Violation, or an exception the
// code under test must not let out); the test turns that into a failure
// that names the file and the exception.
//
// One test walks the whole folder when it runs, so a file saved there is
// replayed from the next run on, without rebuilding the test.
#pragma once

#include "fuzz/fuzz_check.h"
#include "tests/unit/test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fuzzcorpus {

inline std::filesystem::path folder(const std::string& target) {
    return std::filesystem::path(RBZ_SOURCE_DIR) / "fuzz" / "corpus" / target;
}

// The file names of the corpus, sorted.
inline std::vector<std::string> files(const std::string& target) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder(target), ec))
        if (e.is_regular_file()) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

inline std::string read(const std::string& target, const std::string& name) {
    return testfiles::read((folder(target) / name).string());
}

// Runs `replay` on one saved input; a thrown exception fails the test.
template <class Replay>
void replayFile(const std::string& target, const std::string& name, Replay&& replay) {
    const std::string bytes = read(target, name);
    try {
        replay(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    } catch (...) {
        ADD_FAILURE() << target << "/" << name << ": " << fuzzcheck::describe(std::current_exception());
    }
}

// Replays every file of the corpus; returns how many there were.
template <class Replay>
size_t replayAll(const std::string& target, Replay&& replay) {
    const std::vector<std::string> names = files(target);
    for (const std::string& name : names) replayFile(target, name, replay);
    return names.size();
}

// The replay function's result for a saved input.
template <class Replay>
auto result(const std::string& target, const std::string& name, Replay&& replay) {
    const std::string bytes = read(target, name);
    return replay(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace fuzzcorpus
