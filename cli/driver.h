// The program: one command from the argument vector to the exit status.
#pragma once

#include <functional>

#include "cli/serve.h"

// Runs the command line through ServeCommand.
int RunRbz(int argc, char** argv);

// The same with another server side; lets tests watch what reaches it.
int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve);
