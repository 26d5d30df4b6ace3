#include "cli/long_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <ostream>
#include <string_view>

namespace {

using Apply = void (*)(LongOptions& options, const char* value);

struct LongOption {
    const char* name;
    const char* valueName;  // null: the option takes no value
    const char* help;
    Apply apply;
};

constexpr std::string_view kEnd = "--";

double Seconds(const char* value) {
    errno = 0;
    char* end = nullptr;
    const double seconds = std::strtod(value, &end);
    if (end == value || *end != '\0' || errno != 0 || !std::isfinite(seconds) || seconds <= 0 ||
        seconds > 31536000)
        throw LongOptionError(std::string("--timeout: not a number of seconds above 0: ") + value);
    return seconds;
}

std::string Pin(const char* value) {
    constexpr std::string_view prefix = "sha256//";
    const std::string_view pin(value);
    if (pin.substr(0, prefix.size()) != prefix || pin.size() == prefix.size())
        throw LongOptionError(std::string("--pin: expected sha256//BASE64, got: ") + value);
    return std::string(pin);
}

unsigned Celsius(const char* option, const char* value) {
    errno = 0;
    char* end = nullptr;
    const unsigned long celsius = std::strtoul(value, &end, 10);
    if (end == value || *end != '\0' || errno != 0 || value[0] == '-' || value[0] == '+' || celsius < 1 ||
        celsius > 150)
        throw LongOptionError(std::string(option) + ": not a whole number of degrees from 1 to 150: " + value);
    return static_cast<unsigned>(celsius);
}

// Every long option, in the order --help lists them.
constexpr LongOption kLongOptions[] = {
    {"--json", nullptr, "print one JSON document on standard output, whatever the outcome",
     [](LongOptions& o, const char*) { o.json = true; }},
    {"--timeout", "SECONDS", "end the run when its network time exceeds SECONDS (default: no limit)",
     [](LongOptions& o, const char* v) { o.timeout = Seconds(v); }},
    {"--password-file", "FILE", "answer the password prompts with the lines of FILE, in order",
     [](LongOptions& o, const char* v) { o.passwordFile = v; }},
    {"--verify", nullptr, "check the server's certificate and host name (-cacert, else the system's CAs)",
     [](LongOptions& o, const char*) { o.verify = true; }},
    {"--pin", "sha256//BASE64", "accept only the server key with this SHA-256 hash",
     [](LongOptions& o, const char* v) { o.pin = Pin(v); }},
    {"--check", nullptr, "report the controller's health as a monitoring plugin (exit 0 to 3)",
     [](LongOptions& o, const char*) { o.check = true; }},
    {"--warn-temp", "CELSIUS", "with --check: a drive this hot or hotter is WARNING (default 50)",
     [](LongOptions& o, const char* v) {
         o.warnTemp = Celsius("--warn-temp", v);
         o.tempsGiven = true;
     }},
    {"--crit-temp", "CELSIUS", "with --check: a drive this hot or hotter is CRITICAL (default 60)",
     [](LongOptions& o, const char* v) {
         o.critTemp = Celsius("--crit-temp", v);
         o.tempsGiven = true;
     }},
    {"--help", nullptr, "print this list of long options",
     [](LongOptions& o, const char*) { o.help = true; }},
    {"--version", nullptr, "print the version on standard output",
     [](LongOptions& o, const char*) { o.version = true; }},
};

bool IsLong(const char* word) { return std::strncmp(word, "--", 2) == 0; }

const LongOption* Find(std::string_view name) {
    for (const LongOption& option : kLongOptions)
        if (name == option.name) return &option;
    return nullptr;
}

}  // namespace

LongOptionLine::LongOptionLine(int argc, char** argv) {
    int i = 0;
    if (argc > 0 && argv != nullptr && argv[0] != nullptr) words_.push_back(argv[i++]);
    bool ended = false;
    for (; i < argc && argv[i] != nullptr; ++i) {
        char* word = argv[i];
        if (ended || !IsLong(word)) {
            words_.push_back(word);
            continue;
        }
        if (word == kEnd) {
            ended = true;
            continue;
        }
        // "--name=value" or "--name value".
        const std::string_view text(word);
        const size_t equals = text.find('=');
        const LongOption* option = Find(text.substr(0, equals));
        if (option == nullptr) throw LongOptionError("unknown option " + std::string(text.substr(0, equals)));
        const char* value = nullptr;
        if (option->valueName != nullptr) {
            if (equals != std::string_view::npos)
                value = word + equals + 1;
            else if (i + 1 < argc && argv[i + 1] != nullptr)
                value = argv[++i];
            else
                throw LongOptionError(std::string("option ") + option->name + " needs a value (" +
                                      option->valueName + ")");
        } else if (equals != std::string_view::npos) {
            throw LongOptionError(std::string("option ") + option->name + " takes no value");
        }
        option->apply(options_, value);
    }
    words_.push_back(nullptr);
    if (options_.tempsGiven && !options_.check)
        throw LongOptionError("--warn-temp and --crit-temp go with --check");
    if (options_.warnTemp >= options_.critTemp)
        throw LongOptionError("--warn-temp " + std::to_string(options_.warnTemp) + " is not below --crit-temp " +
                              std::to_string(options_.critTemp));
}

namespace {

bool HasFlag(int argc, char** argv, const char* flag) {
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        if (argv[i] == kEnd) break;
        if (std::strcmp(argv[i], flag) == 0) return true;
    }
    return false;
}

}  // namespace

bool WantsJson(int argc, char** argv) { return HasFlag(argc, argv, "--json"); }

bool WantsCheck(int argc, char** argv) { return HasFlag(argc, argv, "--check"); }

std::vector<LongOptionInfo> ListLongOptions() {
    std::vector<LongOptionInfo> list;
    for (const LongOption& option : kLongOptions) list.push_back({option.name, option.valueName, option.help});
    return list;
}

void PrintLongOptionsHelp(std::ostream& os) {
    os << "Long options (anywhere on the line; a lone -- ends them):\n";
    for (const LongOption& option : kLongOptions) {
        std::string left = option.name;
        if (option.valueName != nullptr) left = left + ' ' + option.valueName;
        os << "  " << std::left << std::setw(31) << left << ' ' << option.help << '\n';
    }
    os << std::right;
}
