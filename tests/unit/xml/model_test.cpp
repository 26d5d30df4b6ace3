// The object model as the operations and reports see it: which result a
// reply gives, elements in their empty form, responses without a result,
// the text form under the rendering switches, byte for byte (the reports
// search that text for "-Name=" and cut values out of it), and the sink an
// enumeration is read with.
#include "xml/envelope.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using xmltest::reply;

struct Row {
    const char* name;
    std::string reply;   // a whole reply, or what its IRETURNVALUE holds
    const char* flags;   // n: useNl off, t: addType, v: noVal, q: noQuotes, r: dlmRefs
    const char* q;
    std::string expected;
};

// What the reply printed, then its result (see describe) or what was thrown.
std::string outcome(const Row& r) {
    xmltest::FlagGuard guard;
    const std::string flags = r.flags;
    testing::internal::CaptureStdout();
    std::string text;
    try {
        CimXml cim(r.reply.rfind("<?xml", 0) == 0 ? r.reply : xmltest::iReply(r.reply), 0);
        useNl = flags.find('n') == std::string::npos;
        addType = flags.find('t') != std::string::npos;
        noVal = flags.find('v') != std::string::npos;
        noQuotes = flags.find('q') != std::string::npos;
        dlmRefs = flags.find('r') != std::string::npos;
        text = xmltest::describe(*cim.getReturnData(), r.q);
    } catch (const NoReturnValue&) {
        text = "no return value";
    } catch (const XmlException& e) {
        text = e.getMsg();
    }
    return testing::internal::GetCapturedStdout() + text;
}

class Results : public ::testing::TestWithParam<Row> {};

TEST_P(Results, Read) { EXPECT_EQ(outcome(GetParam()), GetParam().expected) << GetParam().reply; }

std::string property(const char* name, const char* type, const std::string& content) {
    return std::string("<PROPERTY NAME=\"") + name + "\"" + (type ? std::string(" TYPE=\"") + type + "\"" : "") +
           ">" + content + "</PROPERTY>";
}
std::string instance(const std::string& content) { return "<INSTANCE CLASSNAME=\"X\">" + content + "</INSTANCE>"; }
std::string qualifier(const char* name, const std::string& value = "true") {
    return std::string("<QUALIFIER NAME=") + name + " TYPE=\"boolean\"><VALUE>" + value + "</VALUE></QUALIFIER>";
}
std::string keyBinding(const char* name, const char* type, const char* value = "v") {
    return std::string("<KEYBINDING NAME=\"") + name + "\"><KEYVALUE" +
           (type ? std::string(" VALUETYPE=\"") + type + "\"" : "") + ">" + value + "</KEYVALUE></KEYBINDING>";
}

const std::string model = instance(property("ModelName", "string", "<VALUE>ARC &amp; co</VALUE>"));
const std::string list = "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY><VALUE>a</VALUE><VALUE>b</VALUE>"
                         "</VALUE.ARRAY></PROPERTY.ARRAY>";
const std::string numbers = "<PROPERTY.ARRAY NAME=\"N\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE>"
                            "</VALUE.ARRAY></PROPERTY.ARRAY>";
const std::string ref = "<PROPERTY.REFERENCE NAME=\"R\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"T\">" +
                        keyBinding("k", "string") + "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>";
const std::string keys = "<INSTANCENAME CLASSNAME=\"C\">" + keyBinding("a", "String") + keyBinding("b", "str") +
                         keyBinding("c", nullptr) + "</INSTANCENAME>";
const std::string path = "<OBJECTPATH><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
                         "</LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME=\"C\"/></LOCALINSTANCEPATH></OBJECTPATH>";
const std::string cls = "<CLASS NAME=\"C\"><PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY/></PROPERTY.ARRAY>" +
                        property("Q", "string", "<VALUE/>") +
                        "<METHOD NAME=\"m\" TYPE=\"uint32\"/><METHOD NAME=\"n\"><PARAMETER NAME=\"p\" TYPE=\"string\"/>"
                        "<PARAMETER.ARRAY NAME=\"a\"/><PARAMETER.REFERENCE NAME=\"r\"/><PARAMETER.REFARRAY NAME=\"s\"/>"
                        "</METHOD></CLASS>";

