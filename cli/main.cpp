#include <curl/curl.h>

#include "cli/dispatch.h"
#include "cli/driver.h"
#include "cli/password.h"
#include "transport/cimom_curl.h"

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_ALL);
    // The one transport of the run: created before anything else and
    // destroyed last, so every request travels over its connection.
    CimomCurl transport;
    CimomCurl::askPassword = getmypasswd;
    return RunRbz(argc, argv, [&transport](CommandLine& cmd) { return DispatchCommand(transport, cmd); });
}
