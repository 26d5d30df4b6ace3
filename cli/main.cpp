#include <curl/curl.h>
#include <malloc.h>

#include "cli/dispatch.h"
#include "cli/driver.h"
#include "cli/password.h"
#include "transport/cimom_curl.h"

int main(int argc, char** argv) {
#ifdef M_MXFAST
    // A large reply becomes millions of small objects that are all freed at
    // the end of the run. Kept in glibc's fast bins, the freed chunks are
    // merged all at once at the next large free (7 % of the run for
    // 100,000 events); without fast bins each is merged as it is freed,
    // which costs less in all.
    mallopt(M_MXFAST, 0);
#endif
    curl_global_init(CURL_GLOBAL_ALL);
    // The one transport of the run: created before anything else and
    // destroyed last, so every request travels over its connection.
    CimomCurl transport;
    CimomCurl::askPassword = getmypasswd;
    return RunRbz(argc, argv, [&transport](CommandLine& cmd) { return DispatchCommand(transport, cmd); });
}
