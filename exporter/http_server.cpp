#include "exporter/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

// How long an idle connection is kept, in seconds.
constexpr unsigned kIdleSeconds = 120;

int marker;  // the connection's state after the first call: the headers are in

MHD_Result Argument(void* cls, MHD_ValueKind, const char* key, const char* value) {
    auto* query = static_cast<std::map<std::string, std::string>*>(cls);
    (*query)[key] = value != nullptr ? value : "";
    return MHD_YES;
}

MHD_Result Answer(void* cls, MHD_Connection* connection, const char* url, const char* method, const char*,
                  const char*, size_t* uploadSize, void** state) {
    if (*state == nullptr) {
        *state = &marker;
        return MHD_YES;
    }
    if (*uploadSize != 0) {  // a body is of no use to any path: dropped
        *uploadSize = 0;
        return MHD_YES;
    }
    HttpRequest request;
    request.method = method;
    request.path = url;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &Argument, &request.query);
    if (const char* timeout =
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "X-Prometheus-Scrape-Timeout-Seconds"))
        request.scrapeTimeout = timeout;

    HttpReply reply;
    try {
        reply = static_cast<Exporter*>(cls)->handle(request);
    } catch (const std::exception& e) {
        LogLine(std::string("internal error: ") + e.what());
        reply.status = 500;
        reply.contentType = "text/plain; charset=utf-8";
        reply.body = "Internal error\n";
    }
    MHD_Response* response =
        MHD_create_response_from_buffer(reply.body.size(), reply.body.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.contentType.c_str());
    for (const auto& [name, value] : reply.headers) MHD_add_response_header(response, name.c_str(), value.c_str());
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
    MHD_destroy_response(response);
    return queued;
}

void Log(void*, const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    LogLine("http: " + line);
}

}  // namespace

HttpServer::HttpServer(Exporter& exporter, const ListenAddress& address, unsigned maxConnections)
    : exporter_(exporter) {
    const unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_ERROR_LOG;
    const auto start = [&](unsigned more, const sockaddr* bind) {
        if (bind != nullptr)
            return MHD_start_daemon(flags | more, address.port, nullptr, nullptr, &Answer, &exporter_,
                                    MHD_OPTION_EXTERNAL_LOGGER, &Log, nullptr, MHD_OPTION_CONNECTION_LIMIT,
                                    maxConnections, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,
                                    MHD_OPTION_SOCK_ADDR, bind, MHD_OPTION_END);
        return MHD_start_daemon(flags | more, address.port, nullptr, nullptr, &Answer, &exporter_,
                                MHD_OPTION_EXTERNAL_LOGGER, &Log, nullptr, MHD_OPTION_CONNECTION_LIMIT,
                                maxConnections, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_END);
    };
    if (address.host.empty()) {
        // Every address: IPv6 and IPv4 on one socket where the system has
        // IPv6, IPv4 alone otherwise.
        daemon_ = start(MHD_USE_DUAL_STACK, nullptr);
        if (daemon_ == nullptr) daemon_ = start(0, nullptr);
    } else {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_PASSIVE;
        addrinfo* found = nullptr;
        const int rc = getaddrinfo(address.host.c_str(), nullptr, &hints, &found);
        if (rc != 0)
            throw std::runtime_error("--web.listen-address: " + address.host + ": " + gai_strerror(rc));
        sockaddr_storage bind{};
        std::memcpy(&bind, found->ai_addr, found->ai_addrlen);
        const bool v6 = found->ai_family == AF_INET6;
        freeaddrinfo(found);
        if (v6)
            reinterpret_cast<sockaddr_in6*>(&bind)->sin6_port = htons(address.port);
        else
            reinterpret_cast<sockaddr_in*>(&bind)->sin_port = htons(address.port);
        daemon_ = start(v6 ? MHD_USE_IPv6 : 0, reinterpret_cast<const sockaddr*>(&bind));
    }
    if (daemon_ == nullptr)
        throw std::runtime_error("cannot serve HTTP on " + (address.host.empty() ? std::string("*") : address.host) +
                                 ":" + std::to_string(address.port));
}

HttpServer::~HttpServer() { stop(); }

std::uint16_t HttpServer::port() const {
    if (daemon_ == nullptr) return 0;
    const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT);
    return info != nullptr ? info->port : 0;
}

void HttpServer::stop() {
    if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
}
