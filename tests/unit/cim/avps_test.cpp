// Attribute/value lists: the three parses, lookups, and AList.
#include "cim/avps.h"
#include "xml/classes.h"
#include "xml/xml_buffer.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

// A method as a provider declares it: a plain, an array, a reference and a
// reference-array parameter.
const char* const kMethod =
    "<METHOD NAME=\"SetUp\" TYPE=\"uint32\">"
    "<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>"
    "<PARAMETER NAME=\"Members\" TYPE=\"uint32\"/>"
    "<PARAMETER.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "<PARAMETER.REFERENCE NAME=\"Ref\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER.REFARRAY NAME=\"Refs\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PARAMETER NAME=\"Other\" TYPE=\"uint32\"/>"
    "</METHOD>";

const char* const kClass =
    "<CLASS NAME=\"Quilo_Thing\">"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE>"
    "</QUALIFIER></PROPERTY>"
    "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_X\"/>"
    "<PROPERTY.ARRAY NAME=\"List\" TYPE=\"uint32\"/>"
    "</CLASS>";

const ArrayXml<ParameterXml>& declaredParameters() {
    static const MethodXml method = [] {
        XmlBuffer xb(kMethod);
        return MethodXml(xb);
    }();
    return method.parameters;
}

const ArrayXml<PropertyXml>& declaredProperties() {
    static const ClassXml cls = [] {
        XmlBuffer xb(kClass);
        return ClassXml(xb);
    }();
    return cls.properties;
}

// "name=value" per entry, "name=[v1|v2]" for a multi-valued one, joined by
// " ; ".
std::string describe(AVPs& list) {
    std::string out;
    for (unsigned int i = 0; i < list.size(); ++i) {
        const AValue* e = list.get(i);
        if (i) out += " ; ";
        out += e->attr + "=";
        if (e->vals.empty()) {
            out += e->val;
            continue;
        }
        out += "[";
        e->vals.toStringBuffer(out, "|", "");
        out += "]";
    }
    return out;
}

struct ListCase {
    const char* text;
    const char* entries;
};

std::ostream& operator<<(std::ostream& os, const ListCase& c) { return os << c.text; }

TEST(AvpsDeclarations, FixturesParse) {
    ASSERT_EQ(declaredParameters().size(), 6u);
    EXPECT_EQ(declaredParameters()[3].kind, ParameterXml::Reference);
    EXPECT_EQ(declaredParameters()[4].kind, ParameterXml::RefArray);
    ASSERT_EQ(declaredProperties().size(), 3u);
    EXPECT_EQ(declaredProperties()[1].kind, PropertyXml::Reference);
}

// ---- against a method's parameters ------------------------------------------

class ParameterParse : public ::testing::TestWithParam<ListCase> {};

TEST_P(ParameterParse, Entries) {
    std::string text = GetParam().text;
    AVPs list(text.c_str(), declaredParameters());
    EXPECT_EQ(describe(list), GetParam().entries);
    EXPECT_EQ(text, GetParam().text);   // the caller's text survives
}

