// rbz-exporter: a Prometheus exporter that probes the RAID controllers of
// ESXi hosts (see exporter/exporter.h), or, started with the probe flag by
// the exporter itself, one probe (exporter/probe.h).
#include <signal.h>

#include <cstring>
#include <iostream>

#include "cli/long_options.h"
#include "exporter/config.h"
#include "exporter/exporter.h"
#include "exporter/http_server.h"
#include "exporter/options.h"
#include "exporter/probe.h"

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], kProbeChildFlag) == 0) return ProbeChildMain();

    ExporterOptions options;
    try {
        options = ParseExporterOptions(argc, argv);
    } catch (const ExporterOptionError& e) {
        std::cerr << "rbz-exporter: " << e.what() << '\n';
        return 2;
    }
    if (options.help) {
        PrintExporterHelp(std::cout);
        return 0;
    }
    if (options.version) {
        std::cout << "rbz-exporter " << kRbzVersion << '\n';
        return 0;
    }

    Config config;
    try {
        config = LoadConfig(options.configFile);
    } catch (const ConfigError& e) {
        std::cerr << "rbz-exporter: " << e.what() << '\n';
        return 1;
    }

    // The signals that stop the exporter are taken by sigwait below, so every
    // thread started from here on blocks them; a peer that goes away while
    // a reply or a probe's request is written must not end the process.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    const size_t modules = config.modules.size();
    Exporter exporter(std::move(config), "/proc/self/exe", options.probesMax);
    try {
        const ListenAddress address = ParseListenAddress(options.listenAddress);
        // Room for every probe, three times as many waiting for a slot, and
        // scrapes of /metrics besides.
        HttpServer server(exporter, address, 4 * options.probesMax + 64);
        const bool v6 = address.host.find(':') != std::string::npos;
        LogLine("listening on " + (v6 ? "[" + address.host + "]" : address.host) + ":" +
                std::to_string(server.port()) + ", " + std::to_string(modules) + " module(s) from " +
                options.configFile + ", at most " + std::to_string(options.probesMax) + " probes at once");
        int received = 0;
        sigwait(&stopSignals, &received);
        LogLine(std::string("stopping on ") + strsignal(received));
        exporter.stop();
        server.stop();
    } catch (const std::exception& e) {
        std::cerr << "rbz-exporter: " << e.what() << '\n';
        return 1;
    }
    LogLine("stopped");
    return 0;
}
