// Request-side renderings of declared properties and parameters, and the
// properties the object path builds from "name=value" text.
#include "xml/classes.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// Stands in for the object path: remembers every text it is asked to parse
// and reads it with a deliberately small grammar,
// scheme://host[:port]/ns1/ns2:Class[.keys].
class FakePath : public ObjectPathRef {
public:
    FakePath(std::string proto, std::string h, StringArray n, std::string cls, std::string k,
             std::shared_ptr<std::vector<std::string>> log)
        : protocol(std::move(proto)), host(std::move(h)), ns(std::move(n)), className(std::move(cls)),
          keys(std::move(k)), parsed(std::move(log)) {}

    const std::string& pathProtocol() const override { return protocol; }
    const std::string& pathHost() const override { return host; }
    const StringArray& pathNameSpace() const override { return ns; }
    const std::string& pathClassName() const override { return className; }
    void keysToXml(std::string& sb) const override { sb += "<KEYS>" + keys + "</KEYS>"; }

    std::unique_ptr<ObjectPathRef> parsePath(const char* text) const override {
        parsed->push_back(text);
        std::string t = text;
        const size_t scheme = t.find("://");
        std::string proto = t.substr(0, scheme);
        t = t.substr(scheme + 3);
        const size_t slash = t.find('/');
        std::string h = t.substr(0, slash);
        if (h.find(':') != std::string::npos) h = h.substr(0, h.find(':'));
        std::string rest = t.substr(slash + 1);
        const size_t colon = rest.find(':');
        StringArray components;
        std::string nsText = rest.substr(0, colon);
        for (size_t start = 0;;) {
            const size_t end = nsText.find('/', start);
            components.add(nsText.substr(start, end - start));
            if (end == std::string::npos) break;
            start = end + 1;
        }
        std::string cls = rest.substr(colon + 1);
        std::string k;
        if (cls.find('.') != std::string::npos) {
            k = cls.substr(cls.find('.') + 1);
            cls = cls.substr(0, cls.find('.'));
        }
        return std::make_unique<FakePath>(proto, h, components, cls, k, parsed);
    }

    std::string protocol, host;
    StringArray ns;
    std::string className, keys;
    std::shared_ptr<std::vector<std::string>> parsed;
};

class RequestXml : public ::testing::Test {
protected:
    std::shared_ptr<std::vector<std::string>> parsed = std::make_shared<std::vector<std::string>>();
    FakePath target{"https", "10.0.0.5", StringArray{"quilo", "cimv2"}, "Quilo_RAIDControllerSystem", "", parsed};

    template <class T>
    static T declared(const std::string& xml) {
        XmlBuffer xb(xml);
        return T(xb);
    }
};

const std::string expectedPath =
    "<INSTANCEPATH><NAMESPACEPATH><HOST>10.0.0.5</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE>"
    "<NAMESPACE NAME=\"cimv2\"></NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH>"
    "<INSTANCENAME CLASSNAME=\"Quilo_X\"><KEYS>Tag=1</KEYS></INSTANCENAME></INSTANCEPATH>";

TEST_F(RequestXml, ScalarPropertyStripsQuotesAndEscapesNothing) {
    const auto p = declared<PropertyXml>("<PROPERTY NAME=\"Name\" TYPE=\"string\"/>");
    struct Row {
        const char* value;   // null: no value given
        int valueOnly;
        const char* expected;
    };
    const Row rows[] = {
        {"\"abc\"", 0, "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>abc</VALUE></PROPERTY>"},
        {"\"abc\"", 1, "<VALUE>abc</VALUE>"},
        {"a<b&c", 1, "<VALUE>a<b&c</VALUE>"},
        {"x\"", 1, "<VALUE>x\"</VALUE>"},
        {"\"", 1, "<VALUE></VALUE>"},
        {nullptr, 0, "\n<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>"},
    };
    for (const Row& r : rows) {
        std::string buf = "<";
        std::unique_ptr<AValue> val = r.value ? std::make_unique<AValue>("Name", r.value) : nullptr;
        p.toXmlBuffer(buf, val.get(), r.valueOnly, &target);
        EXPECT_EQ(buf, std::string("<") + r.expected) << (r.value ? r.value : "(none)");
    }
}

