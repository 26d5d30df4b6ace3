#include "transport/cimom_curl.h"

#include "cim/wipe.h"
#include "xml/envelope.h"
#include "xml/errors.h"
#include "xml/text.h"
#include "xml/render_flags.h"

#include <unistd.h>

#include <array>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cerrno>
#include <climits>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <string_view>

int dumpXml = 0;
int reqChunking = 0;
int expect100 = 0;

std::string (*CimomCurl::askPassword)(std::string prompt) = nullptr;

namespace {

// Every request starts with these lines. The empty Accept keeps libcurl from
// sending its own "Accept: */*".
constexpr std::array<const char*, 5> headers = {
    "Content-Type: application/xml; charset=\"utf-8\"",
    "Connection: Keep-Alive, TE",
    "CIMProtocolVersion: 1.0",
    "CIMOperation: MethodCall",
    "Accept:",
};

// The most memory set aside for a reply on its Content-Length alone.
constexpr curl_off_t mostSetAside = curl_off_t{256} << 20;

// libcurl announces POST bodies above 1 MiB with "Expect: 100-continue" of its
// own accord, and CIM servers may refuse any Expect (417). An empty Expect
// line, which libcurl never sends, keeps every request free of it.
constexpr const char* noExpect = "Expect:";

// The version information is read once, on first use.
const curl_version_info_data* version() {
    static const curl_version_info_data* const info = curl_version_info(CURLVERSION_FOURTH);
    return info;
}

// The decimal number at the start of `text`, read the way atoi reads it:
// leading blanks skipped, a sign allowed, 0 when no digit follows.
int leadingNumber(std::string_view text) {
    const std::string copy(text);
    const long n = std::strtol(copy.c_str(), nullptr, 10);
    if (n > INT_MAX) return INT_MAX;
    if (n < INT_MIN) return INT_MIN;
    return static_cast<int>(n);
}

// The CIM status headers. A header matches when the `back` characters that end
// at its colon start with the first `compared` characters of `name` (ignoring
// case); a name shorter than `back` never matches. CIMError is measured from
// 13 characters back although the word has 8, so a plain "CIMError" header
// does not match: that is how CIM servers have always been read here.
struct StatusHeader {
    const char* name;
    size_t back;
    size_t compared;
    size_t valueOffset;   // from the colon
    void (*apply)(CimErrorData& record, std::string_view value);
};

// The value without the blanks around it.
std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

constexpr std::array<StatusHeader, 3> statusHeaders = {{
    {"CIMStatusDescription", 20, 20, 2,
     [](CimErrorData& r, std::string_view v) { r.statusDescription = std::string(v); }},
    {"CIMStatusCode", 13, 13, 2,
     [](CimErrorData& r, std::string_view v) {
         r.statusCode = leadingNumber(v);
         r.statusCodeText = std::string(trimmed(v));
     }},
    {"CIMError", 13, 8, 1,
     [](CimErrorData& r, std::string_view v) { r.errorHeader = std::string(1, static_cast<char>(leadingNumber(v))); }},
}};

const StatusHeader* findStatusHeader(std::string_view name) {
    for (const StatusHeader& h : statusHeaders) {
        if (name.size() < h.back) continue;
        if (equalsNoCase(name.substr(name.size() - h.back, h.compared), std::string_view(h.name, h.compared)))
            return &h;
    }
    return nullptr;
}

// A CIMStatusCode that says "no error": absent, empty, or digits worth 0.
// Anything else, a text that is no number included, reports a CIM error.
bool statusIsSuccess(const CimErrorData& record) {
    if (record.statusCode != 0) return false;
    const std::string& text = record.statusCodeText;
    return text.find_first_not_of("0123456789") == std::string::npos;
}

// The CIM error the status headers report. Its code is shown as the server
// wrote it when that is not plain decimal (a word, or a number too big for
// an int, which the record holds clamped).
ErrorXml statusError(const CimErrorData& record) {
    std::string description = record.statusDescription;
    ErrorXml error(record.statusCode, description);
    if (!record.statusCodeText.empty() && record.statusCodeText != error.code) {
        error.code = record.statusCodeText;
        error.set("Cim: ", error.code, error.description);
    }
    return error;
}

// libcurl gives up on a reply header longer than it will hold (100 KiB) with
// the code of a failed allocation (7.x) or of an oversized field (8.6 on);
// no body byte has arrived then.
bool headerTooLarge(CURLcode rc, CURL* handle) {
    bool tooLarge = rc == CURLE_OUT_OF_MEMORY;
#if LIBCURL_VERSION_NUM >= 0x080600
    tooLarge = tooLarge || rc == CURLE_TOO_LARGE;
#endif
    curl_off_t received = 0;
    curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &received);
    return tooLarge && received == 0;
}

