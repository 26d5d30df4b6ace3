// PrintFields against the stream insertions it stands for: each field's
// label, tabs, value (`os << std::setw(width) << value`), suffix and line
// end, written with plain std::ostream code here, in many stream states and
// into buffers that refuse or throw part-way. Output, state, width and
// flags must come out the same.
#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <ios>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include "controller/report_fields.h"
#include "tests/unit/param_names.h"

namespace {

using Insert = void (*)(std::ostream&);

// One field, and the insertion of its value as std::ostream code.
struct Step {
    Field field;
    Insert value;
};

struct CellCase {
    const char* name;
    std::string text;   // the rendering the values are cut from
    std::vector<Step> steps;
    size_t index = 0;
};

void PrintTo(const CellCase& c, std::ostream* os) { *os << c.name; }

// The walk over the fields, each value inserted by its step.
void InsertSteps(std::ostream& os, const std::vector<Step>& steps) {
    for (const Step& s : steps) {
        os << s.field.label;
        for (int t = 0; t < s.field.tabs; ++t) os << '\t';
        s.value(os);
        os << s.field.suffix;
        if (!s.field.label.empty()) os << '\n';
    }
}

// Takes at most `limit` characters, one at a time (it has no put area);
// then it refuses the next (end of file) or throws. Counts its flushes.
class TightBuffer : public std::streambuf {
public:
    TightBuffer(size_t limit, bool throws) : limit(limit), throws(throws) {}
    std::string taken;
    int syncs = 0;

protected:
    int sync() override {
        ++syncs;
        return 0;
    }
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        if (taken.size() >= limit) {
            if (throws) throw std::runtime_error("buffer full");
            return traits_type::eof();
        }
        taken += traits_type::to_char_type(c);
        return c;
    }

private:
    size_t limit;
    bool throws;
};

constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

struct Buffer {
    const char* name;
    size_t limit;   // kNoLimit: a std::stringbuf
    bool throws;
};

const Buffer kBuffers[] = {
    {"stringbuf", kNoLimit, false},  {"refuses at 0", 0, false}, {"refuses at 3", 3, false},
    {"refuses at 10", 10, false},    {"throws at 0", 0, true},   {"throws at 3", 3, true},
    {"throws at 10", 10, true},      {"takes 200 one by one", 200, false},
};

// Digits in groups of three, with ',' between.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

// The stream the "tied" state ties to; its flushes are counted.
TightBuffer& TiedBuffer() {
    static TightBuffer buffer(kNoLimit, false);
    return buffer;
}
std::ostream& TiedStream() {
    static std::ostream tied(&TiedBuffer());
    return tied;
}

// Applied after ResetStream.
struct State {
    const char* name;
    Insert set;
};

const State kStates[] = {
    {"as reset", [](std::ostream&) {}},
    {"after a hex field", [](std::ostream& os) { os << std::hex << std::showbase << std::uppercase; }},
    {"showbase and uppercase, decimal", [](std::ostream& os) { os << std::showbase << std::uppercase; }},
    {"right-aligned", [](std::ostream& os) { os << std::right; }},
    {"internal", [](std::ostream& os) { os << std::internal; }},
    {"showpos", [](std::ostream& os) { os << std::showpos; }},
    {"octal", [](std::ostream& os) { os << std::oct; }},
    {"no base field", [](std::ostream& os) { os.unsetf(std::ios_base::basefield); }},
    {"noskipws", [](std::ostream& os) { os << std::noskipws; }},
    {"unitbuf", [](std::ostream& os) { os << std::unitbuf; }},
    {"fill '*'", [](std::ostream& os) { os.fill('*'); }},
    {"width 5 pending", [](std::ostream& os) { os.width(5); }},
    {"width -3 pending", [](std::ostream& os) { os.width(-3); }},
    {"tied", [](std::ostream& os) { os.tie(&TiedStream()); }},
    {"failbit", [](std::ostream& os) { os.setstate(std::ios_base::failbit); }},
    {"badbit", [](std::ostream& os) { os.setstate(std::ios_base::badbit); }},
    {"exceptions on badbit", [](std::ostream& os) { os.exceptions(std::ios_base::badbit); }},
    {"grouping locale", [](std::ostream& os) { os.imbue(std::locale(std::locale::classic(), new Grouping)); }},
    {"\"C\" locale by name", [](std::ostream& os) { os.imbue(std::locale("C")); }},
};

