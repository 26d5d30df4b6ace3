#include "cli/json_output.h"

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "cim/cimom.h"
#include "cli/auth.h"
#include "cli/dispatch.h"
#include "cli/driver.h"
#include "cli/json_model.h"
#include "cli/long_options.h"
#include "cli/password_file.h"
#include "cli/status.h"
#include "xml/errors.h"
#include "xml/render_flags.h"

namespace {

// What is known of the run so far; failure documents carry it.
struct RunContext {
    std::string command;   // "vsf inq"
    std::string host;      // as -i gave it
    std::string className;
    std::string method;
};

void Print(const std::string& text) { std::cout << text << '\n' << std::flush; }

Json ContextJson(const RunContext& context) {
    Json out = Json::object();
    if (!context.command.empty()) out["command"] = context.command;
    if (!context.host.empty()) out["host"] = context.host;
    if (!context.className.empty()) out["class"] = context.className;
    if (!context.method.empty()) out["method"] = context.method;
    return out;
}

int PrintError(const RunContext& context, const char* kind, std::optional<long long> code,
               const std::string& message, int status = kJsonFailed) {
    Json error;
    error["kind"] = kind;
    if (code) error["code"] = *code;
    error["message"] = message;
    Json document = ContextJson(context);
    document["error"] = std::move(error);
    Print(Dump(document));
    return status;
}

// A CIM error's code as a number, when the server wrote one.
std::optional<long long> CimCode(const std::string& code) {
    try {
        size_t used = 0;
        const long long value = std::stoll(code, &used, 10);
        if (used == code.size()) return value;
    } catch (const std::exception&) {
    }
    return std::nullopt;
}

// Maps the exception in flight to an error document.
int PrintFailure(const RunContext& context) {
    try {
        throw;
    } catch (const TimeoutException& e) {
        return PrintError(context, "timeout", std::nullopt, e.getMsg());
    } catch (const HttpException& e) {
        std::optional<long long> status;
        if (e.httpStatus != 0) status = e.httpStatus;
        return PrintError(context, "http", status, e.getMsg());
    } catch (const ErrorXml& e) {
        return PrintError(context, "cim", CimCode(e.code), e.getMsg());
    } catch (const URLException& e) {
        return PrintError(context, "url", std::nullopt, e.getMsg());
    } catch (const ParseException& e) {
        return PrintError(context, "parse", std::nullopt, e.getMsg());
    } catch (const CmdException& e) {
        return PrintError(context, "invocation", std::nullopt, e.getMsg());
    } catch (const PasswordFileExhausted& e) {
        return PrintError(context, "invocation", std::nullopt, e.getMsg());
    } catch (const NoReturnValue&) {
        return PrintError(context, "parse", std::nullopt, "Nothing Returned");
    } catch (const EmptyValue&) {
        return PrintError(context, "parse", std::nullopt, "The response carries no return value");
    } catch (const XmlException& e) {
        return PrintError(context, "internal", std::nullopt, e.getMsg());
    } catch (const DoesNotExist& e) {
        return PrintError(context, "internal", std::nullopt, e.getMsg());
    } catch (const std::exception& e) {
        return PrintError(context, "internal", std::nullopt, e.what());
    } catch (...) {
        return PrintError(context, "internal", std::nullopt, "unknown failure");
    }
}

class JsonOutcomes : public RunOutcomes {
public:
    explicit JsonOutcomes(RunContext& context) : context_(context) {}
    int noArguments() override { return PrintError(context_, "invocation", std::nullopt, "no command given"); }
    int banner() override { return PrintJsonVersion(); }
    int help(pricmd primary) override {
        std::ostringstream text;
        PrintHelp(primary, text);
        Json document;
        document["usage"] = text.str();
        Print(Dump(document));
        return 0;
    }
    int refused() override {
        return PrintError(context_, "invocation", std::nullopt, "Invalid invocation syntax");
    }
    int failed() override { return PrintFailure(context_); }

private:
    RunContext& context_;
};

// Takes the instances of an enumeration as they are read and keeps only
// their JSON text, so that the reply and the document are not held whole
// side by side.
class InstanceText : public NamedInstanceSink {
public:
    void take(NamedInstanceXml& item) override {
        if (!text.empty()) text += ',';
        text += Dump(NamedInstanceJson(item));
    }
    std::string text;   // the instances, separated by commas
};

// {context..., "instances": [...]}: the instances' text goes between the
// brackets of the (last) member "instances".
void PrintInstances(const RunContext& context, const std::string& instances) {
    Json document = ContextJson(context);
    document["instances"] = Json::array();
    std::string text = Dump(document);
    const std::string tail = "[]}";
    if (text.compare(text.size() - tail.size(), tail.size(), tail) != 0)
        throw std::logic_error("instances are not the last member");
    text.insert(text.size() - 2, instances);
    Print(text);
}

int ListQuery(Cimom& cimom, URL& target, const RunContext& context) {
    InstanceText sink;
    try {
        cimom.enumInstances(target, nullptr, true, false, true, false, sink);
    } catch (const NoReturnValue&) {
        // an empty return value: no instances
    }
    PrintInstances(context, sink.text);
    return 0;
}

int ItemQuery(Cimom& cimom, URL& target, const RunContext& context) {
    std::unique_ptr<InstanceXml> instance;
    try {
        instance = cimom.getInstance(target, nullptr, false, true, false);
    } catch (const NoReturnValue&) {
    }
    PrintInstances(context, instance ? Dump(InstanceJson(*instance, KeysJson(target.keys))) : std::string());
    return 0;
}

// The controller's verdict on a method call, read from its return value:
// a status code after "ERROR CODE=" refuses, else "OK" accepts.
struct Verdict {
    bool accepted;
    std::optional<int> code;
};

Verdict Judge(const MethodresponseXml& response) {
    const std::string text = ReturnValueText(response);
    const std::optional<int> code = DecodeStatus(text);
    return {!code && ReplyHasOk(text), code};
}

std::unique_ptr<MethodresponseXml> Call(Cimom& cimom, URL& target, const char* method, const char* arguments) {
    std::unique_ptr<MethodresponseXml> response = cimom.callMethod(target, method, arguments);
    if (!response) throw ParseException("Empty method response");
    return response;
}

int Change(Cimom& cimom, URL& target, const CommandLine& cmd, RunContext& context) {
    std::unique_ptr<MethodresponseXml> auth;
    SendControllerPassword(cmd.user, cmd.password, cmd.host, nullptr,
                           [&cimom, &auth](URL& controller, const char* method, const char* arguments) {
                               auth = Call(cimom, controller, method, arguments);
                           });
    const Verdict password = Judge(*auth);
    if (!password.accepted) {
        std::string message = "Controller Password Incorrect";
        if (password.code) message.append(": ").append(VerifyStatusText(*password.code));
        return PrintError(context, "controller password", password.code, message, kJsonPasswordRefused);
    }

    MethodCall call(cmd.parameters);
    context.method = call.method;
    std::unique_ptr<MethodresponseXml> response =
        Call(cimom, target, call.method.c_str(), call.arguments.c_str());
    Json result = MethodresponseJson(*response);
    const Verdict verdict = Judge(*response);
    if (verdict.code) {
        const std::string_view text = DriverStatusText(*verdict.code);
        const std::string message =
            text.empty() ? "controller status " + std::to_string(*verdict.code) : std::string(text);
        return PrintError(context, "controller refused", verdict.code, message, kJsonChangeRefused);
    }
    if (!verdict.accepted) {
        return PrintError(context, "controller refused", std::nullopt,
                          "the controller answered neither OK nor a status code", kJsonChangeRefused);
    }
    Json document = ContextJson(context);
    document["returnValue"] = std::move(result["returnValue"]);
    document["outParameters"] = std::move(result["outParameters"]);
    Json status;
    status["code"] = nullptr;
    status["text"] = "OK";
    document["status"] = std::move(status);
    Print(Dump(document));
    return 0;
}

int Serve(Cimom& cimom, CommandLine& cmd, RunContext& context) {
    context.command = cmd.command;
    context.host = cmd.host;
    return ServeTarget(cimom, cmd, [&cimom, &cmd, &context](URL& target) {
        context.className = target.className;
        switch (QueryKindOf(cmd.option)) {
        case QueryKind::list:
            return ListQuery(cimom, target, context);
        case QueryKind::item:
            return ItemQuery(cimom, target, context);
        case QueryKind::none:
            break;
        }
        return Change(cimom, target, cmd, context);
    });
}

}  // namespace

int RunJson(int argc, char** argv, Cimom& cimom) {
    quietOutput = 1;
    RunContext context;
    JsonOutcomes outcomes(context);
    return RunRbz(argc, argv, [&cimom, &context](CommandLine& cmd) { return Serve(cimom, cmd, context); },
                  outcomes);
}

int PrintJsonInvocationError(const std::string& message) {
    return PrintError(RunContext(), "invocation", std::nullopt, message);
}

int PrintJsonHelp() {
    Json options = Json::array();
    for (const LongOptionInfo& info : ListLongOptions()) {
        Json option;
        option["option"] = info.name;
        option["value"] = info.valueName ? Json(info.valueName) : Json(nullptr);
        option["help"] = info.help;
        options.push_back(std::move(option));
    }
    Json document;
    document["options"] = std::move(options);
    Print(Dump(document));
    return 0;
}

int PrintJsonVersion() {
    Json document;
    document["version"] = kRbzVersion;
    Print(Dump(document));
    return 0;
}
