// What the CIM dispatch of a query sends: the documents, which the
// end-to-end cases do not see (they see the operations and their targets).
#include "cli/dispatch.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "cim/cimom.h"
#include "cli_test_support.h"

namespace {

// Records every request; the class reply declares SetWaTP, the wait period
// method; everything else gets an empty reply.
class RecordingCimom : public Cimom {
public:
    std::vector<std::string> requests;   // "name class document"
    std::string certificates;

    void genRequest(URL& url, const char* name, bool, bool) override {
        requests.push_back(std::string(name) + " " + url.className + " ");
    }
    void addPayload(const std::string& document) override { requests.back() += document; }
    std::string getResponse() override {
        if (requests.back().rfind("GetClass ", 0) != 0) return "";
        return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
               "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"GetClass\"><IRETURNVALUE>"
               "<CLASS NAME=\"Quilo_RAIDControllerSystem\"><METHOD NAME=\"SetWaTP\" TYPE=\"string\">"
               "<PARAMETER NAME=\"Period\" TYPE=\"string\"></PARAMETER></METHOD></CLASS>"
               "</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
    }
    void setClientCertificates(const char* caCert, int noVerify, const char* clientCert,
                               const char* clientKey) override {
        const auto name = [](const char* file) { return std::string(file != nullptr ? file : "-"); };
        certificates = name(caCert) + " " + std::to_string(noVerify) + " " + name(clientCert) + " " + name(clientKey);
    }
};

struct QueryCase {
    const char* name;
    pricmd primary;
    subcmd option;
    const char* parameters;
    const char* query;                // the third request, up to its document
    std::vector<const char*> pieces;  // of its document
};

void PrintTo(const QueryCase& c, std::ostream* os) { *os << c.name; }

class Queries : public testing::TestWithParam<QueryCase> {};

TEST_P(Queries, SendTheWaitPeriodThenTheQuery) {
    const QueryCase& c = GetParam();
    RecordingCimom cimom;
    CommandLine cmd;
    cmd.host = "10.0.0.5";
    cmd.user = "root";
    cmd.password = "esxi";
    cmd.primary = c.primary;
    cmd.option = c.option;
    cmd.parameters = c.parameters;
    cmd.caCert = "ca.pem";
    cmd.clientKey = "key.pem";
    int status = -1;
    const Captured out = Capture([&] { status = DispatchCommand(cimom, cmd, nullptr); });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out.out + out.err, "");
    EXPECT_EQ(cimom.certificates, "ca.pem 1 - key.pem");   // peer verification off, the files as given
    ASSERT_EQ(cimom.requests.size(), 3u);
    EXPECT_EQ(cimom.requests[0].rfind("GetClass Quilo_RAIDControllerSystem ", 0), 0u) << cimom.requests[0];
    const std::string& wait = cimom.requests[1];
    EXPECT_EQ(wait.rfind("SetWaTP Quilo_RAIDControllerSystem ", 0), 0u) << wait;
    EXPECT_NE(wait.find("<PARAMVALUE NAME=\"Period\"><VALUE>2</VALUE></PARAMVALUE>"), std::string::npos) << wait;
    const std::string& query = cimom.requests[2];
    EXPECT_EQ(query.rfind(c.query, 0), 0u) << query;
    for (const char* piece : c.pieces) EXPECT_NE(query.find(piece), std::string::npos) << piece << " in " << query;
}

INSTANTIATE_TEST_SUITE_P(Table, Queries, testing::Values(
    QueryCase{"sys_info", pricmd::sys, subcmd::sys_info, "", "EnumerateInstances Quilo_RAIDControllerSystem ",
              {"<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE>",
               "<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE>",
               "<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE>",
               "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE>"}},
    QueryCase{"vsf_inq", pricmd::vsf, subcmd::vsf_inq, "vol=1", "GetInstance Quilo_StorageVolume ",
              {"<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE>",
               "<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE>",
               "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE>"}}),
    [](const testing::TestParamInfo<QueryCase>& info) { return std::string(info.param.name); });

std::vector<std::string> prompts;
std::string Answer(std::string prompt) {
    prompts.push_back(std::move(prompt));
    return "0000";
}

// A change command asks for the controller password, which an empty reply
// does not accept.
TEST(DispatchCommand, ChangeCommandAsksForTheControllerPassword) {
    RecordingCimom cimom;
    CommandLine cmd;
    cmd.host = "10.0.0.5";
    cmd.primary = pricmd::sys;
    cmd.option = subcmd::sys_beeperon;
    cmd.parameters = "SetBeeper.Enable=Y";
    int status = -1;
    const Captured out = Capture([&] { status = DispatchCommand(cimom, cmd, Answer); });
    EXPECT_EQ(status, 13);
    EXPECT_EQ(out.out, "Controller Password Incorrect\n");
    EXPECT_EQ(prompts, std::vector<std::string>{"Enter RAID Controller's PassWord:"});
    ASSERT_EQ(cimom.requests.size(), 4u);
    EXPECT_EQ(cimom.requests[3].rfind("AuthPassword Quilo_RAIDControllerSystem ", 0), 0u) << cimom.requests[3];
}

}  // namespace
