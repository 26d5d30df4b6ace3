// The exporter's configuration file (YAML): the modules, each the
// credentials and limits that a probe of a host uses.
//
//     modules:
//       default:
//         user: root
//         password: secret        # or password_file: /path (first line)
//         timeout: 20             # seconds, upper bound of a probe
//         warn_temp: 50
//         crit_temp: 60
//         cacert: /path/ca.pem    # optional, with verify: true / pin: sha256//...
//
// The file, and every password file it names, must not be readable or
// writable by group or others. Unknown keys are refused, so that a typo does
// not go unnoticed.
#pragma once

#include <map>
#include <stdexcept>
#include <string>

#include "controller/health.h"

class ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Module {
    Module() = default;
    Module(const Module&) = default;
    Module& operator=(const Module&) = default;
    ~Module();  // wipes the password

    std::string name;
    std::string user;
    std::string password;
    double timeout = 20;  // seconds
    Thresholds thresholds;
    std::string caCert;      // empty: none
    std::string clientCert;  // empty: none (with clientKey)
    std::string clientKey;
    bool verify = false;  // check the host's certificate and name
    std::string pin;      // "sha256//BASE64": the one host key accepted; empty: any
};

struct Config {
    std::map<std::string, Module> modules;
};

// Throws ConfigError naming `path` when the file is not a regular file or
// lets group or others read or write it.
void RequirePrivateFile(const std::string& path, const char* what);

// Reads the file (RequirePrivateFile first). Throws ConfigError with a
// message that names the file and, for a YAML error, the line.
Config LoadConfig(const std::string& path);

// Parses the text of a configuration; `origin` names it in messages. Password
// files are read (and checked) here.
Config ParseConfig(const std::string& text, const std::string& origin);
