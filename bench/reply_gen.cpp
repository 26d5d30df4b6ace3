#include "bench/reply_gen.h"

#include <cstdint>
#include <string_view>

namespace benchgen {
namespace {

enum class Form { Key, Plain, Null, Array };

// Values that change from instance to instance, so that no two elements are
// byte for byte alike.
uint64_t mix(size_t i, uint64_t salt) {
    uint64_t x = (static_cast<uint64_t>(i) + 1) * 0x9E3779B97F4A7C15ULL ^ salt;
    x ^= x >> 29;
    return x * 0xBF58476D1CE4E5B9ULL >> 40;
}

std::string num(uint64_t v) { return std::to_string(v); }

struct Property {
    std::string_view name;
    std::string_view type;
    Form form;
    std::string (*value)(size_t i);   // VALUE content as written, entities escaped
};

// One instance of the disk class. The order is the provider's.
constexpr Property properties[] = {
    {"EnclosureNumber", "uint8", Form::Key, [](size_t i) { return num(1 + i / 256); }},
    {"SlotNumber", "uint8", Form::Key, [](size_t i) { return num(i % 256); }},
    {"DeviceID", "string", Form::Plain,
     [](size_t i) { return "Enc#" + num(1 + i / 256) + " Slot#" + num(i % 256); }},
    {"ModelName", "string", Form::Plain, [](size_t) { return std::string("ST4000NM0035-1V4107"); }},
    {"SerialNumber", "string", Form::Plain, [](size_t i) { return "ZC1" + num(100000 + mix(i, 1) % 900000); }},
    {"FirmwareRevision", "string", Form::Plain, [](size_t) { return std::string("SN04"); }},
    {"NumberOfBlocks", "uint64", Form::Plain, [](size_t i) { return num(7814037168ULL + mix(i, 2) % 1024); }},
    {"BlockSize", "uint32", Form::Plain, [](size_t) { return std::string("512"); }},
    {"DeviceType", "string", Form::Plain, [](size_t i) { return std::string(i % 3 ? "SAS" : "SATA"); }},
    {"Usage", "string", Form::Plain, [](size_t i) { return std::string(i % 5 ? "RaidSet Member" : "Free"); }},
    {"UsageExt", "string", Form::Plain,
     [](size_t i) { return "Raid Set # " + num(i % 8) + " &amp; Hot Spare &lt;Global&gt;"; }},
    {"RaidSetNumber", "uint8", Form::Plain, [](size_t i) { return num(i % 8); }},
    {"DeviceTemperature", "sint16", Form::Plain, [](size_t i) { return num(28 + mix(i, 3) % 20); }},
    {"RotationSpeed", "uint32", Form::Plain, [](size_t) { return std::string("7200"); }},
    {"MediaErrorCount", "uint32", Form::Plain, [](size_t i) { return num(mix(i, 4) % 7); }},
    {"TimeOutCount", "uint32", Form::Plain, [](size_t i) { return num(mix(i, 5) % 3); }},
    {"SMARTReadErrorRateStatus", "string", Form::Plain, [](size_t) { return std::string("OK(200)"); }},
    {"SMARTSpinUpTimeStatus", "string", Form::Plain, [](size_t) { return std::string("OK(97)"); }},
    {"SMARTReallocatedSectorsStatus", "string", Form::Plain, [](size_t) { return std::string("OK(100)"); }},
    {"SMARTSeekErrorRateStatus", "string", Form::Plain, [](size_t) { return std::string("OK(88)"); }},
    {"SMARTCalibrationRetriesStatus", "string", Form::Plain, [](size_t) { return std::string("N.A.(0)"); }},
    {"PowerOnHours", "uint32", Form::Plain, [](size_t i) { return num(1000 + mix(i, 6) % 60000); }},
    {"Vendor", "string", Form::Plain, [](size_t) { return std::string("Seagate &amp; Partners"); }},
    {"Location", "string", Form::Plain,
     [](size_t i) { return "Enclosure &quot;Front&quot; bay " + num(i % 256) + " (it&apos;s hot-plug)"; }},
    {"LinkSpeed", "string", Form::Plain, [](size_t i) { return std::string(i % 3 ? "12.0 Gbps" : "6.0 Gbps"); }},
    {"WriteCacheEnabled", "boolean", Form::Plain, [](size_t i) { return std::string(i % 2 ? "TRUE" : "FALSE"); }},
    {"PassThrough", "boolean", Form::Plain, [](size_t) { return std::string("FALSE"); }},
    {"LastErrorText", "string", Form::Null, nullptr},
    {"Capacity", "uint64", Form::Plain, [](size_t i) { return num(4000787030016ULL - mix(i, 7) % 4096 * 512); }},
    {"OperationalStatus", "uint16", Form::Array, nullptr},
};
static_assert(sizeof properties / sizeof properties[0] == propertiesPerInstance);

constexpr std::string_view className = "Quilo_DiskDrive";

constexpr std::string_view head =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
    "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
    "<MESSAGE ID=\"2002\" PROTOCOLVERSION=\"1.0\">\n"
    "<SIMPLERSP>\n"
    "<IMETHODRESPONSE NAME=\"EnumerateInstances\">\n"
    "<IRETURNVALUE>\n";

constexpr std::string_view tail =
    "</IRETURNVALUE>\n"
    "</IMETHODRESPONSE>\n"
    "</SIMPLERSP>\n"
    "</MESSAGE>\n"
    "</CIM>\n";

constexpr std::string_view keyQualifier =
    "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\" OVERRIDABLE=\"false\">\n"
    "<VALUE>TRUE</VALUE>\n"
    "</QUALIFIER>\n";

void appendAll(std::string& out, std::initializer_list<std::string_view> parts) {
    for (std::string_view p : parts) out += p;
}

void appendInstanceName(std::string& out, size_t i) {
    appendAll(out, {"<INSTANCENAME CLASSNAME=\"", className, "\">\n"});
    for (const Property& p : properties) {
        if (p.form != Form::Key) continue;
        appendAll(out, {"<KEYBINDING NAME=\"", p.name, "\">\n<KEYVALUE VALUETYPE=\"numeric\">", p.value(i),
                        "</KEYVALUE>\n</KEYBINDING>\n"});
    }
    out += "</INSTANCENAME>\n";
}

void appendProperty(std::string& out, const Property& p, size_t i) {
    if (p.form == Form::Array) {
        appendAll(out, {"<PROPERTY.ARRAY NAME=\"", p.name, "\" TYPE=\"", p.type, "\">\n<VALUE.ARRAY>\n<VALUE>",
                        i % 7 ? "2" : "3", "</VALUE>\n<VALUE>", num(32768 + i % 4), "</VALUE>\n</VALUE.ARRAY>\n",
                        "</PROPERTY.ARRAY>\n"});
        return;
    }
    appendAll(out, {"<PROPERTY NAME=\"", p.name, "\" TYPE=\"", p.type, "\">\n"});
    if (p.form == Form::Key) out += keyQualifier;
    if (p.form != Form::Null) appendAll(out, {"<VALUE>", p.value(i), "</VALUE>\n"});
    out += "</PROPERTY>\n";
}

void appendNamedInstance(std::string& out, size_t i) {
    out += "<VALUE.NAMEDINSTANCE>\n";
    appendInstanceName(out, i);
    appendAll(out, {"<INSTANCE CLASSNAME=\"", className, "\">\n"});
    for (const Property& p : properties) appendProperty(out, p, i);
    out += "</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n";
}

}  // namespace

std::string enumerateInstancesReply(size_t n) {
    std::string sample;
    appendNamedInstance(sample, 0);
    std::string out;
    // A little slack per element: the varying values are not all as long
    // as the first one's.
    out.reserve(head.size() + tail.size() + n * (sample.size() + 64));
    out += head;
    for (size_t i = 0; i < n; ++i) appendNamedInstance(out, i);
    out += tail;
    return out;
}

}  // namespace benchgen
