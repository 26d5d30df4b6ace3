// Properties and values written the way servers write them are read in one
// pass; every other spelling goes through the general element steps. Both
// must give the same objects, and the one-pass reader must leave anything
// that is not exactly its shape to the general steps.
#include "xml/model.h"
#include "xml/render_flags.h"
#include "xml/text.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

using xmltest::FlagGuard;

struct Read {
    std::string name, type, classOrigin, value, rest;
    int kind = 0, valueKind = 0, key = 0;
    bool hasValue = false;
    size_t qualifiers = 0;
};

// The property `text` parses into, and what the scanner has left.
Read readProperty(const std::string& text) {
    XmlBuffer xb(text);
    const PropertyXml p(xb);
    Read r;
    r.name = p.name;
    r.type = p.type;
    r.classOrigin = p.classOrigin();
    r.kind = p.kind;
    r.key = p.key;
    r.qualifiers = p.qualifiers().size();
    r.hasValue = p.value.exists();
    if (r.hasValue) {
        r.valueKind = p.value.val().kind;
        r.value = p.value.val().value;
    }
    r.rest = xb.cur();
    return r;
}

void expectSame(const Read& a, const Read& b, const std::string& label) {
    EXPECT_EQ(a.name, b.name) << label;
    EXPECT_EQ(a.type, b.type) << label;
    EXPECT_EQ(a.classOrigin, b.classOrigin) << label;
    EXPECT_EQ(a.value, b.value) << label;
    EXPECT_EQ(a.rest, b.rest) << label;
    EXPECT_EQ(a.kind, b.kind) << label;
    EXPECT_EQ(a.valueKind, b.valueKind) << label;
    EXPECT_EQ(a.key, b.key) << label;
    EXPECT_EQ(a.hasValue, b.hasValue) << label;
    EXPECT_EQ(a.qualifiers, b.qualifiers) << label;
}

struct Pair {
    const char* plain;     // the servers' spelling
    const char* general;   // the same element spelt otherwise
};

// Each general spelling differs in a way the one-pass reader does not take:
// a blank before ">", attribute names in other case or order, single
// quotes, a blank after "<".
const Pair pairs[] = {
    {"<PROPERTY NAME=\"Model\" TYPE=\"string\"><VALUE>ST600MM0006</VALUE></PROPERTY>!",
     "<PROPERTY NAME=\"Model\" TYPE=\"string\" ><VALUE >ST600MM0006</VALUE></PROPERTY>!"},
    {"<PROPERTY NAME=\"Slot\" TYPE=\"uint32\"><VALUE>8</VALUE></PROPERTY>",
     "<PROPERTY type='uint32' name='Slot'><VALUE>8</VALUE ></PROPERTY>"},
    {"<PROPERTY NAME=\"Empty\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>",
     "< PROPERTY Name=\"Empty\" Type=\"string\"><VALUE></VALUE></PROPERTY>"},
    {"<PROPERTY NAME=\"NoValue\" TYPE=\"string\"></PROPERTY>",
     "<PROPERTY NAME=\"NoValue\"  TYPE=\"string\"></PROPERTY>"},
    {"<PROPERTY NAME=\"Closed\" TYPE=\"string\"/>tail", "<PROPERTY NAME=\"Closed\" TYPE=\"string\" />tail"},
    {"<PROPERTY NAME=\"Short\" TYPE=\"string\"><VALUE/></PROPERTY>",
     "<PROPERTY NAME=\"Short\" TYPE=\"string\"><VALUE /></PROPERTY>"},
    {"<PROPERTY NAME=\"Text\" TYPE=\"string\"><VALUE>a &amp; b &lt;c&gt;</VALUE></PROPERTY>",
     "<PROPERTY NAME='Text' TYPE='string'><VALUE>a &amp; b &lt;c&gt;</VALUE></PROPERTY>"},
    {"<PROPERTY NAME=\"Spaced\" TYPE=\"string\">\n  <VALUE>  x y  </VALUE>\n</PROPERTY>",
     "<PROPERTY NAME=\"Spaced\" TYPE=\"string\" >\n  <VALUE>  x y  </VALUE>\n</PROPERTY>"},
    {"<PROPERTY NAME=\"Tag\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>true</VALUE>"
     "</QUALIFIER><VALUE>v</VALUE></PROPERTY>",
     "<PROPERTY TYPE=\"string\" NAME=\"Tag\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>true</VALUE>"
     "</QUALIFIER><VALUE>v</VALUE></PROPERTY>"},
    // With the class origin, as replies to the queries carry it.
    {"<PROPERTY NAME=\"Time\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\"><VALUE>12:00</VALUE></PROPERTY>!",
     "<PROPERTY TYPE=\"string\" NAME=\"Time\" CLASSORIGIN=\"Quilo_EventLog\"><VALUE>12:00</VALUE></PROPERTY>!"},
    {"<PROPERTY NAME=\"Gone\" CLASSORIGIN=\"\" TYPE=\"uint8\"/>",
     "<PROPERTY NAME=\"Gone\" CLASSORIGIN=\"\" TYPE=\"uint8\" />"},
    {"<PROPERTY NAME=\"Long\" CLASSORIGIN=\"Quilo_RAIDControllerSystem\" TYPE=\"string\"></PROPERTY>",
     "<PROPERTY NAME=\"Long\" classorigin=\"Quilo_RAIDControllerSystem\" TYPE=\"string\"></PROPERTY>"},
};