TEST_F(RequestXml, ArrayPropertyMovesTheSingleValueIntoTheList) {
    const auto p = declared<PropertyXml>("<PROPERTY.ARRAY NAME=\"Disks\" TYPE=\"uint8\"/>");
    AValue one("Disks", "\"3\"");
    std::string buf;
    p.toXmlBuffer(buf, &one, 0, &target);
    EXPECT_EQ(buf,
              "\n<PROPERTY.ARRAY NAME=\"Disks\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>3</VALUE></VALUE.ARRAY>"
              "</PROPERTY.ARRAY>");
    EXPECT_EQ(one.val, "");
    EXPECT_EQ(one.vals, (StringArray{"\"3\""}));

    AValue many("Disks", "1");
    many.add("\"2\"");
    buf.clear();
    p.toXmlBuffer(buf, &many, 1, &target);
    EXPECT_EQ(buf, "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>");

    AValue empty("Disks", "");
    buf.clear();
    p.toXmlBuffer(buf, &empty, 1, &target);
    EXPECT_EQ(buf, "<VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>");
    buf.clear();
    p.toXmlBuffer(buf, nullptr, 1, &target);
    EXPECT_EQ(buf, "<VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>");
}

TEST_F(RequestXml, ReferencePropertyReadsThePathInTheTargetsNamespace) {
    const auto p = declared<PropertyXml>("<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"Quilo_X\"/>");
    std::string buf;
    p.toXmlBuffer(buf, nullptr, 0, &target);
    EXPECT_EQ(buf, "\n<PROPERTY.REFERENCE NAME=\"Owner\"><VALUE.REFERENCE></VALUE.REFERENCE></PROPERTY.REFERENCE>");
    EXPECT_TRUE(parsed->empty());

    AValue val("Owner", "Quilo_X.Tag=1");
    buf.clear();
    p.toXmlBuffer(buf, &val, 0, &target);
    ASSERT_EQ(parsed->size(), 1u);
    EXPECT_EQ((*parsed)[0], "https://10.0.0.5:/quilo/cimv2:Quilo_X.Tag=1");
    EXPECT_EQ(buf, "\n<PROPERTY.REFERENCE NAME=\"Owner\"><VALUE.REFERENCE>" + expectedPath +
                       "</VALUE.REFERENCE></PROPERTY.REFERENCE>");
}

TEST_F(RequestXml, ReferenceNamingItsOwnNamespaceIsReadAsGiven) {
    const auto p = declared<PropertyXml>("<PROPERTY.REFERENCE NAME=\"Owner\"/>");
    AValue val("Owner", "10.0.0.5/quilo/cimv2:Quilo_X.Tag=1");
    std::string buf;
    p.toXmlBuffer(buf, &val, 1, &target);
    ASSERT_EQ(parsed->size(), 1u);
    EXPECT_EQ((*parsed)[0], "https://10.0.0.5/quilo/cimv2:Quilo_X.Tag=1");
    EXPECT_EQ(buf, "<VALUE.REFERENCE>" + expectedPath + "</VALUE.REFERENCE>");
}

TEST_F(RequestXml, ParameterElementsFollowTheirKind) {
    struct Row {
        const char* declaration;
        const char* expected;
    };
    const Row rows[] = {
        {"<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>",
         "\n<PARAMETER NAME=\"Enable\" TYPE=\"string\"><VALUE></VALUE></PARAMETER>"},
        {"<PARAMETER.ARRAY NAME=\"Addr\" TYPE=\"string\"/>",
         "\n<PARAMETER.ARRAY NAME=\"Addr\" TYPE=\"string\"><VALUE.ARRAY><VALUE></VALUE></VALUE.ARRAY>"
         "</PARAMETER.ARRAY>"},
        {"<PARAMETER.REFERENCE NAME=\"Port\" REFERENCECLASS=\"C\"/>",
         "\n<PARAMETER.REFERENCE NAME=\"Port\"><VALUE.REFERENCE></VALUE.REFERENCE></PARAMETER.REFERENCE>"},
        {"<PARAMETER.REFARRAY NAME=\"Gws\" REFERENCECLASS=\"C\"/>",
         "\n<PARAMETER.REFARRAY NAME=\"Gws\" TYPE=\"\"><VALUE.REFARRAY><VALUE.REFERENCE></VALUE.REFERENCE>"
         "</VALUE.REFARRAY></PARAMETER.REFARRAY>"},
    };
    for (const Row& r : rows) {
        std::string buf;
        declared<ParameterXml>(r.declaration).toXmlBuffer(buf, nullptr, 0, &target);
        EXPECT_EQ(buf, r.expected) << r.declaration;
    }
}