bool verboseWanted() {
    const char* value = std::getenv("CURLDEBUG");
    return value != nullptr && !equalsNoCase(value, "false");
}

}  // namespace

CimomCurl::CimomCurl() : curl(curl_easy_init()), replyBuffer(curl.get()), response(&replyBuffer) {}

CimomCurl::~CimomCurl() {
    // The handle still points at the header list: let it go first.
    curl.reset();
    headerList.reset();
    // The credentials, and a request document that may carry a controller
    // password, are overwritten.
    wipeText(userPwd);
    wipeText(body);
}

bool CimomCurl::supportsSSL() {
    const curl_version_info_data* info = version();
    return info != nullptr && (info->features & CURL_VERSION_SSL) != 0;
}

std::string CimomCurl::getErrorMessage(CURLcode code) {
    return curl_easy_strerror(code);
}

void CimomCurl::genRequest(URL& target, const char* name, bool isMethodCall, bool hasKeys) {
    if (!curl) throw HttpException("Unable to initialize curl interface.");
    if (!supportsSSL() && target.protocol == "https")
        throw HttpException("this curl library does not support https urls.");

    url = target.protocol + "://" + target.host + ":" + target.port + "/cimom";

    // Option results are not checked: a value this libcurl refuses (it
    // refuses SSL version 3, for one) leaves its default in place.
    CURL* h = curl.get();
    curl_easy_setopt(h, CURLOPT_URL, url.c_str());
    if (target.zoneId >= 0) curl_easy_setopt(h, CURLOPT_ADDRESS_SCOPE, static_cast<long>(target.zoneId));
    curl_easy_setopt(h, CURLOPT_NOPROGRESS, 1L);
    curl_easy_setopt(h, CURLOPT_POST, 1L);
    curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, verifyPeer ? 2L : 0L);
    curl_easy_setopt(h, CURLOPT_SSLVERSION, 3L);

    setCredentials(target);

    HeaderList list = buildHeaders(name, objectText(target, isMethodCall, hasKeys));
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, list.get());
    headerList = std::move(list);

    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &CimomCurl::writeCb);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, static_cast<std::ostream*>(&response));
    curl_easy_setopt(h, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(h, CURLOPT_VERBOSE, verboseWanted() ? 1L : 0L);
    curl_easy_setopt(h, CURLOPT_HEADERDATA, &cimErrorData);
    curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &CimomCurl::headerCb);
}

void CimomCurl::setCredentials(URL& target) {
    if (target.user.empty()) {
        if (!userPwd.empty()) curl_easy_setopt(curl.get(), CURLOPT_USERPWD, static_cast<const char*>(nullptr));
        wipeText(userPwd);
        return;
    }
    if (target.password.empty() && askPassword != nullptr)
        target.password = askPassword("Enter ESXi Server PassWord: ");
    // Rebuilt in place for every request: the old text is overwritten, and
    // the buffer grows (once) without leaving a copy behind.
    wipeText(userPwd);
    appendSecret(userPwd, target.user);
    appendSecret(userPwd, ":");
    appendSecret(userPwd, target.password);
    curl_easy_setopt(curl.get(), CURLOPT_USERPWD, userPwd.c_str());
}

// The CIMObject header: the namespace, and for a method call the class and
// the keys in their one-line text form. Only the separators are encoded.
std::string CimomCurl::objectText(const URL& target, bool isMethodCall, bool hasKeys) {
    std::string text;
    target.ns.toStringBuffer(text, "%2F", "");
    if (!isMethodCall) return text;
    text += "%3A";
    text += target.className;
    if (!hasKeys) return text;
    UseNlOff flat;
    for (size_t i = 0; i < target.keys.size(); ++i) {
        text += i == 0 ? "." : ",";
        target.keys[i].toStringBuffer(text, "");
    }
    return text;
}

