#include "exporter/config.h"

#include <sys/stat.h>
#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string_view>

#include "cim/wipe.h"

namespace {

std::string Where(const YAML::Node& node) {
    const YAML::Mark mark = node.Mark();
    if (mark.is_null()) return "";
    return " (line " + std::to_string(mark.line + 1) + ")";
}

[[noreturn]] void Refuse(const std::string& origin, const YAML::Node& node, const std::string& text) {
    throw ConfigError(origin + Where(node) + ": " + text);
}

void OnlyKeys(const std::string& origin, const YAML::Node& map, const std::string& what,
              std::initializer_list<std::string_view> known) {
    if (!map.IsMap()) Refuse(origin, map, what + " must be a mapping");
    for (const auto& entry : map) {
        const std::string key = entry.first.Scalar();
        bool found = false;
        for (std::string_view name : known) found = found || key == name;
        if (found) continue;
        std::string list;
        for (std::string_view name : known) list.append(list.empty() ? "" : ", ").append(name);
        Refuse(origin, entry.first, "unknown key \"" + key + "\" in " + what + " (known: " + list + ")");
    }
}

std::string Text(const std::string& origin, const YAML::Node& node, const std::string& key) {
    if (!node.IsScalar()) Refuse(origin, node, key + " must be a single value");
    return node.Scalar();
}

double Number(const std::string& origin, const YAML::Node& node, const std::string& key, double low, double high) {
    const std::string text = Text(origin, node, key);
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(value) || value < low || value > high) {
        std::ostringstream range;
        range << low << " to " << high;
        Refuse(origin, node, key + " must be a number from " + range.str() + ", not \"" + text + "\"");
    }
    return value;
}

unsigned Celsius(const std::string& origin, const YAML::Node& node, const std::string& key) {
    const double value = Number(origin, node, key, 0, 200);
    if (value != std::floor(value)) Refuse(origin, node, key + " must be a whole number of degrees");
    return static_cast<unsigned>(value);
}

bool Flag(const std::string& origin, const YAML::Node& node, const std::string& key) {
    const std::string text = Text(origin, node, key);
    if (text == "true") return true;
    if (text == "false") return false;
    Refuse(origin, node, key + " must be true or false, not \"" + text + "\"");
}

// The first line of a password file, without its line end.
std::string ReadPasswordFile(const std::string& origin, const YAML::Node& node, const std::string& path) {
    try {
        RequirePrivateFile(path, "password file");
    } catch (const ConfigError& e) {
        Refuse(origin, node, e.what());
    }
    std::ifstream file(path, std::ios::binary);
    std::string line;
    if (!file || !std::getline(file, line))
        Refuse(origin, node, "password file " + path + ": cannot read a line from it");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::string password;
    appendSecret(password, line);
    wipeText(line);
    return password;
}

Module ReadModule(const std::string& origin, const std::string& name, const YAML::Node& node) {
    const std::string what = "module \"" + name + "\"";
    OnlyKeys(origin, node, what,
             {"user", "password", "password_file", "timeout", "warn_temp", "crit_temp", "cacert", "client_cert",
              "client_key", "verify", "pin"});
    Module module;
    module.name = name;
    if (!node["user"]) Refuse(origin, node, what + " has no user");
    module.user = Text(origin, node["user"], "user");
    if (module.user.empty()) Refuse(origin, node["user"], what + ": the user is empty");
    if (node["password"] && node["password_file"])
        Refuse(origin, node, what + " has both password and password_file: give one");
    if (node["password"]) {
        appendSecret(module.password, Text(origin, node["password"], "password"));
    } else if (node["password_file"]) {
        module.password = ReadPasswordFile(origin, node["password_file"], Text(origin, node["password_file"], "password_file"));
    } else {
        Refuse(origin, node, what + " has neither password nor password_file");
    }
    if (node["timeout"]) module.timeout = Number(origin, node["timeout"], "timeout", 0.1, 3600);
    if (node["warn_temp"]) module.thresholds.warnTemperature = Celsius(origin, node["warn_temp"], "warn_temp");
    if (node["crit_temp"]) module.thresholds.critTemperature = Celsius(origin, node["crit_temp"], "crit_temp");
    if (module.thresholds.warnTemperature > module.thresholds.critTemperature)
        Refuse(origin, node, what + ": warn_temp is above crit_temp");
    if (node["cacert"]) module.caCert = Text(origin, node["cacert"], "cacert");
    if (node["client_cert"]) module.clientCert = Text(origin, node["client_cert"], "client_cert");
    if (node["client_key"]) module.clientKey = Text(origin, node["client_key"], "client_key");
    if (module.clientCert.empty() != module.clientKey.empty())
        Refuse(origin, node, what + ": client_cert and client_key go together");
    if (node["verify"]) module.verify = Flag(origin, node["verify"], "verify");
    if (node["pin"]) {
        module.pin = Text(origin, node["pin"], "pin");
        constexpr std::string_view prefix = "sha256//";
        if (module.pin.compare(0, prefix.size(), prefix) != 0 || module.pin.size() == prefix.size())
            Refuse(origin, node["pin"], what + ": pin must be sha256//BASE64");
    }
    return module;
}

}  // namespace

Module::~Module() { wipeText(password); }

void RequirePrivateFile(const std::string& path, const char* what) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        throw ConfigError(std::string(what) + " " + path + ": " + std::strerror(errno));
    if (!S_ISREG(info.st_mode)) throw ConfigError(std::string(what) + " " + path + ": not a regular file");
    if ((info.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH)) != 0) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(info.st_mode & 07777));
        throw ConfigError(std::string(what) + " " + path + " has mode " + mode +
                          ": it holds passwords, so group and others must not read or write it (chmod 600 " +
                          path + ")");
    }
}

Config LoadConfig(const std::string& path) {
    RequirePrivateFile(path, "configuration file");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw ConfigError("configuration file " + path + ": cannot be opened");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    WipeOnExit forget(text);
    return ParseConfig(text, path);
}

Config ParseConfig(const std::string& text, const std::string& origin) {
    YAML::Node root;
    try {
        root = YAML::Load(text);
    } catch (const YAML::Exception& e) {
        throw ConfigError(origin + ": line " + std::to_string(e.mark.line + 1) + ": " + e.msg);
    }
    if (!root.IsMap()) throw ConfigError(origin + ": expected a mapping with the key \"modules\"");
    Config config;
    try {
        OnlyKeys(origin, root, "the top level", {"modules"});
        const YAML::Node modules = root["modules"];
        if (!modules || !modules.IsMap() || modules.size() == 0)
            Refuse(origin, root, "\"modules\" must map module names to their settings");
        for (const auto& entry : modules) {
            const std::string name = entry.first.Scalar();
            if (name.empty()) Refuse(origin, entry.first, "a module has an empty name");
            config.modules.emplace(name, ReadModule(origin, name, entry.second));
        }
    } catch (const YAML::Exception& e) {
        throw ConfigError(origin + ": line " + std::to_string(e.mark.line + 1) + ": " + e.msg);
    }
    return config;
}
