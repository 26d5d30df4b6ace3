// Serving a parsed command line: the wait period first, then the query with
// its report, or the password check and the method with its status.
#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>

#include "cli/dispatch.h"
#include "cli_test_support.h"
#include "dispatch_fake_cimom.h"
#include "tests/unit/param_names.h"

namespace {

using fake::FakeCimom;
using fake::Prompts;
using Sequence = std::vector<std::pair<std::string, std::string>>;

const char* const kController = "Quilo_RAIDControllerSystem";

CommandLine Command(pricmd primary, subcmd option, std::string parameters) {
    CommandLine cmd;
    cmd.host = "10.0.0.5";
    cmd.user = "root";
    cmd.password = "esxi";
    cmd.primary = primary;
    cmd.option = option;
    cmd.parameters = std::move(parameters);
    return cmd;
}

FakeCimom Server() {
    FakeCimom cimom;
    cimom.replies["GetClass"] = fake::ClassReply();
    cimom.replies["SetWaTP"] = fake::MethodReply("SetWaTP", "OK");
    cimom.replies["AuthPassword"] = fake::MethodReply("AuthPassword", "OK");
    return cimom;
}

struct Outcome {
    int status = -1;
    Captured captured;
};

Outcome Dispatch(FakeCimom& cimom, CommandLine cmd, const std::string& controllerPassword = "0000") {
    Prompts::Reset(controllerPassword);
    Outcome run;
    run.captured = Capture([&] { run.status = DispatchCommand(cimom, cmd, Prompts::Read); });
    return run;
}

std::string ControllerInstance() {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_RAIDControllerSystem\"><KEYBINDING NAME=\"Name\">"
           "<KEYVALUE VALUETYPE=\"string\">C0</KEYVALUE></KEYBINDING></INSTANCENAME>"
           "<INSTANCE CLASSNAME=\"Quilo_RAIDControllerSystem\">"
           "<PROPERTY NAME=\"ModelName\" TYPE=\"string\"><VALUE>ARC-1886</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"SerialNumber\" TYPE=\"string\"><VALUE>Y1</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"FirmVersion\" TYPE=\"string\"><VALUE>V1</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"BootVersion\" TYPE=\"string\"><VALUE>B1</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"CurrentIP\" TYPE=\"string\"><VALUE>1.2.3.4</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"MAC\" TYPE=\"string\"><VALUE>00.11</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"DCacheSize\" TYPE=\"uint32\"><VALUE>32768</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"ICacheSize\" TYPE=\"uint32\"><VALUE>32768</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"MemorySpeed\" TYPE=\"uint32\"><VALUE>1866</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"MemorySize\" TYPE=\"uint32\"><VALUE>1024</VALUE></PROPERTY>"
           "</INSTANCE></VALUE.NAMEDINSTANCE>";
}

TEST(DispatchCommand, QuerySetsTheWaitPeriodFirst) {
    FakeCimom cimom = Server();
    cimom.replies["EnumerateInstances"] = fake::EnumReply(ControllerInstance());
    CommandLine cmd = Command(pricmd::sys, subcmd::sys_info, "");
    cmd.caCert = "ca.pem";
    cmd.clientKey = "key.pem";
    const Outcome run = Dispatch(cimom, cmd);

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(cimom.sequence(), (Sequence{{"GetClass", kController},
                                          {"SetWaTP", kController},
                                          {"EnumerateInstances", kController}}));
    EXPECT_NE(cimom.requests[1].document.find("<PARAMVALUE NAME=\"Period\"><VALUE>2</VALUE></PARAMVALUE>"),
              std::string::npos)
        << cimom.requests[1].document;
    // Peer verification is never switched on; the files pass as given.
    EXPECT_TRUE(cimom.certificates.set);
    EXPECT_EQ(cimom.certificates.noVerify, 1);
    EXPECT_STREQ(cimom.certificates.caCert, "ca.pem");
    EXPECT_EQ(cimom.certificates.clientCert, nullptr);
    EXPECT_STREQ(cimom.certificates.clientKey, "key.pem");
    // The enumeration: deep inheritance, class origin, no qualifiers.
    const std::string& doc = cimom.requests[2].document;
    EXPECT_NE(doc.find("<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE>"), std::string::npos) << doc;
    EXPECT_NE(doc.find("<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE>"), std::string::npos) << doc;
    EXPECT_NE(doc.find("<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE>"), std::string::npos) << doc;
    EXPECT_NE(doc.find("<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE>"), std::string::npos) << doc;

    EXPECT_NE(run.captured.out.find("RAID Controller Information:\n"), std::string::npos) << run.captured.out;
    EXPECT_NE(run.captured.out.find("Memory Size:\t\t1024MB\n"), std::string::npos) << run.captured.out;
    EXPECT_EQ(run.captured.err, "");
    EXPECT_TRUE(Prompts::shown.empty());
}

struct QueryCase {
    const char* name;
    pricmd primary;
    subcmd option;
    const char* parameters;
    const char* operation;
    const char* className;
    const char* whenNothing;   // printed when the query returns nothing
};

class DispatchQueries : public ::testing::TestWithParam<QueryCase> {};

TEST_P(DispatchQueries, EmptyReply) {
    const QueryCase& c = GetParam();
    FakeCimom cimom = Server();
    const Outcome run = Dispatch(cimom, Command(c.primary, c.option, c.parameters));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(cimom.sequence(),
              (Sequence{{"GetClass", kController}, {"SetWaTP", kController}, {c.operation, c.className}}));
    EXPECT_EQ(run.captured.out, c.whenNothing);
}

INSTANTIATE_TEST_SUITE_P(
    Table, DispatchQueries,
    ::testing::Values(
        QueryCase{"rsf_info", pricmd::rsf, subcmd::rsf_info, "", "EnumerateInstances", "Quilo_StoragePool", "None\n"},
        QueryCase{"vsf_info", pricmd::vsf, subcmd::vsf_info, "", "EnumerateInstances", "Quilo_StorageVolume",
                  "None\n"},
        QueryCase{"vsf_inq", pricmd::vsf, subcmd::vsf_inq, "vol=1", "GetInstance", "Quilo_StorageVolume", ""},
        QueryCase{"disk_info", pricmd::disk, subcmd::disk_info, "", "EnumerateInstances", "Quilo_DiskDrive",
                  "None\n"},
        QueryCase{"disk_inq", pricmd::disk, subcmd::disk_inq, "enc=1,slot=2", "GetInstance", "Quilo_DiskDrive", ""},
        QueryCase{"sys_info", pricmd::sys, subcmd::sys_info, "", "EnumerateInstances", kController, ""},
        QueryCase{"event_info", pricmd::event, subcmd::event_info, "", "EnumerateInstances", "Quilo_EventLog", ""}),
    paramname::ByName());

TEST(DispatchCommand, InquiryAddressesTheInstanceButTheWaitPeriodTheClass) {
    FakeCimom cimom = Server();
    cimom.replies["GetInstance"] = fake::GetInstanceReply(
        "<INSTANCE CLASSNAME=\"Quilo_StorageVolume\">"
        "<PROPERTY NAME=\"ElementName\" TYPE=\"string\"><VALUE>V1</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Capacity\" TYPE=\"uint64\"><VALUE>1500000000</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"StripeSize\" TYPE=\"uint32\"><VALUE>64</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"RAIDLevel\" TYPE=\"uint32\"><VALUE>5</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Channel\" TYPE=\"uint32\"><VALUE>0</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"ID\" TYPE=\"uint32\"><VALUE>0</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"Lun\" TYPE=\"uint32\"><VALUE>1</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"CacheMode\" TYPE=\"string\"><VALUE>Write Back</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"WriteProtect\" TYPE=\"string\"><VALUE>Disabled</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"TaggedQueuing\" TYPE=\"string\"><VALUE>Enabled</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"VolumeState\" TYPE=\"string\"><VALUE>Normal</VALUE></PROPERTY>"
        "</INSTANCE>");
    const Outcome run = Dispatch(cimom, Command(pricmd::vsf, subcmd::vsf_inq, "vol=1"));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(cimom.requests.size(), 3u);
    EXPECT_FALSE(cimom.requests[1].hasKeys);
    EXPECT_NE(cimom.requests[1].document.find("<LOCALCLASSPATH>"), std::string::npos);
    const std::string& doc = cimom.requests[2].document;
    EXPECT_NE(doc.find("<INSTANCENAME CLASSNAME=\"Quilo_StorageVolume\"><KEYBINDING NAME=\"VolumeNo\">"),
              std::string::npos)
        << doc;
    EXPECT_NE(doc.find("<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE>"), std::string::npos) << doc;
    EXPECT_NE(run.captured.out.find(" Volume Information:\n"), std::string::npos) << run.captured.out;
    EXPECT_NE(run.captured.out.find("Volume Set Name:\tV1\nCapacity:\t\t1.5GB\n"), std::string::npos)
        << run.captured.out;
}

TEST(DispatchCommand, ChangeCommandChecksThePasswordThenCallsTheMethod) {
    FakeCimom cimom = Server();
    cimom.replies["SetBeeper"] = fake::MethodReply("SetBeeper", "OK");
    const Outcome run = Dispatch(cimom, Command(pricmd::sys, subcmd::sys_beeperon, "SetBeeper.Enable=Y"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(cimom.sequence(), (Sequence{{"GetClass", kController},
                                          {"SetWaTP", kController},
                                          {"GetClass", kController},
                                          {"AuthPassword", kController},
                                          {"GetClass", kController},
                                          {"SetBeeper", kController}}));
    EXPECT_NE(cimom.requests[3].document.find("<VALUE>0000</VALUE>"), std::string::npos);
    EXPECT_NE(cimom.requests[5].document.find("<PARAMVALUE NAME=\"Enable\"><VALUE>Y</VALUE></PARAMVALUE>"),
              std::string::npos)
        << cimom.requests[5].document;
    EXPECT_EQ(run.captured.out, " OK \n");
    EXPECT_EQ(Prompts::shown, std::vector<std::string>{"Enter RAID Controller's PassWord:"});
}

TEST(DispatchCommand, RefusedPasswordEndsWithThirteenAndNoFurtherRequest) {
    FakeCimom cimom = Server();
    cimom.replies["AuthPassword"] = fake::MethodReply("AuthPassword", "ERROR CODE=\"74\"");
    cimom.replies["SetBeeper"] = fake::MethodReply("SetBeeper", "OK");
    const Outcome run = Dispatch(cimom, Command(pricmd::sys, subcmd::sys_beeperon, "SetBeeper.Enable=Y"), "9999");
    EXPECT_EQ(run.status, 13);
    EXPECT_EQ(cimom.sequence(), (Sequence{{"GetClass", kController},
                                          {"SetWaTP", kController},
                                          {"GetClass", kController},
                                          {"AuthPassword", kController}}));
    EXPECT_EQ(run.captured.out, "Invalid Password for the RAID Controller\nController Password Incorrect\n");
}

struct StatusCase {
    const char* reply;
    const char* printed;
};

class DispatchMethodStatus : public ::testing::TestWithParam<StatusCase> {};

// Whatever the controller says, the exit status stays 0.
TEST_P(DispatchMethodStatus, PrintedAndStatusZero) {
    FakeCimom cimom = Server();
    cimom.replies["SetBeeper"] = fake::MethodReply("SetBeeper", GetParam().reply);
    const Outcome run = Dispatch(cimom, Command(pricmd::sys, subcmd::sys_beeperoff, "SetBeeper.Enable=N"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.captured.out, GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(Replies, DispatchMethodStatus,
                         ::testing::Values(StatusCase{"ERROR CODE=\"71\"", "Parameter Error\n"},
                                           StatusCase{"ERROR CODE=\"65\"", ""},
                                           StatusCase{"ERROR CODE=\"65\" OK", " OK \n"},
                                           StatusCase{"ERROR CODE=\"176\"", "Command Timed Out\n"},
                                           StatusCase{"Done", ""}),
                         paramname::Numbered([](const StatusCase& c) { return c.reply; }));

TEST(DispatchCommand, MethodNameAndArgumentsSplitAtTheFirstDot) {
    FakeCimom cimom = Server();
    cimom.replies["DeleteVolume"] = fake::MethodReply("DeleteVolume", "OK");
    const Outcome run = Dispatch(cimom, Command(pricmd::vsf, subcmd::vsf_delete, "DeleteVolume.vol=2"));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(cimom.requests.size(), 6u);
    const fake::Request& call = cimom.requests[5];
    EXPECT_EQ(call.name, "DeleteVolume");
    EXPECT_EQ(call.className, "Quilo_StorageVolume");
    EXPECT_TRUE(call.hasKeys);   // the target keeps its VolumeNo key
    EXPECT_NE(call.document.find("<KEYBINDING NAME=\"VolumeNo\">"), std::string::npos) << call.document;
    EXPECT_NE(call.document.find("<PARAMVALUE NAME=\"vol\"><VALUE>2</VALUE></PARAMVALUE>"), std::string::npos)
        << call.document;
}

TEST(DispatchCommand, WithoutADotMethodAndArgumentsAreTheWholeText) {
    FakeCimom cimom = Server();
    cimom.replies["ClearLog"] = fake::MethodReply("ClearLog", "OK");
    const Outcome run = Dispatch(cimom, Command(pricmd::event, subcmd::event_clear, "ClearLog"));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(cimom.requests.size(), 6u);
    EXPECT_EQ(cimom.requests[5].name, "ClearLog");
    EXPECT_EQ(cimom.requests[5].className, "Quilo_EventLog");
    EXPECT_EQ(run.captured.out, " OK \n");
}

TEST(DispatchCommand, ChangePasswordSendsTheNewPasswordAfterTheCurrentOne) {
    FakeCimom cimom = Server();
    cimom.replies["ChangePassword"] = fake::MethodReply("ChangePassword", "OK");
    const Outcome run =
        Dispatch(cimom, Command(pricmd::sys, subcmd::sys_chgpw, "ChangePassword.password=n3w"), "0000");
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(cimom.requests.size(), 6u);
    EXPECT_NE(cimom.requests[3].document.find("<PARAMVALUE NAME=\"password\"><VALUE>0000</VALUE>"),
              std::string::npos);
    EXPECT_EQ(cimom.requests[5].name, "ChangePassword");
    EXPECT_NE(cimom.requests[5].document.find("<PARAMVALUE NAME=\"password\"><VALUE>n3w</VALUE>"),
              std::string::npos)
        << cimom.requests[5].document;
}

TEST(DispatchCommand, FailedWaitPeriodStopsTheCommand) {
    FakeCimom cimom = Server();
    cimom.failures["SetWaTP"] = [] { throw HttpException("connection refused"); };
    CommandLine cmd = Command(pricmd::sys, subcmd::sys_info, "");
    Prompts::Reset("x");
    EXPECT_THROW(DispatchCommand(cimom, cmd, Prompts::Read), HttpException);
    EXPECT_EQ(cimom.sequence(), (Sequence{{"GetClass", kController}, {"SetWaTP", kController}}));
}

TEST(DispatchCommand, CommandWithoutClassFailsInThePathParser) {
    FakeCimom cimom = Server();
    CommandLine cmd = Command(pricmd::net, subcmd::net_info, "");
    Prompts::Reset("x");
    EXPECT_THROW(DispatchCommand(cimom, cmd, Prompts::Read), URLException);
    EXPECT_TRUE(cimom.requests.empty());
    EXPECT_TRUE(cimom.certificates.set);
}

TEST(DispatchCommand, ReportFailurePassesThrough) {
    FakeCimom cimom = Server();
    cimom.replies["EnumerateInstances"] = fake::EnumReply(
        "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\"></INSTANCENAME>"
        "<INSTANCE CLASSNAME=\"Quilo_EventLog\"></INSTANCE></VALUE.NAMEDINSTANCE>");
    CommandLine cmd = Command(pricmd::event, subcmd::event_info, "");
    Prompts::Reset("x");
    testing::internal::CaptureStdout();
    EXPECT_THROW(DispatchCommand(cimom, cmd, Prompts::Read), std::out_of_range);
    testing::internal::GetCapturedStdout();
}

std::string EventInstance(const std::string& id, bool withData) {
    return "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"Quilo_EventLog\"><KEYBINDING NAME=\"InstanceID\">"
           "<KEYVALUE VALUETYPE=\"string\">" + id + "</KEYVALUE></KEYBINDING></INSTANCENAME>"
           "<INSTANCE CLASSNAME=\"Quilo_EventLog\">"
           "<PROPERTY NAME=\"Time\" TYPE=\"string\"><VALUE>2024-01-02</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"Type\" TYPE=\"string\"><VALUE>Power On</VALUE></PROPERTY>"
           "<PROPERTY NAME=\"Description\" TYPE=\"string\"><VALUE>Event " + id + "</VALUE></PROPERTY>" +
           (withData ? "<PROPERTY NAME=\"Data1\" TYPE=\"string\"><VALUE>d</VALUE></PROPERTY>" : "") +
           "</INSTANCE></VALUE.NAMEDINSTANCE>\n";
}

Outcome EventInfo(FakeCimom& cimom, const std::string& reply, std::exception_ptr& failure) {
    cimom.replies["EnumerateInstances"] = reply;
    Prompts::Reset("x");
    CommandLine cmd = Command(pricmd::event, subcmd::event_info, "");
    Outcome run;
    run.captured = Capture([&] {
        try {
            run.status = DispatchCommand(cimom, cmd, Prompts::Read);
        } catch (...) {
            failure = std::current_exception();
        }
    });
    return run;
}

// The report is written while the reply is read; a row that cannot be
// reported ends it with the rows before it, once the reply has been read.
TEST(DispatchCommand, ReportFailureComesAfterTheRowsBeforeIt) {
    FakeCimom cimom = Server();
    std::exception_ptr failure;
    const Outcome run = EventInfo(
        cimom, fake::EnumReply(EventInstance("1", true) + EventInstance("2", false) + EventInstance("3", true)),
        failure);
    ASSERT_TRUE(failure);
    EXPECT_THROW(std::rethrow_exception(failure), std::out_of_range);
    EXPECT_NE(run.captured.out.find("Event Log:\n"), std::string::npos) << run.captured.out;
    EXPECT_NE(run.captured.out.find("Event 1"), std::string::npos) << run.captured.out;
    EXPECT_NE(run.captured.out.find("Event 2"), std::string::npos) << run.captured.out;
    EXPECT_EQ(run.captured.out.find("Event 3"), std::string::npos) << run.captured.out;
}

// A reply that breaks after its first instances shows nothing of the report,
// whatever those instances held.
TEST(DispatchCommand, BrokenReplyPrintsNoReport) {
    const std::string rows = EventInstance("1", true) + EventInstance("2", false) + EventInstance("3", true);
    const std::string broken[] = {
        fake::EnumReply(rows + "<VALUE.NAMEDINSTANCE>"),
        fake::EnumReply(rows).substr(0, fake::EnumReply(rows).size() - 10),
    };
    for (const std::string& reply : broken) {
        FakeCimom cimom = Server();
        std::exception_ptr failure;
        const Outcome run = EventInfo(cimom, reply, failure);
        ASSERT_TRUE(failure);
        EXPECT_THROW(std::rethrow_exception(failure), ParseException);
        EXPECT_EQ(run.captured.out, "");
    }
}

TEST(DispatchCommand, ListOfOtherObjectsIsAnUnexpectedResponse) {
    FakeCimom cimom = Server();
    std::exception_ptr failure;
    const std::string instance = "<INSTANCE CLASSNAME=\"Quilo_EventLog\"></INSTANCE>";
    const Outcome run = EventInfo(cimom, fake::EnumReply(instance + instance), failure);
    ASSERT_TRUE(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const ParseException& e) {
        EXPECT_EQ(e.getMsg(), "Parse Exception: Unexpected response type");
    }
    EXPECT_EQ(run.captured.out, "");
}

TEST(DispatchCommand, SingleInstanceIsAReportOfOneRow) {
    FakeCimom cimom = Server();
    std::exception_ptr failure;
    const Outcome run = EventInfo(cimom, fake::EnumReply(EventInstance("1", true)), failure);
    EXPECT_FALSE(failure);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.captured.out.find("\n1        2024-01-02"), std::string::npos) << run.captured.out;
    EXPECT_EQ(run.captured.out.find("\n2 "), std::string::npos) << run.captured.out;
}

}  // namespace