struct Outcome {
    std::string bytes;
    std::ios_base::iostate state = std::ios_base::goodbit;
    std::streamsize width = 0;
    std::ios_base::fmtflags flags{};
    char fill = 0;
    std::string thrown;   // empty when nothing left the call
    int syncs = 0;        // flushes of the buffer (not counted for a stringbuf)
    int tiedSyncs = 0;    // flushes of the tied stream's buffer
};

template <class Print>
Outcome RunInto(const Buffer& b, const State& s, Print print) {
    std::stringbuf string;
    TightBuffer tight(b.limit, b.throws);
    std::ostream os(b.limit == kNoLimit ? static_cast<std::streambuf*>(&string) : &tight);
    ResetStream(os);
    s.set(os);
    Outcome out;
    const int tiedBefore = TiedBuffer().syncs;
    try {
        print(os);
    } catch (const std::ios_base::failure&) {
        out.thrown = "ios_base::failure";
    } catch (const std::exception& e) {
        out.thrown = e.what();
    }
    out.bytes = b.limit == kNoLimit ? string.str() : tight.taken;
    out.state = os.rdstate();
    out.width = os.width();
    out.flags = os.flags();
    out.fill = os.fill();
    out.syncs = tight.syncs;
    out.tiedSyncs = TiedBuffer().syncs - tiedBefore;
    return out;
}

class Cells : public ::testing::TestWithParam<CellCase> {};

TEST_P(Cells, SameAsTheStreamInsertions) {
    const CellCase& c = GetParam();
    std::vector<Field> fields;
    for (const Step& s : c.steps) fields.push_back(s.field);
    for (const State& s : kStates) {
        for (const Buffer& b : kBuffers) {
            SCOPED_TRACE(std::string(s.name) + ", " + b.name);
            const Outcome want = RunInto(b, s, [&](std::ostream& os) { InsertSteps(os, c.steps); });
            const Outcome got =
                RunInto(b, s, [&](std::ostream& os) { PrintFields(os, c.text, fields.data(), fields.size(), c.index); });
            EXPECT_EQ(got.bytes, want.bytes);
            EXPECT_EQ(got.state, want.state);
            EXPECT_EQ(got.width, want.width);
            EXPECT_EQ(got.flags, want.flags);
            EXPECT_EQ(got.fill, want.fill);
            EXPECT_EQ(got.thrown, want.thrown);
            EXPECT_EQ(got.syncs, want.syncs);
            EXPECT_EQ(got.tiedSyncs, want.tiedSyncs);
        }
    }
}

// A row written out by hand, so that the comparisons above do not rest on
// the insertions alone.
TEST(PlainCells, RowWrittenOutByHand) {
    std::ostringstream os;
    ResetStream(os);
    constexpr Field row[] = {
        Cell({}, 5, Cut::UInt32, Form::Index),   Cell("-T=", 6, Cut::Text),
        Cell("-N=", 4, Cut::Int32),              Cell("-T=", 2, Cut::Text),
        Cell("-H=", 6, Cut::UInt64, Form::Hex),  Cell("-N=", 0, Cut::UInt32),
    };
    EXPECT_TRUE(PrintFields(os, "-T=\"abc\"\n-N=4294967295\n-H=255\n", row, 41));
    EXPECT_EQ(os.str(), "42   abc   -1  abc0XFF  0XFFFFFFFF");
    EXPECT_EQ(os.width(), 0);
    EXPECT_EQ(os.flags(), std::ios_base::hex | std::ios_base::showbase | std::ios_base::uppercase |
                              std::ios_base::skipws | std::ios_base::left);
}

const std::string kLong(40, 'L');
const std::string kWide(100, 'W');