CimomCurl::HeaderList CimomCurl::buildHeaders(const char* name, const std::string& object) const {
    HeaderList list;
    auto append = [&list](const std::string& line) {
        curl_slist* head = curl_slist_append(list.get(), line.c_str());
        if (head == nullptr) throw std::bad_alloc();
        (void)list.release();
        list.reset(head);
    };
    for (const char* line : headers) append(line);
    if (reqChunking) append("TE: trailers");
    append(std::string("CIMMethod: ") + name);
    append("CIMObject: " + object);
    append(expect100 ? "Expect: 100-continue" : noExpect);
    return list;
}

void CimomCurl::addPayload(const std::string& document) {
    // The previous document may have carried a password.
    wipeText(body);
    appendSecret(body, document);
    if (dumpXml) std::cerr << "To server: " << body << std::endl;
    CURLcode rc = curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    if (rc != CURLE_OK && !quietOutput) std::cerr << getErrorMessage(rc) << std::endl;
    rc = curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    if (rc != CURLE_OK && !quietOutput) std::cerr << getErrorMessage(rc) << std::endl;
}

// Content-Length, when the reply has one, is known once the headers are
// in, that is before the first body byte arrives. It is the server's word
// only: at most mostSetAside bytes are set aside on it, and the string grows
// beyond that as the bytes come; a length that cannot be had is no reason to
// fail.
void CimomCurl::ReplyBuffer::reserveForReply() {
    curl_off_t length = -1;
    if (handle == nullptr || curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) != CURLE_OK)
        return;
    if (length <= 0) return;
    try {
        text.reserve(static_cast<size_t>(std::min(length, mostSetAside)));
    } catch (const std::exception&) {
    }
}

std::streamsize CimomCurl::ReplyBuffer::xsputn(const char* s, std::streamsize n) {
    if (text.empty()) reserveForReply();
    text.append(s, static_cast<size_t>(n));
    return n;
}

CimomCurl::ReplyBuffer::int_type CimomCurl::ReplyBuffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    if (text.empty()) reserveForReply();
    text.push_back(traits_type::to_char_type(c));
    return c;
}

std::string CimomCurl::ReplyBuffer::take() {
    std::string reply = std::move(text);
    text = std::string();
    return reply;
}

size_t CimomCurl::writeCb(char* ptr, size_t size, size_t nmemb, void* stream) {
    const size_t count = size * nmemb;
    static_cast<std::ostream*>(stream)->write(ptr, static_cast<std::streamsize>(count));
    return count;
}

// libcurl hands one header line at a time, CR LF included and not
// NUL-terminated: everything here stays inside [ptr, ptr + count).
size_t CimomCurl::headerCb(char* ptr, size_t size, size_t nmemb, void* record) {
    const size_t count = size * nmemb;
    const std::string_view raw(ptr, count);
    const size_t colon = raw.find(':');
    if (colon == std::string_view::npos) return count;

    const std::string_view line = raw.substr(0, raw.find('\r'));
    if (dumpXml) std::cerr << "From server: " << line << std::endl;

    const StatusHeader* header = findStatusHeader(raw.substr(0, colon));
    if (header != nullptr) {
        const size_t start = colon + header->valueOffset;
        const std::string_view value = start < line.size() ? line.substr(start) : std::string_view();
        header->apply(*static_cast<CimErrorData*>(record), value);
    }
    return count;
}

std::string CimomCurl::getResponse() {
    replyBuffer.take();
    response.clear();
    limitTime();
    const auto started = std::chrono::steady_clock::now();
    const CURLcode rc = curl_easy_perform(curl.get());
    spentMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
    if (rc != CURLE_OK) failPerform(rc);

    // The body leaves the stream's buffer without a copy; the buffer starts
    // the next reply empty.
    std::string reply = replyBuffer.take();
    if (dumpXml) std::cerr << "From server: " << reply << std::endl;

    if (!statusIsSuccess(cimErrorData)) throw statusError(cimErrorData);
    if (reply.empty()) throw HttpException("No data received from server.");

    pause();
    return reply;
}

namespace {

TimeoutException timedOut(double limitMs) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", limitMs / 1000);
    return TimeoutException(std::string("Timed out: the run's network time reached --timeout ") + seconds + " s");
}

}  // namespace

void CimomCurl::setTimeLimit(double seconds) {
    timeLimitMs = seconds > 0 ? seconds * 1000 : 0;
    spentMs = 0;
}

// The request about to be sent may take what is left of the run's network
// time, connection set-up included; libcurl ends it there.
void CimomCurl::limitTime() {
    if (timeLimitMs <= 0) return;
    const double left = timeLimitMs - spentMs;
    if (left < 1)
        throw timedOut(timeLimitMs);
    const long ms = static_cast<long>(std::ceil(left));
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT_MS, ms);
    curl_easy_setopt(curl.get(), CURLOPT_CONNECTTIMEOUT_MS, ms);
}

