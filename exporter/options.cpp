#include "exporter/options.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <string_view>

namespace {

struct Option {
    const char* name;
    const char* valueName;  // null: a flag
    const char* help;
    void (*apply)(ExporterOptions&, const char*);
};

unsigned long Number(const char* option, const char* value, unsigned long low, unsigned long high) {
    errno = 0;
    char* end = nullptr;
    const unsigned long number = std::strtoul(value, &end, 10);
    if (end == value || *end != '\0' || errno != 0 || value[0] == '-' || number < low || number > high)
        throw ExporterOptionError(std::string(option) + ": expected a whole number from " + std::to_string(low) +
                                  " to " + std::to_string(high) + ", got \"" + value + "\"");
    return number;
}

const Option kOptions[] = {
    {"--config.file", "FILE", "the configuration file: modules with credentials (default /etc/rbz-exporter.yml)",
     [](ExporterOptions& o, const char* v) { o.configFile = v; }},
    {"--web.listen-address", "[HOST]:PORT", "address to serve HTTP on (default :9799, every address)",
     [](ExporterOptions& o, const char* v) {
         ParseListenAddress(v);
         o.listenAddress = v;
     }},
    {"--probes.max", "N", "probes that run at the same time; others wait for a slot (default 32)",
     [](ExporterOptions& o, const char* v) { o.probesMax = static_cast<unsigned>(Number("--probes.max", v, 1, 4096)); }},
    {"--help", nullptr, "print this help and exit", [](ExporterOptions& o, const char*) { o.help = true; }},
    {"--version", nullptr, "print the version and exit", [](ExporterOptions& o, const char*) { o.version = true; }},
};

}  // namespace

ExporterOptions ParseExporterOptions(int argc, char** argv) {
    ExporterOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word(argv[i]);
        const size_t equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        const Option* found = nullptr;
        for (const Option& option : kOptions)
            if (name == option.name) found = &option;
        if (found == nullptr) {
            if (word.substr(0, 1) == "-")
                throw ExporterOptionError("unknown option " + std::string(name) + " (see --help)");
            throw ExporterOptionError("unexpected argument \"" + std::string(word) + "\" (see --help)");
        }
        const char* value = nullptr;
        if (found->valueName != nullptr) {
            if (equals != std::string_view::npos)
                value = argv[i] + equals + 1;
            else if (i + 1 < argc)
                value = argv[++i];
            else
                throw ExporterOptionError(std::string(found->name) + " needs a value (" + found->valueName + ")");
        } else if (equals != std::string_view::npos) {
            throw ExporterOptionError(std::string(found->name) + " takes no value");
        }
        found->apply(options, value);
    }
    return options;
}

void PrintExporterHelp(std::ostream& os) {
    os << "Usage: rbz-exporter [OPTION]...\n"
          "Prometheus exporter for the Quilo RAID controllers of VMware ESXi hosts, read over CIM.\n"
          "\n"
          "  GET /probe?target=HOST[:PORT]&module=NAME  one host's metrics (module default: \"default\")\n"
          "  GET /metrics                               the exporter's own metrics\n"
          "  GET /                                      a page on how to use it\n"
          "\n"
          "Options:\n";
    for (const Option& option : kOptions) {
        std::string left = option.name;
        if (option.valueName != nullptr) left = left + ' ' + option.valueName;
        os << "  " << std::left << std::setw(34) << left << ' ' << option.help << '\n';
    }
    os << std::right
       << "\n"
          "The configuration file and any password file it names must not be readable or\n"
          "writable by group or others. A probe ends at the scrape timeout that Prometheus\n"
          "sends (X-Prometheus-Scrape-Timeout-Seconds, less half a second), or at the\n"
          "module's timeout, whichever comes first. SIGTERM or SIGINT stops the exporter.\n";
}

ListenAddress ParseListenAddress(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        throw ExporterOptionError("--web.listen-address: expected [HOST]:PORT, got \"" + text + "\"");
    ListenAddress address;
    address.host = text.substr(0, colon);
    if (address.host.size() >= 2 && address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    else if (address.host.find(':') != std::string::npos)
        throw ExporterOptionError("--web.listen-address: an IPv6 address goes in brackets, as [::1]:9799");
    const std::string port = text.substr(colon + 1);
    address.port = static_cast<std::uint16_t>(Number("--web.listen-address port", port.c_str(), 0, 65535));
    return address;
}
