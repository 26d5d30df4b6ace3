// What the long options --timeout, --password-file, --verify and --pin set
// up before the command line is read: the transport's time bound and TLS
// checks, and where the password prompts take their answers.
#pragma once

#include "cli/long_options.h"

class CimomCurl;

// Throws LongOptionError (a password file that cannot be used, a pin that
// this libcurl cannot check), before any prompt or request.
void ApplyLongOptions(CimomCurl& transport, const LongOptions& options);

// The run's limit of network time in seconds: --timeout, else a check's own
// limit; 0 (no limit) for any other run without --timeout.
double RunTimeLimit(const LongOptions& options);
