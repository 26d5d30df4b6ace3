// A reply read while it arrives, a window at a time: every item list, every
// failure and every other result must come out as when the body is read
// whole, however the bytes come in; and the items of a long list must reach
// the sink before the last byte is in.
#include "fuzz/cimxml_replay.h"
#include "xml_test_util.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using cimxmlfuzz::Outcome;
using cimxmlfuzz::readArriving;
using cimxmlfuzz::readStreamed;
using cimxmlfuzz::Trickle;
using xmltest::iReply;

std::string Named(const std::string& id, const std::string& value = "Power On") {
    return "<VALUE.NAMEDINSTANCE>\n<INSTANCENAME CLASSNAME=\"Quilo_EventLog\">\n<KEYBINDING NAME=\"Name\">\n"
           "<KEYVALUE VALUETYPE=\"string\">" + id + "</KEYVALUE>\n</KEYBINDING>\n</INSTANCENAME>\n"
           "<INSTANCE CLASSNAME=\"Quilo_EventLog\">\n"
           "<PROPERTY NAME=\"Name\" CLASSORIGIN=\"Quilo_EventLog\" TYPE=\"string\">\n<VALUE>" + id +
           "</VALUE>\n</PROPERTY>\n<PROPERTY NAME=\"Type\" TYPE=\"string\">\n<VALUE>" + value +
           "</VALUE>\n</PROPERTY>\n</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n";
}

std::string Events(int count) {
    std::string items;
    for (int i = 0; i < count; ++i) items += Named("Event:" + std::to_string(i));
    return iReply(items);
}

// An item end inside a value makes a window end there: the item cannot be
// read from that window, and is read again once the whole body is in.
const std::string kEndInCdata = "<![CDATA[a</VALUE.NAMEDINSTANCE>\nb]]>";

std::string Before(const std::string& body, const char* text) { return body.substr(0, body.find(text)); }

struct Case {
    const char* name;
    std::string body;
    bool renders;                 // read whole, the reply gives a result
    const char* file = nullptr;   // the body instead: this file of tests/data/, read when the test runs
};

std::string Body(const Case& c) { return c.file ? xmltest::dataFile(c.file) : c.body; }

std::vector<Case> Cases() {
    return {
        {"ManyItems", Events(40), true},
        {"OneItem", Events(1), true},
        {"NoItems", iReply(""), false},
        {"EndTagInCdataOfALaterItem", iReply(Named("1") + Named("2", "x" + kEndInCdata + "y") + Named("3")), true},
        // Values read before the failing one were moved in place, and are
        // put back before the item is read again.
        {"EndTagInCdataAfterMovedValues", iReply(Named("1") + Named("<![CDATA[2]]>", kEndInCdata) + Named("3")),
         true},
        {"EndTagInCdataOfTheFirstItem", iReply(Named("1", kEndInCdata) + Named("2")), true},
        // Read from the first window, the description is cut short and the
        // element fails; read whole, the server's error stands.
        {"EndTagInAnErrorDescription",
         xmltest::reply("<IMETHODRESPONSE NAME=\"EnumerateInstances\">\n<ERROR CODE=\"6\" DESCRIPTION=\"no "
                        "</VALUE.NAMEDINSTANCE>\nsuch\"/>\n</IMETHODRESPONSE>"), false},
        {"BrokenAfterSomeItems", iReply(Named("1") + Named("2") + "<VALUE.NAMEDINSTANCE>\n<INSTANCENAME>\n"), false},
        {"BrokenItemBetweenGoodOnes", iReply(Named("1") + "<VALUE.NAMEDINSTANCE>\n</VALUE.NAMEDINSTANCE>\n" +
                                             Named("3")), false},
        {"EndsRightAfterAnItem", Before(iReply(Named("1") + Named("2")), "</IRETURNVALUE>"), false},
        {"InstancesNotNamed", iReply("<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"A\" TYPE=\"string\"></PROPERTY>"
                                     "</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n<INSTANCE CLASSNAME=\"X\"></INSTANCE>"), false},
        {"ItemLargerThanAWindow", iReply(Named("1") + Named("2", std::string(600 * 1024, 'v')) + Named("3")), true},
        {"EventLogReply", "", true, "enum-EventLog.xml"},
        {"DiskReply", "", true, "enum-DiskDrive.xml"},
    };
}

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

const std::vector<std::vector<size_t>> kPieces = {{1}, {5}, {64}, {1000, 3}, {1u << 20}};

class Arriving : public ::testing::TestWithParam<Case> {};

