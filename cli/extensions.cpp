#include "cli/extensions.h"

#include "cli/check.h"
#include "cli/password_file.h"
#include "transport/cimom_curl.h"
#include "xml/errors.h"

void ApplyLongOptions(CimomCurl& transport, const LongOptions& options) {
    if (!options.passwordFile.empty()) UsePasswordFile(options.passwordFile);
    transport.setTimeLimit(RunTimeLimit(options));
    if (options.verify || !options.pin.empty()) {
        try {
            transport.setPeerCheck(options.verify, options.pin);
        } catch (const HttpException& e) {
            throw LongOptionError(e.getMsg());
        }
    }
}

double RunTimeLimit(const LongOptions& options) {
    // A check never hangs: without --timeout it has a limit of its own.
    if (options.timeout > 0) return options.timeout;
    return options.check ? kCheckTimeLimit : 0;
}