INSTANTIATE_TEST_SUITE_P(
    Table, Results,
    ::testing::Values(
        // Result kinds and empty forms: the first child decides; an element in
        // its empty form leaves its siblings to be read.
        Row{"ObjectPathsAreInstanceNames", path + path, "", "", "InstanceNames: C.\nC.\n"},
        Row{"EmptyFormsInAPath",
            "<VALUE.OBJECTWITHPATH><INSTANCEPATH><NAMESPACEPATH><HOST/><LOCALNAMESPACEPATH/></NAMESPACEPATH>"
            "<INSTANCENAME CLASSNAME=\"C\"/></INSTANCEPATH><INSTANCE CLASSNAME=\"C\"/></VALUE.OBJECTWITHPATH>",
            "", "", "ObjectWithPath: C.\n"},
        // A class renders its properties; describe() adds its methods' parameters.
        Row{"EmptyFormsInAClass", cls, "", "", "Class: -P=\n-Q=\"\"\n-p\n|-a\n|-r\n|-s\n"},
        Row{"TagNamesKeepTheirCase", "<instance CLASSNAME=\"C\"/>", "", "",
            "Parse Exception: Expecting INSTANCE, CLASS or ... element"},
        Row{"TextAfterTheCimElementIsNotRead", xmltest::iReply("<CLASSNAME NAME=\"C\"/>") + "trailing <junk", "", "",
            "ClassName: C"},
        Row{"NestingBelowTheLimit",
            xmltest::repeat("<VALUE.ARRAY>", 60) + "<VALUE>x</VALUE>" + xmltest::repeat("</VALUE.ARRAY>", 60), "", "",
            "Value: x"},
        // Responses without a result. A method response prints its line
        // before it is read.
        Row{"EmptyIMethodResponse", reply("<IMETHODRESPONSE NAME=\"M\"></IMETHODRESPONSE>"), "", "", "no return value"},
        Row{"EmptyIReturnValue", reply("<IMETHODRESPONSE NAME=\"M\"><IRETURNVALUE/></IMETHODRESPONSE>"), "", "",
            "no return value"},
        Row{"EmptyMethodResponse", reply("<METHODRESPONSE NAME=\"M\"/>"), "", "",
            "MethodresponseXml:\nno return value"},
        Row{"MethodResponseLineBeforeReading", reply("<METHODRESPONSE NAME=\"M\" ?>"), "", "",
            "MethodresponseXml:\nParse Exception: Bad attribute list for METHODRESPONSE: "},
        // The rendering switches.
        Row{"MethodResponseWithoutNewLines", xmltest::dataFile("methodresponse-AuthPassword.xml"), "n", "'",
            "MethodresponseXml:\nMethodresponse: AuthPassword: 'ERROR CODE=0x00 OK', Status (uint32): ''0', "
            "Message (string): ''Password \\\"accepted\\\"', Retries (uint8): '"},
        Row{"WithoutNewLinesAndQualifiers",
            instance(qualifier("\"Description\"", "d") + property("A", "string", "<VALUE>x</VALUE>") +
                     property("B", "uint32", "<VALUE>5</VALUE>") + property("C", "string", "")),
            "n", "", "Instance: A=\"x\",B=5,C="},
        Row{"NoQuotesOnValues", model, "q", "", "Instance: -ModelName=ARC & co\n"},
        Row{"NoVal", model, "v", "", "Instance: -ModelName=\n"},
        Row{"QuoteAfterTheName", model, "", "'", "Instance: -ModelName'=\"ARC & co\"\n"},
        Row{"OnlyTypeStringIsQuoted",
            instance(property("S", "String", "<VALUE>v</VALUE>") + property("T", "strings", "<VALUE>v</VALUE>") +
                     property("U", nullptr, "<VALUE>v</VALUE>") + property("E", "string", "<VALUE/>")),
            "", "", "Instance: -S=\"v\"\n-T=v\n-U=v\n-E=\"\"\n"},
        Row{"TypeMarks",
            instance(property("K", "string", qualifier("\"Key\"") + "<VALUE>v</VALUE>") + list + numbers + ref),
            "t", "", "Instance: -K#=\"v\"\n-P[]=\"a\",\"b\"\n-N[]=1,2\n-R&=T.k=\"v\"\n"},
        // A parameter (without a value, as a reply has it) writes no "=", and
        // marks a reference array "#".
        Row{"ParameterTypeMarks", cls, "t", "", "Class: -P[]=\n-Q=\"\"\n-p\n|-a[]\n|-r&\n|-s#\n"},
        Row{"DelimitedReferencesWithoutNewLines", instance(list + ref), "nr", "",
            "Instance: P=\"a\",\"b\",R={T.k=\"v\"}"},
        // An instance name switches noQuotes off once written: the next
        // property is quoted again.
        Row{"NoQuotesEndsWithAnInstanceName", instance(list + ref + property("S", "string", "<VALUE>x</VALUE>")), "q",
            "", "Instance: -P=a,b\n-R=T.k=v\n-S=\"x\"\n"},
        // The Key qualifier is found by its NAME in any case, in its start tag
        // only, and a later qualifier does not take it back.
        Row{"KeyQualifier",
            instance(property("a", "string", qualifier("\"KEY\"")) + property("b", "string", qualifier("'key'")) +
                     property("c", "string", qualifier("\"Keys\"")) +
                     property("d", "string", qualifier("\"Description\"", "NAME=\"key\"")) +
                     property("e", "string", qualifier("\"Key\"") + qualifier("\"Description\"", "d"))),
            "t", "", "Instance: -a#=\n-b#=\n-c=\n-d=\n-e#=\n"},
        // A key binding quotes every VALUETYPE that begins with "string".
        Row{"KeyValueQuotesFollowTheValueType", keys, "", ":", "InstanceName: :C.a=\"v\",b=v,c=v"},
        Row{"KeyBindingsWithoutValues", keys, "v", "", "InstanceName: C.a,b,c"},
        Row{"KeyBindingsWithoutQuotes", keys, "q", "", "InstanceName: C.a=v,b=v,c=v"}),
    xmltest::RowName());

