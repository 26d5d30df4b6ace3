// Object path parsing and its three renderings.
#include "cim/url.h"
#include "xml/errors.h"
#include "xml/render_flags.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string joined(const StringArray& parts) {
    std::string out;
    parts.toStringBuffer(out, "/", "");
    return out;
}

// name|value|type, with "&" after the name of a reference key.
std::string describeKeys(const URL& url) {
    std::string out;
    for (const PropertyXml& k : url.keys) {
        if (!out.empty()) out += ' ';
        out += k.name;
        if (k.kind == PropertyXml::Reference) out += '&';
        out += '|';
        out += k.value.exists() ? k.value.val().value : "<none>";
        out += '|';
        out += k.type;
    }
    return out;
}

// A file in the test's temporary directory, removed afterwards.
class TempFile {
public:
    TempFile(const std::string& name, const std::string& content) {
        const char* dir = std::getenv("TMPDIR");
        path = std::string(dir ? dir : "/tmp") + "/rbz_cim_" + std::to_string(getpid()) + "_" + name;
        std::ofstream(path) << content;
    }
    ~TempFile() { std::remove(path.c_str()); }
    std::string path;
};

// An interface table in the kernel's format: address, index, prefix length,
// scope, flags, device name.
const char* const kInterfaceTable =
    "00000000000000000000000000000001 01 80 10 80       lo\n"
    "fe800000000000000211223344556677 02 40 20 80     eth0\n"
    "fe800000000000000211223344556688 0b 40 20 80     eth1\n";

class UrlTest : public ::testing::Test {
protected:
    void SetUp() override {
        savedTable = URL::interfaceTable;
        URL::interfaceTable = table.path;
    }
    void TearDown() override { URL::interfaceTable = savedTable; }

    TempFile table{"if_inet6", kInterfaceTable};
    std::string savedTable;
};

// ---- text in, fields out ----------------------------------------------------

struct ParseCase {
    const char* text;
    const char* protocol;
    const char* user;
    const char* password;
    const char* host;
    long long zoneId;
    const char* port;
    const char* ns;
    const char* className;
    const char* keys;
};

std::ostream& operator<<(std::ostream& os, const ParseCase& c) { return os << c.text; }

class UrlParse : public UrlTest, public ::testing::WithParamInterface<ParseCase> {};

TEST_P(UrlParse, Fields) {
    const ParseCase& c = GetParam();
    URL url(c.text);
    EXPECT_EQ(url.protocol, c.protocol);
    EXPECT_EQ(url.user, c.user);
    EXPECT_EQ(url.password, c.password);
    EXPECT_EQ(url.host, c.host);
    EXPECT_EQ(url.zoneId, c.zoneId);
    EXPECT_EQ(url.port, c.port);
    EXPECT_EQ(joined(url.ns), c.ns);
    EXPECT_EQ(url.className, c.className);
    EXPECT_EQ(describeKeys(url), c.keys);
}

