// The text form of the model, byte for byte: the reports search this text
// for "-Name=" and cut values out of it, so every byte is a contract.
#include "xml/envelope.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using xmltest::FlagGuard;

template <class T>
T parse(const std::string& text) {
    XmlBuffer xb(text);
    return T(xb);
}

template <class T>
std::string render(const T& object, const char* q = "") {
    std::string buf;
    object.toStringBuffer(buf, q);
    return buf;
}

const char* const abcInstance =
    "<INSTANCE CLASSNAME=\"X\">"
    "<PROPERTY NAME=\"A\" TYPE=\"string\"><VALUE>x</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"B\" TYPE=\"uint32\"><VALUE>5</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"C\" TYPE=\"string\"></PROPERTY>"
    "</INSTANCE>";

TEST(RenderInstance, DefaultsGiveOneDashedLinePerProperty) {
    FlagGuard guard;
    EXPECT_EQ(render(parse<InstanceXml>(abcInstance)), "-A=\"x\"\n-B=5\n-C=\n");
}

TEST(RenderInstance, EachLineIsThePropertysOwnRendering) {
    // The instance writes the reports' lines itself; a property renders
    // through the general line writer. Both must agree under every flag
    // set, for every kind of type, value and escape.
    FlagGuard guard;
    const InstanceXml instance = parse<InstanceXml>(
        "<INSTANCE CLASSNAME=\"X\">"
        "<PROPERTY NAME=\"Plain\" TYPE=\"string\"><VALUE>x y</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Upper\" TYPE=\"String\"><VALUE>u</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Stringy\" TYPE=\"strings\"><VALUE>s</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Number\" TYPE=\"uint64\"><VALUE>600127266816</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Escapes\" TYPE=\"string\"><VALUE>a &amp; b &lt;c&gt; &quot;q&quot; \\ &apos;</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Empty\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>"
        "<PROPERTY NAME=\"NoValue\" TYPE=\"string\"></PROPERTY>"
        "<PROPERTY NAME=\"NoType\"><VALUE>t</VALUE></PROPERTY>"
        "<PROPERTY.ARRAY NAME=\"List\" TYPE=\"string\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE>"
        "</VALUE.ARRAY></PROPERTY.ARRAY>"
        "<PROPERTY.REFERENCE NAME=\"Ref\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"R\">"
        "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">r</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>"
        "<PROPERTY NAME=\"Last\" TYPE=\"boolean\"><VALUE>true</VALUE></PROPERTY>"
        "</INSTANCE>");
    ASSERT_EQ(instance.properties.size(), 11u);
    // A reference's instance name turns noQuotes off once written: the
    // flags are set again before each rendering.
    const auto setFlags = [](int flags) {
        useNl = flags & 1;
        addType = (flags >> 1) & 1;
        noVal = (flags >> 2) & 1;
        noQuotes = (flags >> 3) & 1;
    };
    for (int flags = 0; flags < 16; ++flags) {
        for (const char* q : {"", "'"}) {
            setFlags(flags);
            const std::string whole = render(instance, q);
            setFlags(flags);
            std::string lines;
            for (size_t i = 0; i < instance.properties.size(); ++i) {
                if (i && !useNl) lines += ",";
                instance.properties[i].toStringBuffer(lines, q);
            }
            EXPECT_EQ(whole, lines) << "flags " << flags << ", quote [" << q << "]";
        }
    }
}

TEST(RenderInstance, WithoutNewLinesPropertiesAreJoinedByCommas) {
    FlagGuard guard;
    useNl = 0;
    EXPECT_EQ(render(parse<InstanceXml>(abcInstance)), "A=\"x\",B=5,C=");
}

TEST(RenderInstance, AppendsAndNeverClears) {
    FlagGuard guard;
    std::string buf = "head\n";
    parse<InstanceXml>(abcInstance).toStringBuffer(buf, "");
    EXPECT_EQ(buf, "head\n-A=\"x\"\n-B=5\n-C=\n");
}

TEST(RenderInstance, QualifiersAreNotRendered) {
    FlagGuard guard;
    const auto inst = parse<InstanceXml>(
        "<INSTANCE CLASSNAME=\"X\"><QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>d</VALUE></QUALIFIER>"
        "<PROPERTY NAME=\"A\" TYPE=\"uint8\"><VALUE>1</VALUE></PROPERTY></INSTANCE>");
    EXPECT_EQ(render(inst), "-A=1\n");
}