TEST(PlainShapes, ReadAsTheGeneralStepsReadThem) {
    for (const Pair& p : pairs) expectSame(readProperty(p.plain), readProperty(p.general), p.plain);
}

TEST(PlainShapes, KeepWhatTheyRead) {
    const Read r = readProperty(pairs[0].plain);
    EXPECT_EQ(r.name, "Model");
    EXPECT_EQ(r.type, "string");
    EXPECT_EQ(r.value, "ST600MM0006");
    EXPECT_EQ(r.valueKind, ValueXml::Value);
    EXPECT_EQ(r.rest, "!");
    EXPECT_EQ(readProperty(pairs[7].plain).value, "  x y  ");
    EXPECT_EQ(readProperty(pairs[6].plain).value, "a &amp; b &lt;c&gt;");   // entities kept until rendering
    EXPECT_FALSE(readProperty(pairs[3].plain).hasValue);
    EXPECT_FALSE(readProperty(pairs[4].plain).hasValue);
    EXPECT_EQ(readProperty(pairs[4].plain).rest, "tail");
    EXPECT_EQ(readProperty(pairs[8].plain).key, 1);
    const Read withOrigin = readProperty(pairs[9].plain);
    EXPECT_EQ(withOrigin.name, "Time");
    EXPECT_EQ(withOrigin.classOrigin, "Quilo_EventLog");
    EXPECT_EQ(withOrigin.type, "string");
    EXPECT_EQ(withOrigin.value, "12:00");
    EXPECT_EQ(withOrigin.rest, "!");
    EXPECT_EQ(readProperty(pairs[11].plain).classOrigin, "Quilo_RAIDControllerSystem");
}

// Shapes close to the plain ones that the general steps must read, each
// with what it gives.
TEST(PlainShapes, NearMissesGoThroughTheGeneralSteps) {
    // The other property forms start like PROPERTY.
    Read r = readProperty(
        "<PROPERTY.ARRAY NAME=\"L\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>"
        "</PROPERTY.ARRAY>");
    EXPECT_EQ(r.kind, PropertyXml::Array);
    EXPECT_EQ(r.valueKind, ValueXml::Array);
    r = readProperty("<PROPERTY.REFERENCE NAME=\"R\" REFERENCECLASS=\"C\"></PROPERTY.REFERENCE>");
    EXPECT_EQ(r.kind, PropertyXml::Reference);
    EXPECT_EQ(r.name, "R");
    // A third attribute, or only one.
    r = readProperty("<PROPERTY NAME=\"P\" TYPE=\"string\" CLASSORIGIN=\"C\"><VALUE>v</VALUE></PROPERTY>");
    EXPECT_EQ(r.value, "v");
    r = readProperty("<PROPERTY NAME=\"P\"><VALUE>v</VALUE></PROPERTY>");
    EXPECT_EQ(r.type, "");
    EXPECT_EQ(r.value, "v");
    // CDATA is kept with its markers.
    r = readProperty("<PROPERTY NAME=\"S\" TYPE=\"string\"><VALUE><![CDATA[OK]]></VALUE></PROPERTY>");
    EXPECT_EQ(r.value, "<![CDATA[OK]]>");
    // A NUL byte ends an attribute value and a content, as it ends a C string.
    static const char withNul[] = "<PROPERTY NAME=\"A\0B\" TYPE=\"string\"><VALUE>x\0y</VALUE></PROPERTY>";
    r = readProperty(std::string(withNul, sizeof withNul - 1));
    EXPECT_EQ(r.name, "A");
    EXPECT_EQ(r.value, "x");
}

