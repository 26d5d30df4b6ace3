// Attribute/value lists: the three parses, lookups, and AList.
#include "cim/avps.h"
#include "fuzz/avps_replay.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace {

// "name=value" per entry, "name=[v1|v2]" for a multi-valued one, joined by " ; ".
std::string Describe(AVPs& list) {
    std::string out;
    for (unsigned int i = 0; i < list.size(); ++i) {
        const AValue* e = list.get(i);
        out += (i ? " ; " : "") + e->attr + "=";
        if (e->vals.empty()) {
            out += e->val;
        } else {
            e->vals.toStringBuffer(out += "[", "|", "");
            out += "]";
        }
    }
    return out;
}

struct ListCase {
    const char* name;
    char against;   // 'm': the fuzz target's method's parameters, 'c': its class's properties, 'p': plain pairs
    const char* text;
    const char* entries;
};

void PrintTo(const ListCase& c, std::ostream* os) { *os << c.against << ' ' << c.text; }

class ListParse : public testing::TestWithParam<ListCase> {};

TEST_P(ListParse, Entries) {
    const ListCase& c = GetParam();
    std::string text = c.text;
    AVPs list = c.against == 'm' ? AVPs(text.c_str(), avpsfuzz::method().parameters)
                : c.against == 'c' ? AVPs(text.c_str(), avpsfuzz::cls().properties) : AVPs(text.c_str());
    EXPECT_EQ(Describe(list), c.entries);
    EXPECT_EQ(text, c.text);   // the caller's text survives
}

INSTANTIATE_TEST_SUITE_P(Texts, ListParse, testing::Values(
    ListCase{"trailing_comma", 'm', "Enable=Y,", "Enable=Y"},
    ListCase{"second_equals", 'm', "Enable=a=b", "Enable=a=b"},
    ListCase{"bare_values", 'm', "Enable=1,2,3", "Enable=[1|2|3]"},
    ListCase{"array_then_pair", 'm', "List=1,2,Other=5", "List=[1|2] ; Other=5"},
    ListCase{"two", 'm', "Enable=Y,Other=5", "Enable=Y ; Other=5"},
    // Undeclared names stay in the list; the caller drops them.
    ListCase{"undeclared_attribute", 'm', "Foo=1,Enable=Y", "Foo=1 ; Enable=Y"},
    // A leading bare token extends the working entry, which is never stored.
    ListCase{"leading_bare_token", 'm', "X,Enable=Y", "Enable=Y"},
    // A bare token naming a declared parameter ends the parse.
    ListCase{"bare_declared_name", 'm', "Foo=1,Enable,Other=2", "Foo=1"},
    ListCase{"empty", 'm', "", ""}, ListCase{"only_a_declared_name", 'm', "Enable", ""},
    // A reference runs up to the next segment that starts a declared name, in any case.
    ListCase{"reference_then_pair", 'm', "Ref=Quilo_X.Tag=\"1\",Other=5", "Ref=Quilo_X.Tag=\"1\" ; Other=5"},
    ListCase{"reference_keys", 'm', "Ref=Quilo_X.Tag=\"1\",Id=2,Other=5", "Ref=Quilo_X.Tag=\"1\",Id=2 ; Other=5"},
    ListCase{"reference_at_the_end", 'm', "Ref=Quilo_X.Tag=\"1\",Id=2", "Ref=Quilo_X.Tag=\"1\",Id=2"},
    ListCase{"piece_of_a_name", 'm', "Ref=Quilo_X.Tag=\"1\",Oth=5", "Ref=Quilo_X.Tag=\"1\" ; Oth=5"},
    ListCase{"name_case", 'm', "ref=Quilo_X.Tag=\"1\",Id=2", "ref=Quilo_X.Tag=\"1\",Id=2"},
    ListCase{"reference_namespace", 'm', "Ref=ns/cimv2:Quilo_X.A=1,B=2", "Ref=ns/cimv2:Quilo_X.A=1,B=2"},
    // Not in array mode a single reference keeps its commas.
    ListCase{"reference_commas", 'm', "Ref=Quilo_Y.A=1,Quilo_Y.A=2", "Ref=Quilo_Y.A=1,Quilo_Y.A=2"},
    // A reference array is cut before every further path.
    ListCase{"reference_array_two", 'm', "Refs=Quilo_X.Tag=\"1\",Id=2,Quilo_X.Tag=\"2\",Id=3",
             "Refs=[Quilo_X.Tag=\"1\",Id=2|Quilo_X.Tag=\"2\",Id=3]"},
    ListCase{"reference_array_of_one", 'm', "Refs=Quilo_X.Tag=\"1\"", "Refs=Quilo_X.Tag=\"1\""},
    ListCase{"reference_array_decimal_point", 'm', "Refs=A.k=1.5,B.k=2", "Refs=[A.k=1.5|B.k=2]"},
    ListCase{"reference_array_then_pair", 'm', "Refs=A.k=1,B.k=2,C.k=3,Enable=N", "Refs=[A.k=1|B.k=2|C.k=3] ; Enable=N"},
    // Once a reference array was seen, later single references split too.
    ListCase{"array_mode_stays", 'm', "Refs=Quilo_X.Tag=\"1\",Ref=Quilo_Y.A=1,Quilo_Y.A=2",
             "Refs=Quilo_X.Tag=\"1\" ; Ref=[Quilo_Y.A=1|Quilo_Y.A=2]"},
    ListCase{"array_property", 'c', "Name=disk1,List=1,2", "Name=disk1 ; List=[1|2]"},
    ListCase{"reference_property_keys", 'c', "Owner=Quilo_X.A=1,B=2,Name=x", "Owner=Quilo_X.A=1,B=2 ; Name=x"},
    // No array mode: a reference keeps all its paths in one value.
    ListCase{"reference_property_paths", 'c', "Owner=Quilo_X.A=1,Quilo_X.A=2", "Owner=Quilo_X.A=1,Quilo_X.A=2"},
    ListCase{"undeclared_property", 'c', "Extra=1,Name=n", "Extra=1 ; Name=n"},
    ListCase{"plain_pairs", 'p', "A=1,B=2", "A=1 ; B=2"},
    // Bare tokens go to a copy of an entry that is already stored.
    ListCase{"plain_bare_tokens", 'p', "A=1,2,3,B=4", "A=1 ; B=4"},
    ListCase{"plain_empty_value", 'p', "A=", "A="},
    ListCase{"plain_no_pair", 'p', "x,y", ""}),
    [](const testing::TestParamInfo<ListCase>& info) { return std::string(info.param.name); });

