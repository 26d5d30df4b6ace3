// One input through the reports' cutting of values out of rendered text.
// Shared by the libFuzzer target fuzz_reports.cpp and the unit test that
// replays the saved corpus.
//
// The first byte chooses the mode (modulo 8), the rest is the text.
//
// Mode 0: the text is a rendering. Every cut (string, number, bytes) runs on
// it for a set of report keys, and PrintFields runs a table with a field of
// every form. Violations: a string cut that is not the text between two
// double quotes after its key; a number cut and a bytes cut of the same
// value that disagree while the value is exact in a double; a cut that
// fails although its key and its end are there; a width left pending on the
// stream by a failed field.
//
// Modes 1 to 7: the text is a list of instances for one report (1 sys info,
// 2 event info, 3 disk info, 4 vsf info, 5 rsf info, 6 disk inq, 7 vsf inq).
// Instances are separated by the byte 0x1E, their fields by 0x1F. A field
// "name=value" is a property (its type inferred from the value as an object
// path key's is: a value in double quotes is a string without them, digits a
// number); a field ".name=value" is a key binding of the instance name (for
// the inquiries: a key of the target path, whose text must parse). The
// instances are rendered as the reports render them and may carry quotes,
// line ends and control characters in names and values. Violations: a
// report that does not begin with the separator line (or, for an
// unavailable drive, the not-found line), a table that does not end with
// it, a width left pending after the report or after its failure.
//
// A key missing from the rendering, or a value that runs off its end, ends a
// report with std::out_of_range; that and a path that does not parse
// (URLException, ParseException) are the only outcomes besides a printed
// report. Any other exception leaves replay().
#pragma once

#include "cim/url.h"
#include "controller/globals.h"
#include "controller/report_fields.h"
#include "controller/reports.h"
#include "fuzz/fuzz_check.h"
#include "xml/errors.h"
#include "xml/model.h"
#include "xml/xml_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace reportsfuzz {

enum class Outcome { Printed, OutOfRange, BadPath };

struct Result {
    Outcome outcome = Outcome::Printed;
    std::string printed;
};

constexpr char kRecordSeparator = '\x1e';
constexpr char kFieldSeparator = '\x1f';

// ------------------------------------------------------------------ mode 0

constexpr std::string_view kCutKeys[] = {
    "-ModelName=", "-Usage=",    "-UsageExt=",    "-RaidSetNumber=", "-SlotNumber=",
    "-Capacity=",  "-VolumeNo=", "-VolumeState=", "-Progress=",      "-DeviceType=",
};

// One field of every form, over keys from the list above.
constexpr Field kEveryForm[] = {
    Guard("-DeviceType=", Cut::Text, "Unavailable", "gone"),
    Line("-ModelName=", "Model:", 2, Cut::Text),
    Cell({}, 9, Cut::UInt32, Form::Index),
    Cell("-VolumeNo=", 9, Cut::Int32),
    Cell("-VolumeNo=", 9, Cut::UInt32, Form::PlusOne),
    Cell("-SlotNumber=", 7, Cut::UInt64, Form::NaIf255),
    Cell("-RaidSetNumber=", 7, Cut::UInt32, Form::NaIf255ElsePlusOne),
    Line("-Capacity=", "Size:", 1, Cut::Bytes, Form::BytesBlank),
    Cell("-Capacity=", 8, Cut::Bytes, Form::BytesField),
    Cell("-Usage=", 16, Cut::Text, Form::UsageOr, "-RaidSetNumber="),
    Line("-VolumeState=", "State:", 2, Cut::Text, Form::StateProgress, {}, "-Progress="),
    Guard("-RaidSetNumber=", Cut::UInt32),
    Line("-Progress=", "Count:", 1, Cut::UInt64, Form::Hex),
};

inline bool isControl(char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7f;
}

inline void checkCuts(std::string_view text, std::string_view key) {
    const size_t at = text.find(key);
    const size_t from = at == std::string_view::npos ? text.size() : at + key.size();
    const std::string_view after = text.substr(from);

    bool quotedValue = false;
    if (at != std::string_view::npos) {
        const size_t open = after.find('"');
        quotedValue = open != std::string_view::npos && after.find('"', open + 1) != std::string_view::npos;
    }
    try {
        const std::string_view value = CutString(text, key);
        fuzzcheck::require(at != std::string_view::npos && quotedValue, "string cut without a quoted value");
        fuzzcheck::require(value.data() > text.data() && value.data() + value.size() < text.data() + text.size(),
                           "string cut outside the text");
        const size_t start = static_cast<size_t>(value.data() - text.data());
        fuzzcheck::require(start > from && text[start - 1] == '"' && text[start + value.size()] == '"' &&
                               value.find('"') == std::string_view::npos &&
                               text.substr(from, start - 1 - from).find('"') == std::string_view::npos,
                           "string cut is not the first quoted value after the key");
    } catch (const std::out_of_range&) {
        fuzzcheck::require(!quotedValue, "string cut failed on a quoted value");
    }

    bool lineEnd = false;
    if (at != std::string_view::npos)
        for (const char c : after) lineEnd = lineEnd || isControl(c);
    try {
        const uint64_t number = CutNumber(text, key);
        const double bytes = CutBytes(text, key);
        fuzzcheck::require(at != std::string_view::npos && lineEnd, "number cut without a line end");
        if (bytes < 9007199254740992.0)   // 2^53: every integer below is exact
            fuzzcheck::require(static_cast<double>(number) == bytes, "number and bytes cuts disagree");
    } catch (const std::out_of_range&) {
        fuzzcheck::require(!lineEnd, "number cut failed although its line ends");
    }
}

