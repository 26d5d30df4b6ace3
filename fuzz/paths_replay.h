// One input through the target path builders and the object path parser
// that reads their result, as the driver uses them. Shared by the libFuzzer
// target fuzz_paths.cpp and the unit test that replays the saved corpus.
//
// Input: the first byte is the primary command (modulo 16; 15 is beyond the
// last command), the rest is cut at NUL bytes into the parameter text, the
// user, the password and the host (missing pieces are empty, further pieces
// are ignored: words of an argument vector hold no NUL).
//
// The builders never throw; parsing their path may fail with the path's own
// errors (URLException, ParseException). Anything else leaves replay(), and
// so does a Violation of these properties:
//  - the path is empty for a command that reaches no class, and otherwise
//    begins with "https://" user ":" password "@" host "/quilo/cimv2:" and
//    the command's class;
//  - a volume path carries ".VolumeNo=" and the rest of the parameter text
//    after the first spelling found, or nothing when none is there;
//  - a drive path carries no key without a complete pair of spellings, and
//    otherwise ".EnclosureNumber=" and ",SlotNumber=" with their values: the
//    key standing first up to the next "," or blank, the later one up to the
//    end of the parameter text;
//  - with a plain user, password and host (letters, digits, "." and "-")
//    the paths of sys, rsf and event parse, with that class, host, user and
//    password.
#pragma once

#include "cim/url.h"
#include "controller/globals.h"
#include "controller/paths.h"
#include "fuzz/fuzz_check.h"
#include "xml/errors.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pathsfuzz {

enum class Outcome { NoPath, Parsed, UrlError, ParseError };

struct Result {
    Outcome outcome = Outcome::NoPath;
    std::string path;
    std::string rendered;   // URL::toStringBufferGI of the parsed path, or the error's message
};

struct Input {
    pricmd primary;
    std::string parameters, user, password, host;
};

inline Input split(const uint8_t* data, size_t size) {
    Input in{static_cast<pricmd>(size ? data[0] % 16 : 0), {}, {}, {}, {}};
    if (size == 0) return in;
    std::vector<std::string> pieces = fuzzcheck::split(data + 1, size - 1, '\0');
    pieces.resize(4);
    in.parameters = pieces[0];
    in.user = pieces[1];
    in.password = pieces[2];
    in.host = pieces[3];
    return in;
}

// The class of each command that reaches one.
inline const char* classOf(pricmd primary) {
    switch (primary) {
    case pricmd::sys: return "Quilo_RAIDControllerSystem";
    case pricmd::rsf: return "Quilo_StoragePool";
    case pricmd::vsf: return "Quilo_StorageVolume";
    case pricmd::disk: return "Quilo_DiskDrive";
    case pricmd::event: return "Quilo_EventLog";
    default: return nullptr;
    }
}

inline bool plain(const std::string& s) {
    if (s.empty()) return false;
    for (const char c : s)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-') return false;
    return true;
}

inline void checkVolumeKey(const std::string& params, std::string_view keys) {
    for (const std::string_view spelling : {"Vol=", "VOL=", "vol="}) {
        const size_t at = params.find(spelling);
        if (at == std::string::npos) continue;
        fuzzcheck::require(keys == ".VolumeNo=" + params.substr(at + spelling.size()), "volume key");
        return;
    }
    fuzzcheck::require(keys.empty(), "volume key without a volume number");
}

inline void checkDriveKeys(const std::string& params, std::string_view keys) {
    static constexpr std::string_view pairs[][2] = {
        {"Enc=", "Slot="}, {"enc=", "slot="}, {"Enc=", "slot="}, {"enc=", "Slot="}};
    for (const auto& pair : pairs) {
        const size_t enc = params.find(pair[0]);
        const size_t slot = params.find(pair[1]);
        if (enc == std::string::npos || slot == std::string::npos) continue;
        // The key standing first ends at "," or a blank (or the end), the
        // later one runs to the end of the text.
        const size_t firstAt = enc < slot ? enc + pair[0].size() : slot + pair[1].size();
        const size_t laterAt = enc < slot ? slot + pair[1].size() : enc + pair[0].size();
        const size_t firstEnd = params.find_first_of(", ", firstAt);
        const std::string first = params.substr(firstAt, firstEnd == std::string::npos ? std::string::npos
                                                                                        : firstEnd - firstAt);
        const std::string later = params.substr(laterAt);
        const std::string& encValue = enc < slot ? first : later;
        const std::string& slotValue = enc < slot ? later : first;
        fuzzcheck::require(keys == ".EnclosureNumber=" + encValue + ",SlotNumber=" + slotValue, "drive keys");
        return;
    }
    fuzzcheck::require(keys.empty(), "drive keys without a complete pair");
}

inline Result replay(const uint8_t* data, size_t size) {
    const Input in = split(data, size);
    Result result;
    BuildURL(in.primary, result.path, in.parameters, in.user, in.password, in.host);

    const char* cls = classOf(in.primary);
    if (!cls) {
        fuzzcheck::require(result.path.empty(), "a path for a command without a class");
        return result;
    }
    const std::string prefix = "https://" + in.user + ":" + in.password + "@" + in.host + "/" + ns + ":" + cls;
    fuzzcheck::require(result.path.compare(0, prefix.size(), prefix) == 0, "path prefix");
    const std::string_view keys = std::string_view(result.path).substr(prefix.size());
    if (in.primary == pricmd::vsf)
        checkVolumeKey(in.parameters, keys);
    else if (in.primary == pricmd::disk)
        checkDriveKeys(in.parameters, keys);
    else
        fuzzcheck::require(keys.empty(), "keys on a class without keys");

    const bool mustParse = keys.empty() && plain(in.user) && plain(in.password) && plain(in.host);
    try {
        URL url(result.path.c_str());
        url.toStringBufferGI(result.rendered);
        std::string sb;
        url.toStringBuffer(sb, 0);
        url.toStringBuffer(sb);
        result.outcome = Outcome::Parsed;
    } catch (const URLException& e) {
        result.outcome = Outcome::UrlError;
        result.rendered = e.getMsg();
    } catch (const ParseException& e) {
        result.outcome = Outcome::ParseError;
        result.rendered = e.getMsg();
    }
    if (mustParse) {
        fuzzcheck::require(result.outcome == Outcome::Parsed, "a plain path does not parse: " + result.rendered);
        const URL url(result.path.c_str());
        fuzzcheck::require(url.className == cls && url.host == in.host && url.user == in.user &&
                               url.password == in.password,
                           "a plain path parses into other parts");
    }
    return result;
}

}  // namespace pathsfuzz
