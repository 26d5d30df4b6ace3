#include <curl/curl.h>

#include <iostream>

#include "cli/check.h"
#include "cli/dispatch.h"
#include "cli/driver.h"
#include "cli/extensions.h"
#include "cli/json_output.h"
#include "cli/long_options.h"
#include "cli/password.h"
#include "transport/cimom_curl.h"

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_ALL);
    // The one transport of the run: created before anything else and
    // destroyed last, so every request travels over its connection.
    CimomCurl transport;
    CimomCurl::askPassword = getmypasswd;

    try {
        LongOptionLine line(argc, argv);
        const LongOptions& options = line.options();
        if (options.help) {
            if (options.json) return PrintJsonHelp();
            PrintLongOptionsHelp(std::cout);
            return 0;
        }
        if (options.version) {
            if (options.json) return PrintJsonVersion();
            std::cout << "rbz " << kRbzVersion << '\n';
            return 0;
        }
        if (options.check && options.json) throw LongOptionError("--check and --json do not go together");
        ApplyLongOptions(transport, options);
        if (options.json) return RunJson(line.argc(), line.argv(), transport);
        if (options.check) {
            const Thresholds thresholds{options.warnTemp, options.critTemp};
            return RunCheck(line.argc(), line.argv(), transport, thresholds, RunTimeLimit(options));
        }
        return RunRbz(line.argc(), line.argv(),
                      [&transport](CommandLine& cmd) { return DispatchCommand(transport, cmd); });
    } catch (const LongOptionError& e) {
        if (WantsJson(argc, argv)) return PrintJsonInvocationError(e.what());
        if (WantsCheck(argc, argv)) return PrintCheckRefused(e.what());
        std::cerr << "rbz: " << e.what() << '\n';
        return 16;
    }
}
