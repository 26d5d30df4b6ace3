#include "cli/extensions.h"

#include "cli/check.h"
#include "cli/password_file.h"
#include "transport/cimom_curl.h"
#include "xml/errors.h"

void ApplyLongOptions(CimomCurl& transport, const LongOptions& options) {
    if (!options.passwordFile.empty()) UsePasswordFile(options.passwordFile);
    // A check never hangs: without --timeout it has a limit of its own.
    transport.setTimeLimit(options.timeout > 0 ? options.timeout : options.check ? kCheckTimeLimit : 0);
    if (options.verify || !options.pin.empty()) {
        try {
            transport.setPeerCheck(options.verify, options.pin);
        } catch (const HttpException& e) {
            throw LongOptionError(e.getMsg());
        }
    }
}
