// What the fuzz targets share: a broken property is a Violation, and the
// entry point turns every exception that leaves a target's replay function
// (a Violation, or an exception the code under test must not let out) into
// an abort, so that libFuzzer keeps the input. The unit tests that replay
// the saved corpora call the same replay functions and report the same
// exceptions as failures instead.
#pragma once

#include "xml/errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace fuzzcheck {

// A property of the code under test that an input broke.
class Violation : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void require(bool holds, const std::string& what) {
    if (!holds) throw Violation(what);
}

// The kind of an exception in words, for the report of an escaped one.
inline std::string describe(std::exception_ptr escaped) {
    try {
        std::rethrow_exception(escaped);
    } catch (const XmlException& e) {
        return std::string("XmlException family (") + typeid(e).name() + "): " + e.getMsg();
    } catch (const DoesNotExist& e) {
        return "DoesNotExist: " + e.getMsg();
    } catch (const std::exception& e) {
        return std::string(typeid(e).name()) + ": " + e.what();
    } catch (...) {
        return "an exception of unknown type";
    }
}

// The body of LLVMFuzzerTestOneInput: nothing may leave `replay`.
template <class Replay>
int runOne(Replay&& replay, const uint8_t* data, size_t size) {
    try {
        replay(data, size);
    } catch (...) {
        std::fprintf(stderr, "escaped: %s\n", describe(std::current_exception()).c_str());
        std::abort();
    }
    return 0;
}

// The input cut at every `separator` byte: n separators give n + 1 pieces.
inline std::vector<std::string> split(const uint8_t* data, size_t size, char separator) {
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; ++i) {
        const char c = static_cast<char>(data[i]);
        if (c == separator)
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    return pieces;
}

}  // namespace fuzzcheck
