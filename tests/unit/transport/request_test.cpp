// What genRequest and setClientCertificates tell libcurl, checked without a
// server: the request address, the header lines, the credentials, and the
// messages of the certificate set-up.
#include "transport/cimom_curl.h"

#include "cim/url.h"
#include "xml/render_flags.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<std::string> lines(const curl_slist* list) {
    std::vector<std::string> out;
    for (; list != nullptr; list = list->next) out.emplace_back(list->data);
    return out;
}

std::vector<std::string> fixedThen(std::vector<std::string> tail) {
    std::vector<std::string> all = {
        "Content-Type: application/xml; charset=\"utf-8\"",
        "Connection: Keep-Alive, TE",
        "CIMProtocolVersion: 1.0",
        "CIMOperation: MethodCall",
        "Accept:",
    };
    all.insert(all.end(), tail.begin(), tail.end());
    return all;
}

struct RequestCase {
    const char* name;
    const char* path;
    const char* operation;
    bool isMethodCall;
    bool hasKeys;
    const char* address;
    const char* object;
};

const RequestCase requestCases[] = {
    {"Enumerate", "https://root:pw@10.0.0.5/quilo/cimv2:Quilo_DiskDrive", "EnumerateInstances", false, false,
     "https://10.0.0.5:5989/cimom", "quilo%2Fcimv2"},
    {"DefaultNamespace", "https://root:pw@10.0.0.5", "GetClass", false, false, "https://10.0.0.5:5989/cimom",
     "root%2Fcimv2"},
    {"PlainHttpPort", "http://root:pw@10.0.0.5/quilo/cimv2:C", "GetInstance", false, false,
     "http://10.0.0.5:5988/cimom", "quilo%2Fcimv2"},
    {"ClassMethod", "https://root:pw@host:15989/quilo/cimv2:Quilo_RAIDControllerSystem", "SetWaTP", true, false,
     "https://host:15989/cimom", "quilo%2Fcimv2%3AQuilo_RAIDControllerSystem"},
    {"InstanceMethodStringKey", "https://root:pw@host/quilo/cimv2:Quilo_StorageVolume.VolumeNo=\"1\"",
     "DeleteVolume", true, true, "https://host:5989/cimom", "quilo%2Fcimv2%3AQuilo_StorageVolume.VolumeNo=\"1\""},
    {"InstanceMethodMixedKeys", "https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Tag=\"1 2\",Id=2,On=true",
     "SetBeeper", true, true, "https://host:5989/cimom",
     "quilo%2Fcimv2%3AQuilo_DiskDrive.Tag=\"1 2\",Id=2,On=true"},
    {"KeysIgnoredWithoutHasKeys", "https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Id=2", "SetBeeper", true,
     false, "https://host:5989/cimom", "quilo%2Fcimv2%3AQuilo_DiskDrive"},
    {"KeysIgnoredForIntrinsic", "https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Id=2", "GetInstance", false,
     true, "https://host:5989/cimom", "quilo%2Fcimv2"},
    {"IPv6WithZone", "https://root:pw@[fe80::1%2]/quilo/cimv2:C", "GetClass", false, false,
     "https://[fe80::1]:5989/cimom", "quilo%2Fcimv2"},
};

class GenRequestTest : public testing::TestWithParam<RequestCase> {};

TEST_P(GenRequestTest, AddressAndHeaders) {
    const RequestCase& c = GetParam();
    CimomCurl transport;
    URL url(c.path);
    transport.genRequest(url, c.operation, c.isMethodCall, c.hasKeys);
    EXPECT_EQ(transport.requestUrl(), c.address);
    EXPECT_EQ(lines(transport.requestHeaders()),
              fixedThen({std::string("CIMMethod: ") + c.operation, std::string("CIMObject: ") + c.object,
                         "Expect:"}));
}

INSTANTIATE_TEST_SUITE_P(Paths, GenRequestTest, testing::ValuesIn(requestCases),
                         paramname::ByName());

TEST(GenRequest, KeysAreWrittenOnOneLineAndUseNlIsRestored) {
    CimomCurl transport;
    URL url("https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2");
    ASSERT_EQ(useNl, 1);
    transport.genRequest(url, "SetBeeper", true, true);
    EXPECT_EQ(useNl, 1);
    const std::vector<std::string> sent = lines(transport.requestHeaders());
    ASSERT_GE(sent.size(), 2u);
    EXPECT_EQ(sent[sent.size() - 2], "CIMObject: quilo%2Fcimv2%3AQuilo_DiskDrive.Tag=\"1\",Id=2");
}

TEST(GenRequest, SwitchesAddTheirLines) {
    CimomCurl transport;
    URL url("https://root:pw@host/quilo/cimv2:C");
    reqChunking = 1;
    expect100 = 1;
    transport.genRequest(url, "GetClass", false, false);
    reqChunking = 0;
    expect100 = 0;
    std::vector<std::string> expected = fixedThen(
        {"TE: trailers", "CIMMethod: GetClass", "CIMObject: quilo%2Fcimv2", "Expect: 100-continue"});
    EXPECT_EQ(lines(transport.requestHeaders()), expected);
}

TEST(GenRequest, HeaderListIsRebuiltForEveryRequest) {
    CimomCurl transport;
    URL url("https://root:pw@host/quilo/cimv2:C");
    transport.genRequest(url, "GetClass", false, false);
    transport.genRequest(url, "SetWaTP", true, false);
    EXPECT_EQ(lines(transport.requestHeaders()),
              fixedThen({"CIMMethod: SetWaTP", "CIMObject: quilo%2Fcimv2%3AC", "Expect:"}));
}

