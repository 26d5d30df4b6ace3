// What the driver hands to the side that serves a command (see
// cli/dispatch.h): everything the command line said, and the ESXi password.
#pragma once

#include <string>

#include "cli/commands.h"

// What the command line asked for. The certificate file names point into the
// argument vector and are null when not given.
struct CommandLine {
    std::string host;        // "-i"
    std::string user;        // "-u"
    std::string password;    // the ESXi account's, as typed
    std::string parameters;  // method prefix and parameter words, from ParseCommands
    std::string command;     // the primary command and option words as typed ("vsf inq")
    pricmd primary = pricmd::main;
    subcmd option = subcmd::none;
    const char* caCert = nullptr;      // "-cacert"
    const char* clientCert = nullptr;  // "-clientcert"
    const char* clientKey = nullptr;   // "-clientkey"
};
