// Object path parsing (scheme, user and password, host, IPv6 zone, port,
// namespace, class, typed keys, aliases of the indirection file) and the
// three renderings.
#include "cim/url.h"
#include "xml/errors.h"
#include "xml/render_flags.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// A scratch folder with an interface table in the kernel's format and an
// indirection file, both in use while the tests of this file run.
class UrlTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/rbz_url_" +
              std::to_string(getpid());
        mkdir(dir.c_str(), 0700);
        std::ofstream(dir + "/if_inet6") << "00000000000000000000000000000001 01 80 10 80       lo\n"
                                            "fe800000000000000211223344556677 02 40 20 80     eth0\n"
                                            "fe800000000000000211223344556688 0b 40 20 80     eth1\n";
        std::ofstream(dir + "/aliases") << "# aliases of this site\n#lab: https://wrong\nlabx: https://also-wrong\n"
                                           "lab :https://still-wrong\nlab:   https://root:pw@10.1.2.3:5989  \t\n"
                                           "lab: https://second-match\nplain: ftp://h\n";
        savedTable = URL::interfaceTable;
        URL::interfaceTable = dir + "/if_inet6";
        setenv("VOSTREL_IND", (dir + "/aliases").c_str(), 1);
    }
    static void TearDownTestSuite() {
        URL::interfaceTable = savedTable;
        unsetenv("VOSTREL_IND");
        std::remove((dir + "/if_inet6").c_str());
        std::remove((dir + "/aliases").c_str());
        rmdir(dir.c_str());
    }
    static inline std::string dir, savedTable;
};

// protocol|user|password|host|zone|port|namespace|class|keys, a key as
// name=value:type ("&" after the name of a reference); or the message.
std::string Parsed(const char* text) {
    try {
        const URL url(text);
        std::string ns, keys;
        url.ns.toStringBuffer(ns, "/", "");
        for (const PropertyXml& k : url.keys)
            keys += (keys.empty() ? "" : " ") + k.name.str() + (k.kind == PropertyXml::Reference ? "&" : "") + "=" +
                    (k.value.exists() ? k.value.val().value : "<none>") + ":" + k.type.str();
        return url.protocol + "|" + url.user + "|" + url.password + "|" + url.host + "|" +
               std::to_string(url.zoneId) + "|" + url.port + "|" + ns + "|" + url.className + "|" + keys;
    } catch (const XmlException& e) {
        return e.getMsg();
    }
}

struct ParseCase {
    const char* name;
    const char* text;
    const char* parsed;
};

void PrintTo(const ParseCase& c, std::ostream* os) { *os << c.text; }

class UrlParse : public UrlTest, public testing::WithParamInterface<ParseCase> {};

TEST_P(UrlParse, Fields) { EXPECT_EQ(Parsed(GetParam().text), GetParam().parsed); }

