// The error family. Every failure of the client travels as one of these,
// thrown by value and caught by reference; the driver prints getMsg().
#pragma once

#include <string>

class XmlException {
public:
    XmlException() = default;
    void set(const std::string& a, const std::string& b) { msg = a + b; }
    void set(const std::string& a, const std::string& b, const std::string& c) {
        msg = a + "(" + b + ") " + c;
    }
    const std::string& getMsg() const { return msg; }

protected:
    std::string msg;
};

class CmdException : public XmlException {
public:
    explicit CmdException(const std::string& text) { set("Cmd Exception: ", text); }
};

class HttpException : public XmlException {
public:
    explicit HttpException(const std::string& text, long status = 0) : httpStatus(status) {
        set("Http Exception: ", text);
    }
    long httpStatus;   // the reply's HTTP status when one came back, else 0
};

// The run's network time ran out (the --timeout option). An HTTP failure as
// far as the driver is concerned; told apart for machine-readable output.
class TimeoutException : public HttpException {
public:
    explicit TimeoutException(const std::string& text) : HttpException(text) {}
};

class URLException : public XmlException {
public:
    explicit URLException(const std::string& text) { set("Url Exception: ", text); }
};

class ParseException : public XmlException {
public:
    explicit ParseException(const std::string& text) { set("Parse Exception: ", text); }
};

// A response that carries no return value at all.
class NoReturnValue : public XmlException {};

// A simple response whose return data was asked for but is absent.
class EmptyValue : public XmlException {};

// Not part of the XmlException family on purpose: only the driver's last
// handler sees it.
class DoesNotExist {
public:
    explicit DoesNotExist(std::string text) : msg(std::move(text)) {}
    const std::string& getMsg() const { return msg; }

private:
    std::string msg;
};