void CimomCurl::setPeerCheck(bool verify, const std::string& pin) {
    verifyPeer = verify;
    pinned = !pin.empty();
    if (verifyPeer || pinned) curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, errorText);
    if (pinned) {
        const CURLcode rc = curl_easy_setopt(curl.get(), CURLOPT_PINNEDPUBLICKEY, pin.c_str());
        if (rc != CURLE_OK) throw HttpException("Could not pin the server key: " + getErrorMessage(rc));
    }
}

void CimomCurl::failPerform(CURLcode rc) {
    // The failures that only the long options can cause say what happened
    // in their own words, and leave standard output alone.
    if (rc == CURLE_OPERATION_TIMEDOUT && timeLimitMs > 0)
        throw timedOut(timeLimitMs);
    if ((verifyPeer || pinned) &&
        (rc == CURLE_PEER_FAILED_VERIFICATION || rc == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
         rc == CURLE_SSL_CACERT_BADFILE)) {
        std::string message = "The server failed the TLS check: " + getErrorMessage(rc);
        if (errorText[0] != '\0') message += std::string(" (") + errorText + ")";
        throw HttpException(message);
    }
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status == 401)
        throw HttpException(userPwd.empty() ? "Username/password required." : "Invalid username/password.",
                            status);
    // "Out of memory" would send the user looking at the wrong machine.
    const std::string message =
        headerTooLarge(rc, curl.get()) ? std::string("Reply header too large.") : getErrorMessage(rc);
    if (!quietOutput) std::printf("CimomCurl::getResponse%s", message.c_str());
    throw HttpException(message, status);
}

void CimomCurl::pause() {
    if (waitTime > 0) {
        if (!quietOutput) {
            std::printf("waiting %ds...\n", waitTime);
            std::fflush(stdout);
        }
        sleep(static_cast<unsigned>(waitTime));
    } else if (waitTime < 0) {
        waitTime = -1;
        if (!quietOutput) {
            std::printf("waiting forever...\n");
            std::fflush(stdout);
        }
        sleep(4294967295U);
    }
}

namespace {

// The CA file must open for reading before libcurl is pointed at it.
void requireReadable(const char* caCert) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(caCert, "r"), &std::fclose);
    if (!file)
        throw HttpException(std::string("Could not open CA certificate file: ") + caCert + " (" +
                            std::strerror(errno) + ")");
}

void reportOption(CURLcode rc, const char* failure) {
    if (rc == CURLE_OK) return;
    if (!quietOutput) std::cerr << CimomCurl::getErrorMessage(rc) << std::endl;
    throw HttpException(failure);
}

}  // namespace

void CimomCurl::setClientCertificates(const char* caCert, int noVerify, const char* clientCert,
                                      const char* clientKey) {
    if (!supportsSSL()) throw HttpException("This CimomCurl does not support https urls.");
    CURL* h = curl.get();

    if (noVerify) {
        reportOption(curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 0L), "Could not disable peer verification.");
    } else if (caCert != nullptr) {
        requireReadable(caCert);
        reportOption(curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 1L), "Could not enable peer verification.");
        reportOption(curl_easy_setopt(h, CURLOPT_CAINFO, caCert), "Could not load CA certificate.");
    } else {
        throw HttpException("Must either specify -noverify or -cacert for https URLs.");
    }

    // --verify: the chain and the host name are checked whatever the driver
    // asked for, against the CA file when one is given, else libcurl's own
    // store (the system's).
    if (verifyPeer && noVerify) {
        if (caCert != nullptr) {
            requireReadable(caCert);
            reportOption(curl_easy_setopt(h, CURLOPT_CAINFO, caCert), "Could not load CA certificate.");
        }
        reportOption(curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 1L), "Could not enable peer verification.");
    }

    if (clientCert != nullptr && clientKey != nullptr) {
        reportOption(curl_easy_setopt(h, CURLOPT_SSLCERT, clientCert), "Could not load client certificate.");
        reportOption(curl_easy_setopt(h, CURLOPT_SSLKEY, clientKey), "Could not load client key.");
    } else if (clientCert != nullptr || clientKey != nullptr) {
        throw HttpException("Must specify both -clientcert and -clientkey or none.");
    }
}
