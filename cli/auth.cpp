#include "cli/auth.h"

#include <optional>

#include "cim/cimom.h"
#include "cim/wipe.h"
#include "cli/password.h"
#include "cli/same_server.h"
#include "cli/status.h"
#include "controller/paths.h"

void SendControllerPassword(const std::string& user, const std::string& password, const std::string& host,
                            PasswordReader ask, const ControllerCall& call) {
    if (ask == nullptr) ask = getmypasswd;
    std::string controllerPassword = ask("Enter RAID Controller's PassWord:");
    WipeOnExit forgetPassword(controllerPassword);
    std::string arguments = "password=" + controllerPassword;
    WipeOnExit forgetArguments(arguments);
    std::string invocation = "AuthPassword.password=" + controllerPassword;
    WipeOnExit forgetInvocation(invocation);

    // The path carries the ESXi password; room for all of it up front, so
    // that it is built without leaving copies behind.
    std::string path;
    WipeOnExit forgetPath(path);
    path.reserve(PathCapacity(user, password, host, invocation));
    BuildURL(pricmd::sys, path, invocation, user, password, host);
    URL controller = ParseServerPath(path, host);
    call(controller, "AuthPassword", arguments.c_str());
}

bool VerifyControllerPassword(Cimom& cimom, const std::string& user, const std::string& password,
                              const std::string& host, PasswordReader ask, std::ostream& os) {
    std::string reply;
    SendControllerPassword(user, password, host, ask,
                           [&cimom, &reply](URL& controller, const char* method, const char* arguments) {
                               reply = cimom.callMethod2str(&controller, method, arguments);
                           });

    if (const std::optional<int> code = DecodeStatus(reply)) os << VerifyStatusText(*code) << '\n';
    if (ReplyHasOk(reply)) return true;
    os << "Controller Password Incorrect" << '\n';
    return false;
}
