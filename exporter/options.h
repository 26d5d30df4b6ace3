// The exporter's command line, after the Prometheus exporters' custom:
//   rbz-exporter [--config.file FILE] [--web.listen-address [HOST]:PORT]
//                [--probes.max N] [--help] [--version]
// "--name value" and "--name=value" both work.
#pragma once

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>

constexpr const char* kDefaultConfigFile = "/etc/rbz-exporter.yml";
constexpr const char* kDefaultListenAddress = ":9799";

struct ExporterOptions {
    std::string configFile = kDefaultConfigFile;
    std::string listenAddress = kDefaultListenAddress;
    unsigned probesMax = 32;
    bool help = false;
    bool version = false;
};

class ExporterOptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

ExporterOptions ParseExporterOptions(int argc, char** argv);  // throws ExporterOptionError

void PrintExporterHelp(std::ostream& os);

// "[HOST]:PORT": an empty host means every address; HOST may be a name, an
// IPv4 address or an IPv6 one in brackets ("[::1]:9799").
struct ListenAddress {
    std::string host;  // without brackets
    std::uint16_t port = 0;
};
ListenAddress ParseListenAddress(const std::string& text);  // throws ExporterOptionError
