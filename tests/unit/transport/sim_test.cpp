// CimomCurl against the simulated CIM server over real HTTPS: the CIM
// operations end to end, the HTTP and CIM status handling, the pause after
// each reply, libcurl's debug switch and the reuse of one TLS connection.
#include "transport/cimom_curl.h"

#include "cim/url.h"
#include "xml/envelope.h"
#include "xml/errors.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

extern char** environ;

namespace {

// One line of the simulator's request log, reduced to what these tests read.
struct LogRecord {
    std::string event;   // "connection" or "request"
    long connection = 0;
    std::string method, object;
    long status = 0;
};

// The value of a top-level JSON member: a string (escapes undone) or the bare
// token of a number or null.
std::optional<std::string> member(const std::string& line, const std::string& name) {
    const std::string key = "\"" + name + "\": ";
    size_t at = line.find(key);
    if (at == std::string::npos) return std::nullopt;
    at += key.size();
    std::string value;
    if (at < line.size() && line[at] == '"') {
        for (size_t i = at + 1; i < line.size() && line[i] != '"'; ++i) {
            if (line[i] == '\\' && i + 1 < line.size()) ++i;
            value += line[i];
        }
        return value;
    }
    while (at < line.size() && line[at] != ',' && line[at] != '}') value += line[at++];
    return value;
}

class Simulator {
public:
    // `script`: the simulator, or another server that speaks as it does
    // (the benchmark's static server).
    explicit Simulator(const std::vector<std::string>& extra, const char* script = RBZ_SOURCE_DIR "/sim/rbz_sim.py") {
        char logName[] = "/tmp/rbz-transport-log-XXXXXX";
        const int fd = mkstemp(logName);
        if (fd < 0) return;
        close(fd);
        logPath = logName;

        std::vector<std::string> args = {"python3", script, "--port", "0", "--request-log", logPath};
        args.insert(args.end(), extra.begin(), extra.end());
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);

        int out[2];
        if (pipe(out) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addclose(&actions, out[1]);
        const int rc = posix_spawnp(&pid, "python3", &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        if (rc != 0) {
            pid = -1;
            close(out[0]);
            return;
        }
        std::string first;
        char c;
        while (read(out[0], &c, 1) == 1 && c != '\n') first += c;
        close(out[0]);
        if (first.rfind("PORT ", 0) == 0) port = std::atoi(first.c_str() + 5);
    }

    ~Simulator() {
        if (pid > 0) {
            kill(pid, SIGTERM);
            int status;
            waitpid(pid, &status, 0);
        }
        if (!logPath.empty()) std::remove(logPath.c_str());
    }

    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    bool running() const { return port > 0; }

    std::string path(const std::string& credentials, const std::string& rest) const {
        return "https://" + credentials + "127.0.0.1:" + std::to_string(port) + "/quilo/cimv2:" + rest;
    }

    std::vector<LogRecord> records() const {
        std::vector<LogRecord> out;
        std::ifstream log(logPath);
        for (std::string line; std::getline(log, line);) {
            LogRecord r;
            r.event = member(line, "event").value_or("");
            r.connection = std::atol(member(line, "connection").value_or("0").c_str());
            r.method = member(line, "method").value_or("");
            r.object = member(line, "object").value_or("");
            r.status = std::atol(member(line, "status").value_or("0").c_str());
            out.push_back(r);
        }
        return out;
    }

    std::vector<LogRecord> requests() const {
        std::vector<LogRecord> out;
        for (const LogRecord& r : records())
            if (r.event == "request") out.push_back(r);
        return out;
    }

    size_t connections() const {
        size_t n = 0;
        for (const LogRecord& r : records()) n += r.event == "connection";
        return n;
    }

private:
    pid_t pid = -1;
    int port = 0;
    std::string logPath;
};

const char* const controllerClass = "Quilo_RAIDControllerSystem";
const char* const secret = "root:secret@";

// A transport set up the way the driver sets it up: peer verification off.
class SimTest : public testing::Test {
protected:
    void start(const std::vector<std::string>& extra = {}) {
        sim = std::make_unique<Simulator>(extra);
        ASSERT_TRUE(sim->running()) << "the simulated CIM server did not start";
        transport.setClientCertificates(nullptr, 1, nullptr, nullptr);
    }
    // A server with an event log of `events` entries, its replies made once.
    void startLarge(int events) {
        sim = std::make_unique<Simulator>(std::vector<std::string>{"--events", std::to_string(events)},
                                          RBZ_SOURCE_DIR "/bench/static_server.py");
        ASSERT_TRUE(sim->running()) << "the simulated CIM server did not start";
        transport.setClientCertificates(nullptr, 1, nullptr, nullptr);
    }

