// The in-place scanner. Every loop is bounded by the end of the private copy
// (`limit()`); the copy also ends in a NUL byte, so C-string look-ahead such
// as nextEquals() stops there at the latest.
#include "xml/xml_buffer.h"

#include "xml/render_flags.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace {

unsigned long skipWSCalls = 0;   // counted on every skipWS(); nothing reads it

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlpha(char c) {
    const char l = static_cast<char>(c | 0x20);
    return l >= 'a' && l <= 'z';
}
bool isAlnum(char c) { return isDigit(c) || isAlpha(c); }
char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c | 0x20) : c; }

// Bytes whose value, read as a signed 8-bit number, is at most 32: control
// characters, the blank, NUL and every byte from 128 up.
bool isSpace(char c) { return static_cast<signed char>(c) <= 32; }

bool sameText(const char* a, const char* b, size_t n, bool caseSensitive) {
    if (caseSensitive) return std::memcmp(a, b, n) == 0;
    for (size_t i = 0; i < n; ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

// Up to `n` bytes from `p`, stopping at `end` or at a NUL byte.
std::string peek(const char* p, const char* end, size_t n) {
    size_t len = 0;
    while (len < n && p + len < end && p[len]) ++len;
    return std::string(p, len);
}

const XmlElement prologElm{"version", "encoding"};

}  // namespace

XmlBuffer::XmlBuffer(std::string body) : text(std::move(body)), cursor(&text[0]) {}

XmlBuffer::XmlBuffer(const XmlBuffer&) { throw ParseException("I told you not to!"); }

XmlBuffer::Nest::Nest(XmlBuffer& buffer) : xb(buffer) {
    if (xb.depth >= maxDepth) throw ParseException("Elements nested too deeply");
    ++xb.depth;
}

void XmlBuffer::skipWS() {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::skipWS()\n");
    ++skipWSCalls;
    char* const e = limit();
    while (cursor < e && isSpace(*cursor)) ++cursor;
}

int XmlBuffer::getChar(const char* s) {
    if (DBGXB) {
        std::fprintf(stderr, "--- XmlBuffer::getChar(\"%s\")\n", s);
        std::fprintf(stderr, "gotChar: %s\n", peek(cursor, end(), 80).c_str());
    }
    const size_t n = std::strlen(s);
    if (left() < n || std::memcmp(cursor, s, n) != 0) return 0;
    cursor += n;
    return 1;
}

int XmlBuffer::getChar(char c) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getChar('%c'): %c\n", c, cursor < end() ? *cursor : ' ');
    if (cursor >= end() || *cursor != c) return 0;
    ++cursor;
    return c;
}

const char* XmlBuffer::nextTag() {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::nextTag(): \n");
    skipWS();
    if (cursor < end() && *cursor == '<') return cursor + 1;
    return nullptr;
}

// `p` points into a NUL-terminated buffer: strncmp stops at the NUL, and the
// byte after a full match is at worst that NUL.
bool XmlBuffer::nextEquals(const char* p, const char* name) {
    if (!p) return false;
    const size_t n = std::strlen(name);
    return std::strncmp(p, name, n) == 0 && !isAlnum(p[n]);
}

int XmlBuffer::getWord(const char* w, int caseSensitive) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getWord(\"%s\") ", w);
    return getWordN(w, std::strlen(w), caseSensitive != 0);
}

int XmlBuffer::getWordN(const char* w, size_t n, bool caseSensitive) {
    if (left() < n || !sameText(cursor, w, n, caseSensitive)) return 0;
    if (cursor + n < end() && isAlnum(cursor[n])) return 0;
    cursor += n;
    return 1;
}

int XmlBuffer::tagEquals(const char* tag) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::tagEquals(\"%s\")\n", tag);
    char* const saved = cursor;
    skipWS();
    if (getChar('<')) {
        skipWS();
        if (getWord(tag, 1)) return 1;
    }
    cursor = saved;
    return 0;
}

int XmlBuffer::tagIndex(const char* const* tags, size_t count) {
    char* const saved = cursor;
    skipWS();
    if (getChar('<')) {
        skipWS();
        for (size_t i = 0; i < count; ++i) {
            if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::tagEquals(\"%s\")\n", tags[i]);
            if (getWordN(tags[i], std::strlen(tags[i]), true)) return static_cast<int>(i);
        }
    }
    cursor = saved;
    return -1;
}

int XmlBuffer::attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::attrsOk() %s\n", tag);
    const size_t count = std::min<size_t>(elm.attrs.size(), 64);
    if (attr.attr.size() < count) attr.attr.resize(count);
    for (size_t i = 0; i < attr.attr.size(); ++i) attr.attr[i].clear();
    attr.emptyElement = false;
    unsigned long long seen = 0;

    skipWS();
    while (cursor < end() && isAlpha(*cursor)) {
        size_t i = 0;
        while (i < count &&
               ((seen >> i & 1) || !getWordN(elm.attrs[i].data(), elm.attrs[i].size(), false)))
            ++i;
        if (i == count)
            throw ParseException(std::string("Unknown attribute in list for ") + tag + " (" +
                                 peek(cursor, end(), 10) + ")");
        skipWS();
        if (!getChar('=')) throw ParseException("'=' expected in attribute list");
        if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getValue(\"%s\")\n", elm.attrs[i].c_str());
        const std::string_view value = valueText();
        attr.attr[i].assign(value.data(), value.size());
        seen |= 1ULL << i;
        skipWS();
    }

    if (left() >= 2 && cursor[0] == '/' && cursor[1] == '>') {
        cursor += 2;
        attr.emptyElement = true;
        return 1;
    }
    if (getChar('>')) return 1;
    if (getChar("?>")) {
        attr.emptyElement = true;
        return std::strcmp(tag, "?xml") == 0;
    }
    throw ParseException(std::string("Bad attribute list for ") + tag + ": ");
}

