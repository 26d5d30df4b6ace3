// One input through the status decoder and the message clean-up. Shared by
// the libFuzzer target fuzz_status.cpp and the unit test that replays the
// saved corpus.
//
// The whole input is one text: a method's reply for the decoder (the code
// after "ERROR CODE=", the " OK " test, the two status tables) and an
// exception message for CleanUpMsg. None of them throws; any exception
// leaves replay(), and so does a Violation of these properties:
//  - a code is decoded exactly when the reply holds "ERROR CODE=", and a
//    well-formed marker (a quote, one to nine digits, a quote) decodes to
//    its number;
//  - the driver's status output is the table's text for the code (when it
//    lists one) and " OK " when the reply holds "OK", nothing else; the
//    password check's text is never empty;
//  - CleanUpMsg leaves a text without line feeds and "%" as it is, leaves no
//    blank line in a text without "%", and a text without line feeds never
//    grows;
//  - hexValue of any character is a digit's value, -1, or the negative
//    distance of a character below "0".
#pragma once

#include "cli/status.h"
#include "controller/paths.h"
#include "fuzz/fuzz_check.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

namespace statusfuzz {

struct Result {
    std::optional<int> code;
    std::string printed;   // what the driver prints for the reply
    std::string cleaned;   // the text after CleanUpMsg
};

inline void checkDecode(std::string_view text, const std::optional<int>& code) {
    static constexpr std::string_view marker = "ERROR CODE=";
    const size_t at = text.find(marker);
    fuzzcheck::require(code.has_value() == (at != std::string_view::npos), "code decoded without the marker, or not with it");
    if (at == std::string_view::npos) return;
    // "N..." with one to nine digits between the quotes.
    const std::string_view rest = text.substr(at + marker.size());
    if (rest.size() < 3 || rest[0] != '"') return;
    const size_t close = rest.find('"', 1);
    if (close == std::string_view::npos || close == 1 || close > 10) return;
    int expected = 0;
    for (size_t i = 1; i < close; ++i) {
        if (rest[i] < '0' || rest[i] > '9') return;
        expected = expected * 10 + (rest[i] - '0');
    }
    fuzzcheck::require(*code == expected, "well-formed code " + std::to_string(expected) + " decoded as " +
                                              std::to_string(*code));
}

inline void checkPrinted(std::string_view text, const std::optional<int>& code, const std::string& printed) {
    std::string expected;
    if (code) {
        const std::string_view status = DriverStatusText(*code);
        if (!status.empty()) (expected += status) += '\n';
        fuzzcheck::require(!VerifyStatusText(*code).empty(), "password check without a text for a code");
    }
    if (ReplyHasOk(text)) expected += " OK \n";
    fuzzcheck::require(ReplyHasOk(text) == (text.find("OK") != std::string_view::npos), "OK test");
    fuzzcheck::require(printed == expected, "status output \"" + printed + "\"");
}

inline void checkCleanUp(const std::string& before, const std::string& after) {
    const bool hasLineFeed = before.find('\n') != std::string::npos;
    const bool hasPercent = before.find('%') != std::string::npos;
    if (!hasLineFeed && !hasPercent) fuzzcheck::require(after == before, "clean-up changed a plain text");
    if (!hasPercent) fuzzcheck::require(after.find("\n\n") == std::string::npos, "blank line left");
    if (!hasLineFeed) fuzzcheck::require(after.size() <= before.size(), "clean-up grew a text without line feeds");
}

inline Result replay(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Result result;

    result.code = DecodeStatus(text);
    checkDecode(text, result.code);

    std::ostringstream os;
    PrintMethodStatus(text, os);
    result.printed = os.str();
    checkPrinted(text, result.code, result.printed);

    result.cleaned = text;
    CleanUpMsg(result.cleaned);
    checkCleanUp(text, result.cleaned);

    for (const char c : text) {
        const int v = hexValue(c);
        fuzzcheck::require(v <= 15 && (v >= -1 || c < '0'), "hexValue out of range");
    }
    return result;
}

}  // namespace statusfuzz