// After a plain start tag, a body of one VALUE and the end tag is read in
// the same pass; bodies near that shape go through the general steps. Each
// body must read, or fail, as it does after a start tag spelt otherwise.
TEST(PlainShapes, ValueBodiesReadAsTheGeneralStepsReadThem) {
    const std::string plainStart = "<PROPERTY NAME=\"P\" TYPE=\"string\">";
    const std::string generalStart = "<PROPERTY NAME=\"P\" TYPE=\"string\" >";
    const std::string bodies[] = {
        "<VALUE>v</VALUE></PROPERTY>!",
        "\n <VALUE>v w</VALUE>\r\n\t</PROPERTY>\n",
        "<VALUE></VALUE></PROPERTY>",
        "<VALUE>a &amp; b</VALUE></PROPERTY>",
        "<VALUE >v</VALUE></PROPERTY>",
        "<VALUE>v</VALUE ></PROPERTY>",
        "<VALUE>v</VALUE></PROPERTY >",
        "<VALUE>v</VALUE></ PROPERTY>",
        "<VALUE>v</VALUE><VALUE>w</VALUE></PROPERTY>",
        "<VALUE>v</VALUE><!-- c --></PROPERTY>",
        "<VALUE>v</VALUE></PROPERTYX>",
        "<VALUE>v</VALUE></PROPERTY",
        "<VALUE>v</VALUE>",
        "<VALUE>v</VALUE></property>",
        "<VALUE><![CDATA[x]]></VALUE></PROPERTY>",
        "<VALUE>v</VALUE.ARRAY></PROPERTY>",
        "<VALUE.ARRAY><VALUE>v</VALUE></VALUE.ARRAY></PROPERTY>",
        "<VALUE/></PROPERTY>",
        "<VALUE>v",
        std::string("<VALUE>v\0w</VALUE></PROPERTY>", 29),
        std::string("<VALUE>v</VALUE>\0</PROPERTY>", 28),
    };
    const auto outcome = [](const std::string& text) {
        try {
            const Read r = readProperty(text);
            return "name " + r.name + ", value " + std::to_string(r.hasValue) + " " + std::to_string(r.valueKind) +
                   " [" + r.value + "], rest [" + r.rest + "]";
        } catch (const XmlException& e) {
            return "failed: " + e.getMsg();
        }
    };
    for (const std::string& body : bodies)
        EXPECT_EQ(outcome(plainStart + body), outcome(generalStart + body)) << body;
    EXPECT_EQ(outcome(plainStart + bodies[0]), "name P, value 1 1 [v], rest [!]");
}

TEST(PlainShapes, CutShortTheyFailAsTheGeneralStepsFail) {
    struct Row {
        const char* text;
        const char* message;
    };
    const Row rows[] = {
        {"<PROPERTY NAME=\"P\" TYPE=\"str", "Parse Exception: Bad attribute list for PROPERTY: "},
        {"<PROPERTY NAME=\"P\" CLASSORIGIN=\"C\" TYPE=\"str", "Parse Exception: Bad attribute list for PROPERTY: "},
        {"<PROPERTY NAME=\"P\" CLASSORIGINS=\"C\" TYPE=\"string\"/>",
         "Parse Exception: Unknown attribute in list for PROPERTY (CLASSORIGI)"},
        {"<PROPERTY NAME=\"P\" CLASSORIGIN=\"C\" CLASSORIGIN=\"D\" TYPE=\"string\"/>",
         "Parse Exception: Unknown attribute in list for PROPERTY (CLASSORIGI)"},
        {"<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>abc", "Parse Exception: Expecting /VALUE element"},
        {"<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>abc</VALUE", "Parse Exception: Expecting /VALUE element"},
        {"<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>abc</VALUE>",
         "Parse Exception: Expecting /PROPERTY, QUALIFIER or VALUE element"},
        {"<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>a</VALUEX></PROPERTY>", "Parse Exception: Expecting /VALUE element"},
        // A VALUE name that goes on with a dot is taken for VALUE, whose
        // start tag then does not end.
        {"<PROPERTY NAME=\"D\" TYPE=\"string\"><VALUE.X>d</VALUE.X></PROPERTY>",
         "Parse Exception: Bad attribute list for VALUE: "},
    };
    for (const Row& r : rows) {
        try {
            readProperty(r.text);
            ADD_FAILURE() << "no exception for " << r.text;
        } catch (const XmlException& e) {
            EXPECT_EQ(e.getMsg(), r.message) << r.text;
        }
    }
}