INSTANTIATE_TEST_SUITE_P(Texts, UrlParse, testing::Values(
    ParseCase{"https", "https://10.0.0.5", "https|||10.0.0.5|-1|5989|root/cimv2||"},
    ParseCase{"http_default_port", "http://10.0.0.5", "http|||10.0.0.5|-1|5988|root/cimv2||"},
    ParseCase{"scheme_case", "HTTPS://Host", "https|||Host|-1|5989|root/cimv2||"},
    ParseCase{"everything", "https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2",
              "https|root|pw|10.0.0.5|-1|5989|quilo/cimv2|Quilo_DiskDrive|Tag=1:string Id=2:numeric"},
    ParseCase{"user_only", "https://admin@h:5990", "https|admin||h|-1|5990|root/cimv2||"},
    ParseCase{"empty_password", "https://u:@h", "https|u||h|-1|5989|root/cimv2||"},
    ParseCase{"zone_number", "https://[fe80::1%2]:5989/root/cimv2", "https|||[fe80::1]|2|5989|root/cimv2||"},
    ParseCase{"zone_device_name", "https://[fe80::1%eth0]", "https|||[fe80::1]|2|5989|root/cimv2||"},
    ParseCase{"zone_device_case", "https://[fe80::1%ETH1]:5988", "https|||[fe80::1]|11|5988|root/cimv2||"},
    ParseCase{"zone_device_prefix", "https://[fe80::1%eth]", "https|||[fe80::1]|-1|5989|root/cimv2||"},
    ParseCase{"ipv6_port", "https://[fe80::1]:7/root/cimv2", "https|||[fe80::1]|-1|7|root/cimv2||"},
    ParseCase{"ipv6_user_password", "https://u:p@[fe80::1]:5988/a", "https|u|p|[fe80::1]|-1|5988|a||"},
    ParseCase{"empty_port", "https://host:", "https|||host|-1||root/cimv2||"},
    ParseCase{"slash_only", "https://host/", "https|||host|-1|5989|root/cimv2||"},
    ParseCase{"namespace_three", "https://host/a/b/c", "https|||host|-1|5989|a/b/c||"},
    ParseCase{"class_name", "https://host/root/cimv2:CIM_X", "https|||host|-1|5989|root/cimv2|CIM_X|"},
    ParseCase{"class_dot", "https://host/root/cimv2:C.", "https|||host|-1|5989|root/cimv2|C|"},
    ParseCase{"boolean_keys", "https://h/ns:C.Flag=TRUE,Off=false,No=falsey",
              "https|||h|-1|5989|ns|C|Flag=TRUE:boolean Off=false:boolean No=falsey:string"},
    ParseCase{"numeric_keys", "https://h/ns:C.A=-5,B=+,C=1x,D=\"7\"",
              "https|||h|-1|5989|ns|C|A=-5:numeric B=+:numeric C=1x:string D=7:string"},
    ParseCase{"quoted_comma", "https://h/ns:C.a=\"x,y\",b=2", "https|||h|-1|5989|ns|C|a=x,y:string b=2:numeric"},
    ParseCase{"empty_quoted", "https://h/ns:C.a=\"\"", "https|||h|-1|5989|ns|C|a=:string"},
    ParseCase{"empty_value", "https://h/ns:C.a=", "https|||h|-1|5989|ns|C|a=:string"},
    ParseCase{"dot_at_the_end", "https://h/ns:C.a=b.", "https|||h|-1|5989|ns|C|a=b.:string"},
    ParseCase{"reference", "https://h/root/cimv2:Quilo_Assoc.Antecedent=quilo/cimv2:Quilo_X.Tag=\"1\"",
              "https|||h|-1|5989|root/cimv2|Quilo_Assoc|Antecedent&=quilo/cimv2:Quilo_X:string Tag=1:string"},
    ParseCase{"two_references", "https://h/n:C.A=Quilo_X.Tag=\"1\",B=Quilo_Y.Id=2",
              "https|||h|-1|5989|n|C|A&=Quilo_X:string Tag=1:string B&=Quilo_Y:string Id=2:numeric"},
    // An "@" anywhere in the rest ends a user part, key values included.
    ParseCase{"at_in_a_key", "https://h/root/cimv2:C.k=a@b", "https|h/root/cimv2|C.k=a|b|-1|5989|root/cimv2||"},
    ParseCase{"alias_file", "lab/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\"",
              "https|root|pw|10.1.2.3|-1|5989|quilo/cimv2|Quilo_DiskDrive|Tag=1:string"},
    ParseCase{"unknown_alias", "nolab/root", "Url Exception: No valid indirection found"},
    ParseCase{"alias_of_another_scheme", "plain/root", "Url Exception: Only supporting http or https protocols"},
    ParseCase{"ftp", "ftp://host", "Url Exception: Only supporting http or https protocols"},
    ParseCase{"no_alias", "alias:x", "Url Exception: Only supporting http or https protocols"},
    ParseCase{"no_host", "https://", "Url Exception: Could not locate hostname"},
    ParseCase{"user_without_host", "https://u:p@/root/cimv2", "Url Exception: Could not locate hostname"},
    ParseCase{"empty_zone", "https://[fe80::1%]", "Url Exception: Malformed IPv6 zone id"},
    ParseCase{"zone_with_equals", "https://[fe80::1%a=b]", "Url Exception: Malformed IPv6 zone id"},
    ParseCase{"port_trailing_letter", "https://host:5989x/root", "Url Exception: Invalid port number"},
    ParseCase{"empty_namespace_part", "https://host/root/:C", "Url Exception: Invalid namespace specification"},
    ParseCase{"namespace_slash", "https://host/root/", "Url Exception: Invalid namespace specification"},
    ParseCase{"two_assignments", "https://h/ns:C.a=b=c", "Url Exception: Incorrect value assigned"},
    ParseCase{"quote_inside", "https://h/ns:C.a=x\"y\"", "Url Exception: Incorrectly quoted string 1"},
    ParseCase{"unbalanced_quote", "https://h/ns:C.a=\"x", "Url Exception: Unbalanced quoted string"},
    ParseCase{"after_the_quote", "https://h/ns:C.a=\"x\"y", "Url Exception: Incorrectly quoted string 2"},
    ParseCase{"key_without_value", "https://h/ns:C.a", "Parse Exception: Invalid name-value pair"},
    // A dot followed by a letter or digit reads as a reference: "Id=1" and "5".
    ParseCase{"decimal_point", "https://h/ns:C.Id=1.5", "Parse Exception: Invalid name-value pair"}),
    [](const testing::TestParamInfo<ParseCase>& info) { return std::string(info.param.name); });

