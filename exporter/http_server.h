// The HTTP side of the exporter: GNU libmicrohttpd, one thread per
// connection (a probe blocks its connection for up to its timeout), the
// number of connections bounded.
#pragma once

#include <cstdint>
#include <string>

#include "exporter/exporter.h"
#include "exporter/options.h"

struct MHD_Daemon;

class HttpServer {
public:
    // Starts serving; throws std::runtime_error when the address cannot be
    // bound.
    HttpServer(Exporter& exporter, const ListenAddress& address, unsigned maxConnections);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const;
    // Stops accepting and waits for the connections in progress.
    void stop();

private:
    Exporter& exporter_;
    MHD_Daemon* daemon_ = nullptr;
};
