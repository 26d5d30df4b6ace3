// The object model beyond the text form: what each element keeps, empty
// element forms, result kinds, ownership and copies, and the key helpers.
#include "xml/envelope.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using xmltest::FlagGuard;
using xmltest::iReply;
using xmltest::reply;

template <class T>
T parse(const std::string& text) {
    XmlBuffer xb(text);
    return T(xb);
}

TEST(Qualifiers, KeyQualifierSetsTheFlagInAnyCase) {
    struct Row {
        const char* name;
        int key;
    };
    const Row rows[] = {{"\"KEY\"", 1}, {"\"Key\"", 1}, {"'key'", 1}, {"\"Keys\"", 0}, {"\"Description\"", 0}};
    for (const Row& r : rows) {
        const auto p = parse<PropertyXml>(std::string("<PROPERTY NAME=\"a\" TYPE=\"string\"><QUALIFIER NAME=") +
                                          r.name + " TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER></PROPERTY>");
        EXPECT_EQ(p.key, r.key) << r.name;
    }
}

TEST(Qualifiers, ALaterQualifierDoesNotClearTheKeyFlag) {
    const auto p = parse<PropertyXml>(
        "<PROPERTY NAME=\"Tag\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER>"
        "<QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>d</VALUE></QUALIFIER><VALUE>v</VALUE></PROPERTY>");
    EXPECT_EQ(p.key, 1);
    ASSERT_EQ(p.qualifiers.size(), 2u);
    EXPECT_EQ(p.qualifiers[0].key, 1);
    EXPECT_EQ(p.qualifiers[1].key, 0);
    EXPECT_EQ(p.qualifiers[1].text, "<QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>d</VALUE></QUALIFIER>");
    EXPECT_EQ(p.value.val().value, "v");

    // A copy has qualifiers of its own; a property without any reads none.
    PropertyXml copy = p;
    copy.qualifiers.add(copy.qualifiers[0]);
    EXPECT_EQ(p.qualifiers.size(), 2u);
    EXPECT_EQ(copy.qualifiers.size(), 3u);
    EXPECT_TRUE(parse<PropertyXml>("<PROPERTY NAME=\"N\" TYPE=\"string\"/>").qualifiers.empty());
}

TEST(Qualifiers, AnEmptyQualifierRunsOnToTheNextQualifiersEndTag) {
    const auto p = parse<PropertyXml>(
        "<PROPERTY NAME=\"Tag\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"/>"
        "<QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>d</VALUE></QUALIFIER><VALUE>v</VALUE></PROPERTY>");
    ASSERT_EQ(p.qualifiers.size(), 1u);
    EXPECT_EQ(p.key, 1);
    EXPECT_EQ(p.qualifiers[0].text,
              "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"/><QUALIFIER NAME=\"Description\" TYPE=\"string\">"
              "<VALUE>d</VALUE></QUALIFIER>");
    EXPECT_EQ(p.value.val().value, "v");
}

