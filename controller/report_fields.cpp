#include "controller/report_fields.h"

#include <iomanip>
#include <stdexcept>

#include "cim/url.h"
#include "xml/model.h"
#include "xml/render_flags.h"

namespace {

bool IsControl(char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7f;
}

// Just after the first occurrence of the key. A key begins with the "-" that
// begins every line of a rendering, so the rest of the key is looked for and
// the byte before it checked: the search stops at far fewer places.
size_t ValueStart(std::string_view text, std::string_view key) {
    if (key.size() >= 2) {
        const std::string_view rest = key.substr(1);
        for (size_t at = text.find(rest, 1); at != std::string_view::npos; at = text.find(rest, at + 1))
            if (text[at - 1] == key[0]) return at + rest.size();
    } else if (const size_t at = text.find(key); at != std::string_view::npos) {
        return at + key.size();
    }
    throw std::out_of_range("report key absent: " + std::string(key));
}

// 32-bit cuts wrap at 2^32; accumulating modulo 2^64 and keeping the low
// half gives the same number.
uint64_t Narrow(uint64_t value, Cut cut) {
    return cut == Cut::UInt64 ? value : static_cast<uint32_t>(value);
}

// `os << std::setw(width) << value`, the value in the cut's type: Int32
// signed, the others unsigned.
void PrintNumber(std::ostream& os, uint64_t value, Cut cut, int width) {
    os << std::setw(width);
    switch (cut) {
    case Cut::Int32: os << static_cast<int32_t>(static_cast<uint32_t>(value)); break;
    case Cut::UInt32: os << static_cast<uint32_t>(value); break;
    default: os << value; break;
    }
}

struct Scale {
    double above;
    std::string_view unit;
};
// Decimal units, strict comparisons, largest first.
constexpr Scale kScales[] = {{1e9, "GB"}, {1e6, "MB"}, {1e3, "KB"}};

// The precision stays set on the stream.
void PrintBytes(std::ostream& os, double bytes, std::string_view blank, int precision, int unitWidth) {
    std::string_view unit = "B";
    for (const Scale& scale : kScales) {
        if (bytes > scale.above) {
            bytes /= scale.above;
            unit = scale.unit;
            break;
        }
    }
    os << std::setprecision(precision) << bytes << blank << std::setw(unitWidth) << unit;
}

constexpr std::string_view kProgressStates[] = {"Rebuilding", "Initializing"};

void PrintProgress(std::ostream& os, std::string_view text, std::string_view state, std::string_view key) {
    for (std::string_view s : kProgressStates) {
        if (state != s) continue;
        const auto tenths = static_cast<uint32_t>(CutNumber(text, key));
        os << '(' << tenths / 10 << '.' << tenths % 10 << "%)";
        return;
    }
}

// A guard returns false to end the record; it prints its message line, if
// it has one, when it does.
bool GuardPasses(std::ostream& os, std::string_view text, const Field& f) {
    bool stop = false;
    if (f.form == Form::StopIfText) stop = CutString(text, f.key) == f.aux;
    if (f.form == Form::StopIfZero) stop = Narrow(CutNumber(text, f.key), f.cut) == 0;
    if (stop && !f.label.empty()) os << f.label << '\n';
    return !stop;
}

// Every value is cut before the width is set, so that a failed cut leaves
// no width pending on the stream.
void PrintValue(std::ostream& os, std::string_view text, const Field& f, size_t index) {
    const auto number = [&] { return Narrow(CutNumber(text, f.key), f.cut); };
    switch (f.form) {
    case Form::Value:
        if (f.cut == Cut::Text) {
            const std::string_view value = CutString(text, f.key);
            os << std::setw(f.width) << value;
        } else {
            PrintNumber(os, number(), f.cut, f.width);
        }
        break;
    case Form::Index:
        PrintNumber(os, index + 1, Cut::UInt64, f.width);
        break;
    case Form::PlusOne:
        PrintNumber(os, Narrow(number() + 1, f.cut), f.cut, f.width);
        break;
    case Form::NaIf255:
    case Form::NaIf255ElsePlusOne: {
        const uint64_t n = number();
        if (n == 255)
            os << std::setw(f.width) << "N.A.";
        else
            PrintNumber(os, Narrow(f.form == Form::NaIf255 ? n : n + 1, f.cut), f.cut, f.width);
        break;
    }
    case Form::Hex: {
        const uint64_t n = number();
        os << std::hex << std::showbase << std::uppercase;
        PrintNumber(os, n, f.cut, f.width);
        break;
    }
    case Form::BytesBlank:
        PrintBytes(os, CutBytes(text, f.key), " ", 6, 0);
        break;
    case Form::BytesField:
        PrintBytes(os, CutBytes(text, f.key), "", 4, f.width);
        break;
    case Form::UsageOr: {
        const uint64_t n = CutNumber(text, f.aux);
        const std::string_view usage = CutString(text, f.key);
        const std::string_view shown = n == 255 || !usage.empty() ? usage : CutString(text, "-UsageExt=");
        os << std::setw(f.width) << shown;
        break;
    }
    case Form::StateProgress: {
        const std::string_view state = CutString(text, f.key);
        os << std::setw(f.width) << state;
        PrintProgress(os, text, state, f.aux);
        break;
    }
    case Form::StopIfText:
    case Form::StopIfZero:
        break;
    }
}

}  // namespace

