// The configuration file: what it takes, what it refuses (with a message
// that says why), and the permissions it and its password files must have.
#include "exporter/config.h"
#include "tests/unit/exporter/temp_dir.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

constexpr const char* kGood =
    "modules:\n"
    "  default:\n"
    "    user: root\n"
    "    password: secret\n"
    "  lab:\n"
    "    user: admin\n"
    "    password: \"p@ss: w#rd\"\n"
    "    timeout: 7.5\n"
    "    warn_temp: 45\n"
    "    crit_temp: 55\n"
    "    cacert: /etc/ssl/lab-ca.pem\n"
    "    verify: true\n"
    "    pin: sha256//AAAA\n"
    "    client_cert: /c.pem\n"
    "    client_key: /k.pem\n";

// Every setting of a module, in one tuple for the comparisons.
auto Settings(const Module& m) {
    return std::make_tuple(m.name, m.user, m.password, m.timeout, m.thresholds.warnTemperature,
                           m.thresholds.critTemperature, m.caCert, m.verify, m.pin, m.clientCert, m.clientKey);
}

TEST(ConfigParse, ModulesWithDefaultsAndEverySetting) {
    using namespace std::string_literals;
    const Config config = ParseConfig(kGood, "test.yml");
    ASSERT_EQ(config.modules.size(), 2u);
    EXPECT_EQ(Settings(config.modules.at("default")),
              std::make_tuple("default"s, "root"s, "secret"s, 20.0, 50u, 60u, ""s, false, ""s, ""s, ""s));
    EXPECT_EQ(Settings(config.modules.at("lab")), std::make_tuple("lab"s, "admin"s, "p@ss: w#rd"s, 7.5, 45u, 55u,
                                                                  "/etc/ssl/lab-ca.pem"s, true, "sha256//AAAA"s,
                                                                  "/c.pem"s, "/k.pem"s));
}

struct RefusedCase {
    const char* name;
    const char* text;
    const char* message;  // a part of the error's text
};

class ConfigRefused : public testing::TestWithParam<RefusedCase> {};

TEST_P(ConfigRefused, WithAMessage) {
    try {
        ParseConfig(GetParam().text, "bad.yml");
        FAIL() << "accepted";
    } catch (const ConfigError& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().message), std::string::npos) << e.what();
        EXPECT_EQ(std::string(e.what()).rfind("bad.yml", 0), 0u) << e.what();
        EXPECT_EQ(std::string(e.what()).find("hunter2"), std::string::npos) << "a password in " << e.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, ConfigRefused, testing::Values(
    RefusedCase{"unknown_top_key", "modules:\n  a: {user: u, password: p}\nmodule: {}\n",
                "(line 3): unknown key \"module\" in the top level"},
    RefusedCase{"unknown_module_key", "modules:\n  a:\n    user: u\n    password: hunter2\n    timout: 5\n",
                "(line 5): unknown key \"timout\" in module \"a\""},
    RefusedCase{"no_modules", "{}\n", "\"modules\" must map module names"},
    RefusedCase{"empty_modules", "modules: {}\n", "\"modules\" must map module names"},
    RefusedCase{"modules_a_list", "modules:\n  - user: u\n", "\"modules\" must map module names"},
    RefusedCase{"not_a_mapping", "- a\n- b\n", "expected a mapping"},
    RefusedCase{"empty_file", "", "expected a mapping"},
    RefusedCase{"yaml_syntax", "modules:\n  a: {user: u, password: hunter2\n", "line "},
    RefusedCase{"no_user", "modules:\n  a:\n    password: hunter2\n", "module \"a\" has no user"},
    RefusedCase{"no_password", "modules:\n  a:\n    user: u\n", "neither password nor password_file"},
    RefusedCase{"both_passwords", "modules:\n  a: {user: u, password: hunter2, password_file: /x}\n",
                "both password and password_file"},
    RefusedCase{"timeout_text", "modules:\n  a: {user: u, password: hunter2, timeout: soon}\n",
                "timeout must be a number"},
    RefusedCase{"timeout_zero", "modules:\n  a: {user: u, password: hunter2, timeout: 0}\n",
                "timeout must be a number"},
    RefusedCase{"temp_fraction", "modules:\n  a: {user: u, password: hunter2, warn_temp: 45.5}\n",
                "whole number of degrees"},
    RefusedCase{"warn_above_crit", "modules:\n  a: {user: u, password: hunter2, warn_temp: 70}\n",
                "warn_temp is above crit_temp"},
    RefusedCase{"verify_word", "modules:\n  a: {user: u, password: hunter2, verify: yes}\n",
                "verify must be true or false"},
    RefusedCase{"pin_form", "modules:\n  a: {user: u, password: hunter2, pin: AAAA}\n", "sha256//BASE64"},
    RefusedCase{"key_without_cert", "modules:\n  a: {user: u, password: hunter2, client_key: /k}\n",
                "client_cert and client_key go together"},
    RefusedCase{"password_a_list", "modules:\n  a: {user: u, password: [hunter2]}\n",
                "password must be a single value"}),
    [](const testing::TestParamInfo<RefusedCase>& info) { return std::string(info.param.name); });

