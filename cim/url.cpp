// URL: the object path parser and its three renderings.
//
// The parser works on its own copy of the text and cuts it by index; every
// scan is bounded by the copy's length, so no input makes it read past the
// end of the text.
#include "cim/url.h"
#include "cim/wipe.h"

#include "xml/errors.h"
#include "xml/render_flags.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

std::string URL::interfaceTable = "/proc/net/if_inet6";

namespace {

constexpr size_t npos = std::string::npos;
constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";
// Characters that may not appear in an IPv6 zone identifier.
constexpr std::string_view kZoneForbidden = "!$%&*=?@^~";
// Namespace used when the path names none.
constexpr std::array<const char*, 2> kDefaultNameSpace = {"root", "cimv2"};
// Closes a reference key binding opened by the XML form.
constexpr const char* kCloseReference = "</INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE></KEYBINDING>";

constexpr bool isAlnum(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

constexpr char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool startsWithNoCase(std::string_view s, std::string_view prefix) {
    if (s.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (lower(s[i]) != lower(prefix[i])) return false;
    return true;
}

bool hasScheme(std::string_view s) { return startsWithNoCase(s, kHttp) || startsWithNoCase(s, kHttps); }

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

void trace(const char* label, std::string_view text) {
    if (DBGX) std::fprintf(stderr, "%s%.*s\n", label, static_cast<int>(text.size()), text.data());
}

// The key-reference look-ahead over `s` from `p`; `next` is set to the first
// character of the referenced instance's keys.
bool refAhead(std::string_view s, size_t p, size_t& next) {
    enum State { Name, Equals, ValueStart, Dot, AfterDot };
    State state = Name;
    for (; p < s.size(); ++p) {
        const char c = s[p];
        switch (state) {
        case Name:
            if (isAlnum(c)) state = Equals;
            break;
        case Equals:
            if (c == '=') state = ValueStart;
            break;
        case ValueStart:
            if (!isAlnum(c)) return false;
            state = Dot;
            break;
        case Dot:
            if (c == '=') return false;
            if (c == '.') state = AfterDot;
            break;
        case AfterDot:
            if (!isAlnum(c)) return false;
            if (DBGX) std::fprintf(stderr, "--- reference found\n");
            next = p;
            return true;
        }
    }
    return false;
}

bool isReferenceKey(const PropertyXml& key) { return key.kind == PropertyXml::Reference; }

const std::string& keyValue(const PropertyXml& key) {
    static const std::string none;
    return key.value.exists() ? key.value.val().value : none;
}

void appendNameSpace(std::string& sb, const StringArray& ns) {
    for (size_t i = 0; i < ns.size(); ++i) {
        if (i) sb += '/';
        sb += ns[i];
    }
}

// Fills a URL from its text, one step per function, in the order the
// fields appear in the text.
class PathParser {
public:
    PathParser(URL& url, const char* text) : url(url), s(text ? text : "") {}
    // The text may carry a password.
    ~PathParser() { wipeText(s); }
    PathParser(const PathParser&) = delete;
    PathParser& operator=(const PathParser&) = delete;

    void parse() {
        trace("--- U: ", s);
        resolveScheme();
        takeScheme();
        takeUserInfo();
        takeHostAndPort();
        takeZone();
        checkPort();
        size_t classStart = takeNameSpace();
        if (classStart == npos) return;
        size_t keyStart = takeClassName(classStart);
        if (keyStart == npos) return;
        takeKeys(keyStart);
    }

private:
    // Step 1: a text without a scheme names an alias of the indirection file.
    void resolveScheme() {
        if (hasScheme(s)) return;
        size_t i = 0;
        while (i < s.size() && isAlnum(s[i])) ++i;
        if (i < s.size() && s[i] == '/') {
            std::string alias = s.substr(0, i);
            std::string rest = s.substr(i + 1);
            s = URL::resolveIndirection(alias.data(), rest.data());
            if (hasScheme(s)) return;
        }
        throw URLException("Only supporting http or https protocols");
    }

    // Step 2.
    void takeScheme() {
        if (startsWithNoCase(s, kHttps)) {
            url.protocol = "https";
            pos = kHttps.size();
        } else {
            url.protocol = "http";
            pos = kHttp.size();
        }
    }

    // Step 3. The whole rest is searched, so an "@" in a key value ends a
    // user part too. A password is split off only when the ":" lies before
    // the "@" (a ":" after it would give a negative password length).
    void takeUserInfo() {
        bracket = s.find('[', pos);
        const size_t at = s.find('@', pos);
        if (at == npos) return;
        const size_t colon = s.find(':', pos);
        const bool withPassword = colon < at && (bracket == npos || colon < bracket);
        if (withPassword) {
            url.user = s.substr(pos, colon - pos);
            url.password = s.substr(colon + 1, at - colon - 1);
        } else {
            url.user = s.substr(pos, at - pos);
        }
        pos = at + 1;
    }

    // Step 4.
    void takeHostAndPort() {
        slash = s.find('/', pos);
        const std::string piece = s.substr(pos, slash == npos ? npos : slash - pos);
        size_t colon;
        if (bracket != npos) {
            const size_t close = piece.find(']');
            colon = piece.find(':', close == npos ? 0 : close);
        } else {
            colon = piece.find(':');
        }
        if (colon == npos) {
            url.host = piece;
            url.port = url.protocol == "https" ? "5989" : "5988";
        } else {
            url.host = piece.substr(0, colon);
            url.port = piece.substr(colon + 1);
        }
        if (url.host.empty()) throw URLException("Could not locate hostname");
    }

    // Step 5. A zone without a closing "]" runs to the end of the host.
    void takeZone() {
        const size_t percent = url.host.find('%');
        if (percent == npos) {
            url.zoneId = -1;
            return;
        }
        size_t close = url.host.find(']', percent);
        if (close == npos) close = url.host.size();
        const std::string zone = url.host.substr(percent + 1, close - percent - 1);
        if (zone.empty() || zone.find_first_of(kZoneForbidden) != npos)
            throw URLException("Malformed IPv6 zone id");
        url.zoneId = std::strtoll(zone.c_str(), nullptr, 10);
        if (url.zoneId < 1) url.zoneId = URL::getNetDeviceNum(zone);
        url.host.erase(percent, close - percent);
    }

    // Step 6: decimal, no range check; an empty port passes.
    void checkPort() const {
        char* end = nullptr;
        (void)std::strtol(url.port.c_str(), &end, 10);
        if (*end != '\0') throw URLException("Invalid port number");
    }

    // Step 7. Returns where the class name starts, or npos when the path
    // ends with the namespace.
    size_t takeNameSpace() {
        if (slash == npos || slash + 1 >= s.size()) {
            url.ns.assign(kDefaultNameSpace.begin(), kDefaultNameSpace.end());
            return npos;
        }
        size_t p = slash + 1;
        const size_t colon = s.find(':', p);
        const size_t end = colon == npos ? s.size() : colon;
        for (size_t q = s.find('/', p); q < end; q = s.find('/', p)) {
            url.ns.add(s.substr(p, q - p));
            p = q + 1;
        }
        if (p >= s.size() || s[p] == ':') throw URLException("Invalid namespace specification");
        if (colon == npos) {
            url.ns.add(s.substr(p));
            return npos;
        }
        url.ns.add(s.substr(p, colon - p));
        if (url.ns.empty()) throw URLException("No namespace found");
        return colon + 1;
    }

    // Step 8. Returns where the keys start, or npos without keys.
    size_t takeClassName(size_t p) {
        const size_t dot = s.find('.', p);
        if (dot == npos) {
            url.className = s.substr(p);
            return npos;
        }
        url.className = s.substr(p, dot - p);
        return dot + 1;
    }

    void addKey(const char* label, size_t from, size_t to, bool reference) {
        const std::string text = s.substr(from, to - from);
        trace(label, text);
        url.keys.add(PropertyXml(text.c_str(), reference));
    }

    // Step 9.
    void takeKeys(size_t p) {
        const size_t last = s.size();
        for (;;) {
            size_t next = 0;
            if (refAhead(s, p, next)) {
                addKey("--- CATCHED !!! ", p, next - 1, true);
                p = next;
            }
            checkSingleAssignment(p);
            size_t q = s.find_first_of(",\"", p);
            if (q == npos) break;
            if (s[q] == '"') {
                trace("--- found quoted string", "");
                if (q == 0 || s[q - 1] != '=') throw URLException("Incorrectly quoted string 1");
                q = s.find('"', q + 1);
                if (q == npos) throw URLException("Unbalanced quoted string");
                if (q + 1 < last && s[q + 1] != ',') throw URLException("Incorrectly quoted string 2");
                if (q + 1 == last) break;
                addKey("-------- strndup(u, (p - u) + 1): ", p, q + 1, false);
                p = q + 2;
                continue;
            }
            addKey("--- strndup(u,p-u): ", p, q, false);
            p = q + 1;
        }
        if (p < last) addKey("--- strndup(u,last-u): ", p, last, false);
    }

    // An unquoted value may not hold a second "=".
    void checkSingleAssignment(size_t p) const {
        const size_t eq = s.find('=', p);
        if (eq == npos || (eq + 1 < s.size() && s[eq + 1] == '"')) return;
        for (size_t r = eq + 1; r < s.size() && s[r] != ','; ++r)
            if (s[r] == '=') throw URLException("Incorrect value assigned");
    }

    URL& url;
    std::string s;
    size_t pos = 0;
    size_t bracket = npos;
    size_t slash = npos;
};

// Closes `f` on every way out.
struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace

URL::URL(const char* text) {
    PathParser(*this, text).parse();
}

URL::~URL() { wipeText(password); }

std::unique_ptr<ObjectPathRef> URL::parsePath(const char* text) const {
    return std::make_unique<URL>(text);
}

int URL::refLookAhead(char* p, char** next) {
    if (!p) return 0;
    const std::string_view s(p);
    size_t at = 0;
    if (!refAhead(s, 0, at)) return 0;
    if (next) *next = p + at;
    return 1;
}

long URL::getNetDeviceNum(std::string name) {
    for (char& c : name) c = lower(c);
    File table(std::fopen(interfaceTable.c_str(), "r"));
    if (!table) {
        if (DBGX)
            std::fprintf(stderr, "--- cannot access %s (%s)\n", interfaceTable.c_str(), std::strerror(errno));
        throw URLException("Zone id lookup failure");
    }
    unsigned int index = 0;
    std::array<char, 33> device{};
    while (std::fscanf(table.get(), "%*32s %2x %*2x %*2x %*2x %32s\n", &index, device.data()) == 2) {
        if (name == device.data()) return static_cast<long>(index);
    }
    return -1;
}

std::string URL::resolveIndirection(char* alias, char* rest) {
    const char* fileName = std::getenv("VOSTREL_IND");
    File file(std::fopen(fileName ? fileName : "vostrel.ind", "r"));
    if (!file) throw URLException("File vostrel.ind not found");
    const std::string key = std::string(alias ? alias : "") + ":";
    std::array<char, 2000> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), file.get())) {
        const std::string_view text(line.data());
        if (!text.empty() && text[0] == '#') continue;
        if (text.compare(0, key.size(), key) != 0) continue;
        std::string_view value = text.substr(key.size());
        while (!value.empty() && isSpace(value.front())) value.remove_prefix(1);
        while (!value.empty() && isSpace(value.back())) value.remove_suffix(1);
        return std::string(value) + "/" + (rest ? rest : "");
    }
    throw URLException("No valid indirection found");
}