// A quote that is not there is looked for up to the end of the text, where
// the checked access fails.
std::string_view CutString(std::string_view text, std::string_view key) {
    const size_t open = text.find('"', ValueStart(text, key));
    if (open == std::string_view::npos) text.at(text.size());
    const size_t close = text.find('"', open + 1);
    if (close == std::string_view::npos) text.at(text.size());
    return text.substr(open + 1, close - open - 1);
}

uint64_t CutNumber(std::string_view text, std::string_view key) {
    uint64_t value = 0;
    for (size_t i = ValueStart(text, key); !IsControl(text.at(i)); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') value = value * 10 + static_cast<uint64_t>(c - '0');
    }
    return value;
}

double CutBytes(std::string_view text, std::string_view key) {
    double value = 0;
    for (size_t i = ValueStart(text, key); !IsControl(text.at(i)); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') value = value * 10 + (c - '0');
    }
    return value;
}

bool PrintFields(std::ostream& os, std::string_view text, const Field* fields, size_t count, size_t index) {
    for (const Field* f = fields; f != fields + count; ++f) {
        if (f->form == Form::StopIfText || f->form == Form::StopIfZero) {
            if (!GuardPasses(os, text, *f)) return false;
            continue;   // a guard that passes writes nothing
        }
        // A table cell has neither label nor suffix: nothing is inserted for them.
        if (!f->label.empty()) os << f->label << std::string(f->tabs, '\t');
        PrintValue(os, text, *f, index);
        if (!f->suffix.empty()) os << f->suffix;
        if (!f->label.empty()) os << '\n';
    }
    return true;
}

void PrintHeading(std::ostream& os, const Column* columns, size_t count) {
    for (const Column* c = columns; c != columns + count; ++c) os << std::setw(c->width) << c->text;
    os << '\n';
}

void ResetStream(std::ostream& os) {
    os.flags(std::ios_base::dec | std::ios_base::skipws | std::ios_base::left);
    os.precision(6);
    os.fill(' ');
}

namespace {

// Room for an instance's rendering, set aside before it is written so that
// the text of a large instance is not copied as it grows: a value may take
// twice its size once its backslashes are escaped, and a line adds its
// name and a few marks. Room that is never written is never touched.
size_t RenderingRoom(const InstanceXml& instance) {
    size_t room = 0;
    for (const PropertyXml& p : instance.properties) {
        room += p.name.view().size() + 8;
        if (!p.value.exists()) continue;
        const ValueXml& v = p.value.val();
        room += 2 * v.text().size();
        for (const ValueXml& e : v.elements) room += 2 * e.text().size() + 3;
    }
    return room;
}

}  // namespace

void RenderNamedInstance(std::string& work, NamedInstanceXml& item) {
    work.clear();
    item.name.toStringBuffer(work, ":");
    if (addType) item.instance.propagateKeyFlags(item.name.keys);
    work += '\n';
    work.reserve(work.size() + RenderingRoom(item.instance));
    item.instance.toStringBuffer(work, "");
}

void RenderInquiry(std::string& work, URL& path, InstanceXml& instance) {
    work.clear();
    path.toStringBufferGI(work);
    work += '\n';
    if (addType) instance.propagateKeyFlags(path.keys);
    work.reserve(work.size() + RenderingRoom(instance));
    instance.toStringBuffer(work, "");
}