TEST(PlainShapes, RenderLikeTheGeneralSpelling) {
    FlagGuard flags;
    for (int typed = 0; typed < 2; ++typed) {
        addType = typed;
        for (const Pair& p : pairs) {
            XmlBuffer a(p.plain), b(p.general);
            std::string textA, textB;
            PropertyXml(a).toStringBuffer(textA, "");
            PropertyXml(b).toStringBuffer(textB, "");
            EXPECT_EQ(textA, textB) << p.plain;
        }
    }
}

// Start tags with the table's first attribute only (INSTANCENAME,
// KEYBINDING, KEYVALUE, INSTANCE) or none, and key values as plain text.
TEST(PlainShapes, InstanceNamesReadAsTheGeneralStepsReadThem) {
    const Pair names[] = {
        {"<INSTANCENAME CLASSNAME=\"Quilo_EventLog\"><KEYBINDING NAME=\"Name\">"
         "<KEYVALUE VALUETYPE=\"string\">Event000</KEYVALUE></KEYBINDING>"
         "<KEYBINDING NAME=\"Slot\"><KEYVALUE VALUETYPE=\"numeric\">8</KEYVALUE></KEYBINDING></INSTANCENAME>;",
         "<INSTANCENAME classname='Quilo_EventLog' ><KEYBINDING NAME = \"Name\">"
         "<KEYVALUE VALUETYPE=\"string\" >Event000</KEYVALUE ></KEYBINDING>"
         "<KEYBINDING Name=\"Slot\"><KEYVALUE valuetype=\"numeric\">8</KEYVALUE></KEYBINDING></INSTANCENAME>;"},
        {"<INSTANCENAME CLASSNAME=\"C\"/>;", "<INSTANCENAME CLASSNAME=\"C\" />;"},
        {"<INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"K\"><KEYVALUE VALUETYPE=\"string\">a&amp;b</KEYVALUE>"
         "</KEYBINDING></INSTANCENAME>;",
         "<INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"K\"><KEYVALUE VALUETYPE=\"string\" >a&amp;b"
         "</KEYVALUE></KEYBINDING ></INSTANCENAME>;"},
    };
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        XmlBuffer a(names[i].plain), b(names[i].general);
        const InstanceNameXml x(a), y(b);
        std::string textX, textY;
        x.toStringBuffer(textX, "");
        y.toStringBuffer(textY, "");
        EXPECT_EQ(std::string(a.cur()), ";") << names[i].plain;
        EXPECT_EQ(std::string(b.cur()), ";") << names[i].general;
        EXPECT_EQ(textX, textY) << names[i].plain;
        ASSERT_EQ(x.keys.size(), y.keys.size());
    }
    XmlBuffer xb(names[0].plain);
    const InstanceNameXml name(xb);
    EXPECT_EQ(name.className, "Quilo_EventLog");
    ASSERT_EQ(name.keys.size(), 2u);
    EXPECT_EQ(name.keys[0].name, "Name");
    EXPECT_EQ(name.keys[0].keyValue.valueType, "string");
    EXPECT_EQ(name.keys[0].keyValue.value, "Event000");
    EXPECT_EQ(name.keys[1].keyValue.value, "8");
}

}  // namespace

