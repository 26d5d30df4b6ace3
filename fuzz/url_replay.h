// One input through the object path parser and its renderings. Shared by the
// libFuzzer target fuzz_url.cpp and the unit test that replays the saved
// corpus.
//
// Any input either parses or fails with the path's own errors (URLException,
// ParseException for a key without "="); every other exception leaves
// replay(), and so does a Violation: a look-ahead that ends outside the text,
// or a parsed path whose protocol is neither http nor https.
#pragma once

#include "cim/url.h"
#include "fuzz/fuzz_check.h"
#include "xml/errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace urlfuzz {

enum class Outcome { Parsed, UrlError, ParseError };

struct Result {
    Outcome outcome;
    std::string text;   // the plain rendering (mode 0), or the error's message
};

// The alias file and the interface table of a run, so that alias paths and
// zone names reach their lookups instead of failing on a missing file. They
// live in $TMPDIR (or /tmp) under the process id; removeScratchFiles()
// deletes them.
inline std::string scratchFile(const char* name) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir ? dir : "/tmp") + "/rbz_fuzz_url_" + std::to_string(getpid()) + "_" + name;
}

inline void removeScratchFiles() {
    std::remove(scratchFile("vostrel.ind").c_str());
    std::remove(scratchFile("if_inet6").c_str());
}

// Writes the two files, points VOSTREL_IND and URL::interfaceTable at them.
inline void setUp() {
    const std::string aliases = scratchFile("vostrel.ind");
    std::ofstream(aliases) << "# aliases\nlab: https://root:pw@10.1.2.3:5989\nv6:https://[fe80::1%eth0]\n"
                              "bad: ftp://x\n";
    setenv("VOSTREL_IND", aliases.c_str(), 1);
    const std::string table = scratchFile("if_inet6");
    std::ofstream(table) << "00000000000000000000000000000001 01 80 10 80       lo\n"
                            "fe800000000000000211223344556677 02 40 20 80     eth0\n";
    URL::interfaceTable = table;
}

inline Result replay(const uint8_t* data, size_t size) {
    // An exactly sized, NUL-terminated copy: a read past the text's end hits
    // the sanitizer's redzone.
    std::unique_ptr<char[]> text(new char[size + 1]);
    std::copy(data, data + size, text.get());
    text[size] = '\0';

    char* next = nullptr;
    if (URL::refLookAhead(text.get(), &next))
        fuzzcheck::require(next >= text.get() && next <= text.get() + size, "look-ahead ends outside the text");

    try {
        URL url(text.get());
        std::string plain;
        url.toStringBuffer(plain, 0);
        std::string sb;
        url.toStringBuffer(sb, 1);
        url.toStringBufferGI(sb);
        url.toStringBuffer(sb);
        fuzzcheck::require(url.protocol == "http" || url.protocol == "https", "protocol " + url.protocol);
        return {Outcome::Parsed, plain};
    } catch (const URLException& e) {
        return {Outcome::UrlError, e.getMsg()};
    } catch (const ParseException& e) {
        return {Outcome::ParseError, e.getMsg()};
    }
}

}  // namespace urlfuzz