const ParseCase kParseCases[] = {
    {"https://10.0.0.5", "https", "", "", "10.0.0.5", -1, "5989", "root/cimv2", "", ""},
    {"http://10.0.0.5", "http", "", "", "10.0.0.5", -1, "5988", "root/cimv2", "", ""},
    {"HTTPS://Host", "https", "", "", "Host", -1, "5989", "root/cimv2", "", ""},
    {"Http://h", "http", "", "", "h", -1, "5988", "root/cimv2", "", ""},
    {"https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2", "https", "root", "pw", "10.0.0.5",
     -1, "5989", "quilo/cimv2", "Quilo_DiskDrive", "Tag|1|string Id|2|numeric"},
    {"https://admin@h:5990", "https", "admin", "", "h", -1, "5990", "root/cimv2", "", ""},
    {"https://u:@h", "https", "u", "", "h", -1, "5989", "root/cimv2", "", ""},
    {"https://[fe80::1%2]:5989/root/cimv2", "https", "", "", "[fe80::1]", 2, "5989", "root/cimv2", "", ""},
    {"https://[fe80::1%eth0]", "https", "", "", "[fe80::1]", 2, "5989", "root/cimv2", "", ""},
    {"https://[fe80::1%ETH1]:5988", "https", "", "", "[fe80::1]", 11, "5988", "root/cimv2", "", ""},
    {"https://[fe80::1%wlan9]", "https", "", "", "[fe80::1]", -1, "5989", "root/cimv2", "", ""},
    {"https://[fe80::1]:7/root/cimv2", "https", "", "", "[fe80::1]", -1, "7", "root/cimv2", "", ""},
    {"https://[fe80::1]", "https", "", "", "[fe80::1]", -1, "5989", "root/cimv2", "", ""},
    {"https://u:p@[fe80::1]:5988/a", "https", "u", "p", "[fe80::1]", -1, "5988", "a", "", ""},
    {"https://u@[fe80::1]", "https", "u", "", "[fe80::1]", -1, "5989", "root/cimv2", "", ""},
    {"https://host:", "https", "", "", "host", -1, "", "root/cimv2", "", ""},
    {"https://host/", "https", "", "", "host", -1, "5989", "root/cimv2", "", ""},
    {"https://host/a/b/c", "https", "", "", "host", -1, "5989", "a/b/c", "", ""},
    {"https://host/root/cimv2:CIM_X", "https", "", "", "host", -1, "5989", "root/cimv2", "CIM_X", ""},
    {"https://host/root/cimv2:C.", "https", "", "", "host", -1, "5989", "root/cimv2", "C", ""},
    {"https://h/ns:C.Flag=TRUE,Off=false,No=falsey", "https", "", "", "h", -1, "5989", "ns", "C",
     "Flag|TRUE|boolean Off|false|boolean No|falsey|string"},
    {"https://h/ns:C.A=-5,B=+,C=1x,D=\"7\"", "https", "", "", "h", -1, "5989", "ns", "C",
     "A|-5|numeric B|+|numeric C|1x|string D|7|string"},
    {"https://h/ns:C.a=\"x,y\",b=2", "https", "", "", "h", -1, "5989", "ns", "C", "a|x,y|string b|2|numeric"},
    {"https://h/ns:C.a=\"\"", "https", "", "", "h", -1, "5989", "ns", "C", "a||string"},
    {"https://h/ns:C.a=", "https", "", "", "h", -1, "5989", "ns", "C", "a||string"},
    {"https://h/root/cimv2:Quilo_Assoc.Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\"", "https", "", "", "h", -1, "5989",
     "root/cimv2", "Quilo_Assoc", "Antecedent&|quilo/cimv2:Quilo_X|string Tag|1|string"},
    {"https://h/n:C.A=Quilo_X.Tag=\"1\",B=Quilo_Y.Id=2", "https", "", "", "h", -1, "5989", "n", "C",
     "A&|Quilo_X|string Tag|1|string B&|Quilo_Y|string Id|2|numeric"},
    // An "@" anywhere in the rest ends a user part, key values included.
    {"https://h/root/cimv2:C.k=a@b", "https", "h/root/cimv2", "C.k=a", "b", -1, "5989", "root/cimv2", "", ""},
};

INSTANTIATE_TEST_SUITE_P(Examples, UrlParse, ::testing::ValuesIn(kParseCases),
                         paramname::Numbered([](const ParseCase& c) { return c.text; }));

// ---- text in, message out ---------------------------------------------------

struct FailCase {
    const char* text;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const FailCase& c) { return os << c.text; }

class UrlFail : public UrlTest, public ::testing::WithParamInterface<FailCase> {};

TEST_P(UrlFail, Message) {
    const FailCase& c = GetParam();
    try {
        URL url(c.text);
        FAIL() << "parsed: " << c.text;
    } catch (const XmlException& e) {
        EXPECT_EQ(e.getMsg(), c.message);
    }
}

