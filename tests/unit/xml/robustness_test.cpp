// Hostile and large input: every prefix and thousands of mutations of real
// replies end in a result or in an exception of the allowed kinds, deep
// nesting fails cleanly, and long lists arrive whole.
#include "xml/envelope.h"
#include "xml_test_util.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using xmltest::dataFile;
using xmltest::iReply;
using xmltest::realReply;

enum class Outcome { Parsed, FamilyError, LogicError };

// Parses `body` and uses the result the way the operations and reports do.
// Anything but a result, an exception of the family or a standard logic
// error (std::out_of_range included) escapes and fails the test.
Outcome parseAndUse(const std::string& body) {
    try {
        CimXml cim(body, 0);
        std::unique_ptr<RetValXml> result = cim.takeReturnData();
        std::string text;
        result->toStringBuffer(text, "");
        result->clone()->toStringBuffer(text, "\"");
        return Outcome::Parsed;
    } catch (const XmlException&) {
        return Outcome::FamilyError;
    } catch (const std::logic_error&) {
        return Outcome::LogicError;
    }
}

std::vector<std::string> seeds() {
    return {dataFile("enum-DiskDrive.xml"),
            dataFile("getclass-RAIDControllerSystem.xml"),
            dataFile("methodresponse-AuthPassword.xml"),
            dataFile("error-NotFound.xml"),
            realReply("sfcb-References.xml"),
            realReply("sfcb-Indication03CreateSubscription.xml"),
            iReply("<VALUE.ARRAY><VALUE><![CDATA[a]]></VALUE><VALUE>b&amp;c</VALUE></VALUE.ARRAY>")};
}

TEST(Robustness, EveryPrefixOfAReplyEndsCleanly) {
    std::vector<std::string> problems;
    const std::vector<std::string> replies = seeds();   // read before standard output is captured
    testing::internal::CaptureStdout();
    for (const std::string& seed : replies) {
        const size_t complete = seed.rfind("</CIM>") + 6;   // nothing after it is read
        const Outcome whole = parseAndUse(seed);   // a result, or the server's error
        if (whole == Outcome::LogicError) problems.push_back("whole reply: logic error");
        for (size_t n = 0; n < seed.size(); ++n) {
            const Outcome o = parseAndUse(seed.substr(0, n));
            if (n < complete ? o == Outcome::Parsed : o != whole)
                problems.push_back("prefix of " + std::to_string(n) + " bytes of " + seed.substr(0, 60));
        }
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(problems.empty()) << problems.size() << " problems, first: " << problems.front();
}

TEST(Robustness, MutatedRepliesEndCleanly) {
    static const char* const pieces[] = {
        "<", ">", "/>", "</", "\"", "'", "=", "&", "?>", "<![CDATA[", "]]>", "<VALUE>", "</VALUE>",
        "<VALUE.ARRAY>", "<VALUE.REFERENCE>", "<INSTANCENAME CLASSNAME=\"X\">", "<KEYBINDING NAME=\"k\">",
        "<QUALIFIER NAME=\"Key\"/>", "</QUALIFIER>", "<PROPERTY NAME=\"p\">", "</PROPERTY>", "\xC8", "\0",
    };
    std::mt19937 rng(20240301);
    const std::vector<std::string> corpus = seeds();
    int parsed = 0;
    testing::internal::CaptureStdout();
    for (int i = 0; i < 6000; ++i) {
        std::string doc = corpus[rng() % corpus.size()];
        const int edits = 1 + static_cast<int>(rng() % 4);
        for (int e = 0; e < edits && !doc.empty(); ++e) {
            const size_t at = rng() % doc.size();
            switch (rng() % 5) {
            case 0:
                doc[at] = static_cast<char>(rng());
                break;
            case 1:
                doc.erase(at, 1 + rng() % 40);
                break;
            case 2: {
                const char* piece = pieces[rng() % (sizeof pieces / sizeof *pieces)];
                doc.insert(at, piece, piece[0] ? std::char_traits<char>::length(piece) : 1);
                break;
            }
            case 3: {
                const size_t len = 1 + rng() % 200;
                doc.insert(at, doc.substr(rng() % doc.size(), len));
                break;
            }
            default:
                doc.resize(at);
                break;
            }
        }
        if (parseAndUse(doc) == Outcome::Parsed) ++parsed;
    }
    testing::internal::GetCapturedStdout();
    // Some mutations leave a valid reply; they must have been fully usable.
    EXPECT_GT(parsed, 0);
}

TEST(Robustness, DeepNestingFailsWithAParseException) {
    std::string arrays;
    for (int i = 0; i < 100000; ++i) arrays += "<VALUE.ARRAY>";
    std::string refs = "<INSTANCENAME CLASSNAME=\"C\">";
    for (int i = 0; i < 20000; ++i) refs += "<KEYBINDING NAME=\"k\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\">";
    for (const std::string& content : {arrays, refs}) {
        try {
            CimXml cim(iReply(content), 0);
            FAIL() << "parsed";
        } catch (const ParseException& e) {
            EXPECT_EQ(e.getMsg(), "Parse Exception: Elements nested too deeply");
        }
    }
}

TEST(Robustness, ModestNestingIsFine) {
    std::string doc = "<VALUE>x</VALUE>";
    for (int i = 0; i < 30; ++i) doc = "<VALUE.ARRAY>" + doc + "</VALUE.ARRAY>";
    EXPECT_EQ(parseAndUse(iReply(doc)), Outcome::Parsed);
}

std::string enumeration(int count) {
    std::string body;
    body.reserve(static_cast<size_t>(count) * 420);
    for (int i = 0; i < count; ++i) {
        const std::string n = std::to_string(i);
        body += "<VALUE.NAMEDINSTANCE>\n<INSTANCENAME CLASSNAME=\"Quilo_DiskDrive\">\n"
                "<KEYBINDING NAME=\"EnclosureNumber\"><KEYVALUE VALUETYPE=\"numeric\">1</KEYVALUE></KEYBINDING>\n"
                "<KEYBINDING NAME=\"SlotNumber\"><KEYVALUE VALUETYPE=\"numeric\">" + n + "</KEYVALUE></KEYBINDING>\n"
                "</INSTANCENAME>\n<INSTANCE CLASSNAME=\"Quilo_DiskDrive\">\n"
                "<PROPERTY NAME=\"SlotNumber\" TYPE=\"uint8\"><VALUE>" + n + "</VALUE></PROPERTY>\n"
                "<PROPERTY NAME=\"ModelName\" TYPE=\"string\"><VALUE>ST4000NM0035 &amp; co</VALUE></PROPERTY>\n"
                "<PROPERTY NAME=\"Usage\" TYPE=\"string\"></PROPERTY>\n"
                "</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n";
    }
    return iReply(body);
}

TEST(Robustness, AHundredThousandInstancesAllArrive) {
    // How fast this goes is measured in bench/; here only that nothing is
    // lost or reordered in a long list.
    CimXml cim(enumeration(100000), 0);
    const auto* list = dynamic_cast<NamedInstancesXml*>(cim.getReturnData());
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->items.size(), 100000u);
    std::string last;
    list->items.back().instance.toStringBuffer(last, "");
    EXPECT_EQ(last, "-SlotNumber=99999\n-ModelName=\"ST4000NM0035 & co\"\n-Usage=\n");
}

}  // namespace
