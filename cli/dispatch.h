// Serving one parsed command line over a CIM connection: the target and
// control paths, the wait period, then either one query with its report or
// the controller password check and one method call with its status.
#pragma once

#include "cli/auth.h"
#include "cli/serve.h"

class Cimom;

// Returns the exit status: 0, or 13 when the controller refused its
// password. Failures travel as exceptions (the XmlException family,
// DoesNotExist, std::out_of_range from a report). `ask` reads the controller
// password (getmypasswd when null).
int DispatchCommand(Cimom& cimom, CommandLine& cmd, PasswordReader ask = nullptr);