const ListCase kParameterCases[] = {
    {"Enable=Y", "Enable=Y"},
    {"Enable=Y,", "Enable=Y"},
    {"Enable=a=b", "Enable=a=b"},
    {"Members=1,2,3", "Members=[1|2|3]"},
    {"List=1,2,Other=5", "List=[1|2] ; Other=5"},
    {"Enable=Y,Other=5", "Enable=Y ; Other=5"},
    // Undeclared names stay in the list; the caller drops them.
    {"Foo=1,Enable=Y", "Foo=1 ; Enable=Y"},
    // A leading bare token extends the working entry, which is never stored.
    {"X,Enable=Y", "Enable=Y"},
    // A bare token naming a declared parameter ends the parse.
    {"Foo=1,Enable,Other=2", "Foo=1"},
    {"", ""},
    {"Enable", ""},
    // A reference runs up to the next segment that starts a declared name.
    {"Ref=Quilo_X.Tag=\"1\",Other=5", "Ref=Quilo_X.Tag=\"1\" ; Other=5"},
    {"Ref=Quilo_X.Tag=\"1\",Id=2,Other=5", "Ref=Quilo_X.Tag=\"1\",Id=2 ; Other=5"},
    {"Ref=Quilo_X.Tag=\"1\",Id=2", "Ref=Quilo_X.Tag=\"1\",Id=2"},
    // "Oth" begins the declared name Other.
    {"Ref=Quilo_X.Tag=\"1\",Oth=5", "Ref=Quilo_X.Tag=\"1\" ; Oth=5"},
    // Declared names match in any case.
    {"ref=Quilo_X.Tag=\"1\",Id=2", "ref=Quilo_X.Tag=\"1\",Id=2"},
    {"Ref=ns/cimv2:Quilo_X.A=1,B=2", "Ref=ns/cimv2:Quilo_X.A=1,B=2"},
    // Not in array mode a single reference keeps its commas.
    {"Ref=Quilo_Y.A=1,Quilo_Y.A=2", "Ref=Quilo_Y.A=1,Quilo_Y.A=2"},
    // A reference array is cut before every further path.
    {"Refs=Quilo_X.Tag=\"1\",Id=2,Quilo_X.Tag=\"2\",Id=3", "Refs=[Quilo_X.Tag=\"1\",Id=2|Quilo_X.Tag=\"2\",Id=3]"},
    {"Refs=Quilo_X.Tag=\"1\"", "Refs=Quilo_X.Tag=\"1\""},
    {"Refs=A.k=1.5,B.k=2", "Refs=[A.k=1.5|B.k=2]"},
    {"Refs=A.k=1,B.k=2,C.k=3,Enable=N", "Refs=[A.k=1|B.k=2|C.k=3] ; Enable=N"},
    // Once a reference array was seen, later single references split too.
    {"Refs=Quilo_X.Tag=\"1\",Ref=Quilo_Y.A=1,Quilo_Y.A=2", "Refs=Quilo_X.Tag=\"1\" ; Ref=[Quilo_Y.A=1|Quilo_Y.A=2]"},
};

INSTANTIATE_TEST_SUITE_P(Texts, ParameterParse, ::testing::ValuesIn(kParameterCases),
                         paramname::Numbered([](const ListCase& c) { return c.text; }));

// ---- against a class's properties -------------------------------------------

class PropertyParse : public ::testing::TestWithParam<ListCase> {};

TEST_P(PropertyParse, Entries) {
    AVPs list(GetParam().text, declaredProperties());
    EXPECT_EQ(describe(list), GetParam().entries);
}

const ListCase kPropertyCases[] = {
    {"Name=disk1", "Name=disk1"},
    {"Name=disk1,List=1,2", "Name=disk1 ; List=[1|2]"},
    {"Owner=Quilo_X.A=1,B=2,Name=x", "Owner=Quilo_X.A=1,B=2 ; Name=x"},
    // No array mode: a reference keeps all its paths in one value.
    {"Owner=Quilo_X.A=1,Quilo_X.A=2", "Owner=Quilo_X.A=1,Quilo_X.A=2"},
    {"Extra=1,Name=n", "Extra=1 ; Name=n"},
    {"Name=n,List", "Name=n"},
};

INSTANTIATE_TEST_SUITE_P(Texts, PropertyParse, ::testing::ValuesIn(kPropertyCases),
                         paramname::Numbered([](const ListCase& c) { return c.text; }));

// ---- plain pairs ------------------------------------------------------------

class PlainParse : public ::testing::TestWithParam<ListCase> {};

TEST_P(PlainParse, Entries) {
    AVPs list(GetParam().text);
    EXPECT_EQ(describe(list), GetParam().entries);
}

const ListCase kPlainCases[] = {
    {"A=1", "A=1"},
    {"A=1,B=2", "A=1 ; B=2"},
    // Bare tokens go to a copy of an entry that is already stored.
    {"A=1,2,3,B=4", "A=1 ; B=4"},
    {"A=b=c", "A=b=c"},
    {"A=", "A="},
    {"x,y", ""},
    {"", ""},
};