    // The message of the exception the enumeration throws ("" when none).
    std::string enumerationFailure(const std::string& credentials, const char* className) {
        URL url(sim->path(credentials, className).c_str());
        try {
            transport.enumInstances(url, nullptr, true, false, true, false);
        } catch (const XmlException& e) {
            return e.getMsg();
        }
        return "";
    }

    void TearDown() override {
        waitTime = 0;
        unsetenv("CURLDEBUG");
        CimomCurl::askPassword = nullptr;
    }

    std::unique_ptr<Simulator> sim;
    CimomCurl transport;
};

TEST_F(SimTest, EnumeratesOverTls) {
    start();
    URL url(sim->path(secret, "Quilo_DiskDrive").c_str());
    std::unique_ptr<NamedInstancesXml> disks = transport.enumInstances(url, nullptr, true, false, true, false);
    ASSERT_NE(disks, nullptr);
    EXPECT_GT(disks->items.size(), 1u);
    const std::vector<LogRecord> sent = sim->requests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].method, "EnumerateInstances");
    EXPECT_EQ(sent[0].object, "quilo%2Fcimv2");
}

// An instance's rendering as a line of `text`.
void appendLine(std::string& text, const NamedInstanceXml& item) {
    item.instance.toStringBuffer(text, "");
    text += '\n';
}

// Renders every instance it is given, one line each.
struct Count final : NamedInstanceSink {
    void take(NamedInstanceXml& item) override {
        appendLine(text, item);
        ++items;
    }
    std::string text;
    size_t items = 0;
};

std::string renderAll(const NamedInstancesXml& list) {
    std::string text;
    for (const NamedInstanceXml& item : list.items) appendLine(text, item);
    return text;
}

// The same enumeration read whole and read while it arrives, twice over one
// connection, with a method call in between.
TEST_F(SimTest, ReadWhileArrivingGivesWhatTheWholeReplyGives) {
    start();
    URL url(sim->path(secret, "Quilo_DiskDrive").c_str());
    std::unique_ptr<NamedInstancesXml> whole = transport.enumInstances(url, nullptr, true, false, true, false);
    ASSERT_NE(whole, nullptr);
    Count first;
    EXPECT_TRUE(transport.enumInstances(url, nullptr, true, false, true, false, first));
    URL controller(sim->path(secret, controllerClass).c_str());
    EXPECT_NE(transport.callMethod2str(&controller, "SetWaTP", "Period=2").find("SetWaTP"), std::string::npos);
    Count second;
    EXPECT_TRUE(transport.enumInstances(url, nullptr, true, false, true, false, second));
    EXPECT_EQ(first.items, whole->items.size());
    EXPECT_EQ(first.text, renderAll(*whole));
    EXPECT_EQ(second.text, first.text);
    EXPECT_EQ(sim->connections(), 1u);
}

// A reply many times longer than the transfer may run ahead of the reader:
// the reader's pages are used again, and nothing read changes.
TEST_F(SimTest, ALongReplyReadWhileArrivingGivesWhatTheWholeReplyGives) {
    startLarge(15000);
    URL url(sim->path(secret, "Quilo_EventLog").c_str());
    std::unique_ptr<NamedInstancesXml> whole = transport.enumInstances(url, nullptr, true, false, true, false);
    ASSERT_NE(whole, nullptr);
    Count arriving;
    EXPECT_TRUE(transport.enumInstances(url, nullptr, true, false, true, false, arriving));
    EXPECT_EQ(arriving.items, 15000u);
    EXPECT_EQ(arriving.items, whole->items.size());
    EXPECT_TRUE(arriving.text == renderAll(*whole));   // megabytes: not printed
    EXPECT_EQ(sim->connections(), 1u);
}