int XmlBuffer::endTag(const char* tag, const XmlAttr* attr) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::endTag(\"%s\")\n", tag);
    if (attr && attr->emptyElement) return 1;
    char* const saved = cursor;
    skipWS();
    if (left() >= 2 && cursor[0] == '<' && cursor[1] == '/') {
        cursor += 2;
        skipWS();
        if (getWord(tag, 1)) {
            skipWS();
            if (getChar('>')) return 1;
        }
    }
    cursor = saved;
    return 0;
}

int XmlBuffer::skipElement(const char* tag) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::skipElement(\"%s\")\n", tag);
    char endText[256];
    std::snprintf(endText, sizeof endText, "</%s>", tag);
    const std::string_view rest(cursor, left());
    const size_t at = rest.find(endText);
    if (at == std::string_view::npos) return 0;
    cursor += at + std::strlen(endText);
    return 1;
}

int XmlBuffer::testAttr(const char* name, const char* value, int caseSensitive) {
    const std::string_view rest(cursor, left());
    const std::string_view tagText = rest.substr(0, rest.find('>'));
    const size_t at = tagText.find(name);
    if (at == std::string_view::npos) return 0;
    const char* p = cursor + at + std::strlen(name);
    const char* const e = end();
    while (p < e && isSpace(*p)) ++p;
    if (p >= e) return 0;
    const char quote = *p++;
    const size_t n = std::strlen(value);
    if (static_cast<size_t>(e - p) <= n) return 0;
    return sameText(p, value, n, caseSensitive != 0) && p[n] == quote;
}

std::string XmlBuffer::getValue(const char* attrName) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getValue(\"%s\")\n", attrName);
    const std::string_view value = valueText();
    return std::string(value.data(), value.size());
}

std::string_view XmlBuffer::valueText() {
    skipWS();
    if (cursor >= end() || (*cursor != '"' && *cursor != '\''))
        throw std::logic_error("basic_string: construction from null is not valid");
    const char quote = *cursor++;
    char* const start = cursor;
    char* close = static_cast<char*>(std::memchr(cursor, quote, left()));
    if (close) {
        *close = '\0';
        cursor = close + 1;
    } else {
        close = limit();
        cursor = close;
    }
    const size_t len = static_cast<size_t>(close - start);
    return std::string_view(start, strnlen(start, len));
}

const char* XmlBuffer::getContent(const XmlAttr* attr) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getContent()\n");
    if (attr && attr->emptyElement) return nullptr;
    static const char emptyText[] = "";
    static constexpr std::string_view cdataOpen = "<![CDATA[";
    static constexpr std::string_view cdataClose = "]]>";

    char* const start = cursor;
    char* const e = limit();
    while (cursor < e) {
        char* lt = static_cast<char*>(std::memchr(cursor, '<', static_cast<size_t>(e - cursor)));
        if (!lt) {
            cursor = e;
            break;
        }
        cursor = lt;
        const std::string_view rest(cursor, left());
        if (rest.compare(0, cdataOpen.size(), cdataOpen) != 0) break;
        const size_t close = rest.find(cdataClose, cdataOpen.size());
        if (close == std::string_view::npos) throw ParseException("Failed to get CDATA end tag.");
        cursor += close + cdataClose.size();
    }
    if (cursor == start) return emptyText;

    // The content moves two bytes to the front, over the end of the start
    // tag, which leaves room for its terminating NUL in front of the "<" of
    // the end tag.
    const size_t len = static_cast<size_t>(cursor - start);
    if (start - &text[0] < 2) {
        spill.assign(start, len);
        return spill.c_str();
    }
    char* const moved = start - 2;
    std::memmove(moved, start, len);
    moved[len] = '\0';
    return moved;
}

int XmlBuffer::xmlHdr() {
    skipWS();
    if (!getChar("<?xml")) return 0;
    XmlAttr attr(prologElm.attrs.size());
    attrsOk(prologElm, attr, "?xml");
    return 1;
}

namespace {

struct Entity {
    std::string_view name;
    const char* plain;     // mode 0
    const char* escaped;   // every other mode
};

constexpr Entity entities[] = {
    {"&gt;", ">", ">"},
    {"&lt;", "<", "<"},
    {"&quot;", "\"", "\\\""},
    {"&amp;", "&", "&"},
    {"&apos;", "'", "'"},
};

}  // namespace

void unescapeXmlTo(std::string& out, const char* text, int mode) {
    if (!text) return;
    const char* p = text;
    const char* const e = text + std::strlen(text);
    while (p < e) {
        // A run without '&' or '\\' goes over in one append.
        const char* const run = p;
        while (p < e && *p != '&' && *p != '\\') ++p;
        if (p != run) out.append(run, static_cast<size_t>(p - run));
        if (p == e) break;
        if (*p == '\\') {
            if (mode)
                out.append("\\\\", 2);
            else
                out += '\\';
            ++p;
            continue;
        }
        const size_t rest = static_cast<size_t>(e - p);
        const Entity* hit = nullptr;
        for (const Entity& ent : entities)
            if (rest >= ent.name.size() && sameText(p, ent.name.data(), ent.name.size(), false)) {
                hit = &ent;
                break;
            }
        if (hit) {
            out += mode ? hit->escaped : hit->plain;
            p += hit->name.size();
        } else {
            out += '&';
            ++p;
        }
    }
}

std::string unescapeXml(const char* text, int mode) {
    std::string out;
    if (!text) return out;
    out.reserve(std::strlen(text));
    unescapeXmlTo(out, text, mode);
    return out;
}