TEST_F(RequestXml, ParameterValuesWithValueOnly) {
    std::string buf;
    AValue enable("Enable", "\"Y\"");
    declared<ParameterXml>("<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>").toXmlBuffer(buf, &enable, 1, &target);
    EXPECT_EQ(buf, "<VALUE>Y</VALUE>");

    buf.clear();
    AValue gateways("Gws", "Quilo_X.Tag=1");
    gateways.add("Quilo_X.Tag=1");
    declared<ParameterXml>("<PARAMETER.REFARRAY NAME=\"Gws\"/>").toXmlBuffer(buf, &gateways, 1, &target);
    EXPECT_EQ(buf, "<VALUE.REFARRAY><VALUE.REFERENCE>" + expectedPath + "</VALUE.REFERENCE><VALUE.REFERENCE>" +
                       expectedPath + "</VALUE.REFERENCE></VALUE.REFARRAY>");
    EXPECT_EQ(parsed->size(), 2u);
}

TEST_F(RequestXml, RefToXmlBufferRendersOneReference) {
    const auto p = declared<ParameterXml>("<PARAMETER.REFERENCE NAME=\"Port\"/>");
    std::string buf;
    p.refToXmlBuffer(buf, "Quilo_X.Tag=1", &target);
    EXPECT_EQ(buf, "<VALUE.REFERENCE>" + expectedPath + "</VALUE.REFERENCE>");
    buf.clear();
    p.refToXmlBuffer(buf, nullptr, &target);
    EXPECT_EQ(buf, "<VALUE.REFERENCE></VALUE.REFERENCE>");
}

TEST_F(RequestXml, PathParserFailuresPassThrough) {
    class Refusing : public FakePath {
    public:
        using FakePath::FakePath;
        std::unique_ptr<ObjectPathRef> parsePath(const char*) const override {
            throw URLException("Invalid port number");
        }
    };
    Refusing refusing{"https", "h", StringArray{"root"}, "C", "", parsed};
    const auto p = declared<PropertyXml>("<PROPERTY.REFERENCE NAME=\"Owner\"/>");
    AValue val("Owner", "X.k=1");
    std::string buf;
    EXPECT_THROW(p.toXmlBuffer(buf, &val, 0, &refusing), URLException);
}

struct TextCase {
    const char* text;
    const char* name;
    const char* type;
    const char* value;
};

class PropertyFromText : public ::testing::TestWithParam<TextCase> {};

TEST_P(PropertyFromText, InfersTheTypeFromTheValueAsWritten) {
    const TextCase& c = GetParam();
    const PropertyXml p(c.text, false);
    EXPECT_EQ(p.name, c.name);
    EXPECT_EQ(p.type, c.type);
    EXPECT_EQ(p.kind, PropertyXml::Plain);
    ASSERT_TRUE(p.value.exists());
    EXPECT_EQ(p.value.val().kind, ValueXml::Value);
    EXPECT_EQ(p.value.val().value, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PropertyFromText,
    ::testing::Values(TextCase{"Enable=true", "Enable", "boolean", "true"},
                      TextCase{"Enable=FaLsE", "Enable", "boolean", "FaLsE"},
                      TextCase{"Enable=truth", "Enable", "string", "truth"},
                      TextCase{"Id=2", "Id", "numeric", "2"}, TextCase{"Id=-15", "Id", "numeric", "-15"},
                      TextCase{"Id=+7", "Id", "numeric", "+7"}, TextCase{"Id=+", "Id", "numeric", "+"},
                      TextCase{"Id=-", "Id", "numeric", "-"}, TextCase{"Id=1.5", "Id", "string", "1.5"},
                      TextCase{"Id=1-2", "Id", "string", "1-2"}, TextCase{"Tag=\"1\"", "Tag", "string", "1"},
                      TextCase{"Tag=\"true\"", "Tag", "string", "true"}, TextCase{"Tag=\"", "Tag", "string", ""},
                      TextCase{"Tag=", "Tag", "string", ""}, TextCase{"a=b=c", "a", "string", "b=c"},
                      TextCase{"=v", "", "string", "v"}),
    paramname::Numbered([](const TextCase& c) { return c.text; }));

TEST(PropertyFromTextErrors, TextWithoutEqualsIsRefused) {
    try {
        PropertyXml p("Tag", false);
        FAIL() << "accepted";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Invalid name-value pair");
    }
}

TEST(PropertyFromTextErrors, ReferenceKeyAndItsTextForm) {
    xmltest::FlagGuard guard;
    const PropertyXml ref("Antecedent=quilo/cimv2:Quilo_X", true);
    EXPECT_EQ(ref.kind, PropertyXml::Reference);
    EXPECT_EQ(ref.value.val().value, "quilo/cimv2:Quilo_X");

    const PropertyXml tag("Tag=\"1\"", false);
    const PropertyXml id("Id=2", false);
    std::string buf;
    useNl = 0;
    tag.toStringBuffer(buf, "");
    buf += ",";
    id.toStringBuffer(buf, "");
    EXPECT_EQ(buf, "Tag=\"1\",Id=2");
}

}  // namespace
