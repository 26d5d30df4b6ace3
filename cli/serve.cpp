#include "cli/serve.h"

#include "xml/errors.h"

// Nothing reaches the server yet.
int ServeCommand(CommandLine&) { throw HttpException("not connected yet"); }