// A reader that stops at the first item while the transfer waits for it to
// catch up: the transfer goes on to the end of the reply, and the
// connection serves the next request.
TEST_F(SimTest, AReaderThatStopsEarlyHoldsTheTransferBackNoLonger) {
    struct Stop final : NamedInstanceSink {
        void take(NamedInstanceXml&) override { throw std::runtime_error("enough"); }
    };
    startLarge(15000);
    URL url(sim->path(secret, "Quilo_EventLog").c_str());
    Stop stop;
    try {
        transport.enumInstances(url, nullptr, true, false, true, false, stop);
        ADD_FAILURE() << "the sink's exception was lost";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "enough");
    }
    Count again;
    EXPECT_TRUE(transport.enumInstances(url, nullptr, true, false, true, false, again));
    EXPECT_EQ(again.items, 15000u);
    EXPECT_EQ(sim->connections(), 1u);
}

TEST_F(SimTest, EveryRequestOfARunTravelsOverOneConnection) {
    start();
    URL volume(sim->path(secret, "Quilo_StorageVolume.VolumeNo=1").c_str());
    URL controller(sim->path(secret, controllerClass).c_str());

    EXPECT_NE(transport.enumInstances(controller, nullptr, true, false, true, false), nullptr);
    EXPECT_NE(transport.getInstance(volume, nullptr, false, true, false), nullptr);
    const std::string reply = transport.callMethod2str(&controller, "SetWaTP", "Period=2");
    EXPECT_NE(reply.find("SetWaTP"), std::string::npos) << reply;

    const std::vector<LogRecord> sent = sim->requests();
    ASSERT_EQ(sent.size(), 4u);
    const char* const expected[][2] = {
        {"EnumerateInstances", "quilo%2Fcimv2"},
        {"GetInstance", "quilo%2Fcimv2"},
        {"GetClass", "quilo%2Fcimv2"},
        {"SetWaTP", "quilo%2Fcimv2%3AQuilo_RAIDControllerSystem"},
    };
    for (size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(sent[i].method, expected[i][0]);
        EXPECT_EQ(sent[i].object, expected[i][1]);
        EXPECT_EQ(sent[i].status, 200);
        EXPECT_EQ(sent[i].connection, 1);
    }
    EXPECT_EQ(sim->connections(), 1u);
}

TEST_F(SimTest, InstanceMethodNamesItsKeysInCIMObject) {
    start();
    URL volume(sim->path(secret, "Quilo_StorageVolume.VolumeNo=2").c_str());
    transport.callMethod2str(&volume, "ModifyVolume", "name=x");
    const std::vector<LogRecord> sent = sim->requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].method, "ModifyVolume");
    EXPECT_EQ(sent[1].object, "quilo%2Fcimv2%3AQuilo_StorageVolume.VolumeNo=2");
    EXPECT_EQ(sent[1].status, 200);
}

struct FailureCase {
    const char* name;
    const char* scenario;     // "" for none
    const char* credentials;  // user information of the path
    const char* message;
    const char* printed;      // what goes to standard output
};