struct ModeCase {
    const char* name;
    mode_t mode;
    bool accepted;
};

class ConfigFileMode : public testing::TestWithParam<ModeCase> {};

TEST_P(ConfigFileMode, OnlyTheOwnerMayReadOrWrite) {
    TempDir dir;
    const std::string file = dir.write("rbz-exporter.yml", "modules:\n  a: {user: u, password: p}\n", GetParam().mode);
    if (GetParam().accepted) {
        EXPECT_EQ(LoadConfig(file).modules.at("a").password, "p");
    } else {
        try {
            LoadConfig(file);
            FAIL() << "accepted";
        } catch (const ConfigError& e) {
            EXPECT_NE(std::string(e.what()).find("group and others must not read or write it"), std::string::npos)
                << e.what();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ConfigFileMode, testing::Values(
    ModeCase{"owner_rw_0600", 0600, true}, ModeCase{"owner_r_0400", 0400, true},
    ModeCase{"owner_rwx_0700", 0700, true}, ModeCase{"group_x_0610", 0610, true},
    ModeCase{"group_r_0640", 0640, false}, ModeCase{"group_w_0620", 0620, false},
    ModeCase{"other_r_0604", 0604, false}, ModeCase{"other_w_0602", 0602, false},
    ModeCase{"everyone_0666", 0666, false}),
    [](const testing::TestParamInfo<ModeCase>& info) { return std::string(info.param.name); });

TEST(ConfigFile, MissingFileIsNamed) {
    TempDir dir;
    try {
        LoadConfig(dir.path() + "/none.yml");
        FAIL() << "accepted";
    } catch (const ConfigError& e) {
        EXPECT_NE(std::string(e.what()).find("none.yml: No such file"), std::string::npos) << e.what();
    }
}

TEST(ConfigFile, PasswordFileFirstLineUnderTheSameRule) {
    TempDir dir;
    const std::string good = dir.write("good", "s3cret\r\nsecond line\n", 0600);
    const std::string open = dir.write("open", "s3cret\n", 0644);
    const std::string empty = dir.write("empty", "", 0600);
    const Config config =
        ParseConfig("modules:\n  a: {user: u, password_file: " + good + "}\n", "c.yml");
    EXPECT_EQ(config.modules.at("a").password, "s3cret");
    try {
        ParseConfig("modules:\n  a:\n    user: u\n    password_file: " + open + "\n", "c.yml");
        FAIL() << "a password file others can read was accepted";
    } catch (const ConfigError& e) {
        const std::string text = e.what();
        EXPECT_NE(text.find("c.yml (line 4): password file " + open + " has mode 0644"), std::string::npos) << text;
    }
    EXPECT_THROW(ParseConfig("modules:\n  a: {user: u, password_file: " + empty + "}\n", "c.yml"), ConfigError);
    EXPECT_THROW(ParseConfig("modules:\n  a: {user: u, password_file: " + dir.path() + "/none}\n", "c.yml"),
                 ConfigError);
}

}  // namespace