INSTANTIATE_TEST_SUITE_P(Texts, PlainParse, ::testing::ValuesIn(kPlainCases),
                         paramname::Numbered([](const ListCase& c) { return c.text; }));

// ---- lookups ----------------------------------------------------------------

TEST(AvpsLookup, GetMarksAndNotGottenReportsTheRest) {
    AVPs list("Alpha=1,Beta=2,Gamma=3");
    EXPECT_EQ(list.check("beta"), 1);
    EXPECT_EQ(list.check("delta"), 0);
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("Alpha, Beta, Gamma"));

    ASSERT_NE(list.get(1u), nullptr);   // by index: does not mark
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("Alpha, Beta, Gamma"));

    AValue* beta = list.get("BETA");
    ASSERT_NE(beta, nullptr);
    EXPECT_EQ(beta->attr, "Beta");
    EXPECT_EQ(beta->val, "2");
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("Alpha, Gamma"));

    EXPECT_EQ(list.get("delta"), nullptr);
    list.get("alpha");
    list.get("gamma");
    EXPECT_EQ(list.notGotten(), std::nullopt);
    EXPECT_EQ(list.get(3u), nullptr);
}

TEST(AvpsLookup, GetTakesTheFirstOfEqualNames) {
    AVPs list("A=1,a=2");
    ASSERT_NE(list.get("a"), nullptr);
    EXPECT_EQ(list.get("A")->val, "1");
    EXPECT_EQ(list.notGotten(), std::optional<std::string>("a"));
}

TEST(AvpsLookup, EmptyListHasNothingNotGotten) {
    AVPs list("");
    EXPECT_EQ(list.size(), 0u);
    EXPECT_EQ(list.notGotten(), std::nullopt);
}

struct MakeCase {
    const char* text;
    unsigned int expected;
    bool made;
};

std::ostream& operator<<(std::ostream& os, const MakeCase& c) {
    return os << (c.text ? c.text : "(null)") << " expecting " << c.expected;
}

class MakeAvps : public ::testing::TestWithParam<MakeCase> {};

TEST_P(MakeAvps, OnlyWithTheExpectedCount) {
    std::unique_ptr<AVPs> list = makeAVPs(GetParam().text, GetParam().expected);
    EXPECT_EQ(list != nullptr, GetParam().made);
    if (list) {
        EXPECT_EQ(list->size(), GetParam().expected);
    }
}

const MakeCase kMakeCases[] = {
    {nullptr, 0, false}, {"A=1", 1, true}, {"A=1,B=2", 1, false},
    {"A=1,B=2", 2, true}, {"", 0, true},   {"x", 1, false},
};

INSTANTIATE_TEST_SUITE_P(Texts, MakeAvps, ::testing::ValuesIn(kMakeCases),
                         paramname::Numbered([](const MakeCase& c) { return c.text; }));

// ---- AList ------------------------------------------------------------------

struct AListCase {
    const char* text;
    int count;
    const char* items;   // joined by "|"
};

std::ostream& operator<<(std::ostream& os, const AListCase& c) { return os << (c.text ? c.text : "(null)"); }

class AListSplit : public ::testing::TestWithParam<AListCase> {};

TEST_P(AListSplit, Items) {
    AList list(GetParam().text);
    EXPECT_EQ(list.count, GetParam().count);
    std::string items;
    for (size_t i = 0; i < list.items.size(); ++i) items += (i ? "|" : "") + list.items[i];
    EXPECT_EQ(items, GetParam().items);
}

const AListCase kAListCases[] = {
    {"A,B", 2, "A|B"}, {"", 0, ""},      {"Name", 1, "Name"}, {"A,,B", 3, "A||B"},
    {"A,B,", 3, "A|B"}, {nullptr, 0, ""},
};

INSTANTIATE_TEST_SUITE_P(Texts, AListSplit, ::testing::ValuesIn(kAListCases),
                         paramname::Numbered([](const AListCase& c) { return c.text; }));

TEST(AListSplit, EmptyMiddlePieceIsAnItem) {
    AList list("A,,B");
    ASSERT_EQ(list.items.size(), 3u);
    EXPECT_EQ(list.items[1], "");
}

}  // namespace
