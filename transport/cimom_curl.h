// CimomCurl: the HTTP(S) transport of the CIM operations. Each request is one
// POST of a CIM-XML document to "/cimom" with the CIM operation headers,
// through one libcurl easy handle that lives as long as the transport, so
// every request of a run reuses the same (TLS) connection.
#pragma once

#include "cim/cimom.h"
#include "transport/settings.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

// Debug and protocol switches; nothing in the command set turns them on.
extern int dumpXml;      // trace documents and reply headers to standard error
extern int reqChunking;  // ask for chunked replies ("TE: trailers")
extern int expect100;    // send "Expect: 100-continue"

class CimomCurl : public Cimom {
public:
    CimomCurl();
    ~CimomCurl() override;
    CimomCurl(const CimomCurl&) = delete;
    CimomCurl& operator=(const CimomCurl&) = delete;

    bool supportsSSL() override;
    void genRequest(URL& url, const char* name, bool isMethodCall, bool hasKeys) override;
    void addPayload(const std::string& document) override;
    std::string getResponse() override;
    void setClientCertificates(const char* caCert, int noVerify, const char* clientCert,
                               const char* clientKey) override;

    // libcurl callbacks. `stream` is the response stream (std::ostream*),
    // `record` the CimErrorData that the CIM status headers fill.
    static size_t writeCb(char* ptr, size_t size, size_t nmemb, void* stream);
    static size_t headerCb(char* ptr, size_t size, size_t nmemb, void* record);
    static std::string getErrorMessage(CURLcode code);

    // Reads a password from the user when a path names a user but carries no
    // password. The driver points it at its terminal prompt; left null, the
    // password stays empty.
    static std::string (*askPassword)(std::string prompt);

    // Bounds the network time of all later requests together (connect, TLS,
    // request and reply; not the -w pauses) to `seconds`; 0: no bound. When
    // it runs out, the request in progress ends with TimeoutException.
    void setTimeLimit(double seconds);

    // Checks the server's certificate chain and host name (against the CA file
    // given to setClientCertificates, else the system's store), and/or accepts
    // only the server key whose SHA-256 hash is `pin` ("sha256//BASE64"; empty:
    // any key). Call before setClientCertificates. A server that fails either
    // check gets no request: the run ends in the TLS handshake.
    void setPeerCheck(bool verify, const std::string& pin);

    // What the handle was last told, for inspection by tests.
    const std::string& requestUrl() const { return url; }
    const std::string& credentials() const { return userPwd; }
    const CimErrorData& errorData() const { return cimErrorData; }
    const curl_slist* requestHeaders() const { return headerList.get(); }

private:
    struct EasyCleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct ListFree {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    using HeaderList = std::unique_ptr<curl_slist, ListFree>;

    void setCredentials(URL& target);
    static std::string objectText(const URL& target, bool isMethodCall, bool hasKeys);
    HeaderList buildHeaders(const char* name, const std::string& object) const;
    static void pause();
    void limitTime();
    [[noreturn]] void failPerform(CURLcode rc);

    // The reply body as it arrives: a stream over one string, which
    // getResponse hands over whole (moved, not copied). The string is sized
    // from the reply's Content-Length before the first byte is stored, so it
    // does not grow (and copy itself) while a large reply comes in.
    class ReplyBuffer : public std::streambuf {
    public:
        explicit ReplyBuffer(CURL* handle) : handle(handle) {}
        std::string take();

    protected:
        std::streamsize xsputn(const char* s, std::streamsize n) override;
        int_type overflow(int_type c) override;

    private:
        void reserveForReply();
        CURL* handle;
        std::string text;
    };

    std::unique_ptr<CURL, EasyCleanup> curl;
    HeaderList headerList;
    std::string body;
    std::string url;
    std::string userPwd;
    double timeLimitMs = 0;  // 0: no bound
    double spentMs = 0;      // network time used so far
    bool verifyPeer = false;
    bool pinned = false;
    char errorText[CURL_ERROR_SIZE] = {};
    ReplyBuffer replyBuffer;
    std::ostream response;
};