inline Result cuts(std::string_view text) {
    Result result;
    for (const std::string_view key : kCutKeys) checkCuts(text, key);
    std::ostringstream os;
    ResetStream(os);
    try {
        PrintFields(os, text, kEveryForm, 3);
    } catch (const std::out_of_range&) {
        result.outcome = Outcome::OutOfRange;
    }
    fuzzcheck::require(os.width() == 0, "a field left a width pending");
    result.printed = os.str();
    return result;
}

// -------------------------------------------------------------- modes 1-7

inline const NamedInstanceXml& namedTemplate() {
    static const NamedInstanceXml item = [] {
        XmlBuffer xb("<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_X\"></INSTANCENAME>"
                     "<INSTANCE CLASSNAME=\"Quilo_X\"></INSTANCE></VALUE.NAMEDINSTANCE>");
        return NamedInstanceXml(xb);
    }();
    return item;
}

inline const KeyBindingXml& keyTemplate() {
    static const KeyBindingXml key = [] {
        XmlBuffer xb("<KEYBINDING NAME=\"K\"><KEYVALUE VALUETYPE=\"string\">v</KEYVALUE></KEYBINDING>");
        return KeyBindingXml(xb);
    }();
    return key;
}

struct Record {
    NamedInstanceXml item = namedTemplate();
    std::vector<std::string> pathKeys;   // the key fields as written, for a target path
};

inline Record record(const std::string& text) {
    Record r;
    for (std::string field : fuzzcheck::split(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                                              kFieldSeparator)) {
        field.resize(std::min(field.size(), field.find('\0')));   // a C string ends at its NUL
        if (field.empty()) continue;
        if (field.find('=') == std::string::npos) field += '=';
        if (field[0] == '.') {
            field.erase(0, 1);
            r.pathKeys.push_back(field);
            KeyBindingXml key = keyTemplate();
            const size_t eq = field.find('=');
            key.name = field.substr(0, eq);
            std::string value = field.substr(eq + 1);
            const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
            key.keyValue.valueType = std::string(quoted ? "string" : "numeric");
            key.keyValue.value = quoted ? value.substr(1, value.size() - 2) : value;
            r.item.name.keys.add(std::move(key));
        } else {
            r.item.instance.properties.add(PropertyXml(field.c_str(), false));
        }
    }
    return r;
}

using ListReport = void (*)(std::string&, NamedInstancesXml&, std::ostream&);
using ItemReport = void (*)(URL&, std::string&, InstanceXml&, std::ostream&);

struct Report {
    ListReport list;
    ItemReport item;
    const char* className;   // of the inquiry's target path
};

constexpr Report kReports[] = {
    {DisplaySystemInfo, nullptr, nullptr},
    {DisplayEventInfo, nullptr, nullptr},
    {DisplayDiskInfo, nullptr, nullptr},
    {DisplayVolumeInfo, nullptr, nullptr},
    {DisplayRAIDSetInfo, nullptr, nullptr},
    {nullptr, DisplayDiskInquiry, "Quilo_DiskDrive"},
    {nullptr, DisplayVolumeInquiry, "Quilo_StorageVolume"},
};

inline Result report(const Report& r, const std::string& text) {
    Result result;
    std::vector<Record> records;
    for (const std::string& part :
         fuzzcheck::split(reinterpret_cast<const uint8_t*>(text.data()), text.size(), kRecordSeparator))
        records.push_back(record(part));

    std::ostringstream os;
    std::string work;
    try {
        if (r.list) {
            NamedInstancesXml instances;
            for (Record& rec : records) instances.add(std::move(rec.item));
            r.list(work, instances, os);
        } else {
            std::string path = std::string("https://root:pw@10.0.0.5/") + ns + ":" + r.className;
            for (size_t i = 0; i < records[0].pathKeys.size(); ++i)
                (path += i == 0 ? "." : ",") += records[0].pathKeys[i];
            std::unique_ptr<URL> target;
            try {
                target = std::make_unique<URL>(path.c_str());
            } catch (const URLException&) {
                result.outcome = Outcome::BadPath;
                return result;
            } catch (const ParseException&) {
                result.outcome = Outcome::BadPath;
                return result;
            }
            r.item(*target, work, records[0].item.instance, os);
        }
    } catch (const std::out_of_range&) {
        result.outcome = Outcome::OutOfRange;
    }
    fuzzcheck::require(os.width() == 0, "a report left a width pending");
    result.printed = os.str();
    if (result.outcome != Outcome::Printed) return result;

    const std::string separator = dashline + "\n";
    const std::string notFound = "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found\n";
    const std::string& out = result.printed;
    fuzzcheck::require(out.compare(0, separator.size(), separator) == 0 || (r.item == DisplayDiskInquiry && out == notFound),
                       "report does not begin with the separator line");
    if (r.list)
        fuzzcheck::require(out.size() >= separator.size() &&
                               out.compare(out.size() - separator.size(), separator.size(), separator) == 0,
                           "table does not end with the separator line");
    return result;
}

inline Result replay(const uint8_t* data, size_t size) {
    if (size == 0) return {};
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    const unsigned mode = data[0] % 8;
    if (mode == 0) return cuts(text);
    return report(kReports[mode - 1], text);
}

}  // namespace reportsfuzz