TEST_P(Arriving, ComesToWhatTheWholeBodyGives) {
    xmltest::FlagGuard flags;
    const std::string body = Body(GetParam());
    const cimxmlfuzz::Result whole = readStreamed(body);
    for (const std::vector<size_t>& pieces : kPieces) {
        if (pieces[0] == 1 && body.size() > 100000) continue;   // one wait per byte: too slow to be useful
        const cimxmlfuzz::Result arriving = readArriving(body, pieces);
        EXPECT_EQ(arriving.outcome, whole.outcome) << "pieces of " << pieces[0];
        EXPECT_EQ(arriving.text, whole.text) << "pieces of " << pieces[0];
    }
}

INSTANTIATE_TEST_SUITE_P(Replies, Arriving, ::testing::ValuesIn(Cases()),
                         paramname::ByName());

// The cases above must hold what they are named for.
TEST(ArrivingCases, RenderOrFailAsMarked) {
    xmltest::FlagGuard flags;
    for (const Case& c : Cases()) {
        const cimxmlfuzz::Result whole = readStreamed(Body(c));
        EXPECT_EQ(whole.outcome == Outcome::Rendered, c.renders) << c.name << ": " << whole.text;
        if (std::string(c.name) == "EndTagInAnErrorDescription") {
            EXPECT_NE(whole.text.find("no </VALUE.NAMEDINSTANCE>\nsuch"), std::string::npos) << whole.text;
        }
    }
}

// Counts the bytes that were in, and those given back, when each item
// reached the sink.
struct Watch final : NamedInstanceSink {
    explicit Watch(const Trickle& arrival) : arrival(arrival) {}
    void take(NamedInstanceXml& item) override {
        names.push_back(item.name.keys[0].keyValue.value);
        inAtTake.push_back(arrival.received());
        releasedAtTake.push_back(arrival.released());
    }
    const Trickle& arrival;
    std::vector<std::string> names;
    std::vector<size_t> inAtTake;
    std::vector<size_t> releasedAtTake;
};

TEST(Arriving, ItemsReachTheSinkWhileTheBodyComesIn) {
    const std::string body = Events(200);
    Trickle arrival(body, {4096});
    Watch sink(arrival);
    CimXml reply(arrival, 0, sink);
    ASSERT_EQ(reply.getReturnData()->type, TypeNamedInstances);
    ASSERT_EQ(sink.names.size(), 200u);
    EXPECT_EQ(sink.names.front(), "Event:0");
    EXPECT_EQ(sink.names.back(), "Event:199");
    // The first item went as soon as its window was in; the last only when
    // the body was nearly all in.
    EXPECT_LE(sink.inAtTake.front(), 2 * 4096u);
    EXPECT_LT(sink.inAtTake[100], body.size() / 2 + 2 * 4096);
    EXPECT_EQ(arrival.received(), body.size());
}

// Each item is given back as it goes to the sink: from the first item's
// start to the end of the item handed over, perhaps with the blanks after
// it, never into the next one (the envelope before the first item stays).
TEST(Arriving, ItemsAreGivenBackAsTheyGo) {
    const std::string body = Events(50);
    const std::string endTag = "</VALUE.NAMEDINSTANCE>";
    Trickle arrival(body, {300});
    Watch sink(arrival);
    CimXml reply(arrival, 0, sink);
    ASSERT_EQ(sink.releasedAtTake.size(), 50u);
    const size_t first = body.find("<VALUE.NAMEDINSTANCE>");
    size_t end = 0;
    for (size_t k = 0; k < 50; ++k) {
        end = body.find(endTag, end) + endTag.size();
        const size_t next = body.find('<', end);
        EXPECT_GE(sink.releasedAtTake[k], end - first) << "item " << k;
        EXPECT_LE(sink.releasedAtTake[k], next - first) << "item " << k;
    }
}

// A transfer that breaks off: the reader sees the body as far as it came.
TEST(Arriving, ATransferThatEndsShortReadsAsTheShortBody) {
    xmltest::FlagGuard flags;
    const std::string body = Events(30);
    const std::string shortBody = body.substr(0, body.size() / 2);
    Trickle arrival(body, {777});
    arrival.endAfter(shortBody.size());
    cimxmlfuzz::RenderEach each;
    const cimxmlfuzz::Result arriving = cimxmlfuzz::outcomeOf([&]() -> cimxmlfuzz::Result {
        CimXml reply(arrival, 0, each);
        return {Outcome::Rendered, ""};
    });
    const cimxmlfuzz::Result whole = readStreamed(shortBody);
    EXPECT_EQ(whole.outcome, Outcome::XmlError);
    EXPECT_EQ(arriving.outcome, whole.outcome);
    EXPECT_EQ(arriving.text, whole.text);
}

}  // namespace