const FailCase kFailCases[] = {
    {"ftp://host", "Url Exception: Only supporting http or https protocols"},
    {"alias:x", "Url Exception: Only supporting http or https protocols"},
    {"host", "Url Exception: Only supporting http or https protocols"},
    {"", "Url Exception: Only supporting http or https protocols"},
    {"http:/h", "Url Exception: Only supporting http or https protocols"},
    {"https://", "Url Exception: Could not locate hostname"},
    {"https://:5989/root", "Url Exception: Could not locate hostname"},
    {"https://u:p@/root/cimv2", "Url Exception: Could not locate hostname"},
    {"https://[fe80::1%]", "Url Exception: Malformed IPv6 zone id"},
    {"https://[fe80::1%a=b]", "Url Exception: Malformed IPv6 zone id"},
    {"https://[fe80::1%a~]", "Url Exception: Malformed IPv6 zone id"},
    {"https://host:59a9", "Url Exception: Invalid port number"},
    {"https://host:5989x/root", "Url Exception: Invalid port number"},
    {"https://host/root/:C", "Url Exception: Invalid namespace specification"},
    {"https://host/:C", "Url Exception: Invalid namespace specification"},
    {"https://host/root/", "Url Exception: Invalid namespace specification"},
    {"https://h/ns:C.a=b=c", "Url Exception: Incorrect value assigned"},
    {"https://h/ns:C.x=1,a=b=c", "Url Exception: Incorrect value assigned"},
    {"https://h/ns:C.a=x\"y\"", "Url Exception: Incorrectly quoted string 1"},
    {"https://h/ns:C.a=\"x", "Url Exception: Unbalanced quoted string"},
    {"https://h/ns:C.a=\"x\"y", "Url Exception: Incorrectly quoted string 2"},
    {"https://h/ns:C.a", "Parse Exception: Invalid name-value pair"},
    {"https://h/ns:C.a=1,b", "Parse Exception: Invalid name-value pair"},
    // A dot followed by a letter or digit reads as a reference: "Id=1" and "5".
    {"https://h/ns:C.Id=1.5", "Parse Exception: Invalid name-value pair"},
};

INSTANTIATE_TEST_SUITE_P(Messages, UrlFail, ::testing::ValuesIn(kFailCases),
                         paramname::Numbered([](const FailCase& c) { return c.text; }));

TEST_F(UrlTest, MissingInterfaceTableFailsZoneLookup) {
    URL::interfaceTable = table.path + ".missing";
    try {
        URL url("https://[fe80::1%eth0]");
        FAIL();
    } catch (const URLException& e) {
        EXPECT_EQ(e.getMsg(), "Url Exception: Zone id lookup failure");
    }
}

TEST_F(UrlTest, NumericZoneNeedsNoTable) {
    URL::interfaceTable = table.path + ".missing";
    URL url("https://[fe80::1%3]");
    EXPECT_EQ(url.zoneId, 3);
}

TEST_F(UrlTest, NetDeviceLookup) {
    EXPECT_EQ(URL::getNetDeviceNum("lo"), 1);
    EXPECT_EQ(URL::getNetDeviceNum("Eth0"), 2);
    EXPECT_EQ(URL::getNetDeviceNum("eth1"), 11);
    EXPECT_EQ(URL::getNetDeviceNum("eth"), -1);
}

// ---- reference look-ahead ---------------------------------------------------

struct LookAheadCase {
    const char* text;
    int found;
    const char* next;   // the text from `next` on, when found
};

std::ostream& operator<<(std::ostream& os, const LookAheadCase& c) { return os << c.text; }

class RefLookAhead : public ::testing::TestWithParam<LookAheadCase> {};

TEST_P(RefLookAhead, Finds) {
    std::string text = GetParam().text;
    char* next = nullptr;
    EXPECT_EQ(URL::refLookAhead(text.data(), &next), GetParam().found);
    if (GetParam().found) {
        ASSERT_NE(next, nullptr);
        EXPECT_STREQ(next, GetParam().next);
    }
}

const LookAheadCase kLookAheadCases[] = {
    {"Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\"", 1, "Tag=\"1\""},
    {"Id=1.5", 1, "5"},
    {",A=b.c", 1, "c"},
    {"Tag=\"1\"", 0, ""},
    {"a=b", 0, ""},
    {"a=b.", 0, ""},
    {"a=b.=c", 0, ""},
    {"a=b=c.d", 0, ""},
    {"a=/n:C.k=1", 0, ""},
    {"", 0, ""},
};

INSTANTIATE_TEST_SUITE_P(Texts, RefLookAhead, ::testing::ValuesIn(kLookAheadCases),
                         paramname::Numbered([](const LookAheadCase& c) { return c.text; }));

// ---- indirection file -------------------------------------------------------

class Indirection : public UrlTest {
protected:
    void SetUp() override {
        UrlTest::SetUp();
        const char* old = std::getenv("VOSTREL_IND");
        hadOld = old != nullptr;
        if (hadOld) oldValue = old;
        setenv("VOSTREL_IND", file.path.c_str(), 1);
    }
    void TearDown() override {
        if (hadOld)
            setenv("VOSTREL_IND", oldValue.c_str(), 1);
        else
            unsetenv("VOSTREL_IND");
        UrlTest::TearDown();
    }