struct PropertyCase {
    const char* xml;
    int useNl, addType, noVal, noQuotes, dlmRefs;
    bool key;
    const char* q;
    const char* expected;
};

class RenderProperty : public ::testing::TestWithParam<PropertyCase> {};

TEST_P(RenderProperty, Renders) {
    FlagGuard guard;
    const PropertyCase& c = GetParam();
    PropertyXml p = parse<PropertyXml>(c.xml);
    if (c.key) p.key = 1;
    useNl = c.useNl;
    addType = c.addType;
    noVal = c.noVal;
    noQuotes = c.noQuotes;
    dlmRefs = c.dlmRefs;
    EXPECT_EQ(render(p, c.q), c.expected) << c.xml;
}

const char* const stringProp = "<PROPERTY NAME=\"ModelName\" TYPE=\"string\"><VALUE>ARC &amp; co</VALUE></PROPERTY>";
const char* const arrayProp =
    "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY><VALUE>a</VALUE><VALUE>b</VALUE></VALUE.ARRAY>"
    "</PROPERTY.ARRAY>";
const char* const numArrayProp =
    "<PROPERTY.ARRAY NAME=\"N\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>"
    "</PROPERTY.ARRAY>";
const char* const refProp =
    "<PROPERTY.REFERENCE NAME=\"R\" REFERENCECLASS=\"T\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"T\">"
    "<KEYBINDING NAME=\"k\"><KEYVALUE VALUETYPE=\"string\">v</KEYVALUE></KEYBINDING></INSTANCENAME>"
    "</VALUE.REFERENCE></PROPERTY.REFERENCE>";

INSTANTIATE_TEST_SUITE_P(
    Table, RenderProperty,
    ::testing::Values(
        PropertyCase{stringProp, 1, 0, 0, 0, 0, false, "", "-ModelName=\"ARC & co\"\n"},
        PropertyCase{stringProp, 0, 0, 0, 0, 0, false, "", "ModelName=\"ARC & co\""},
        PropertyCase{stringProp, 1, 0, 0, 1, 0, false, "", "-ModelName=ARC & co\n"},
        PropertyCase{stringProp, 1, 0, 1, 0, 0, false, "", "-ModelName=\n"},
        PropertyCase{stringProp, 1, 1, 0, 0, 0, true, "", "-ModelName#=\"ARC & co\"\n"},
        PropertyCase{stringProp, 1, 0, 0, 0, 0, true, "", "-ModelName=\"ARC & co\"\n"},
        // q goes after the name only; the value's quote is the property's own.
        PropertyCase{stringProp, 1, 0, 0, 0, 0, false, "'", "-ModelName'=\"ARC & co\"\n"},
        PropertyCase{"<PROPERTY NAME=\"S\" TYPE=\"String\"><VALUE>v</VALUE></PROPERTY>", 1, 0, 0, 0, 0, false, "",
                     "-S=\"v\"\n"},
        PropertyCase{"<PROPERTY NAME=\"S\" TYPE=\"strings\"><VALUE>v</VALUE></PROPERTY>", 1, 0, 0, 0, 0, false, "",
                     "-S=v\n"},
        PropertyCase{"<PROPERTY NAME=\"S\"><VALUE>v</VALUE></PROPERTY>", 1, 0, 0, 0, 0, false, "", "-S=v\n"},
        PropertyCase{"<PROPERTY NAME=\"E\" TYPE=\"string\"><VALUE/></PROPERTY>", 1, 0, 0, 0, 0, false, "",
                     "-E=\"\"\n"},
        PropertyCase{"<PROPERTY NAME=\"Q\" TYPE=\"string\"><VALUE>say &quot;hi&quot; C:\\dir</VALUE></PROPERTY>", 1,
                     0, 0, 0, 0, false, "", "-Q=\"say \\\"hi\\\" C:\\\\dir\"\n"},
        PropertyCase{"<PROPERTY NAME=\"C\" TYPE=\"string\"><VALUE><![CDATA[a<b]]></VALUE></PROPERTY>", 1, 0, 0, 0,
                     0, false, "", "-C=\"<![CDATA[a<b]]>\"\n"},
        PropertyCase{arrayProp, 1, 0, 0, 0, 0, false, "", "-P=\"a\",\"b\"\n"},
        PropertyCase{arrayProp, 1, 1, 0, 0, 0, true, "", "-P[]#=\"a\",\"b\"\n"},
        PropertyCase{arrayProp, 0, 0, 0, 1, 0, false, "", "P=a,b"},
        PropertyCase{numArrayProp, 1, 1, 0, 0, 0, false, "", "-N[]=1,2\n"},
        PropertyCase{refProp, 1, 0, 0, 0, 0, false, "", "-R=T.k=\"v\"\n"},
        PropertyCase{refProp, 1, 1, 0, 0, 1, false, "", "-R&={T.k=\"v\"}\n"},
        PropertyCase{refProp, 0, 0, 0, 0, 1, false, "", "R={T.k=\"v\"}"}),
    paramname::Numbered([](const PropertyCase& c) { return c.xml; }));

