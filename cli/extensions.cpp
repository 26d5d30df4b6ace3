#include "cli/extensions.h"

#include "cli/password_file.h"
#include "transport/cimom_curl.h"
#include "xml/errors.h"

void ApplyLongOptions(CimomCurl& transport, const LongOptions& options) {
    if (!options.passwordFile.empty()) UsePasswordFile(options.passwordFile);
    transport.setTimeLimit(options.timeout);
    if (options.verify || !options.pin.empty()) {
        try {
            transport.setPeerCheck(options.verify, options.pin);
        } catch (const HttpException& e) {
            throw LongOptionError(e.getMsg());
        }
    }
}