TEST(Qualifiers, AnEmptyQualifierWithoutALaterEndTagLeavesTheAttributesUnread) {
    try {
        parse<PropertyXml>("<PROPERTY NAME=\"Tag\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"/></PROPERTY>");
        FAIL() << "parsed";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Expecting /PROPERTY, QUALIFIER or VALUE element");
    }
}

TEST(Properties, AttributesAreKeptPerKind) {
    const auto plain = parse<PropertyXml>(
        "<PROPERTY NAME=\"n\" TYPE=\"string\" CLASSORIGIN=\"C\" PROPAGATED=\"true\" EmbeddedObject=\"object\"/>");
    EXPECT_EQ(plain.kind, PropertyXml::Plain);
    EXPECT_EQ(plain.classOrigin, "C");
    EXPECT_EQ(plain.propagated, "true");
    EXPECT_EQ(plain.embeddedObject, "object");
    EXPECT_FALSE(plain.value.exists());
    EXPECT_THROW(plain.value.val(), DoesNotExist);

    const auto ref = parse<PropertyXml>("<PROPERTY.REFERENCE NAME=\"r\" REFERENCECLASS=\"T\" CLASSORIGIN=\"C\"/>");
    EXPECT_EQ(ref.kind, PropertyXml::Reference);
    EXPECT_EQ(ref.referenceClass, "T");
    EXPECT_EQ(ref.type, "");
    EXPECT_EQ(ref.arraySize, "");
    PropertyXml copy = ref;   // a deep copy: the original goes, the copy keeps its texts
    {
        const PropertyXml gone = std::move(copy);
        copy = gone;
    }
    EXPECT_EQ(copy.referenceClass, "T");
    EXPECT_EQ(copy.classOrigin, "C");
    EXPECT_EQ(plain.referenceClass, "");

    const auto array = parse<PropertyXml>("<PROPERTY.ARRAY NAME=\"a\" TYPE=\"uint8\" ARRAYSIZE=\"4\"></PROPERTY.ARRAY>");
    EXPECT_EQ(array.kind, PropertyXml::Array);
    EXPECT_EQ(array.type, "uint8");
    EXPECT_EQ(array.arraySize, "4");
}

TEST(Values, ContentIsKeptAsReceived) {
    const auto v = parse<ValueXml>("<VALUE>a &amp; b</VALUE>");
    EXPECT_EQ(v.kind, ValueXml::Value);
    EXPECT_EQ(v.value, "a &amp; b");
    EXPECT_EQ(v.type, TypeValue);
}

TEST(EmptyForms, ChildlessElementsCloseThemselvesAndLeaveTheirSiblings) {
    XmlBuffer xb("<VALUE.ARRAY/><VALUE>x</VALUE>");
    const ValueXml array(xb);
    EXPECT_EQ(array.kind, ValueXml::Array);
    EXPECT_TRUE(array.elements.empty());
    const ValueXml next(xb);
    EXPECT_EQ(next.value, "x");

    EXPECT_EQ(parse<ValueXml>("<VALUE/>").value, "");
    EXPECT_EQ(parse<KeyValueXml>("<KEYVALUE VALUETYPE=\"string\"/>").value, "");
    EXPECT_EQ(parse<HostXml>("<HOST/>").host, "");
    EXPECT_TRUE(parse<LocalNameSpacePathXml>("<LOCALNAMESPACEPATH/>").ns.empty());
    EXPECT_EQ(parse<NameSpaceXml>("<NAMESPACE NAME=\"root\"/>").name, "root");
    EXPECT_EQ(parse<InstanceNameXml>("<INSTANCENAME CLASSNAME=\"C\"/>").className, "C");
    EXPECT_EQ(parse<InstanceXml>("<INSTANCE CLASSNAME=\"C\"/>").className, "C");
    EXPECT_EQ(parse<ClassXml>("<CLASS NAME=\"C\" SUPERCLASS=\"B\"/>").superclass, "B");
    EXPECT_EQ(parse<MethodXml>("<METHOD NAME=\"m\" TYPE=\"uint32\"/>").type, "uint32");
    EXPECT_EQ(parse<ParameterXml>("<PARAMETER NAME=\"p\" TYPE=\"string\"/>").type, "string");
    EXPECT_EQ(parse<ParamvalueXml>("<PARAMVALUE NAME=\"p\" PARAMTYPE=\"string\"/>").value, nullptr);
    EXPECT_EQ(parse<ClassNameXml>("<CLASSNAME NAME=\"C\"/>").name, "C");

    XmlBuffer instances("<INSTANCE CLASSNAME=\"A\"/><INSTANCE CLASSNAME=\"B\"/>");
    InstanceXml a(instances);
    InstanceXml b(instances);
    EXPECT_EQ(b.className, "B");
}

TEST(EmptyForms, NamespacesInTheirEmptyForm) {
    const auto path = parse<LocalInstancepathValueXml>(
        "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"interop\"/>"
        "</LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME=\"C\"/></LOCALINSTANCEPATH>");
    ASSERT_EQ(path.ns.size(), 2u);
    EXPECT_EQ(path.ns[1].name, "interop");
}

TEST(Envelope, TagNamesAreCaseSensitiveButAttributeNamesAreNot) {
    CimXml cim(iReply("<INSTANCE classname=\"C\"></INSTANCE>"), 0);
    EXPECT_EQ(dynamic_cast<InstanceXml*>(cim.getReturnData())->className, "C");
    EXPECT_THROW(CimXml(iReply("<instance CLASSNAME=\"C\"/>"), 0), ParseException);
}

TEST(Envelope, TheCallersBodyIsNotTouched) {
    const std::string body = iReply("<INSTANCE CLASSNAME=\"C\"><PROPERTY NAME=\"p\"><VALUE>x</VALUE></PROPERTY></INSTANCE>");
    const std::string copy = body;
    CimXml cim(body, 0);
    EXPECT_EQ(body, copy);
    EXPECT_EQ(cim.cimVersion, "2.0");
    EXPECT_EQ(cim.dtdVersion, "2.0");
    EXPECT_EQ(cim.message->id, "7");
    EXPECT_EQ(cim.message->protocolVersion, "1.0");
}

TEST(Envelope, TextAfterTheCimElementIsNotRead) {
    CimXml cim(iReply("<CLASSNAME NAME=\"C\"/>") + "trailing <junk", 0);
    EXPECT_NE(dynamic_cast<ClassNameXml*>(cim.getReturnData()), nullptr);
}

struct ResultCase {
    std::string content;
    int type;
    size_t count;   // entries of a list result; 1 for a single object
};

class ResultKinds : public ::testing::TestWithParam<ResultCase> {};

size_t countOf(RetValXml* r) {
    if (auto* l = dynamic_cast<InstancesXml*>(r)) return l->items.size();
    if (auto* l = dynamic_cast<ClassesXml*>(r)) return l->items.size();
    if (auto* l = dynamic_cast<InstanceNamesXml*>(r)) return l->items.size();
    if (auto* l = dynamic_cast<NamedInstancesXml*>(r)) return l->items.size();
    if (auto* l = dynamic_cast<ObjectsWithPathXml*>(r)) return l->items.size();
    if (auto* l = dynamic_cast<ClassNamesXml*>(r)) return l->items.size();
    return 1;
}

TEST_P(ResultKinds, TheFirstChildDecides) {
    CimXml cim(iReply(GetParam().content), 0);
    RetValXml* r = cim.getReturnData();
    EXPECT_EQ(r->type, GetParam().type);
    EXPECT_EQ(countOf(r), GetParam().count);
}

const std::string namedInstance =
    "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"C\"/><INSTANCE CLASSNAME=\"C\"/></VALUE.NAMEDINSTANCE>";
const std::string objectPath =
    "<OBJECTPATH><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>"
    "<INSTANCENAME CLASSNAME=\"C\"/></LOCALINSTANCEPATH></OBJECTPATH>";
const std::string objectWithPath =
    "<VALUE.OBJECTWITHPATH><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>"
    "<INSTANCENAME CLASSNAME=\"C\"/></LOCALINSTANCEPATH><INSTANCE CLASSNAME=\"C\"/></VALUE.OBJECTWITHPATH>";

INSTANTIATE_TEST_SUITE_P(
    Table, ResultKinds,
    ::testing::Values(
        ResultCase{"<INSTANCE CLASSNAME=\"C\"/>", TypeInstance, 1},
        ResultCase{"<INSTANCE CLASSNAME=\"C\"/><INSTANCE CLASSNAME=\"D\"/>", TypeInstances, 2},
        ResultCase{"<CLASS NAME=\"C\"/>", TypeClass, 1},
        ResultCase{"<CLASS NAME=\"C\"/><CLASS NAME=\"D\"/><CLASS NAME=\"E\"/>", TypeClasses, 3},
        ResultCase{"<INSTANCENAME CLASSNAME=\"C\"/>", TypeInstanceName, 1},
        ResultCase{"<INSTANCENAME CLASSNAME=\"C\"/><INSTANCENAME CLASSNAME=\"D\"/>", TypeInstanceNames, 2},
        ResultCase{objectPath, TypeInstanceName, 1},
        ResultCase{(objectPath + objectPath), TypeInstanceNames, 2},
        ResultCase{namedInstance, TypeNamedInstance, 1},
        ResultCase{(namedInstance + namedInstance), TypeNamedInstances, 2},
        ResultCase{objectWithPath, TypeObjectWithPath, 1},
        ResultCase{(objectWithPath + objectWithPath), TypeObjectsWithPath, 2},
        ResultCase{"<CLASSNAME NAME=\"C\"/>", TypeClassName, 1},
        ResultCase{"<CLASSNAME NAME=\"C\"/><CLASSNAME NAME=\"D\"/>", TypeClassNames, 2},
        ResultCase{"<VALUE>1</VALUE>", TypeValue, 1},
        ResultCase{"<VALUE.ARRAY><VALUE>1</VALUE></VALUE.ARRAY>", TypeValue, 1},
        ResultCase{"<VALUE.REFERENCE><CLASSNAME NAME=\"C\"/></VALUE.REFERENCE>", TypeValue, 1}),
    paramname::Numbered([](const ResultCase& c) { return c.content; }));

TEST(Responses, AResponseWithoutResultIsNoReturnValue) {
    const std::string docs[] = {
        reply("<IMETHODRESPONSE NAME=\"M\"/>"),
        reply("<IMETHODRESPONSE NAME=\"M\"></IMETHODRESPONSE>"),
        reply("<IMETHODRESPONSE NAME=\"M\"><IRETURNVALUE/></IMETHODRESPONSE>"),
        reply("<IMETHODRESPONSE NAME=\"M\"><IRETURNVALUE></IRETURNVALUE></IMETHODRESPONSE>"),
        reply("<METHODRESPONSE NAME=\"M\"/>"),
        reply("<METHODRESPONSE NAME=\"M\"></METHODRESPONSE>"),
    };
    for (const std::string& doc : docs) {
        testing::internal::CaptureStdout();
        EXPECT_THROW(CimXml(doc, 0), NoReturnValue) << doc;
        testing::internal::GetCapturedStdout();
    }
}

TEST(Responses, TheMethodResponseLineIsPrintedBeforeParsing) {
    testing::internal::CaptureStdout();
    EXPECT_THROW(CimXml(reply("<METHODRESPONSE NAME=\"M\" ?>"), 0), ParseException);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "MethodresponseXml:\n");
    testing::internal::CaptureStdout();
    CimXml(iReply("<CLASSNAME NAME=\"C\"/>"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Responses, AMethodResponseIsItsOwnResult) {
    testing::internal::CaptureStdout();
    CimXml cim(reply("<METHODRESPONSE NAME=\"ClearLog\"><RETURNVALUE/></METHODRESPONSE>"), 0);
    testing::internal::GetCapturedStdout();
    RetValXml* r = cim.getReturnData();
    EXPECT_EQ(r->type, TypeMethodresponse);
    EXPECT_EQ(dynamic_cast<ResponseXml*>(r), cim.message->simplersp->response.get());
    std::string buf;
    r->toStringBuffer(buf, "");
    EXPECT_EQ(buf, "ClearLog: ");
}

TEST(Responses, ErrorsAreThrownOnAccessNotWhileParsing) {
    testing::internal::CaptureStdout();
    CimXml method(reply("<METHODRESPONSE NAME=\"M\"><ERROR CODE=\"16\" DESCRIPTION=\"busy\"/></METHODRESPONSE>"), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_THROW(method.getReturnData(), ErrorXml);
    EXPECT_THROW(method.takeReturnData(), ErrorXml);
    CimXml intrinsic(reply("<IMETHODRESPONSE NAME=\"M\"><ERROR CODE=\"4\"></ERROR></IMETHODRESPONSE>"), 0);
    try {
        intrinsic.takeReturnData();
        FAIL() << "no error";
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.getMsg(), "Cim: (4) CIM_ERR_INVALID_PARAMETER: ");
    }
}

TEST(Responses, TakeReturnDataMovesTheResultOut) {
    std::unique_ptr<RetValXml> taken;
    {
        CimXml cim(iReply("<CLASSNAME NAME=\"C\"/>"), 0);
        taken = cim.takeReturnData();
        EXPECT_THROW(cim.getReturnData(), EmptyValue);
    }
    auto* name = dynamic_cast<ClassNameXml*>(taken.get());
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->name, "C");
}

TEST(Copies, ValuesAndResultsCopyDeeply) {
    FlagGuard guard;
    const ValueXml original = parse<ValueXml>(
        "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"k\"><KEYVALUE>1</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME></VALUE.REFERENCE>");
    ValueXml copy = original;
    static_cast<InstancenameValueXml&>(*copy.ref).name.className = "D";
    std::string a, b;
    original.toStringBuffer(a, "");
    copy.toStringBuffer(b, "");
    EXPECT_EQ(a, "C.k=1");
    EXPECT_EQ(b, "D.k=1");
    copy = original;
    b.clear();
    copy.toStringBuffer(b, "");
    EXPECT_EQ(b, "C.k=1");

    const ValueXml array = parse<ValueXml>("<VALUE.ARRAY><VALUE>x</VALUE><VALUE>y</VALUE></VALUE.ARRAY>");
    ValueXml arrayCopy = array;
    arrayCopy.elements[0].value = "z";
    arrayCopy.elements.add(ValueXml("w"));
    EXPECT_EQ(array.elements.size(), 2u);
    EXPECT_EQ(array.elements[0].value, "x");
    EXPECT_EQ(arrayCopy.elements.size(), 3u);
    arrayCopy = parse<ValueXml>("<VALUE>v</VALUE>");   // replaced by a plain value: no array left
    EXPECT_TRUE(arrayCopy.elements.empty());

    const auto owp = parse<ObjectWithPathXml>(objectWithPath);
    const auto cloned = owp.clone();
    const auto* c = dynamic_cast<const ObjectWithPathXml*>(cloned.get());
    ASSERT_NE(c, nullptr);
    ASSERT_NE(dynamic_cast<const LocalInstancepathValueXml*>(c->path.get()), nullptr);
    EXPECT_NE(c->path.get(), owp.path.get());

    const std::string document = xmltest::dataFile("methodresponse-AuthPassword.xml");
    testing::internal::CaptureStdout();
    CimXml cim(document, 0);
    testing::internal::GetCapturedStdout();
    const auto rspCopy = cim.getReturnData()->clone();
    std::string x, y;
    cim.getReturnData()->toStringBuffer(x, "");
    rspCopy->toStringBuffer(y, "");
    EXPECT_EQ(x, y);
    EXPECT_NE(x.find("Message (string): Password"), std::string::npos);
}

TEST(Keys, PropagateKeyFlagsOnlySetsFlags) {
    auto inst = parse<InstanceXml>(
        "<INSTANCE CLASSNAME=\"C\"><PROPERTY NAME=\"Tag\" TYPE=\"string\"/><PROPERTY NAME=\"Other\" TYPE=\"string\"/>"
        "<PROPERTY NAME=\"Slot\" TYPE=\"uint8\"><QUALIFIER NAME=\"key\" TYPE=\"boolean\"><VALUE>true</VALUE>"
        "</QUALIFIER></PROPERTY></INSTANCE>");
    EXPECT_EQ(inst.properties[2].key, 1);
    ArrayXml<PropertyXml> pathKeys;
    pathKeys.add(PropertyXml("TAG=\"1\"", false));
    inst.propagateKeyFlags(pathKeys);
    EXPECT_EQ(inst.properties[0].key, 1);
    EXPECT_EQ(inst.properties[1].key, 0);
    EXPECT_EQ(inst.properties[2].key, 1);

    const auto name = parse<InstanceNameXml>(
        "<INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"other\"><KEYVALUE>1</KEYVALUE></KEYBINDING></INSTANCENAME>");
    inst.propagateKeyFlags(name.keys);
    EXPECT_EQ(inst.properties[1].key, 1);
    EXPECT_EQ(inst.properties[0].key, 1);
}

TEST(Keys, ClassKeepsKeyPropertiesTwiceAndChecksPaths) {
    const auto cls = parse<ClassXml>(
        "<CLASS NAME=\"C\"><PROPERTY NAME=\"EnclosureNumber\" TYPE=\"uint8\"><QUALIFIER NAME=\"Key\" "
        "TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER></PROPERTY><PROPERTY NAME=\"Model\" TYPE=\"string\"/>"
        "<PROPERTY NAME=\"SlotNumber\" TYPE=\"uint8\"><QUALIFIER NAME=\"KEY\" TYPE=\"boolean\"></QUALIFIER></PROPERTY>"
        "</CLASS>");
    ASSERT_EQ(cls.properties.size(), 3u);
    ASSERT_EQ(cls.keys.size(), 2u);
    EXPECT_EQ(cls.keys[0].name, "EnclosureNumber");
    EXPECT_EQ(cls.keys[1].name, "SlotNumber");

    ArrayXml<PropertyXml> path;
    path.add(PropertyXml("slotnumber=3", false));
    EXPECT_EQ(cls.keysOk(path), 0);
    path.add(PropertyXml("ENCLOSURENUMBER=1", false));
    EXPECT_EQ(cls.keysOk(path), 1);

    const auto keyless = parse<ClassXml>("<CLASS NAME=\"K\"><PROPERTY NAME=\"a\" TYPE=\"string\"/></CLASS>");
    EXPECT_EQ(keyless.keysOk(ArrayXml<PropertyXml>()), 1);
}

}  // namespace
