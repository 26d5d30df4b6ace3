// The machinery shared by the reports: an instance is rendered to its
// "-Name=value" text form, and each printed value is cut out of that text by
// its key (leading "-" and trailing "=" included). Every report is a table of
// fields walked by PrintFields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

class InstanceXml;
class NamedInstanceXml;
class URL;

// How a value is cut out of the rendering, and what a number is kept in.
enum class Cut {
    Text,    // between the first two double quotes after the key
    Int32,   // digits into 32 bits, wrapping, printed signed
    UInt32,  // digits into 32 bits, wrapping, printed unsigned
    UInt64,  // digits into 64 bits, wrapping, printed unsigned
    Bytes,   // digits into a double, printed scaled to GB/MB/KB/B
};

// What is printed for a field.
enum class Form {
    Value,             // the cut value as it is
    Index,             // the record's running number (index + 1); no key
    PlusOne,           // stored zero-based, shown one-based
    NaIf255,           // "N.A." for 255, else the number
    NaIf255ElsePlusOne,// "N.A." for 255, else the number + 1
    Hex,               // upper-case base 16 with "0X" (zero prints "0"); the stream stays in hex mode
    BytesBlank,        // six significant digits, a blank, the unit
    BytesField,        // four significant digits, the unit left-aligned in `width`
    UsageOr,           // "-Usage=" text; if empty and the number at `aux` is not 255, "-UsageExt=" text
    StateProgress,     // the state text; "Rebuilding"/"Initializing" add "(" tenths of `aux` "%)"
    StopIfText,        // guard: when the text equals `aux`, print `label` as a line (if any) and stop
    StopIfZero,        // guard: when the number is zero, stop (nothing printed)
};

struct Field {
    std::string_view key;
    std::string_view label;  // line layout: label, tabs, value, suffix, line end; empty in table rows
    int tabs;                // tab characters between label and value
    int width;               // left-aligned width of the value (of the unit, for BytesField)
    Cut cut;
    Form form;
    std::string_view suffix = {};  // written right after the value
    std::string_view aux = {};     // second key or compared text, see Form
};

// A labelled line of an inquiry report.
constexpr Field Line(std::string_view key, std::string_view label, int tabs, Cut cut, Form form = Form::Value,
                     std::string_view suffix = {}, std::string_view aux = {}) {
    return Field{key, label, tabs, 0, cut, form, suffix, aux};
}
// A left-aligned cell of a table row.
constexpr Field Cell(std::string_view key, int width, Cut cut, Form form = Form::Value,
                     std::string_view aux = {}) {
    return Field{key, {}, 0, width, cut, form, {}, aux};
}
// A guard: ends the record when the value is `text` (or zero, for a number);
// `message`, when given, is printed as a line then.
constexpr Field Guard(std::string_view key, Cut cut, std::string_view text = {}, std::string_view message = {}) {
    return Field{key, message, 0, 0, cut, cut == Cut::Text ? Form::StopIfText : Form::StopIfZero, {}, text};
}

// A heading cell of a table report.
struct Column {
    std::string_view text;
    int width;
};

// The cuts. An absent key, or a value that runs off the end of the text,
// throws std::out_of_range; nothing is read past the end.
std::string_view CutString(std::string_view text, std::string_view key);
// The digits after the key up to the line end, any other character skipped;
// modulo 2^64 (callers narrow to 32 bits where the report says so).
uint64_t CutNumber(std::string_view text, std::string_view key);
double CutBytes(std::string_view text, std::string_view key);

// Prints the fields in order for the record numbered `index` (0-based).
// Returns false when a guard field ended the record early.
bool PrintFields(std::ostream& os, std::string_view text, const Field* fields, size_t count, size_t index);
template <size_t N>
bool PrintFields(std::ostream& os, std::string_view text, const Field (&fields)[N], size_t index = 0) {
    return PrintFields(os, text, fields, N, index);
}

void PrintHeading(std::ostream& os, const Column* columns, size_t count);
template <size_t N>
void PrintHeading(std::ostream& os, const Column (&columns)[N]) {
    PrintHeading(os, columns, N);
}

// Every report starts from the same stream state: decimal, left-aligned,
// six significant digits.
void ResetStream(std::ostream& os);

// The text the reports search. A table report renders the instance name
// (quote ":"), a line end and the instance; an inquiry the path's quoted form,
// a line end and the instance. Key flags, which only the type marks show
// (addType), are propagated first when those are on.
void RenderNamedInstance(std::string& work, NamedInstanceXml& item);
void RenderInquiry(std::string& work, URL& path, InstanceXml& instance);
