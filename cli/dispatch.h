// Serving one parsed command line over a CIM connection: the target and
// control paths, the wait period, then either one query with its report or
// the controller password check and one method call with its status.
#pragma once

#include <functional>
#include <string>

#include "cli/auth.h"
#include "cli/serve.h"

class Cimom;
class URL;

// Returns the exit status: 0, or 13 when the controller refused its
// password. Failures travel as exceptions (the XmlException family,
// DoesNotExist, std::out_of_range from a report). `ask` reads the controller
// password (getmypasswd when null).
int DispatchCommand(Cimom& cimom, CommandLine& cmd, PasswordReader ask = nullptr);

// The preparation every served command shares: the certificate files, the
// target path and its URL (CmdException without a class), and the wait
// period sent to the controller. Then `serve` does the command on the target
// and returns the exit status.
int ServeTarget(Cimom& cimom, CommandLine& cmd, const std::function<int(URL& target)>& serve);

// How a command is served: one query that enumerates (list), one that reads
// a single instance (item), or a method (none).
enum class QueryKind { none, list, item };
QueryKind QueryKindOf(subcmd option);

// The method name and argument text of a change command's parameter text
// ("Method.arguments"; without a dot both are the whole text). The
// arguments may hold a password and are wiped when it goes.
struct MethodCall {
    explicit MethodCall(const std::string& parameters);
    ~MethodCall();
    MethodCall(const MethodCall&) = delete;
    MethodCall& operator=(const MethodCall&) = delete;
    std::string method;
    std::string arguments;
};
