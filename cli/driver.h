// The program: one command from the argument vector to the exit status.
#pragma once

#include <functional>
#include <ostream>

#include "cli/serve.h"

// What a run shows at each of its ends that are not the served command's
// own: the driver's text (the default), or another form (cli/json_output.h).
// Each returns the exit status.
class RunOutcomes {
public:
    virtual ~RunOutcomes() = default;
    virtual int noArguments() = 0;          // nothing after the program's name
    virtual int banner() = 0;               // "-v"
    virtual int help(pricmd primary) = 0;   // "-h"
    virtual int refused() = 0;              // an invalid invocation
    // Called inside a catch clause: the exception in flight ended the run.
    virtual int failed() = 0;
};

// Runs one command line; `serve` does the work once the line has parsed and
// the ESXi password has been read (main passes the CIM dispatch, tests their
// own watcher). Returns the exit status.
int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve);
int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve, RunOutcomes& outcomes);

// The usage that "-h" prints for a primary command (none for some).
void PrintHelp(pricmd primary, std::ostream& os);
