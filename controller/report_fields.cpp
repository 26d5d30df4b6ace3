#include "controller/report_fields.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <locale>
#include <new>
#include <stdexcept>
#include <sys/mman.h>
#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

#include "cim/url.h"
#include "xml/model.h"
#include <cstring>
#include "xml/xml_buffer.h"

namespace {

bool IsControl(char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7f;
}

size_t ValueStart(std::string_view text, std::string_view key) {
    const size_t at = text.find(key);
    if (at == std::string_view::npos) throw std::out_of_range("report key absent: " + std::string(key));
    return at + key.size();
}

// 32-bit cuts wrap at 2^32; accumulating modulo 2^64 and keeping the low
// half gives the same number.
uint64_t Narrow(uint64_t value, Cut cut) {
    return cut == Cut::UInt64 ? value : static_cast<uint32_t>(value);
}

// The format state ResetStream leaves.
constexpr std::ios_base::fmtflags kPlainFlags = std::ios_base::dec | std::ios_base::skipws | std::ios_base::left;

// A stream into which inserting a text, or a decimal number, does no more
// than write its characters and then blanks up to the width: good, with no
// exceptions enabled, tied to no stream, in the format state ResetStream
// leaves (left-aligned, decimal, not unitbuf) and filled with blanks.
bool Plain(std::ostream& os) {
    return os.rdstate() == std::ios_base::goodbit && os.exceptions() == std::ios_base::goodbit && !os.tie() &&
           os.flags() == kPlainFlags && os.fill() == ' ';
}

// `chars`, then blanks up to `width`; false when the buffer took less.
bool PutPadded(std::streambuf& buf, std::string_view chars, std::streamsize width) {
    static constexpr std::string_view kBlanks = "                                ";
    const auto size = static_cast<std::streamsize>(chars.size());
    if (size > 0 && buf.sputn(chars.data(), size) != size) return false;
    for (std::streamsize pad = width - size; pad > 0;) {
        const std::streamsize n = std::min(pad, static_cast<std::streamsize>(kBlanks.size()));
        if (buf.sputn(kBlanks.data(), n) != n) return false;
        pad -= n;
    }
    return true;
}

// What `os << std::setw(width) << x` does in a plain stream, where `chars`
// is x as the stream would format it, written straight into the buffer.
// The stream ends as the insertion leaves it: width 0, badbit when the
// buffer took less than everything. An exception from the buffer sets
// badbit and goes no further, as in an insertion; a text's width is still
// pending then, a number's was reset before its characters were written.
void PutCell(std::ostream& os, std::string_view chars, std::streamsize width, bool isText) {
    os.width(isText ? width : 0);
    try {
        if (!PutPadded(*os.rdbuf(), chars, width)) os.setstate(std::ios_base::badbit);
        os.width(0);
#if defined(__GLIBCXX__)
    } catch (const abi::__forced_unwind&) {
        throw;   // a thread being cancelled, which an insertion lets through too
#endif
    } catch (...) {
        os.setstate(std::ios_base::badbit);
    }
}

// What one record's steps know of the stream: whether it was plain after
// the last step (asked once, then kept up to date from what each step can
// change), and whether its locale is the classic one (asked when first
// needed; nothing in a record changes it).
struct Known {
    bool plain;
    int classic = -1;
    bool classicLocale(const std::ostream& os) {
        if (classic < 0) classic = os.getloc() == std::locale::classic();
        return classic != 0;
    }
};

// After a cell written into a plain stream: still plain unless the buffer
// failed (width and state are all a cell changes).
bool StillPlain(const std::ostream& os) { return os.rdstate() == std::ios_base::goodbit; }

// `os << std::setw(width) << text`. Into a plain stream, an empty text in
// no width (the label and suffix of a table cell) writes nothing at all.
// `plain`: the stream is known to be plain.
void PrintText(std::ostream& os, std::string_view text, std::streamsize width, bool plain = false) {
    if (!plain && !Plain(os))
        os << std::setw(width) << text;
    else if (!text.empty() || width > 0)
        PutCell(os, text, width, true);
    else
        os.width(0);
}

// `os << std::setw(width) << value`, the value in the cut's type: Int32
// signed, the others unsigned. Digits come from std::to_chars only where
// the stream's own would be the same: a plain stream in the classic locale.
void PrintNumber(std::ostream& os, uint64_t value, Cut cut, std::streamsize width, Known& known) {
    const auto int32 = static_cast<int32_t>(static_cast<uint32_t>(value));
    const auto uint32 = static_cast<uint32_t>(value);
    if ((known.plain || Plain(os)) && known.classicLocale(os)) {
        char digits[24];
        char* const end = digits + sizeof digits;
        const std::to_chars_result r = cut == Cut::Int32    ? std::to_chars(digits, end, int32)
                                       : cut == Cut::UInt32 ? std::to_chars(digits, end, uint32)
                                                            : std::to_chars(digits, end, value);
        PutCell(os, std::string_view(digits, static_cast<size_t>(r.ptr - digits)), width, false);
        return;
    }
    os << std::setw(width);
    switch (cut) {
    case Cut::Int32: os << int32; break;
    case Cut::UInt32: os << uint32; break;
    default: os << value; break;
    }
}

struct Scale {
    double above;
    std::string_view unit;
};
// Decimal units, strict comparisons, largest first.
constexpr Scale kScales[] = {{1e9, "GB"}, {1e6, "MB"}, {1e3, "KB"}};

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
// no width pending on the stream. `known.plain` is brought up to date.
void PrintValue(std::ostream& os, std::string_view text, const Field& f, size_t index, Known& known) {
    const auto number = [&] { return Narrow(CutNumber(text, f.key), f.cut); };
    const std::streamsize width = f.width;
    // The forms that write one cell and nothing else. A number inserted
    // through a locale other than the classic one ran its facets, which
    // may change the stream: asked again then.
    const auto cell = [&](auto&& write) {
        write();
        known.plain = known.plain && known.classic != 0 ? StillPlain(os) : Plain(os);
    };
    switch (f.form) {
    case Form::Value:
        if (f.cut == Cut::Text)
            cell([&] { PrintText(os, CutString(text, f.key), width, known.plain); });
        else
            cell([&] { PrintNumber(os, number(), f.cut, width, known); });
        return;
    case Form::Index:
        cell([&] { PrintNumber(os, index + 1, Cut::UInt64, width, known); });
        return;
    case Form::PlusOne:
        cell([&] { PrintNumber(os, Narrow(number() + 1, f.cut), f.cut, width, known); });
        return;
    case Form::NaIf255:
    case Form::NaIf255ElsePlusOne:
        cell([&] {
            const uint64_t n = number();
            if (n == 255)
                PrintText(os, "N.A.", width, known.plain);
            else
                PrintNumber(os, Narrow(f.form == Form::NaIf255 ? n : n + 1, f.cut), f.cut, width, known);
        });
        return;
    case Form::Hex: {
        const uint64_t n = number();
        os << std::hex << std::showbase << std::uppercase;
        known.plain = false;
        PrintNumber(os, n, f.cut, width, known);
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
        PrintText(os, n == 255 || !usage.empty() ? usage : CutString(text, "-UsageExt="), width);
        break;
    }
    case Form::StateProgress: {
        const std::string_view state = CutString(text, f.key);
        PrintText(os, state, width);
        PrintProgress(os, text, state, f.aux);
        break;
    }
    case Form::StopIfText:
    case Form::StopIfZero:
        break;
    }
    known.plain = Plain(os);
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
    Known known{Plain(os)};
    for (const Field* f = fields; f != fields + count; ++f) {
        if (f->form == Form::StopIfText || f->form == Form::StopIfZero) {
            if (!GuardPasses(os, text, *f)) return false;
            continue;   // a guard that passes writes nothing
        }
        // `os << s` is `os << std::setw(os.width()) << s`; into a plain
        // stream with no width pending, an empty text writes nothing.
        if (!f->label.empty() || os.width() != 0 || !known.plain) {
            PrintText(os, f->label, os.width());
            known.plain = Plain(os);
        }
        if (f->tabs > 0) {
            for (int t = 0; t < f->tabs; ++t) os << '\t';
            known.plain = Plain(os);
        }
        PrintValue(os, text, *f, index, known);
        if (!f->suffix.empty() || os.width() != 0 || !known.plain) {
            PrintText(os, f->suffix, os.width());
            known.plain = Plain(os);
        }
        if (!f->label.empty()) {
            os << '\n';
            known.plain = Plain(os);
        }
    }
    return true;
}

void PrintHeading(std::ostream& os, const Column* columns, size_t count) {
    for (const Column* c = columns; c != columns + count; ++c) os << std::setw(c->width) << c->text;
    os << '\n';
}

void ResetStream(std::ostream& os) {
    os.flags(kPlainFlags);
    os.precision(6);
    os.fill(' ');
}

// A large block is mapped on its own, on a large-page boundary, and asked to
// be backed by a large page; a small one comes from the heap.
HeldOutput::Blocks::Block HeldOutput::Blocks::make(size_t size) {
    if (size < largeSize) return {new char[size], size};   // written before it is read
    const size_t mapped = size + largeSize;
    void* const p = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    const uintptr_t start = reinterpret_cast<uintptr_t>(p);
    const uintptr_t aligned = (start + largeSize - 1) & ~(uintptr_t{largeSize} - 1);
    if (aligned > start) munmap(p, aligned - start);
    const uintptr_t end = start + mapped;
    if (end > aligned + size) munmap(reinterpret_cast<void*>(aligned + size), end - (aligned + size));
    madvise(reinterpret_cast<void*>(aligned), size, MADV_HUGEPAGE);
    return {reinterpret_cast<char*>(aligned), size};
}

void HeldOutput::Blocks::drop(const Block& block) {
    if (!block.data) return;
    if (block.size < largeSize)
        delete[] block.data;
    else
        munmap(block.data, block.size);
}

void HeldOutput::Blocks::dropAll() {
    for (const Block& block : full) drop(block);
    full.clear();
    drop(current);
    current = {};
    setp(nullptr, nullptr);
}

HeldOutput::Blocks::~Blocks() { dropAll(); }

// The put area is the newest block; the blocks before it are full.
HeldOutput::Blocks::int_type HeldOutput::Blocks::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    full.reserve(full.size() + 1);
    const Block next = make(full.size() + 1 < smallCount ? smallSize : largeSize);
    if (current.data) full.push_back(current);
    current = next;
    setp(current.data, current.data + current.size);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

std::streamsize HeldOutput::Blocks::xsputn(const char* s, std::streamsize n) {
    if (n > 0 && epptr() - pptr() >= n) {
        std::memcpy(pptr(), s, static_cast<size_t>(n));
        pbump(static_cast<int>(n));   // at most a block
        return n;
    }
    return std::streambuf::xsputn(s, n);
}

void HeldOutput::Blocks::writeTo(std::ostream& target) {
    for (const Block& block : full) target.write(block.data, static_cast<std::streamsize>(block.size));
    if (current.data) target.write(pbase(), pptr() - pbase());
    dropAll();
}

HeldOutput::HeldOutput(std::ostream& target) : out(&blocks) { out.copyfmt(target); }

void HeldOutput::writeTo(std::ostream& target) {
    blocks.writeTo(target);
    target.flags(out.flags());
    target.precision(out.precision());
    target.fill(out.fill());
    target.width(out.width());
}

void RenderNamedInstance(std::string& work, NamedInstanceXml& item) {
    work.clear();
    item.name.toStringBuffer(work, ":");
    item.instance.propagateKeyFlags(item.name.keys);
    work += '\n';
    item.instance.toStringBuffer(work, "");
}

void RenderInquiry(std::string& work, URL& path, InstanceXml& instance) {
    work.clear();
    path.toStringBufferGI(work);
    work += '\n';
    instance.propagateKeyFlags(path.keys);
    instance.toStringBuffer(work, "");
}