// Credentials: the password prompt is a hook so that the transport need not
// know the terminal code.
std::vector<std::string> prompts;
std::string typedPassword(std::string prompt) {
    prompts.push_back(prompt);
    return "typed";
}

struct CredentialCase {
    const char* name;
    const char* path;
    const char* credentials;
    bool asks;
    const char* passwordAfter;
};

const CredentialCase credentialCases[] = {
    {"UserAndPassword", "https://root:pw@host/quilo/cimv2:C", "root:pw", false, "pw"},
    {"UserWithoutPassword", "https://root@host/quilo/cimv2:C", "root:typed", true, "typed"},
    {"UserWithEmptyPassword", "https://root:@host/quilo/cimv2:C", "root:typed", true, "typed"},
    {"NoUser", "https://host/quilo/cimv2:C", "", false, ""},
};

class CredentialsTest : public testing::TestWithParam<CredentialCase> {
protected:
    void SetUp() override {
        prompts.clear();
        CimomCurl::askPassword = typedPassword;
    }
    void TearDown() override { CimomCurl::askPassword = nullptr; }
};

TEST_P(CredentialsTest, FromThePath) {
    const CredentialCase& c = GetParam();
    CimomCurl transport;
    URL url(c.path);
    transport.genRequest(url, "GetClass", false, false);
    EXPECT_EQ(transport.credentials(), c.credentials);
    EXPECT_EQ(url.password, c.passwordAfter) << "an asked password is kept in the path";
    EXPECT_EQ(prompts, c.asks ? std::vector<std::string>{"Enter ESXi Server PassWord: "} : std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Paths, CredentialsTest, testing::ValuesIn(credentialCases),
                         paramname::ByName());

TEST(Credentials, AskedOnlyOnceForThePath) {
    prompts.clear();
    CimomCurl::askPassword = typedPassword;
    CimomCurl transport;
    URL url("https://root@host/quilo/cimv2:C");
    transport.genRequest(url, "GetClass", false, false);
    transport.genRequest(url, "SetWaTP", true, false);
    CimomCurl::askPassword = nullptr;
    EXPECT_EQ(prompts.size(), 1u);
    EXPECT_EQ(transport.credentials(), "root:typed");
}

TEST(Credentials, ALaterPathWithoutUserDropsThem) {
    CimomCurl transport;
    URL withUser("https://root:pw@host/quilo/cimv2:C");
    URL without("https://host/quilo/cimv2:C");
    transport.genRequest(withUser, "GetClass", false, false);
    transport.genRequest(without, "GetClass", false, false);
    EXPECT_EQ(transport.credentials(), "");
}

// setClientCertificates: every refusal with its message.
std::string certificateFailure(const char* caCert, int noVerify, const char* clientCert, const char* clientKey) {
    CimomCurl transport;
    try {
        transport.setClientCertificates(caCert, noVerify, clientCert, clientKey);
    } catch (const HttpException& e) {
        return e.getMsg();
    }
    return "";
}

struct CertificateCase {
    const char* name;
    const char* caCert;
    int noVerify;
    const char* clientCert;
    const char* clientKey;
    const char* message;   // "" when accepted
};

// A file that exists and can be read, standing in for a CA bundle.
const char* const readableFile = RBZ_SOURCE_DIR "/CMakeLists.txt";

const CertificateCase certificateCases[] = {
    {"NothingGiven", nullptr, 0, nullptr, nullptr,
     "Http Exception: Must either specify -noverify or -cacert for https URLs."},
    {"MissingCaFile", "/nonexistent/ca.pem", 0, nullptr, nullptr,
     "Http Exception: Could not open CA certificate file: /nonexistent/ca.pem (No such file or directory)"},
    {"NoVerify", nullptr, 1, nullptr, nullptr, ""},
    {"NoVerifyIgnoresCaFile", "/nonexistent/ca.pem", 1, nullptr, nullptr, ""},
    {"CaFile", readableFile, 0, nullptr, nullptr, ""},
    {"CertWithoutKey", nullptr, 1, "client.pem", nullptr,
     "Http Exception: Must specify both -clientcert and -clientkey or none."},
    {"KeyWithoutCert", readableFile, 0, nullptr, "client.key",
     "Http Exception: Must specify both -clientcert and -clientkey or none."},
    {"CertAndKey", nullptr, 1, "client.pem", "client.key", ""},
    {"VerifyCheckedBeforeClientPair", nullptr, 0, "client.pem", nullptr,
     "Http Exception: Must either specify -noverify or -cacert for https URLs."},
};

class CertificatesTest : public testing::TestWithParam<CertificateCase> {};

TEST_P(CertificatesTest, Message) {
    const CertificateCase& c = GetParam();
    EXPECT_EQ(certificateFailure(c.caCert, c.noVerify, c.clientCert, c.clientKey), c.message);
}

INSTANTIATE_TEST_SUITE_P(Arguments, CertificatesTest, testing::ValuesIn(certificateCases),
                         paramname::ByName());

// Every target of the command set is https: a libcurl without SSL could not
// serve this system at all.
TEST(Transport, SupportsSSL) {
    CimomCurl transport;
    EXPECT_TRUE(transport.supportsSSL());
}

}  // namespace