TEST_F(UrlTest, ZoneNamesNeedTheInterfaceTableAndNumbersDoNot) {
    URL::interfaceTable = dir + "/missing";
    EXPECT_EQ(Parsed("https://[fe80::1%eth0]"), "Url Exception: Zone id lookup failure");
    EXPECT_EQ(Parsed("https://[fe80::1%3]"), "https|||[fe80::1]|3|5989|root/cimv2||");
    URL::interfaceTable = dir + "/if_inet6";
    EXPECT_EQ(URL::getNetDeviceNum("lo"), 1);
}

TEST_F(UrlTest, IndirectionFileIsInTheWorkingDirectoryUnlessNamed) {
    setenv("VOSTREL_IND", (dir + "/missing").c_str(), 1);
    EXPECT_EQ(Parsed("lab/root"), "Url Exception: File vostrel.ind not found");
    unsetenv("VOSTREL_IND");
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    std::ofstream("vostrel.ind") << "here:https://local-host\n";
    EXPECT_EQ(Parsed("here/x"), "https|||local-host|-1|5989|x||");
    std::remove("vostrel.ind");
    EXPECT_EQ(chdir(cwd), 0);
    setenv("VOSTREL_IND", (dir + "/aliases").c_str(), 1);
}

struct RenderCase {
    const char* name;
    const char* text;
    const char* forms;   // plain | namespace only | quoted (inquiry reports) | key bindings
};

void PrintTo(const RenderCase& c, std::ostream* os) { *os << c.text; }

class UrlRender : public UrlTest, public testing::WithParamInterface<RenderCase> {};

TEST_P(UrlRender, AllForms) {
    const URL url(GetParam().text);
    std::string forms;
    url.toStringBuffer(forms, 0);
    EXPECT_EQ(useNl, 1);   // switched off for the plain form only
    url.toStringBuffer(forms += " | ", 1);
    url.toStringBufferGI(forms += " | ");
    url.toStringBuffer(forms += " | ");
    EXPECT_EQ(forms, GetParam().forms);
}

INSTANTIATE_TEST_SUITE_P(Paths, UrlRender, testing::Values(
    RenderCase{"keys", "https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2",
               "10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=2 | 10.0.0.5:5989/quilo/cimv2 | "
               "10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive.Tag=\"1\",Id=\"2\" | "
               "<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
               "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"},
    RenderCase{"no_class", "https://h", "h:5989/root/cimv2: | h:5989/root/cimv2 | h:5989/root/cimv2:. | "},
    // The second reference closes the first; one without a namespace takes the path's.
    RenderCase{"references", "https://h/n:C.A=q/c:Quilo_X.Tag=\"1\",B=Quilo_Y.Id=2",
               "h:5989/n:C.A=\"q/c:Quilo_X\",Tag=\"1\",B=\"Quilo_Y\",Id=2 | h:5989/n | "
               "h:5989/n:C.A=q/c:Quilo_X.Tag=\"1\",B=Quilo_Y.Id=\"2\" | "
               "<KEYBINDING NAME=\"A\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH>"
               "<NAMESPACE NAME=\"q\"></NAMESPACE><NAMESPACE NAME=\"c\"></NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH>"
               "<INSTANCENAME CLASSNAME=\"Quilo_X\"><KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE>"
               "</KEYBINDING></INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"
               "<KEYBINDING NAME=\"B\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH>"
               "<NAMESPACE NAME=\"n\"></NAMESPACE></LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Quilo_Y\">"
               "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\">2</KEYVALUE></KEYBINDING>"
               "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"}),
    [](const testing::TestParamInfo<RenderCase>& info) { return std::string(info.param.name); });

}  // namespace