// The scanner cuts the body it reads in place: that must be its own copy.
TEST(Envelope, TheCallersBodyIsNotTouched) {
    const std::string body = xmltest::iReply(instance(property("p", "string", "<VALUE>x &lt; y</VALUE>")));
    const std::string copy = body;
    CimXml cim(body, 0);
    EXPECT_EQ(body, copy);
}

// An enumeration read with a sink: each instance of a list goes there once,
// in order, and the reply is still read and checked to its end; a single
// instance, or any other result, stays the result.
std::string named(const char* id) {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"E\">" + keyBinding("Id", "string", id) + "</INSTANCENAME>" +
           instance("") + "</VALUE.NAMEDINSTANCE>\n";
}

struct Collect : NamedInstanceSink {
    void take(NamedInstanceXml& item) override { item.name.toStringBuffer(seen, " "); }
    std::string seen;
};

TEST(NamedInstanceSink, TakesEachInstanceOfAListOnceInOrder) {
    Collect sink;
    CimXml cim(xmltest::iReply(named("1") + named("2") + named("3")), 0, &sink);
    const std::unique_ptr<RetValXml> result = cim.takeReturnData();
    ASSERT_EQ(result->type, TypeNamedInstances);
    EXPECT_TRUE(static_cast<NamedInstancesXml&>(*result).items.empty());
    EXPECT_EQ(sink.seen, " E.Id=\"1\" E.Id=\"2\" E.Id=\"3\"");
}

TEST(NamedInstanceSink, TakesNeitherASingleInstanceNorAnotherResult) {
    Collect sink;
    CimXml single(xmltest::iReply(named("9")), 0, &sink);
    EXPECT_EQ(single.takeReturnData()->type, TypeNamedInstance);
    CimXml instances(xmltest::iReply("<INSTANCE CLASSNAME=\"C\"/><INSTANCE CLASSNAME=\"D\"/>"), 0, &sink);
    const std::unique_ptr<RetValXml> result = instances.takeReturnData();
    ASSERT_EQ(result->type, TypeInstances);
    EXPECT_EQ(static_cast<InstancesXml&>(*result).items.size(), 2u);
    EXPECT_EQ(sink.seen, "");
}

