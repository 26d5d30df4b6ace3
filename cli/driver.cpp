#include "cli/driver.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "cim/wipe.h"
#include "cli/commands.h"
#include "cli/long_options.h"
#include "cli/password.h"
#include "cli/status.h"
#include "cli/usage.h"
#include "transport/settings.h"
#include "xml/errors.h"

namespace {

constexpr int kStatusInvalid = 16;

// The words of the command line; the vector ends at argc or at its first
// null, whichever comes first, so no scan can run past it.
struct Words {
    char** argv;
    std::size_t count;
};

Words CountWords(int argc, char** argv) {
    std::size_t count = 0;
    while (argv != nullptr && count < static_cast<std::size_t>(argc) && argv[count] != nullptr) {
        ++count;
    }
    return {argv, count};
}

// An option word is only looked at when it begins with "-", and then must be
// the option itself.
bool IsOption(const char* word, std::string_view option) {
    return word[0] == '-' && option == word;
}

// Position of the first occurrence of a flag, or `count` when absent.
std::size_t FindOption(const Words& words, std::string_view option) {
    std::size_t i = 0;
    while (i < words.count && !IsOption(words.argv[i], option)) ++i;
    return i;
}

enum class OptionTarget { caCert, clientCert, clientKey, host, user, wait };

struct ValueOption {
    const char* word;
    OptionTarget target;
    bool lastWins;  // every occurrence is read, not only the first
};

// One pass over the whole line per option, in this order.
constexpr ValueOption kValueOptions[] = {
    {"-cacert", OptionTarget::caCert, false},
    {"-clientcert", OptionTarget::clientCert, false},
    {"-clientkey", OptionTarget::clientKey, false},
    {"-i", OptionTarget::host, false},
    {"-u", OptionTarget::user, false},
    {"-w", OptionTarget::wait, true},
};

struct ScanState {
    CommandLine cmd;
    bool syntaxError = false;
    bool missingValue = false;  // an option word ended the line
};

void ApplyOption(OptionTarget target, char* value, ScanState& state) {
    switch (target) {
    case OptionTarget::caCert: state.cmd.caCert = value; break;
    case OptionTarget::clientCert: state.cmd.clientCert = value; break;
    case OptionTarget::clientKey: state.cmd.clientKey = value; break;
    case OptionTarget::host: state.cmd.host = value; break;
    case OptionTarget::user: state.cmd.user = value; break;
    case OptionTarget::wait: {
        // Base 0: "0x10" is sixteen, "010" eight. A value beyond an int is
        // held at the nearer end, as strtol gives it where long has 32 bits,
        // so a huge wait stays positive and a huge negative one stays negative.
        char* end = value;
        const long seconds = std::strtol(value, &end, 0);
        waitTime = static_cast<int>(std::clamp<long>(seconds, INT_MIN, INT_MAX));
        if (end == value) state.syntaxError = true;  // overwritten by the command scan
        break;
    }
    }
}

void ScanValueOptions(const Words& words, ScanState& state) {
    for (const ValueOption& option : kValueOptions) {
        for (std::size_t i = 0; i < words.count; ++i) {
            if (!IsOption(words.argv[i], option.word)) continue;
            if (i + 1 >= words.count) {
                state.missingValue = true;
                break;
            }
            ApplyOption(option.target, words.argv[i + 1], state);
            if (!option.lastWins) break;
        }
    }
}

// Every position is a candidate for the primary command, option values
// included; the first one that parses wins.
void ScanCommand(const Words& words, ScanState& state) {
    for (std::size_t i = 0; i < words.count; ++i) {
        if (ParseCommands(words.argv + i, &state.cmd.primary, &state.cmd.option,
                          state.cmd.parameters)) {
            state.syntaxError = false;
            state.cmd.command = words.argv[i];
            if (i + 1 < words.count) state.cmd.command.append(" ").append(words.argv[i + 1]);
            return;
        }
        state.syntaxError = true;
    }
}

using UsagePrinter = void (*)(std::ostream&);

// The usage printed by "-h", by primary command.
constexpr UsagePrinter kHelpByPrimary[] = {
    GeneralUsage,  // main
    nullptr,       // set
    RsfUsage,      // rsf
    VsfUsage,      // vsf
    DiskUsage,     // disk
    SysUsage,      // sys
    nullptr,       // adsys
    nullptr,       // hddpwr
    nullptr,       // net
    EventUsage,    // event
    nullptr,       // hw
    nullptr,       // mail
    nullptr,       // snmp
    nullptr,       // ntp
    GeneralUsage,  // exit
};

// A report that failed half-way may have left a field width pending on
// standard output; the driver's own output must not inherit it.
void ResetOutputAfterFailure() {
    std::cout.width(0);
    std::cout.flush();
}

// The driver's own outcomes, as text.
class TextOutcomes : public RunOutcomes {
public:
    int noArguments() override {
        GeneralUsage();
        return 0;
    }
    int banner() override {
        std::cerr << " Quilo Technology WBEM Client Utility v" << kRbzVersion << ", Date: "
                  << "2015/09/16" << '\n';
        return 0;
    }
    int help(pricmd primary) override {
        PrintHelp(primary, std::cout);
        return 0;
    }
    int refused() override {
        std::cout.flush();
        std::cerr << "Invalid invocation syntax" << '\n';
        GeneralUsage();
        return kStatusInvalid;
    }
    int failed() override {
        ResetOutputAfterFailure();
        try {
            throw;
        } catch (const CmdException&) {
            // The message stays unprinted: the run ends quietly.
            std::cout << '\n';
        } catch (const NoReturnValue&) {
            std::cerr << "Nothing Returned" << '\n';
        } catch (const XmlException& e) {
            std::string message = e.getMsg();
            std::cerr << message << '\n';
            CleanUpMsg(message);  // the cleaned text is deliberately not printed
            return kStatusInvalid;
        } catch (...) {
            std::cerr << "*\n* what happened? \n*\n\n";
            return kStatusInvalid;
        }
        return 0;
    }
};

// Steps from the first look at the line to the served command; runs inside
// the driver's guarded region.
int Run(const Words& words, const std::function<int(CommandLine&)>& serve, RunOutcomes& outcomes) {
    if (words.count <= 1) return outcomes.noArguments();

    ScanState state;
    // The ESXi password, and for chgpw the new controller password in the
    // parameter text, are overwritten however the run ends.
    WipeOnExit forgetPassword(state.cmd.password);
    WipeOnExit forgetParameters(state.cmd.parameters);
    ScanValueOptions(words, state);
    if (FindOption(words, "-v") < words.count) return outcomes.banner();

    ScanCommand(words, state);
    if (FindOption(words, "-h") < words.count) return outcomes.help(state.cmd.primary);
    if (state.syntaxError || state.missingValue) return outcomes.refused();

    std::string typed = getmypasswd("Enter ESXi Server PassWord: ");
    WipeOnExit forgetTyped(typed);
    appendSecret(state.cmd.password, typed);
    return serve(state.cmd);
}

}  // namespace

void PrintHelp(pricmd primary, std::ostream& os) {
    const auto index = static_cast<std::size_t>(primary);
    constexpr std::size_t known = sizeof kHelpByPrimary / sizeof kHelpByPrimary[0];
    const UsagePrinter print = index < known ? kHelpByPrimary[index] : GeneralUsage;
    if (print != nullptr) print(os);
}

int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve, RunOutcomes& outcomes) {
    int status = 0;
    const Words words = CountWords(argc, argv);
    try {
        status = Run(words, serve, outcomes);
    } catch (...) {
        status = outcomes.failed();
    }
    std::cout.flush();
    return status;
}

int RunRbz(int argc, char** argv, const std::function<int(CommandLine&)>& serve) {
    TextOutcomes text;
    return RunRbz(argc, argv, serve, text);
}