    TempFile file{"vostrel.ind",
                  "# aliases of this site\n"
                  "#lab: https://wrong\n"
                  "labx: https://also-wrong\n"
                  "lab :https://still-wrong\n"
                  "lab:   https://root:pw@10.1.2.3:5989  \t\n"
                  "lab: https://second-match\n"
                  "plain: ftp://h\n"};
    bool hadOld = false;
    std::string oldValue;
};

TEST_F(Indirection, ResolvesAliasAndKeepsTheRest) {
    URL url("lab/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\"");
    EXPECT_EQ(url.protocol, "https");
    EXPECT_EQ(url.user, "root");
    EXPECT_EQ(url.password, "pw");
    EXPECT_EQ(url.host, "10.1.2.3");
    EXPECT_EQ(joined(url.ns), "quilo/cimv2");
    EXPECT_EQ(url.className, "Quilo_DiskDrive");
    EXPECT_EQ(describeKeys(url), "Tag|1|string");
}

TEST_F(Indirection, ResolveIndirectionJoinsValueAndRest) {
    std::string alias = "lab", rest = "a/b";
    EXPECT_EQ(URL::resolveIndirection(alias.data(), rest.data()), "https://root:pw@10.1.2.3:5989/a/b");
}

TEST_F(Indirection, Failures) {
    const FailCase cases[] = {
        {"nolab/root", "Url Exception: No valid indirection found"},
        {"plain/root", "Url Exception: Only supporting http or https protocols"},
    };
    for (const FailCase& c : cases) {
        try {
            URL url(c.text);
            ADD_FAILURE() << c.text;
        } catch (const URLException& e) {
            EXPECT_EQ(e.getMsg(), c.message) << c.text;
        }
    }
    setenv("VOSTREL_IND", (file.path + ".missing").c_str(), 1);
    try {
        URL url("lab/root");
        ADD_FAILURE();
    } catch (const URLException& e) {
        EXPECT_EQ(e.getMsg(), "Url Exception: File vostrel.ind not found");
    }
}

TEST_F(Indirection, DefaultFileIsInTheWorkingDirectory) {
    unsetenv("VOSTREL_IND");
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    const std::string dir = file.path + ".d";
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    {
        std::ofstream("vostrel.ind") << "here:https://local-host\n";
        URL url("here/x");
        EXPECT_EQ(url.host, "local-host");
        EXPECT_EQ(joined(url.ns), "x");
        std::remove("vostrel.ind");
    }
    EXPECT_EQ(chdir(cwd), 0);
    rmdir(dir.c_str());
}

// ---- renderings -------------------------------------------------------------

struct RenderCase {
    const char* text;
    const char* plain;      // toStringBuffer(sb, 0)
    const char* nsOnly;     // toStringBuffer(sb, 1)
    const char* quoted;     // toStringBufferGI
    const char* xml;        // toStringBuffer(sb)
};

std::ostream& operator<<(std::ostream& os, const RenderCase& c) { return os << c.text; }

class UrlRender : public UrlTest, public ::testing::WithParamInterface<RenderCase> {};

TEST_P(UrlRender, AllForms) {
    const RenderCase& c = GetParam();
    URL url(c.text);
    std::string sb = ">";
    url.toStringBuffer(sb, 0);
    EXPECT_EQ(sb, std::string(">") + c.plain);
    EXPECT_EQ(useNl, 1);
    sb = ">";
    url.toStringBuffer(sb, 1);
    EXPECT_EQ(sb, std::string(">") + c.nsOnly);
    sb = ">";
    url.toStringBufferGI(sb);
    EXPECT_EQ(sb, std::string(">") + c.quoted);
    sb = ">";
    url.toStringBuffer(sb);
    EXPECT_EQ(sb, std::string(">") + c.xml);
}

