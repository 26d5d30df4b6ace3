// The program: one command from the argument vector to the exit status.
#pragma once

#include <functional>

#include "cli/serve.h"

// Runs one command line; `serve` does the work once the line has parsed and
// the ESXi password has been read (main passes the CIM dispatch, tests their
// own watcher). Returns the exit status.
int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve);
