// What genRequest and setClientCertificates tell libcurl, checked without a
// server: the request address and header lines of paths no command line
// can produce, and the certificate set-up the command line never asks for.
// What the server receives from real runs (CIMMethod, CIMObject, the
// credentials, the missing Expect) is played end to end in tests/e2e/cases.
#include "transport/cimom_curl.h"

#include "cim/url.h"
#include "xml/render_flags.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Request {
    const char* name;
    const char* path;
    const char* operation;
    bool isMethodCall, hasKeys;
    const char* address;
    const char* object;
};

class GenRequest : public testing::TestWithParam<Request> {};

TEST_P(GenRequest, AddressAndHeaders) {
    const Request& c = GetParam();
    CimomCurl transport;
    URL url(c.path);
    transport.genRequest(url, c.operation, c.isMethodCall, c.hasKeys);
    EXPECT_EQ(transport.requestUrl(), c.address);
    std::vector<std::string> sent;
    for (const curl_slist* l = transport.requestHeaders(); l != nullptr; l = l->next) sent.emplace_back(l->data);
    // The empty Accept and Expect keep libcurl from adding its own.
    EXPECT_EQ(sent, (std::vector<std::string>{"Content-Type: application/xml; charset=\"utf-8\"",
                                              "Connection: Keep-Alive, TE", "CIMProtocolVersion: 1.0",
                                              "CIMOperation: MethodCall", "Accept:",
                                              std::string("CIMMethod: ") + c.operation,
                                              std::string("CIMObject: ") + c.object, "Expect:"}));
    EXPECT_EQ(useNl, 1) << "the keys are written on one line, and the switch put back";
}

INSTANTIATE_TEST_SUITE_P(
    Paths, GenRequest,
    testing::Values(
        Request{"DefaultNamespace", "https://root:pw@10.0.0.5", "GetClass", false, false, "https://10.0.0.5:5989/cimom",
                "root%2Fcimv2"},
        Request{"PlainHttpPort", "http://root:pw@10.0.0.5/quilo/cimv2:C", "GetInstance", false, false,
                "http://10.0.0.5:5988/cimom", "quilo%2Fcimv2"},
        Request{"InstanceMethodMixedKeys",
                "https://root:pw@host:15989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1 2\",Id=2,On=true", "SetBeeper", true,
                true, "https://host:15989/cimom",
                "quilo%2Fcimv2%3AQuilo_DiskDrive.Tag=\"1 2\",Id=2,On=true"},
        Request{"KeysIgnoredWithoutHasKeys", "https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Id=2", "SetBeeper", true,
                false, "https://host:5989/cimom", "quilo%2Fcimv2%3AQuilo_DiskDrive"},
        Request{"KeysIgnoredForIntrinsic", "https://root:pw@host/quilo/cimv2:Quilo_DiskDrive.Id=2", "GetInstance",
                false, true, "https://host:5989/cimom", "quilo%2Fcimv2"},
        Request{"IPv6WithZone", "https://root:pw@[fe80::1%2]/quilo/cimv2:C", "GetClass", false, false,
                "https://[fe80::1]:5989/cimom", "quilo%2Fcimv2"}),
    [](const testing::TestParamInfo<Request>& info) { return info.param.name; });

struct Certificates {
    const char* name;
    const char *caCert;
    int noVerify;
    const char *clientCert, *clientKey;
    const char* message;   // "" when accepted
};

class ClientCertificates : public testing::TestWithParam<Certificates> {};

TEST_P(ClientCertificates, Message) {
    const Certificates& c = GetParam();
    std::string message;
    try {
        CimomCurl().setClientCertificates(c.caCert, c.noVerify, c.clientCert, c.clientKey);
    } catch (const HttpException& e) {
        message = e.getMsg();
    }
    EXPECT_EQ(message, c.message);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, ClientCertificates,
    testing::Values(
        Certificates{"NothingGiven", nullptr, 0, nullptr, nullptr,
                     "Http Exception: Must either specify -noverify or -cacert for https URLs."},
        Certificates{"MissingCaFile", "/nonexistent/ca.pem", 0, nullptr, nullptr,
                     "Http Exception: Could not open CA certificate file: /nonexistent/ca.pem (No such file or "
                     "directory)"},
        Certificates{"CaFile", RBZ_SOURCE_DIR "/CMakeLists.txt", 0, nullptr, nullptr, ""},
        Certificates{"VerifyCheckedBeforeClientPair", nullptr, 0, "client.pem", nullptr,
                     "Http Exception: Must either specify -noverify or -cacert for https URLs."},
        Certificates{"CertAndKey", nullptr, 1, "client.pem", "client.key", ""}),
    [](const testing::TestParamInfo<Certificates>& info) { return info.param.name; });

}  // namespace