const FailureCase failureCases[] = {
    {"WrongPassword", "", "root:wrong@", "Http Exception: Invalid username/password.", ""},
    {"WrongUser", "", "admin:secret@", "Http Exception: Invalid username/password.", ""},
    {"NoUser", "", "", "Http Exception: Username/password required.", ""},
    {"Status401WithUser", "EnumerateInstances:status=401", secret, "Http Exception: Invalid username/password.",
     ""},
    {"Status500", "EnumerateInstances:status=500", secret, "Http Exception: HTTP response code said error",
     "CimomCurl::getResponseHTTP response code said error"},
    {"Status404", "EnumerateInstances:status=404", secret, "Http Exception: HTTP response code said error",
     "CimomCurl::getResponseHTTP response code said error"},
    {"ClosedWithoutAnswer", "EnumerateInstances:close", secret,
     "Http Exception: Server returned nothing (no headers, no data)",
     "CimomCurl::getResponseServer returned nothing (no headers, no data)"},
    {"EmptyBody", "EnumerateInstances:empty", secret, "Http Exception: No data received from server.", ""},
    {"CimStatusHeader", "EnumerateInstances:cimstatus=6:desc=x", secret, "Cim: (6) CIM_ERR_NOT_FOUND: x", ""},
    {"CimStatusHeaderUnknownCode", "EnumerateInstances:cimstatus=99:desc=odd", secret,
     "Cim: (99) Invalid/Unknown CIM Error Code: odd", ""},
    // A description that already names the error leaves only the code.
    {"CimStatusHeaderNamedDescription", "EnumerateInstances:cimstatus=6:desc=CIM_ERR_NOT_FOUND", secret,
     "Cim: (6) ", ""},
    // The status header wins over the body, and over an empty body too.
    {"CimStatusHeaderWithEmptyBody", "EnumerateInstances:cimstatus=1:desc=down:truncate=0", secret,
     "Cim: (1) CIM_ERR_FAILED: down", ""},
    {"CimStatusHeaderWithBrokenBody", "EnumerateInstances:cimstatus=1:desc=down:malformed", secret,
     "Cim: (1) CIM_ERR_FAILED: down", ""},
    // The body breaks off after a few items: the transfer's failure is told,
    // not what the items read so far made of the body.
    {"ConnectionClosedInTheBody", "EnumerateInstances:hangup=9000", secret,
     "Http Exception: Transferred a partial file", "CimomCurl::getResponseTransferred a partial file"},
    {"CutBody", "EnumerateInstances:truncate=9000", secret, "Parse Exception: Bad attribute list for PROPERTY: ",
     "waiting 1s...\n"},
    // Read while it arrives, no item end comes: the reader waits for the
    // whole body, and the transfer must not wait for the reader meanwhile.
    {"LongBodyWithNoItems", "EnumerateInstances:bulk=20000000", secret, "Parse Exception: Expecting MESSAGE element", "waiting 1s...\n"},
};

class SimFailureTest : public SimTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(SimFailureTest, Message) {
    const FailureCase& c = GetParam();
    start(*c.scenario ? std::vector<std::string>{"--scenario", c.scenario} : std::vector<std::string>{});
    waitTime = 1;   // no pause after a failed reply
    testing::internal::CaptureStdout();
    const std::string message = enumerationFailure(c.credentials, "Quilo_DiskDrive");
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(message, c.message);
    EXPECT_EQ(printed, c.printed);
}

// Read while it arrives, as the reports read, a reply fails the same way.
TEST_P(SimFailureTest, MessageWhenReadWhileArriving) {
    const FailureCase& c = GetParam();
    start(*c.scenario ? std::vector<std::string>{"--scenario", c.scenario} : std::vector<std::string>{});
    waitTime = 1;
    testing::internal::CaptureStdout();
    URL url(sim->path(c.credentials, "Quilo_DiskDrive").c_str());
    Count sink;
    std::string message;
    try {
        transport.enumInstances(url, nullptr, true, false, true, false, sink);
    } catch (const XmlException& e) {
        message = e.getMsg();
    }
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(message, c.message);
    EXPECT_EQ(printed, c.printed);
}

INSTANTIATE_TEST_SUITE_P(Replies, SimFailureTest, testing::ValuesIn(failureCases),
                         paramname::ByName());

TEST_F(SimTest, CimStatusIsThrownAsErrorXml) {
    start({"--scenario", "EnumerateInstances:cimstatus=6:desc=gone"});
    URL url(sim->path(secret, "Quilo_DiskDrive").c_str());
    try {
        transport.enumInstances(url, nullptr, true, false, true, false);
        FAIL() << "no ErrorXml";
    } catch (const ErrorXml& e) {
        EXPECT_EQ(e.code, "6");
        EXPECT_EQ(e.description, "CIM_ERR_NOT_FOUND: gone");
    }
}

// The status record is filled by the header callback and never cleared, so
// once a reply carried a CIM status every later reply of the run fails too.
TEST_F(SimTest, CimStatusStaysForLaterRequests) {
    start({"--scenario", "EnumerateInstances#1:cimstatus=6:desc=gone"});
    EXPECT_EQ(enumerationFailure(secret, "Quilo_DiskDrive"), "Cim: (6) CIM_ERR_NOT_FOUND: gone");
    EXPECT_EQ(enumerationFailure(secret, "Quilo_DiskDrive"), "Cim: (6) CIM_ERR_NOT_FOUND: gone");
    EXPECT_EQ(sim->requests().size(), 2u);
}