const RenderCase kRenderCases[] = {
    {"https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2",
     "10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2", "10.0.0.5:5989/quilo/cimv2",
     "10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=\"2\"",
     "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
     "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"},
    {"http://h/root/cimv2:C", "h:5988/root/cimv2:C", "h:5988/root/cimv2", "h:5988/root/cimv2:C.", ""},
    {"https://h", "h:5989/root/cimv2:", "h:5989/root/cimv2", "h:5989/root/cimv2:.", ""},
    {"https://h/ns:C.On=true", "h:5989/ns:C.On=true", "h:5989/ns", "h:5989/ns:C.On=\"true\"",
     "<KEYBINDING NAME=\"On\"><KEYVALUE VALUETYPE=\"boolean\">true</KEYVALUE></KEYBINDING>"},
    {"https://h/root/cimv2:Quilo_Assoc.Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\"",
     "h:5989/root/cimv2:Quilo_Assoc.Antecedent=\"quilo/cimv2:Quilo_X\",Tag=\"1\"", "h:5989/root/cimv2",
     "h:5989/root/cimv2:Quilo_Assoc.Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\"",
     "<KEYBINDING NAME=\"Antecedent\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>"
     "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"quilo\"></NAMESPACE><NAMESPACE NAME=\"cimv2\"></NAMESPACE>"
     "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_X\">"
     "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
     "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"},
    // Two references: the second closes the first; a reference without a
    // namespace uses the path's own.
    {"https://h/n:C.A=Quilo_X.Tag=\"1\",B=Quilo_Y.Id=2",
     "h:5989/n:C.A=\"Quilo_X\",Tag=\"1\",B=\"Quilo_Y\",Id=2", "h:5989/n",
     "h:5989/n:C.A=Quilo_X.Tag=\"1\",B=Quilo_Y.Id=\"2\"",
     "<KEYBINDING NAME=\"A\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>"
     "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"n\"></NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH>"
     "<INSTANCENAME CLASSNAME=\"Quilo_X\">"
     "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
     "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"
     "<KEYBINDING NAME=\"B\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>"
     "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"n\"></NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH>"
     "<INSTANCENAME CLASSNAME=\"Quilo_Y\">"
     "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"
     "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"},
};

INSTANTIATE_TEST_SUITE_P(Paths, UrlRender, ::testing::ValuesIn(kRenderCases),
                         paramname::Numbered([](const RenderCase& c) { return c.text; }));

TEST_F(UrlTest, PlainFormRestoresUseNl) {
    URL url("https://h/n:C.A=1");
    useNl = 0;
    std::string sb;
    url.toStringBuffer(sb, 0);
    EXPECT_EQ(useNl, 0);
    useNl = 1;
    EXPECT_EQ(sb, "h:5989/n:C.A=1");
}

TEST_F(UrlTest, ReferenceWithLeadingSlashSkipsIt) {
    URL url("https://h/n:C");
    url.keys.add(PropertyXml("R=/a/b:Quilo_X", true));
    std::string sb;
    url.toStringBuffer(sb);
    EXPECT_EQ(sb,
              "<KEYBINDING NAME=\"R\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>"
              "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"a\"></NAMESPACE><NAMESPACE NAME=\"b\"></NAMESPACE>"
              "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_X\">"
              "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>");
}

TEST_F(UrlTest, ParsePathIsAnotherUrl) {
    URL base("https://h/n:C");
    std::unique_ptr<ObjectPathRef> other = base.parsePath("http://g:1/x/y:D.k=\"v\"");
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(other->pathProtocol(), "http");
    EXPECT_EQ(other->pathHost(), "g");
    EXPECT_EQ(joined(other->pathNameSpace()), "x/y");
    EXPECT_EQ(other->pathClassName(), "D");
    std::string keys;
    other->keysToXml(keys);
    EXPECT_EQ(keys, "<KEYBINDING NAME=\"k\"><KEYVALUE VALUETYPE=\"string\">v</KEYVALUE></KEYBINDING>");
    EXPECT_THROW(base.parsePath("ftp://x"), URLException);
}

TEST_F(UrlTest, TracesWhenDebugIsOn) {
    DBGX = 1;
    ::testing::internal::CaptureStderr();
    URL url("https://h/root/cimv2:Quilo_Assoc.Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\",Id=2");
    const std::string err = ::testing::internal::GetCapturedStderr();
    DBGX = 0;
    EXPECT_NE(err.find("--- U: https://h/root/cimv2:Quilo_Assoc"), std::string::npos) << err;
    EXPECT_NE(err.find("--- reference found"), std::string::npos) << err;
    EXPECT_NE(err.find("--- CATCHED !!! Antecedent=quilo/cimv2:Quilo_X"), std::string::npos) << err;
    EXPECT_NE(err.find("--- found quoted string"), std::string::npos) << err;
    EXPECT_NE(err.find("-------- strndup(u, (p - u) + 1): Tag=\"1\""), std::string::npos) << err;
    EXPECT_NE(err.find("--- strndup(u,last-u): Id=2"), std::string::npos) << err;
}

TEST_F(UrlTest, SilentWithoutDebug) {
    ::testing::internal::CaptureStderr();
    URL url("https://h/n:C.a=1,b=2");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
