#include "cli/dispatch.h"

#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "cim/cimom.h"
#include "cim/wipe.h"
#include "cli/same_server.h"
#include "cli/status.h"
#include "controller/paths.h"
#include "controller/reports.h"
#include "xml/errors.h"

namespace {

constexpr int kPasswordRefused = 13;

// The controller class replaces the target's class (and drops its keys) in
// the control path; 120 characters from the class name on are replaced.
constexpr std::string_view kClassPrefix = "Quilo_";
constexpr std::string_view kControlClass = "Quilo_RAIDControllerSystem";
constexpr size_t kReplacedLength = 120;

using ItemReport = void (*)(URL&, std::string&, InstanceXml&, std::ostream&);

// The queries: an enumeration with a list report, or one instance with an
// inquiry report. Every other option takes the method path.
struct Query {
    subcmd option;
    const ListLayout* list;   // enumInstances
    ItemReport item;          // getInstance
    bool noneIfEmpty;         // print "None" when nothing came back
};
constexpr Query kQueries[] = {
    {subcmd::rsf_info, &kRaidSetInfoReport, nullptr, true},
    {subcmd::vsf_info, &kVolumeInfoReport, nullptr, true},
    {subcmd::vsf_inq, nullptr, DisplayVolumeInquiry, false},
    {subcmd::disk_info, &kDiskInfoReport, nullptr, true},
    {subcmd::disk_inq, nullptr, DisplayDiskInquiry, false},
    {subcmd::sys_info, &kSystemInfoReport, nullptr, false},
    {subcmd::event_info, &kEventInfoReport, nullptr, false},
};

const Query* FindQuery(subcmd option) {
    for (const Query& query : kQueries)
        if (query.option == option) return &query;
    return nullptr;
}

// The copy carries the ESXi password: it gets room for the longer class up
// front, so the replacement never moves it.
std::string ControlPath(const std::string& targetPath) {
    std::string path;
    path.reserve(targetPath.size() + kControlClass.size());
    path = targetPath;
    const size_t at = path.find(kClassPrefix);
    if (at != std::string::npos) path.replace(at, kReplacedLength, kControlClass);
    return path;
}

// Every served command, queries included, first sets the controller's wait
// period. The reply is of no interest.
void SetWaitPeriod(Cimom& cimom, const std::string& targetPath, const std::string& host) {
    std::string path = ControlPath(targetPath);
    WipeOnExit forgetPath(path);
    URL control = ParseServerPath(path, host);
    cimom.callMethod2str(&control, "SetWaTP", "Period=2");
}

void RunQuery(Cimom& cimom, URL& target, const Query& query) {
    std::string work;
    if (query.list) {
        // The report takes the instances as the reply is read.
        ListReport report(*query.list, work, std::cout);
        if (cimom.enumInstances(target, nullptr, true, false, true, false, report))
            report.print();
        else if (query.noneIfEmpty)
            std::cout << "None" << '\n';
    } else {
        std::unique_ptr<InstanceXml> result = cimom.getInstance(target, nullptr, false, true, false);
        if (result)
            query.item(target, work, *result, std::cout);
        else if (query.noneIfEmpty)
            std::cout << "None" << '\n';
    }
}

int RunMethod(Cimom& cimom, URL& target, const CommandLine& cmd, PasswordReader ask) {
    if (!VerifyControllerPassword(cimom, cmd.user, cmd.password, cmd.host, ask)) return kPasswordRefused;
    MethodCall call(cmd.parameters);
    const std::string reply = cimom.callMethod2str(&target, call.method.c_str(), call.arguments.c_str());
    PrintMethodStatus(reply, std::cout);
    return 0;
}

}  // namespace

// The parameter text is "Method.arguments". Without a dot both the method
// name and the arguments are the whole text.
MethodCall::MethodCall(const std::string& text) {
    const size_t dot = text.find('.');
    method = dot == std::string::npos ? text : text.substr(0, dot);
    appendSecret(arguments, dot == std::string::npos ? std::string_view(text) : std::string_view(text).substr(dot + 1));
}

MethodCall::~MethodCall() { wipeText(arguments); }

QueryKind QueryKindOf(subcmd option) {
    const Query* query = FindQuery(option);
    if (query == nullptr) return QueryKind::none;
    return query->list ? QueryKind::list : QueryKind::item;
}

int DispatchCommand(Cimom& cimom, CommandLine& cmd, PasswordReader ask) {
    return ServeTarget(cimom, cmd, [&cimom, &cmd, ask](URL& target) {
        if (const Query* query = FindQuery(cmd.option)) {
            RunQuery(cimom, target, *query);
            return 0;
        }
        return RunMethod(cimom, target, cmd, ask);
    });
}

int ServeTarget(Cimom& cimom, CommandLine& cmd, const std::function<int(URL& target)>& serve) {
    // Peer verification stays off; the files are passed as given.
    cimom.setClientCertificates(cmd.caCert, 1, cmd.clientCert, cmd.clientKey);

    // The path carries the ESXi password: room for all of it up front, so
    // that it is built without leaving copies behind.
    std::string path;
    WipeOnExit forgetPath(path);
    path.reserve(PathCapacity(cmd.user, cmd.password, cmd.host, cmd.parameters));
    BuildURL(cmd.primary, path, cmd.parameters, cmd.user, cmd.password, cmd.host);
    URL target = ParseServerPath(path, cmd.host);
    if (target.className.empty()) throw CmdException("Class name not specified");

    SetWaitPeriod(cimom, path, cmd.host);
    return serve(target);
}