TEST_F(SimTest, AsksForAMissingPasswordOnce) {
    start();
    CimomCurl::askPassword = [](std::string prompt) {
        EXPECT_EQ(prompt, "Enter ESXi Server PassWord: ");
        return std::string("secret");
    };
    URL url(sim->path("root@", controllerClass).c_str());
    EXPECT_NE(transport.enumInstances(url, nullptr, true, false, true, false), nullptr);
    CimomCurl::askPassword = nullptr;
    EXPECT_NE(transport.enumInstances(url, nullptr, true, false, true, false), nullptr);
    EXPECT_EQ(url.password, "secret");
}

TEST_F(SimTest, PausesAfterEachGoodReply) {
    start();
    waitTime = 1;
    URL url(sim->path(secret, controllerClass).c_str());
    testing::internal::CaptureStdout();
    const auto before = std::chrono::steady_clock::now();
    transport.enumInstances(url, nullptr, true, false, true, false);
    transport.callMethod2str(&url, "SetWaTP", "Period=2");
    const auto elapsed = std::chrono::steady_clock::now() - before;
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "waiting 1s...\nwaiting 1s...\nwaiting 1s...\n");
    EXPECT_GE(elapsed, std::chrono::seconds(3));
}

TEST_F(SimTest, NoPauseAtZero) {
    start();
    URL url(sim->path(secret, controllerClass).c_str());
    testing::internal::CaptureStdout();
    const auto before = std::chrono::steady_clock::now();
    transport.enumInstances(url, nullptr, true, false, true, false);
    const auto elapsed = std::chrono::steady_clock::now() - before;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_LT(elapsed, std::chrono::seconds(1));
}

struct DebugCase {
    const char* name;
    const char* value;   // null: unset
    bool verbose;
};

const DebugCase debugCases[] = {
    {"Unset", nullptr, false},
    {"One", "1", true},
    {"AnyText", "yes", true},
    {"Empty", "", true},
    {"False", "false", false},
    {"FalseAnyCase", "FaLsE", false},
    {"FalseWithMore", "falsey", true},
};

class DebugTest : public SimTest, public testing::WithParamInterface<DebugCase> {};

TEST_P(DebugTest, CurlDebugSwitchesLibcurlTraces) {
    const DebugCase& c = GetParam();
    start();
    if (c.value != nullptr) setenv("CURLDEBUG", c.value, 1);
    URL url(sim->path(secret, controllerClass).c_str());
    testing::internal::CaptureStderr();
    transport.enumInstances(url, nullptr, true, false, true, false);
    const std::string traced = testing::internal::GetCapturedStderr();
    EXPECT_EQ(traced.find("> POST /cimom") != std::string::npos, c.verbose) << traced;
    if (c.verbose) {
        EXPECT_NE(traced.find("CIMMethod: EnumerateInstances"), std::string::npos);
        EXPECT_EQ(traced.find("Expect:"), std::string::npos) << "the empty Expect line is never sent";
        EXPECT_EQ(traced.find("Accept:"), std::string::npos) << "the empty Accept line is never sent";
    } else {
        EXPECT_EQ(traced, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Values, DebugTest, testing::ValuesIn(debugCases),
                         paramname::ByName());

// libcurl announces bodies above 1 MiB with "Expect: 100-continue" unless told
// otherwise; the simulated server, like the CIM servers it stands for, refuses
// any Expect with 417. A document that large must still go through at once.
TEST_F(SimTest, LargeBodyIsSentWithoutExpect) {
    start();
    URL url(sim->path(secret, controllerClass).c_str());
    std::string document = Cimom::xmlHeader;
    document += "<IMETHODCALL NAME=\"EnumerateInstances\"><LOCALNAMESPACEPATH>"
                "<NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\"></NAMESPACE>"
                "</LOCALNAMESPACEPATH>\n";
    document += "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"Quilo_RAIDControllerSystem\"/></IPARAMVALUE>\n";
    document += std::string(1536 * 1024, ' ');
    document += "</IMETHODCALL>";
    document += Cimom::xmlTrailer;

    transport.genRequest(url, "EnumerateInstances", false, false);
    transport.addPayload(document);
    const std::string reply = transport.getResponse();
    EXPECT_NE(reply.find("Quilo_RAIDControllerSystem"), std::string::npos);
    const std::vector<LogRecord> sent = sim->requests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].status, 200);
}

}  // namespace