// Values read for a sink are views into the body; they render as the same
// values read into a list. A single instance, which outlives the body, holds
// copies of its values.
std::string withValues(const char* id) {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"E\">" + keyBinding("Id", "string", id) +
           "</INSTANCENAME>" +
           instance(property("s", "string", std::string("<VALUE>a &amp; ") + id + "</VALUE>") +
                    property("e", "string", "<VALUE/>") + property("n", "uint8", "") +
                    "<PROPERTY.ARRAY NAME=\"a\" TYPE=\"string\"><VALUE.ARRAY><VALUE>x</VALUE><VALUE>" + id +
                    "</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>") +
           "</VALUE.NAMEDINSTANCE>\n";
}

struct Render : NamedInstanceSink {
    void take(NamedInstanceXml& item) override {
        item.instance.toStringBuffer(seen, "");
        seen += ";";
    }
    std::string seen;
};

TEST(NamedInstanceSink, ValuesLentFromTheBodyReadAsWhenCopied) {
    const std::string body = xmltest::iReply(withValues("1") + withValues("2"));
    Render sink;
    CimXml lent(body, 0, &sink);
    CimXml copied(body, 0);
    std::string expected;
    for (const NamedInstanceXml& item : static_cast<NamedInstancesXml&>(*copied.getReturnData()).items) {
        item.instance.toStringBuffer(expected, "");
        expected += ";";
    }
    EXPECT_EQ(sink.seen, expected);
    EXPECT_EQ(sink.seen,
              "-s=\"a & 1\"\n-e=\"\"\n-n=\n-a=\"x\",\"1\"\n;-s=\"a & 2\"\n-e=\"\"\n-n=\n-a=\"x\",\"2\"\n;");
}

TEST(NamedInstanceSink, ASingleInstanceKeepsItsValues) {
    Render sink;
    std::unique_ptr<RetValXml> result;
    {
        CimXml single(xmltest::iReply(withValues("7")), 0, &sink);
        result = single.takeReturnData();
    }
    ASSERT_EQ(result->type, TypeNamedInstance);
    const InstanceXml& item = static_cast<NamedInstanceXml&>(*result).instance;
    ASSERT_EQ(item.properties.size(), 4u);
    EXPECT_EQ(item.properties[0].value.val().value, "a &amp; 7");
    EXPECT_EQ(item.properties[0].value.val().text(), "a &amp; 7");
    EXPECT_EQ(item.properties[3].value.val().elements[1].value, "7");
    std::string text;
    item.toStringBuffer(text, "");
    EXPECT_EQ(text, "-s=\"a & 7\"\n-e=\"\"\n-n=\n-a=\"x\",\"7\"\n");
    EXPECT_EQ(sink.seen, "");
}

// keep() leaves no text of the item in the body: the instance name's class
// and keys, the instance's class, its property names, types and values.
TEST(NamedInstanceSink, KeepCopiesEveryLentText) {
    XmlBuffer xb(withValues("7"));
    xb.lending = true;
    NamedInstanceXml item(xb);
    const auto inBody = [&](std::string_view text) { return text.data() >= xb.begin() && text.data() < xb.end(); };
    ASSERT_TRUE(inBody(item.name.className));
    item.keep();
    std::vector<std::string_view> texts = {item.name.className, item.instance.className};
    for (const KeyBindingXml& k : item.name.keys)
        texts.insert(texts.end(), {k.name, k.keyValue.valueType, k.keyValue.value});
    for (const PropertyXml& p : item.instance.properties) {
        texts.insert(texts.end(), {p.name, p.type});
        if (!p.value.exists()) continue;
        texts.push_back(p.value.val().text());
        for (const ValueXml& e : p.value.val().elements) texts.push_back(e.text());
    }
    ASSERT_EQ(texts.size(), 18u);
    for (size_t i = 0; i < texts.size(); ++i) EXPECT_FALSE(inBody(texts[i])) << i << ": " << texts[i];
}

// The instances before a fault were taken; the fault still ends the parse.
TEST(NamedInstanceSink, AFaultAfterTakenInstancesStillFails) {
    Collect sink;
    const std::string body = xmltest::iReply(named("1") + named("2") + "<VALUE.NAMEDINSTANCE><INSTANCENAME>");
    EXPECT_THROW(CimXml(body, 0, &sink), ParseException);
    EXPECT_EQ(sink.seen, " E.Id=\"1\" E.Id=\"2\"");
}

}  // namespace
