#include "cli/same_server.h"

RedirectedCredentials::RedirectedCredentials()
    : URLException(
          "The user name or password moves the request to another server than -i names (an \"@\" in one "
          "of them?); nothing was sent") {}

namespace {

bool SameServer(const URL& path, const std::string& host) {
    const std::string alone = "https://" + host;
    try {
        const URL given(alone.c_str());
        return path.protocol == given.protocol && path.host == given.host && path.port == given.port &&
               path.zoneId == given.zoneId;
    } catch (...) {
        return false;  // -i alone names no server: nothing to hold the path against
    }
}

}  // namespace

URL ParseServerPath(const std::string& path, const std::string& host) {
    URL url(path.c_str());
    if (!SameServer(url, host)) throw RedirectedCredentials();
    return url;
}