void URL::toStringBuffer(std::string& sb, int mode) const {
    sb += host;
    sb += ':';
    sb += port;
    sb += '/';
    appendNameSpace(sb, ns);
    if (mode != 0) return;
    sb += ':';
    sb += className;
    if (keys.empty()) return;
    sb += '.';
    UseNlOff plain;
    keys.toStringBuffer(sb, ",", "");
}

void URL::toStringBufferGI(std::string& sb) const {
    sb += host;
    sb += ':';
    sb += port;
    sb += '/';
    appendNameSpace(sb, ns);
    sb += ':';
    sb += className;
    sb += '.';
    for (size_t i = 0; i < keys.size(); ++i) {
        const PropertyXml& key = keys[i];
        sb += key.name;
        sb += '=';
        if (isReferenceKey(key)) {
            sb += keyValue(key);
            sb += '.';
            continue;
        }
        sb += '"';
        sb += keyValue(key);
        sb += '"';
        if (i + 1 < keys.size()) sb += ',';
    }
}

namespace {

void plainKeyBinding(std::string& sb, const PropertyXml& key) {
    sb += "<KEYBINDING NAME=\"";
    sb += key.name;
    sb += "\"><KEYVALUE VALUETYPE=\"";
    sb += key.type;
    sb += "\">";
    sb += keyValue(key);
    sb += "</KEYVALUE></KEYBINDING>";
}

// Opens the KEYBINDING of a reference key down to its INSTANCENAME; the keys
// that follow belong to the referenced instance.
void openReferenceBinding(std::string& sb, const PropertyXml& key, const std::string& host,
                          const StringArray& ownNameSpace) {
    const std::string& value = keyValue(key);
    StringArray refNameSpace;
    std::string_view refClass = value;
    const size_t colon = value.find(':');
    if (colon != npos) {
        std::string_view path = std::string_view(value).substr(0, colon);
        if (!path.empty() && path.front() == '/') path.remove_prefix(1);
        for (size_t start = 0;;) {
            const size_t cut = path.find('/', start);
            refNameSpace.add(std::string(path.substr(start, cut == npos ? npos : cut - start)));
            if (cut == npos) break;
            start = cut + 1;
        }
        refClass = std::string_view(value).substr(colon + 1);
    } else {
        refNameSpace = ownNameSpace;
    }
    sb += "<KEYBINDING NAME=\"";
    sb += key.name;
    sb += "\"><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH><HOST>";
    sb += host;
    sb += "</HOST><LOCALNAMESPACEPATH>";
    for (const std::string& component : refNameSpace) {
        sb += "<NAMESPACE NAME=\"";
        sb += component;
        sb += "\"></NAMESPACE>";
    }
    sb += "</LOCALNAMESPACEPATH></NAMESPACEPATH><INSTANCENAME CLASSNAME=\"";
    sb += refClass;
    sb += "\">";
}

}  // namespace

void URL::toStringBuffer(std::string& sb) const {
    bool insideReference = false;
    for (const PropertyXml& key : keys) {
        if (!isReferenceKey(key)) {
            plainKeyBinding(sb, key);
            continue;
        }
        if (insideReference) sb += kCloseReference;
        openReferenceBinding(sb, key, host, ns);
        insideReference = true;
    }
    if (insideReference) sb += kCloseReference;
}
