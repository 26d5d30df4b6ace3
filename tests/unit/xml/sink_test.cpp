// An enumeration read with a sink: the instances of a list go there one at a
// time, in order, and the reply is still read and checked to its end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "xml/envelope.h"
#include "xml_test_util.h"

namespace {

using xmltest::iReply;

std::string Named(const std::string& id) {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\"><KEYBINDING NAME=\"InstanceID\">"
           "<KEYVALUE VALUETYPE=\"string\">" + id + "</KEYVALUE></KEYBINDING></INSTANCENAME>"
           "<INSTANCE CLASSNAME=\"Quilo_EventLog\"><PROPERTY NAME=\"InstanceID\" TYPE=\"string\"><VALUE>" + id +
           "</VALUE></PROPERTY><PROPERTY NAME=\"Type\" TYPE=\"string\"><VALUE>Power On</VALUE></PROPERTY>"
           "</INSTANCE></VALUE.NAMEDINSTANCE>\n";
}

std::string Rendered(const NamedInstanceXml& item) {
    std::string text;
    item.name.toStringBuffer(text, ":");
    text += '|';
    item.instance.toStringBuffer(text, "");
    return text;
}

// Keeps the rendering of each instance it is given.
struct Collect : NamedInstanceSink {
    std::vector<std::string> seen;
    void take(NamedInstanceXml& item) override { seen.push_back(Rendered(item)); }
};

TEST(NamedInstanceSink, ListGoesToTheSinkInOrderAndTheResultIsEmpty) {
    const std::string body = iReply(Named("1") + Named("2") + Named("3"));
    CimXml plain(body, 0);
    auto* list = dynamic_cast<NamedInstancesXml*>(plain.getReturnData());
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->items.size(), 3u);

    Collect sink;
    CimXml streamed(body, 0, &sink);
    std::unique_ptr<RetValXml> result = streamed.takeReturnData();
    ASSERT_EQ(result->type, TypeNamedInstances);
    EXPECT_TRUE(static_cast<NamedInstancesXml&>(*result).items.empty());
    ASSERT_EQ(sink.seen.size(), 3u);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(sink.seen[i], Rendered(list->items[i])) << i;
}

TEST(NamedInstanceSink, SingleInstanceStaysTheResult) {
    Collect sink;
    CimXml streamed(iReply(Named("9")), 0, &sink);
    std::unique_ptr<RetValXml> result = streamed.takeReturnData();
    EXPECT_EQ(result->type, TypeNamedInstance);
    EXPECT_TRUE(sink.seen.empty());
}

TEST(NamedInstanceSink, OtherResultsAreKeptAsWithoutASink) {
    Collect sink;
    const std::string instance = "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"A\" TYPE=\"string\"></PROPERTY></INSTANCE>";
    CimXml streamed(iReply(instance + instance), 0, &sink);
    std::unique_ptr<RetValXml> result = streamed.takeReturnData();
    ASSERT_EQ(result->type, TypeInstances);
    EXPECT_EQ(static_cast<InstancesXml&>(*result).items.size(), 2u);
    EXPECT_TRUE(sink.seen.empty());
}

// The instances before the fault were taken; the fault still ends the parse.
TEST(NamedInstanceSink, FaultAfterTheTakenInstancesStillFails) {
    Collect sink;
    const std::string body = iReply(Named("1") + Named("2") + "<VALUE.NAMEDINSTANCE><INSTANCENAME>");
    try {
        CimXml streamed(body, 0, &sink);
        FAIL() << "parsed";
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Expecting /INSTANCENAME element");
    }
    EXPECT_EQ(sink.seen.size(), 2u);
}

TEST(NamedInstanceSink, ServerErrorReachesTheCallerWithNothingTaken) {
    Collect sink;
    CimXml streamed(xmltest::reply("<IMETHODRESPONSE NAME=\"EnumerateInstances\"><ERROR CODE=\"6\" "
                                   "DESCRIPTION=\"gone\"/></IMETHODRESPONSE>"),
                    0, &sink);
    EXPECT_THROW(streamed.takeReturnData(), ErrorXml);
    EXPECT_TRUE(sink.seen.empty());
}

}  // namespace