INSTANTIATE_TEST_SUITE_P(
    Fields, Cells,
    ::testing::Values(
        CellCase{"TextShorterThanTheWidth", "-T=\"abc\"\n",
                 {{Cell("-T=", 8, Cut::Text), [](std::ostream& os) { os << std::setw(8) << "abc"; }}}},
        CellCase{"TextAsWideAsTheWidth", "-T=\"abcdefgh\"\n",
                 {{Cell("-T=", 8, Cut::Text), [](std::ostream& os) { os << std::setw(8) << "abcdefgh"; }}}},
        CellCase{"TextWiderThanTheWidth", "-T=\"" + kLong + "\"\n",
                 {{Cell("-T=", 8, Cut::Text), [](std::ostream& os) { os << std::setw(8) << kLong; }}}},
        CellCase{"TextPaddedFarBeyondItself", "-T=\"ab\"\n",
                 {{Cell("-T=", 100, Cut::Text), [](std::ostream& os) { os << std::setw(100) << "ab"; }}}},
        CellCase{"LongTextInAWideCell", "-T=\"" + kWide + "\"\n",
                 {{Cell("-T=", 130, Cut::Text), [](std::ostream& os) { os << std::setw(130) << kWide; }}}},
        CellCase{"EmptyText", "-T=\"\"\n",
                 {{Cell("-T=", 8, Cut::Text), [](std::ostream& os) { os << std::setw(8) << ""; }}}},
        CellCase{"EmptyTextNoWidth", "-T=\"\"\n",
                 {{Cell("-T=", 0, Cut::Text), [](std::ostream& os) { os << std::setw(0) << ""; }}}},
        CellCase{"TextNoWidth", "-T=\"xyz\"\n",
                 {{Cell("-T=", 0, Cut::Text), [](std::ostream& os) { os << std::setw(0) << "xyz"; }}}},
        CellCase{"UInt32Zero", "-N=0\n",
                 {{Cell("-N=", 6, Cut::UInt32), [](std::ostream& os) { os << std::setw(6) << uint32_t{0}; }}}},
        CellCase{"UInt32Largest", "-N=4294967295\n",
                 {{Cell("-N=", 6, Cut::UInt32),
                   [](std::ostream& os) { os << std::setw(6) << uint32_t{4294967295u}; }}}},
        CellCase{"UInt32Wraps", "-N=4294967297\n",
                 {{Cell("-N=", 6, Cut::UInt32), [](std::ostream& os) { os << std::setw(6) << uint32_t{1}; }}}},
        CellCase{"Int32Largest", "-N=2147483647\n",
                 {{Cell("-N=", 12, Cut::Int32),
                   [](std::ostream& os) { os << std::setw(12) << int32_t{2147483647}; }}}},
        CellCase{"Int32Smallest", "-N=2147483648\n",
                 {{Cell("-N=", 12, Cut::Int32),
                   [](std::ostream& os) { os << std::setw(12) << std::numeric_limits<int32_t>::min(); }}}},
        CellCase{"Int32MinusOne", "-N=4294967295\n",
                 {{Cell("-N=", 3, Cut::Int32), [](std::ostream& os) { os << std::setw(3) << int32_t{-1}; }}}},
        CellCase{"UInt64Largest", "-N=18446744073709551615\n",
                 {{Cell("-N=", 25, Cut::UInt64),
                   [](std::ostream& os) { os << std::setw(25) << std::numeric_limits<uint64_t>::max(); }}}},
        CellCase{"UInt64WiderThanTheWidth", "-N=18446744073709551615\n",
                 {{Cell("-N=", 4, Cut::UInt64),
                   [](std::ostream& os) { os << std::setw(4) << std::numeric_limits<uint64_t>::max(); }}}},
        CellCase{"IndexFirst", "",
                 {{Cell({}, 9, Cut::UInt32, Form::Index), [](std::ostream& os) { os << std::setw(9) << size_t{1}; }}},
                 0},
        CellCase{"IndexLargest", "",
                 {{Cell({}, 9, Cut::UInt32, Form::Index),
                   [](std::ostream& os) { os << std::setw(9) << std::numeric_limits<size_t>::max(); }}},
                 std::numeric_limits<size_t>::max() - 1},
        CellCase{"IndexWraps", "",
                 {{Cell({}, 9, Cut::UInt32, Form::Index), [](std::ostream& os) { os << std::setw(9) << size_t{0}; }}},
                 std::numeric_limits<size_t>::max()},
        CellCase{"PlusOne", "-N=41\n",
                 {{Cell("-N=", 9, Cut::UInt64, Form::PlusOne),
                   [](std::ostream& os) { os << std::setw(9) << uint64_t{42}; }}}},
        CellCase{"PlusOneWraps", "-N=4294967295\n",
                 {{Cell("-N=", 9, Cut::UInt32, Form::PlusOne),
                   [](std::ostream& os) { os << std::setw(9) << uint32_t{0}; }}}},
        CellCase{"NotAvailable", "-N=255\n",
                 {{Cell("-N=", 19, Cut::UInt32, Form::NaIf255ElsePlusOne),
                   [](std::ostream& os) { os << std::setw(19) << "N.A."; }}}},
        CellCase{"AvailablePlusOne", "-N=7\n",
                 {{Cell("-N=", 19, Cut::UInt32, Form::NaIf255ElsePlusOne),
                   [](std::ostream& os) { os << std::setw(19) << uint32_t{8}; }}}},
        CellCase{"AvailableAsItIs", "-N=254\n",
                 {{Cell("-N=", 3, Cut::UInt64, Form::NaIf255),
                   [](std::ostream& os) { os << std::setw(3) << uint64_t{254}; }}}},
        CellCase{"UsageElsewhere", "-Usage=\"\"\n-RaidSetNumber=3\n-UsageExt=\"Free\"\n",
                 {{Cell("-Usage=", 16, Cut::Text, Form::UsageOr, "-RaidSetNumber="),
                   [](std::ostream& os) { os << std::setw(16) << "Free"; }}}},
        CellCase{"StateWithProgress", "-S=\"Rebuilding\"\n-P=123\n",
                 {{Cell("-S=", 14, Cut::Text, Form::StateProgress, "-P="), [](std::ostream& os) {
                       os << std::setw(14) << "Rebuilding";
                       os << '(' << uint32_t{12} << '.' << uint32_t{3} << "%)";
                   }}}},
        CellCase{"LineWithNumberAndSuffix", "-N=1024\n",
                 {{Line("-N=", "Memory Size:", 2, Cut::Int32, Form::Value, "MB"),
                   [](std::ostream& os) { os << std::setw(0) << int32_t{1024}; }}}},
        CellCase{"LineWithText", "-T=\"ARC\"\n",
                 {{Line("-T=", "Model Name:", 1, Cut::Text),
                   [](std::ostream& os) { os << std::setw(0) << "ARC"; }}}},
        // Hex leaves the stream in hex mode: the later numbers print in hex.
        CellCase{"HexThenOtherCells", "-H=0\n-N=4294967295\n-T=\"abc\"\n",
                 {{Cell("-H=", 6, Cut::UInt64, Form::Hex),
                   [](std::ostream& os) {
                       os << std::setw(6) << std::hex << std::showbase << std::uppercase << uint64_t{0};
                   }},
                  {Cell("-N=", 12, Cut::UInt32), [](std::ostream& os) { os << std::setw(12) << uint32_t{4294967295u}; }},
                  {Cell("-N=", 4, Cut::Int32), [](std::ostream& os) { os << std::setw(4) << int32_t{-1}; }},
                  {Cell("-T=", 5, Cut::Text), [](std::ostream& os) { os << std::setw(5) << "abc"; }},
                  {Cell({}, 9, Cut::UInt32, Form::Index), [](std::ostream& os) { os << std::setw(9) << size_t{8}; }}},
                 7},
        // A table row: every cell after the one before, the buffer filling
        // up somewhere in the middle.
        CellCase{"EventRow", "-Time=\"2024-01-02 03:04:05\"\n-Type=\"Info\"\n-Description=\"Power On\"\n-Data1=\"x\"\n",
                 {{Cell({}, 9, Cut::UInt32, Form::Index), [](std::ostream& os) { os << std::setw(9) << size_t{3}; }},
                  {Cell("-Time=", 33, Cut::Text),
                   [](std::ostream& os) { os << std::setw(33) << "2024-01-02 03:04:05"; }},
                  {Cell("-Type=", 33, Cut::Text), [](std::ostream& os) { os << std::setw(33) << "Info"; }},
                  {Cell("-Description=", 33, Cut::Text), [](std::ostream& os) { os << std::setw(33) << "Power On"; }},
                  {Cell("-Data1=", 20, Cut::Text), [](std::ostream& os) { os << std::setw(20) << "x"; }}},
                 2}),
    paramname::ByName());

}  // namespace