TEST(RenderKeyBinding, QuotesFollowTheValueType) {
    FlagGuard guard;
    struct Row {
        const char* valueType;   // null: attribute absent
        const char* expected;
    };
    const Row rows[] = {
        {"string", "Name=\"v\""}, {"String", "Name=\"v\""}, {"stringy", "Name=\"v\""},   // a prefix test
        {"str", "Name=v"},        {"numeric", "Name=v"},    {nullptr, "Name=v"},
    };
    for (const Row& r : rows) {
        const std::string attr = r.valueType ? std::string(" VALUETYPE=\"") + r.valueType + "\"" : "";
        const auto kb = parse<KeyBindingXml>("<KEYBINDING NAME=\"Name\"><KEYVALUE" + attr + ">v</KEYVALUE></KEYBINDING>");
        EXPECT_EQ(render(kb, "'"), r.expected) << (r.valueType ? r.valueType : "(absent)");
    }
}

TEST(RenderKeyBinding, NoValAndNoQuotes) {
    FlagGuard guard;
    const auto kb = parse<KeyBindingXml>(
        "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">a&amp;b</KEYVALUE></KEYBINDING>");
    EXPECT_EQ(render(kb), "Tag=\"a&b\"");
    noQuotes = 1;
    EXPECT_EQ(render(kb), "Tag=a&b");
    noVal = 1;
    EXPECT_EQ(render(kb), "Tag");
}

TEST(RenderKeyBinding, ReferenceKeyRendersItsPath) {
    FlagGuard guard;
    const auto kb = parse<KeyBindingXml>(
        "<KEYBINDING NAME=\"Filter\"><VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH>"
        "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"interop\"/></LOCALNAMESPACEPATH>"
        "<INSTANCENAME CLASSNAME=\"F\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">f0</KEYVALUE>"
        "</KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING>");
    EXPECT_EQ(kb.kind, KeyBindingXml::Reference);
    EXPECT_EQ(render(kb), "Filter=root/interop:F.Name=\"f0\"");
}

TEST(RenderKeyValue, QuoteIsTheCallers) {
    FlagGuard guard;
    KeyValueXml kv("a\\b");
    EXPECT_EQ(kv.valueType, "string");
    EXPECT_EQ(render(kv, "'"), "'a\\\\b'");
    noQuotes = 1;
    EXPECT_EQ(render(kv, "'"), "a\\\\b");
}

const char* const twoKeyName =
    "<INSTANCENAME CLASSNAME=\"Quilo_DiskDrive\">"
    "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"Slot\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"
    "</INSTANCENAME>";

TEST(RenderInstanceName, ClassDotAndKeysJoinedByCommas) {
    FlagGuard guard;
    const auto name = parse<InstanceNameXml>(twoKeyName);
    EXPECT_EQ(render(name, ":"), ":Quilo_DiskDrive.Tag=\"1\",Slot=2");
    EXPECT_EQ(render(name), "Quilo_DiskDrive.Tag=\"1\",Slot=2");
}

TEST(RenderInstanceName, KeylessNameEndsInADot) {
    FlagGuard guard;
    EXPECT_EQ(render(parse<InstanceNameXml>("<INSTANCENAME CLASSNAME=\"C\"/>"), ":"), ":C.");
}

TEST(RenderInstanceName, ResetsNoQuotesEveryTime) {
    FlagGuard guard;
    const auto name = parse<InstanceNameXml>(twoKeyName);
    noQuotes = 1;
    EXPECT_EQ(render(name), "Quilo_DiskDrive.Tag=1,Slot=2");   // bare while set
    EXPECT_EQ(noQuotes, 0);
    EXPECT_EQ(render(name), "Quilo_DiskDrive.Tag=\"1\",Slot=2");
}

TEST(RenderInstanceName, ObjectPathKeepsTheNamespacePathAsPrefix) {
    FlagGuard guard;
    XmlBuffer xb(
        "<OBJECTPATH><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
        "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>" +
        std::string(twoKeyName) + "</INSTANCEPATH></OBJECTPATH>");
    InstanceNameXml name(xb, true);
    EXPECT_EQ(name.pathPrefix, "h/root/cimv2");
    EXPECT_EQ(render(name, ":"), "h/root/cimv2:Quilo_DiskDrive.Tag=\"1\",Slot=2");

    XmlBuffer local("<OBJECTPATH><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
                    "</LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME=\"C\"/></LOCALINSTANCEPATH></OBJECTPATH>");
    InstanceNameXml localName(local, true);
    EXPECT_EQ(localName.pathPrefix, "");
    EXPECT_EQ(render(localName, ":"), ":C.");
}

TEST(RenderPaths, NamespacePathsAndReferenceForms) {
    FlagGuard guard;
    const std::string lnsp =
        "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";
    const std::string nsp = "<NAMESPACEPATH><HOST>h</HOST>" + lnsp + "</NAMESPACEPATH>";
    const std::string name = "<INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"k\"><KEYVALUE>1</KEYVALUE>"
                             "</KEYBINDING></INSTANCENAME>";

    EXPECT_EQ(render(parse<NameSpacePathXml>(nsp), "'"), "'h/root/cimv2");
    EXPECT_EQ(render(parse<InstancepathValueXml>("<INSTANCEPATH>" + nsp + name + "</INSTANCEPATH>"), ":"),
              "h/root/cimv2:C.k=1");
    EXPECT_EQ(render(parse<LocalInstancepathValueXml>("<LOCALINSTANCEPATH>" + lnsp + name + "</LOCALINSTANCEPATH>")),
              "root/cimv2:C.k=1");
    EXPECT_EQ(render(parse<InstancenameValueXml>(name), "'"), "'C.k=1");
    EXPECT_EQ(render(parse<ClassnameValueXml>("<CLASSNAME NAME=\"C\"/>")), ">>Not Supported>>");
}

TEST(RenderPaths, NameSpaceMustNeverBePrinted) {
    const auto ns = parse<NameSpaceXml>("<NAMESPACE NAME=\"root\"/>");
    std::string buf;
    try {
        ns.toStringBuffer(buf, "");
        FAIL() << "printed";
    } catch (const CmdException& e) {
        EXPECT_EQ(e.getMsg(), "Cmd Exception: Internal error. never print NameSpaceXml.");
    }
}

TEST(RenderValue, KindsAndQuotes) {
    FlagGuard guard;
    EXPECT_EQ(render(ValueXml("a&lt;b"), "\""), "\"a<b\"");
    EXPECT_EQ(render(parse<ValueXml>("<VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE><VALUE>3</VALUE></VALUE.ARRAY>"),
                     "'"),
              "'1','2','3'");
    EXPECT_EQ(render(parse<ValueXml>("<VALUE.ARRAY/>"), "'"), "");
    EXPECT_EQ(render(ValueXml(), "'"), "");
    EXPECT_EQ(render(parse<ValueXml>("<VALUE.REFERENCE><CLASSNAME NAME=\"C\"/></VALUE.REFERENCE>")),
              ">>Not Supported>>");
}

TEST(RenderFixedTexts, ResultsWithoutATextForm) {
    FlagGuard guard;
    const std::string named = "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"C\"/><INSTANCE CLASSNAME=\"C\"/>"
                              "</VALUE.NAMEDINSTANCE>";
    const auto one = parse<NamedInstanceXml>(named);
    EXPECT_EQ(render(one), "** not implemented **");
    NamedInstancesXml list;
    list.add(one);
    EXPECT_EQ(render(list), "** not implemented **");
    EXPECT_EQ(render(InstancesXml()), "** not implemented **");
    EXPECT_EQ(render(InstanceNamesXml()), "** not implemented **");
    EXPECT_EQ(render(ClassesXml()), "** not implemented **");
    EXPECT_EQ(render(ClassNamesXml()), "** not implemented **");
    EXPECT_EQ(render(ObjectsWithPathXml()), "** not implemented **");
    EXPECT_EQ(render(parse<ObjectWithPathXml>("<VALUE.OBJECTWITHPATH/>")), "** not implemented **");
    EXPECT_EQ(render(parse<ClassNameXml>("<CLASSNAME NAME=\"C\"/>"), "'"), "'C");
}

TEST(RenderClass, PropertiesOnlyLikeAnInstance) {
    FlagGuard guard;
    const auto cls = parse<ClassXml>(
        "<CLASS NAME=\"C\"><QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>d</VALUE></QUALIFIER>"
        "<PROPERTY NAME=\"A\" TYPE=\"string\"><VALUE>x</VALUE></PROPERTY>"
        "<METHOD NAME=\"M\" TYPE=\"uint32\"></METHOD>"
        "<PROPERTY NAME=\"B\" TYPE=\"uint8\"></PROPERTY></CLASS>");
    EXPECT_EQ(render(cls), "-A=\"x\"\n-B=\n");
    useNl = 0;
    EXPECT_EQ(render(cls), "A=\"x\",B=");
}

struct ParameterCase {
    const char* xml;
    const char* value;   // null: no value
    int addType;
    const char* expected;
};

class RenderParameter : public ::testing::TestWithParam<ParameterCase> {};

TEST_P(RenderParameter, MarksAndEqualsOnlyWithAValue) {
    FlagGuard guard;
    ParameterXml p = parse<ParameterXml>(GetParam().xml);
    if (GetParam().value) p.value.set(ValueXml(GetParam().value));
    addType = GetParam().addType;
    EXPECT_EQ(render(p), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RenderParameter,
    ::testing::Values(ParameterCase{"<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>", "Y", 0, "-Enable=\"Y\"\n"},
                      ParameterCase{"<PARAMETER NAME=\"Enable\" TYPE=\"string\"/>", nullptr, 0, "-Enable\n"},
                      ParameterCase{"<PARAMETER NAME=\"Period\" TYPE=\"uint32\"/>", "2", 1, "-Period=2\n"},
                      ParameterCase{"<PARAMETER.ARRAY NAME=\"A\" TYPE=\"uint8\"/>", nullptr, 1, "-A[]\n"},
                      ParameterCase{"<PARAMETER.REFERENCE NAME=\"R\" REFERENCECLASS=\"C\"/>", nullptr, 1, "-R&\n"},
                      ParameterCase{"<PARAMETER.REFARRAY NAME=\"RA\" REFERENCECLASS=\"C\"/>", nullptr, 1,
                                    "-RA#\n"}),
    paramname::Numbered([](const ParameterCase& c) { return c.xml; }));

TEST(RenderMethodResponse, ReturnValueThenOutputParameters) {
    FlagGuard guard;
    const std::string document = xmltest::dataFile("methodresponse-AuthPassword.xml");
    testing::internal::CaptureStdout();
    CimXml cim(document, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "MethodresponseXml:\n");
    const RetValXml* r = cim.getReturnData();
    EXPECT_EQ(render(*r),
              "AuthPassword: ERROR CODE=0x00 OK\nStatus (uint32): 0\nMessage (string): Password \\\"accepted\\\"\n"
              "Retries (uint8): ");
    useNl = 0;
    EXPECT_EQ(render(*r, "'"),
              "AuthPassword: 'ERROR CODE=0x00 OK', Status (uint32): ''0', Message (string): ''Password "
              "\\\"accepted\\\"', Retries (uint8): '");
}

TEST(RenderMethodResponse, WithoutReturnValueStartsWithTheSeparator) {
    FlagGuard guard;
    XmlBuffer xb("<METHODRESPONSE NAME=\"M\"><ERROR CODE=\"1\"/></METHODRESPONSE>");
    testing::internal::CaptureStdout();
    MethodresponseXml rsp(xb, 0);
    testing::internal::GetCapturedStdout();
    XmlBuffer a("<PARAMVALUE NAME=\"A\" PARAMTYPE=\"uint8\"><VALUE>1</VALUE></PARAMVALUE>");
    XmlBuffer b("<PARAMVALUE NAME=\"B\" PARAMTYPE=\"string\"/>");
    rsp.outParms = std::make_unique<ArrayXml<ParamvalueXml>>();
    rsp.outParms->add(ParamvalueXml(a));
    rsp.outParms->add(ParamvalueXml(b));
    EXPECT_EQ(render(rsp), "\nA (uint8): 1\nB (string): ");
}

}  // namespace
