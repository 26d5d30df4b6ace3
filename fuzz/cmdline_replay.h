// One input through the whole command line: the driver (RunRbz) with the
// CIM dispatch behind it, talking to a stand-in server that answers from
// canned replies, so nothing touches the network. Shared by the libFuzzer
// target fuzz_cmdline.cpp and the unit test that replays the saved corpus.
//
// Input: the first byte chooses the server's answers (see Scenario). The
// rest is cut at NUL bytes: the first piece is what standard input holds
// (the typed passwords, one a line; it reaches the password reader through
// a pipe, as when the input is not a terminal), every further piece is one
// word of the argument vector, argv[0] included.
//
// Standard output and error are captured (std::cout and std::cerr into
// strings, descriptor 1 onto /dev/null for the few C stdio lines), standard
// input is the pipe, and waitTime and the stream formats are put back after
// each run. The only outcomes allowed are the driver's own:
//  - nothing served: the usage (0), the version banner (0), the help (0),
//    or "Invalid invocation syntax" (16), with nothing else on standard
//    error;
//  - served: the status of the dispatch (0, or 13 when the controller
//    refused its password, with no request after the password check), or
//    the catch clause of what the dispatch threw: an empty line for a
//    CmdException (0), "Nothing Returned" (0), the message of any other
//    member of the XmlException family (16), the unknown-error block for a
//    DoesNotExist or std::out_of_range (16).
// Any other exception thrown by the dispatch, any other text on standard
// error, a status that does not match, a served line with a primary command
// the parser never accepts, peer verification switched on, or a request
// order other than GetClass and SetWaTP first is a Violation.
#pragma once

#include "cim/cimom.h"
#include "cli/dispatch.h"
#include "cli/driver.h"
#include "fuzz/fuzz_check.h"
#include "transport/settings.h"
#include "xml/errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace cmdlinefuzz {

// --------------------------------------------------------------- replies

// Bits of the first input byte.
struct Scenario {
    unsigned auth;      // bits 0-1: AuthPassword: OK / ERROR CODE="74" / empty / ERROR CODE="66" and OK
    unsigned query;     // bits 2-4: see queryReply()
    unsigned method;    // bits 5-6: the command's method: OK / ERROR CODE="74" / ERROR CODE="7x" / empty
    bool transportDown; // bit 7: the transport fails on SetWaTP
    explicit Scenario(uint8_t b)
        : auth(b & 3u), query((b >> 2) & 7u), method((b >> 5) & 3u), transportDown((b & 0x80u) != 0) {}
};

inline std::string envelope(const std::string& response) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
           "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n" +
           response + "\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
}

inline std::string intrinsic(const char* name, const std::string& result) {
    return envelope(std::string("<IMETHODRESPONSE NAME=\"") + name + "\">\n<IRETURNVALUE>\n" + result +
                    "\n</IRETURNVALUE>\n</IMETHODRESPONSE>");
}

inline std::string methodReply(const std::string& method, const std::string& value) {
    return envelope("<METHODRESPONSE NAME=\"" + method + "\">\n<RETURNVALUE PARAMTYPE=\"string\">\n<VALUE>" +
                    value + "</VALUE>\n</RETURNVALUE>\n</METHODRESPONSE>");
}

inline std::string cimError(const char* code, const char* description) {
    return envelope(std::string("<IMETHODRESPONSE NAME=\"X\">\n<ERROR CODE=\"") + code + "\" DESCRIPTION=\"" +
                    description + "\"/>\n</IMETHODRESPONSE>");
}

// A property as "Name:type:value" (type "s" string, else the CIM type).
inline std::string properties(std::initializer_list<const char*> props) {
    std::string out;
    for (const std::string p : props) {
        const size_t a = p.find(':');
        const size_t b = p.find(':', a + 1);
        const std::string name = p.substr(0, a);
        std::string type = p.substr(a + 1, b - a - 1);
        if (type == "s") type = "string";
        out += "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + type + "\"><VALUE>" + p.substr(b + 1) +
               "</VALUE></PROPERTY>";
    }
    return out;
}

