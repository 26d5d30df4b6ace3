// The seam between the command line and the work done for it: everything
// after the ESXi password has been read.
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
    pricmd primary = pricmd::main;
    subcmd option = subcmd::none;
    const char* caCert = nullptr;      // "-cacert"
    const char* clientCert = nullptr;  // "-clientcert"
    const char* clientKey = nullptr;   // "-clientkey"
};

// Connects, builds the target and control paths, sends the wait period,
// dispatches the query or the method call and prints the outcome. Failures
// are thrown as the XmlException family (or DoesNotExist); the result is the
// exit status.
int ServeCommand(CommandLine& cmd);