TEST(AvpsLookup, GetMarksItsEntryAndNotGottenReportsTheRest) {
    AVPs list("Alpha=1,Beta=2,Gamma=3,beta=4");
    EXPECT_EQ(list.check("beta"), 1);
    EXPECT_EQ(list.check("delta"), 0);
    ASSERT_NE(list.get(1u), nullptr);   // by index: does not mark
    EXPECT_EQ(list.get(4u), nullptr);
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("Alpha, Beta, Gamma, beta"));
    ASSERT_NE(list.get("BETA"), nullptr);   // the first of equal names
    EXPECT_EQ(list.get("BETA")->val, "2");
    EXPECT_EQ(list.get("delta"), nullptr);
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("Alpha, Gamma, beta"));
    list.get("alpha");
    list.get("gamma");
    list.get(3u);
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("beta"));
    EXPECT_EQ(AVPs("").notGotten(), std::nullopt);
}

TEST(AvpsMake, OnlyWithTheExpectedCount) {
    const auto size = [](const char* text, unsigned int expected) {
        const std::unique_ptr<AVPs> list = makeAVPs(text, expected);
        return list ? static_cast<int>(list->size()) : -1;
    };
    EXPECT_EQ(size(nullptr, 0), -1);
    EXPECT_EQ(size("A=1,B=2", 1), -1);
    EXPECT_EQ(size("x", 1), -1);
    EXPECT_EQ(size("A=1,B=2", 2), 2);
    EXPECT_EQ(size("", 0), 0);
}

// The count is the number of commas plus one (0 for an empty text); a
// trailing comma counts one more than it yields.
TEST(AListSplit, CountsCommasAndKeepsEmptyMiddlePieces) {
    for (const auto& [text, count, items] : std::vector<std::tuple<const char*, int, const char*>>{
             {"A,B", 2, "A|B"}, {"", 0, ""}, {"Name", 1, "Name"}, {"A,,B", 3, "A||B"}, {"A,B,", 3, "A|B"},
             {nullptr, 0, ""}}) {
        const AList list(text);
        std::string joined;
        for (size_t i = 0; i < list.items.size(); ++i) joined += (i ? "|" : "") + list.items[i];
        EXPECT_EQ(list.count, count) << (text ? text : "(null)");
        EXPECT_EQ(joined, items) << (text ? text : "(null)");
    }
}

}  // namespace