namespace {

struct Binding {
    std::string failure, name, valueType, value, rest;
    int kind = 0, refKind = 0;
};

// A key binding read into one that held a reference before, in one pass
// where it can be (traced: the general steps only, as a traced read takes
// them), and what the scanner has left.
Binding readBinding(const std::string& text, bool traced) {
    XmlBuffer before("<KEYBINDING NAME=\"R\"><VALUE.REFERENCE><CLASSNAME NAME=\"C\"/></VALUE.REFERENCE></KEYBINDING>");
    KeyBindingXml k(before);
    XmlBuffer xb(text);
    Binding b;
    if (traced) {
        testing::internal::CaptureStderr();
        DBGX = 1;
    }
    try {
        k.read(xb);
    } catch (const ParseException& e) {
        b.failure = e.getMsg();
    } catch (const std::exception& e) {
        b.failure = std::string("std: ") + e.what();
    }
    if (traced) {
        DBGX = 0;
        testing::internal::GetCapturedStderr();
    }
    if (b.failure.empty()) {
        b.name = k.name;
        b.kind = k.kind;
        b.valueType = k.keyValue.valueType;
        b.value = k.keyValue.value;
        b.refKind = k.refValue.kind;
        b.rest = xb.cur();
    }
    return b;
}

// Every field of a read, in one comparable value.
auto fields(const Binding& b) { return std::tie(b.failure, b.name, b.kind, b.valueType, b.value, b.refKind, b.rest); }

// The servers' spelling and its near misses: each read at once where it
// can be must give what the general steps give, failures included.
TEST(PlainShapes, KeyBindingsReadAsTheGeneralStepsReadThem) {
    using namespace std::string_literals;
    const std::string texts[] = {
        "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">Event:0001</KEYVALUE></KEYBINDING>;",
        "\n <KEYBINDING NAME=\"Name\">\n<KEYVALUE VALUETYPE=\"string\">a&amp;b</KEYVALUE>\n</KEYBINDING>\n;",
        "<KEYBINDING NAME=\"\"><KEYVALUE VALUETYPE=\"\"></KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint8\">7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE>7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\"/></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\"/>7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"/><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME='N'><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\" ><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\"><![CDATA[<7>]]></KEYVALUE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7\0 8</KEYVALUE></KEYBINDING>;"s,
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE ></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDING >;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDINGS>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUEX VALUETYPE=\"string\">7</KEYVALUEX></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><keyvalue VALUETYPE=\"string\">7</keyvalue></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><VALUE.REFERENCE><CLASSNAME NAME=\"C\"/></VALUE.REFERENCE></KEYBINDING>;",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7</KEYVALUE></KEYBINDING>",
        "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"string\">7",
        "<KEYBINDING NAME=\"N",
    };
    for (const std::string& text : texts) {
        EXPECT_EQ(fields(readBinding(text, false)), fields(readBinding(text, true))) << text;
    }
    const Binding plain = readBinding(texts[0], false);
    EXPECT_EQ(plain.name, "Name");
    EXPECT_EQ(plain.kind, KeyBindingXml::KeyValue);
    EXPECT_EQ(plain.valueType, "string");
    EXPECT_EQ(plain.value, "Event:0001");
    EXPECT_EQ(plain.refKind, ValueXml::None);
    EXPECT_EQ(plain.rest, ";");
}

// Names compare without case where CIM compares them; only ASCII letters
// fold, so bytes that differ in the same bit elsewhere stay unequal.
TEST(EqualsNoCase, FoldsLettersOnlyAtEveryLengthAndPlace) {
    const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    const std::pair<char, char> swaps[] = {{'a', 'A'}, {'Z', 'z'}, {'a', 'b'}, {'@', '`'}, {'[', '{'}, {'1', '!'}};
    for (size_t len = 0; len <= 40; ++len) {
        for (size_t at = 0; at <= len; ++at) {
            for (const auto& swap : swaps) {
                std::string a(len, 'q'), b(len, 'q');
                for (size_t i = 0; i < len; ++i) a[i] = b[i] = static_cast<char>('A' + i % 26);
                if (at < len) {
                    a[at] = swap.first;
                    b[at] = swap.second;
                }
                bool expected = true;
                for (size_t i = 0; i < len; ++i) expected = expected && fold(a[i]) == fold(b[i]);
                ASSERT_EQ(equalsNoCase(a, b), expected) << a << " / " << b;
                ASSERT_FALSE(equalsNoCase(a, b + "x")) << a;
            }
        }
    }
}

}  // namespace