// One VALUE.NAMEDINSTANCE of `cls` with one numeric key.
inline std::string named(const char* cls, const char* key, const char* keyValue, const std::string& props) {
    return std::string("<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"") + cls + "\"><KEYBINDING NAME=\"" + key +
           "\"><KEYVALUE VALUETYPE=\"numeric\">" + keyValue + "</KEYVALUE></KEYBINDING></INSTANCENAME>" +
           "<INSTANCE CLASSNAME=\"" + cls + "\">" + props + "</INSTANCE></VALUE.NAMEDINSTANCE>";
}

inline std::string instance(const char* cls, const std::string& props) {
    return std::string("<INSTANCE CLASSNAME=\"") + cls + "\">" + props + "</INSTANCE>";
}

inline std::string controller() {
    return properties({"ModelName:s:ARC-1886", "SerialNumber:s:Y1", "FirmVersion:s:V1.56", "BootVersion:s:V1.2",
                       "CurrentIP:s:10.0.0.9", "MAC:s:00.1B.4D", "DCacheSize:uint32:32768",
                       "ICacheSize:uint32:32768", "MemorySpeed:uint32:1866", "MemorySize:uint32:4096"});
}

inline std::string event(const char* type) {
    return properties({"Time:s:2015-09-16 10:00:00", (std::string("Type:s:") + type).c_str(),
                       "Description:s:Volume created", "Data1:s:ARC-1886-VOL#000"});
}

inline std::string disk(const char* type, const char* usage) {
    std::string p = properties({"EnclosureNumber:uint8:1", "SlotNumber:uint8:4", "Enc:s:1", "Slot:s:4",
                                "DeviceID:s:Z1X", "ModelName:s:ST4000NM", "FirmwareRevision:s:SN04",
                                "NumberOfBlocks:uint64:7814037168", "RaidSetNumber:uint8:0",
                                "MediaErrorCount:uint32:0", "TimeOutCount:uint32:2", "UsageExt:s:Free"});
    p += properties({(std::string("DeviceType:s:") + type).c_str(), (std::string("Usage:s:") + usage).c_str()});
    p += properties({"DeviceTemperatureStatus:uint8:38", "SMARTReadErrorRateStatus:uint8:1",
                     "SMARTSpinupTimeStatus:uint8:2", "SMARTReallocationCountStatus:uint8:3",
                     "SMARTSeekErrorRateStatus:uint8:4", "SMARTSpinupRetriesStatus:uint8:5",
                     "SMARTCalibrationRetriesStatus:uint8:255", "SSDReservedSpaceStatus:uint8:255",
                     "SSDWearingIndicatorStatus:uint8:90"});
    p += properties({"RotationSpeed:uint32:7200", "DeviceTemperature:uint32:41",
                     "ReadErrorsRecoveredWODelay:uint64:26", "ReadErrorsRecoveredWDelay:uint64:0",
                     "ReadErrorsRecoveredWRetry:uint64:1", "ReadErrorsRecovered:uint64:2",
                     "ReadTotalBytes:uint64:4294967296", "ReadErrorsUnrecovered:uint64:0",
                     "WriteErrorsRecoveredWODelay:uint64:3", "WriteErrorsRecoveredWDelay:uint64:0",
                     "WriteErrorsRecoveredWRetry:uint64:0", "WriteErrorsRecovered:uint64:3",
                     "WriteTotalBytes:uint64:123456789", "WriteErrorsUnrecovered:uint64:0",
                     "VerifyErrorsRecoveredWODelay:uint64:0", "VerifyErrorsRecoveredWDelay:uint64:0",
                     "VerifyErrorsRecoveredWRetry:uint64:0", "VerifyErrorsRecovered:uint64:0",
                     "VerifyErrorsUnrecovered:uint64:0", "Non-MediumErrors:uint64:15",
                     "DefectPListBlockCount:uint64:0", "DefectGListBlockCount:uint64:7"});
    return p;
}

inline std::string volume(const char* state, const char* raidSet) {
    return properties({"VolumeNo:uint32:1", "ElementName:s:ARC-1886-VOL#000", "RAIDLevel:uint8:5",
                       (std::string("RaidSetNumber:uint8:") + raidSet).c_str(), "MemberDisks:uint8:3",
                       "Capacity:uint64:2000398934016", "StripeSize:uint32:64", "Channel:uint8:0", "ID:uint8:0",
                       "Lun:uint8:1", "CacheMode:s:Write Back", "WriteProtect:s:Disabled",
                       "TaggedQueuing:s:Enabled", (std::string("VolumeState:s:") + state).c_str(),
                       "Progress:uint32:453"});
}

inline std::string pool(const char* members) {
    return properties({"RaidSetNumber:uint8:0", (std::string("MemberDisks:uint8:") + members).c_str(),
                       "InstanceID:s:Raid Set # 000", "Volumes:uint8:1", "RAIDState:s:Normal",
                       "Capacity:uint64:12000000000000", "FreeRawCapacity:uint64:999"});
}

inline bool is(const std::string& cls, const char* name) { return cls == name; }

// Query variants (bits 2-4): 0 and 1 two sets of complete instances; 2 an
// empty body (no result); 3 a response without return value; 4 instances
// that lack the reports' keys; 5 a CIM error; 6 a truncated document; 7 an
// unavailable drive and odd values.
inline std::string queryReply(unsigned variant, const std::string& cls, bool one) {
    const char* op = one ? "GetInstance" : "EnumerateInstances";
    switch (variant) {
    case 2: return "";
    case 3: return envelope(std::string("<IMETHODRESPONSE NAME=\"") + op + "\">\n</IMETHODRESPONSE>");
    case 4: {
        const std::string props = properties({"ModelName:s:only", "Usage:s:"});
        return intrinsic(op, one ? instance(cls.c_str(), props) : named(cls.c_str(), "Id", "1", props));
    }
    case 5: return cimError("6", "The requested object could not be found");
    case 6: return intrinsic(op, named(cls.c_str(), "Id", "1", controller())).substr(0, 200);
    default: break;
    }
    const bool b = variant == 1;
    const bool odd = variant == 7;
    std::vector<std::string> props;
    if (is(cls, "Quilo_RAIDControllerSystem")) {
        props = {controller()};
    } else if (is(cls, "Quilo_EventLog")) {
        props = {event("Info"), event("Warning"), event("Error")};
    } else if (is(cls, "Quilo_DiskDrive")) {
        if (odd)
            props = {disk("SATA", "Unavailable")};
        else if (b)
            props = {disk("SAS", ""), disk("SATA", "Unavailable"), disk("SATA", "Hot Spare")};
        else
            props = {disk("SATA", "RaidSet Member"), disk("SAS", "Free")};
    } else if (is(cls, "Quilo_StorageVolume")) {
        if (odd)
            props = {volume("Normal", "255")};
        else
            props = {volume(b ? "Initializing" : "Rebuilding", "0"), volume("Normal", "255")};
    } else if (is(cls, "Quilo_StoragePool")) {
        props = b ? std::vector<std::string>{pool("0"), pool("2")} : std::vector<std::string>{pool(odd ? "0" : "3")};
    } else {
        props = {properties({"Name:s:x"})};
    }
    if (one) return intrinsic(op, instance(cls.c_str(), props.front()));
    std::string list;
    for (size_t i = 0; i < props.size(); ++i) list += named(cls.c_str(), "Id", std::to_string(i).c_str(), props[i]);
    return intrinsic(op, list);
}

// The class of every target: the provider's methods with their parameters
// (a few numeric, arrays and references among them), and the keys the
// target paths carry.
inline std::string classReply(const std::string& cls) {
    static const char* const methods[][2] = {
        {"SetWaTP", "Period:uint32"},
        {"AuthPassword", "password"},
        {"ChangePassword", "password"},
        {"CreateRAIDSet", "MemberDisks:uint8 Enc:uint8 Name DiskArray:uint8[]"},
        {"DeleteRAIDSet", "RAIDNo:uint8"},
        {"ExpandRAIDSet", "RAIDNo:uint8 DiskArray:uint8[]"},
        {"ActivateRAIDSet", "RAIDNo"},
        {"OfflineRAIDSet", "RAIDNo"},
        {"CreateVolume", "name id:uint8 lun:uint8 RAIDNo:uint8 strp:uint32 ll cap:uint64 cache fg gtt tag"},
        {"DeleteVolume", "vol num"},
        {"ModifyVolume", "name id lun Num strp ll cap cache tag"},
        {"CreatePassThrough", "cache tag lun id enc slt"},
        {"ModifyPassThrough", "cache tag lun id enc slt"},
        {"DeletePassThrough", "enc slt Drive:ref Drives:ref[]"},
        {"ClearLog", ""},
        {"MuteBeeperNow", ""},
        {"SetBeeper", "Enable"},
        {"SetMode", "Mode"},
        {"SetEthernetAddr", "IP"},
        {"SetHttpPort", "Port:uint16"},
        {"UpdateFW", "Path"},
    };
    std::string out = "<CLASS NAME=\"" + cls + "\">";
    const auto key = [&out](const char* name) {
        out += std::string("<PROPERTY NAME=\"") + name +
               "\" TYPE=\"uint32\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>"
               "</PROPERTY>";
    };
    if (cls == "Quilo_StorageVolume") key("VolumeNo");
    if (cls == "Quilo_DiskDrive") {
        key("EnclosureNumber");
        key("SlotNumber");
    }
    for (const auto& m : methods) {
        out += std::string("<METHOD NAME=\"") + m[0] + "\" TYPE=\"string\">";
        std::istringstream params(m[1]);
        std::string p;
        while (params >> p) {
            const size_t colon = p.find(':');
            const std::string name = p.substr(0, colon);
            std::string type = colon == std::string::npos ? "string" : p.substr(colon + 1);
            const bool array = type.size() > 2 && type.compare(type.size() - 2, 2, "[]") == 0;
            if (array) type.resize(type.size() - 2);
            if (type == "ref")
                out += std::string(array ? "<PARAMETER.REFARRAY" : "<PARAMETER.REFERENCE") + " NAME=\"" + name +
                       "\" REFERENCECLASS=\"Quilo_DiskDrive\"/>";
            else
                out += std::string(array ? "<PARAMETER.ARRAY" : "<PARAMETER") + " NAME=\"" + name + "\" TYPE=\"" +
                       type + "\"/>";
        }
        out += "</METHOD>";
    }
    out += "</CLASS>";
    return intrinsic("GetClass", out);
}

// ---------------------------------------------------------------- server

struct Request {
    std::string name;
    std::string className;
    bool isMethodCall;
};

class CannedCimom : public Cimom {
public:
    explicit CannedCimom(Scenario s) : scenario(s) {}

    Scenario scenario;
    std::vector<Request> requests;
    int noVerify = -1;   // as last handed to setClientCertificates

    void genRequest(URL& url, const char* name, bool isMethodCall, bool) override {
        requests.push_back({name, url.className, isMethodCall});
    }
    void addPayload(const std::string&) override {}
    void setClientCertificates(const char*, int verify, const char*, const char*) override { noVerify = verify; }

    std::string getResponse() override {
        const Request& r = requests.back();
        if (r.name == "GetClass") return classReply(r.className);
        if (r.name == "SetWaTP") {
            if (scenario.transportDown) throw HttpException("Unable to connect to 10.0.0.5");
            return methodReply("SetWaTP", "OK");
        }
        if (r.name == "AuthPassword") {
            static const char* const auth[] = {"OK", "ERROR CODE=\"74\"", nullptr, "ERROR CODE=\"66\" OK"};
            return auth[scenario.auth] ? methodReply("AuthPassword", auth[scenario.auth]) : "";
        }
        if (r.name == "EnumerateInstances") return queryReply(scenario.query, r.className, false);
        if (r.name == "GetInstance") return queryReply(scenario.query, r.className, true);
        if (r.isMethodCall) {
            static const char* const method[] = {"OK", "ERROR CODE=\"74\"", "ERROR CODE=\"7x\"", nullptr};
            return method[scenario.method] ? methodReply(r.name, method[scenario.method]) : "";
        }
        return "";
    }
};

// ------------------------------------------------------------------- run

struct Input {
    uint8_t scenario = 0;
    std::string typed;
    std::vector<std::string> words;
};

inline Input split(const uint8_t* data, size_t size) {
    Input in;
    if (size == 0) return in;
    in.scenario = data[0];
    std::vector<std::string> pieces = fuzzcheck::split(data + 1, size - 1, '\0');
    in.typed = pieces.front();
    in.words.assign(pieces.begin() + 1, pieces.end());
    return in;
}

// The inverse of split(), for writing inputs.
inline std::string join(const Input& in) {
    std::string out(1, static_cast<char>(in.scenario));
    out += in.typed;
    for (const std::string& w : in.words) (out += '\0') += w;
    return out;
}

// What the dispatch threw, as the driver's catch clauses tell it apart.
enum class Thrown { Nothing, Cmd, NoReturn, Xml, Unknown, Foreign };

struct Result {
    int status = -1;
    std::string out, err;
    bool served = false;
    bool servedUnaccepted = false;   // the primary command was main or exit
    Thrown thrown = Thrown::Nothing;
    std::string message;   // of the exception the dispatch threw
    std::vector<Request> requests;
};

// Standard input from a pipe that holds `typed` and then ends; descriptor 1
// onto /dev/null; std::cout and std::cerr into strings; the stream formats
// and waitTime as they were before, afterwards.
class Sandbox {
public:
    explicit Sandbox(const std::string& typed) {
        std::fflush(stdout);
        savedIn = dup(STDIN_FILENO);
        savedOut = dup(STDOUT_FILENO);
        int fds[2];
        if (pipe(fds) != 0) throw std::runtime_error("pipe");
        // A pipe holds at least one page without a reader; more is cut.
        const size_t n = typed.size() < 4096 ? typed.size() : 4096;
        if (n > 0 && write(fds[1], typed.data(), n) != static_cast<ssize_t>(n)) throw std::runtime_error("write");
        close(fds[1]);
        dup2(fds[0], STDIN_FILENO);
        close(fds[0]);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
        coutBuf = std::cout.rdbuf(out.rdbuf());
        cerrBuf = std::cerr.rdbuf(err.rdbuf());
        coutFlags = std::cout.flags();
        coutPrecision = std::cout.precision();
        coutFill = std::cout.fill();
        waitTime = 0;
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;
    ~Sandbox() {
        waitTime = 0;
        std::cout.rdbuf(coutBuf);
        std::cerr.rdbuf(cerrBuf);
        std::cout.flags(coutFlags);
        std::cout.precision(coutPrecision);
        std::cout.fill(coutFill);
        std::cout.width(0);
        std::fflush(stdout);
        dup2(savedOut, STDOUT_FILENO);
        close(savedOut);
        dup2(savedIn, STDIN_FILENO);
        close(savedIn);
    }

    std::ostringstream out, err;

private:
    int savedIn, savedOut;
    std::streambuf* coutBuf;
    std::streambuf* cerrBuf;
    std::ios_base::fmtflags coutFlags;
    std::streamsize coutPrecision;
    char coutFill;
};

inline constexpr const char* kBanner = " Quilo Technology WBEM Client Utility v1.6.3.1, Date: 2015/09/16\n";
inline constexpr const char* kInvalid = "Invalid invocation syntax\n";
inline constexpr const char* kUnknownError = "*\n* what happened? \n*\n\n";

inline void check(const Result& r) {
    using fuzzcheck::require;
    require(!r.servedUnaccepted, "served a line the parser never accepts");
    if (!r.served) {
        require(r.err.empty() || r.err == kBanner || r.err == kInvalid, "unexpected standard error: " + r.err);
        require((r.status == 16) == (r.err == kInvalid) && (r.status == 0 || r.status == 16),
                "status " + std::to_string(r.status) + " without a served command");
        return;
    }
    require(r.requests.size() < 2 || (r.requests[0].name == "GetClass" && r.requests[1].name == "SetWaTP"),
            "the wait period is not set first");
    switch (r.thrown) {
    case Thrown::Nothing:
        require(r.err.empty(), "standard error after a served command: " + r.err);
        require(r.status == 0 || r.status == 13, "status " + std::to_string(r.status));
        if (r.status == 13)
            require(!r.requests.empty() && r.requests.back().name == "AuthPassword",
                    "a request after the refused password");
        break;
    case Thrown::Cmd:
        require(r.status == 0 && r.err.empty() && r.out.size() >= 1 && r.out.back() == '\n',
                "CmdException not ended quietly");
        break;
    case Thrown::NoReturn:
        require(r.status == 0 && r.err == "Nothing Returned\n", "NoReturnValue not reported");
        break;
    case Thrown::Xml:
        require(r.status == 16 && r.err == r.message + "\n", "XmlException not reported with its message");
        break;
    case Thrown::Unknown:
        require(r.status == 16 && r.err == kUnknownError, "unknown error not reported");
        break;
    case Thrown::Foreign:
        throw fuzzcheck::Violation("the dispatch threw " + r.message);
    }
}

inline Result replay(const uint8_t* data, size_t size) {
    const Input in = split(data, size);

    // Every word exactly sized, so that a read past a word's end or past the
    // vector's terminator is seen by the sanitizer.
    std::vector<std::unique_ptr<char[]>> words;
    std::vector<char*> argv;
    for (const std::string& w : in.words) {
        words.emplace_back(new char[w.size() + 1]);
        std::copy(w.begin(), w.end(), words.back().get());
        words.back()[w.size()] = '\0';
        argv.push_back(words.back().get());
    }
    argv.push_back(nullptr);

    CannedCimom cimom{Scenario(in.scenario)};
    Result r;
    {
        Sandbox box(in.typed);
        r.status = RunRbz(static_cast<int>(in.words.size()), argv.data(), [&](CommandLine& cmd) -> int {
            r.served = true;
            r.servedUnaccepted = cmd.primary == pricmd::main || cmd.primary == pricmd::exit;
            try {
                return DispatchCommand(cimom, cmd);
            } catch (const CmdException& e) {
                r.thrown = Thrown::Cmd;
                r.message = e.getMsg();
                throw;
            } catch (const NoReturnValue& e) {
                r.thrown = Thrown::NoReturn;
                throw;
            } catch (const XmlException& e) {
                r.thrown = Thrown::Xml;
                r.message = e.getMsg();
                throw;
            } catch (const DoesNotExist& e) {
                r.thrown = Thrown::Unknown;
                r.message = e.getMsg();
                throw;
            } catch (const std::out_of_range& e) {
                r.thrown = Thrown::Unknown;
                r.message = e.what();
                throw;
            } catch (...) {
                r.thrown = Thrown::Foreign;
                r.message = fuzzcheck::describe(std::current_exception());
                throw;
            }
        });
        r.out = box.out.str();
        r.err = box.err.str();
    }
    r.requests = cimom.requests;
    if (r.served && cimom.noVerify != -1) fuzzcheck::require(cimom.noVerify == 1, "peer verification switched on");
    check(r);
    return r;
}

}  // namespace cmdlinefuzz
