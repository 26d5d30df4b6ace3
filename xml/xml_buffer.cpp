// The in-place scanner. Every loop is bounded by the end of the body; a NUL
// byte follows it, so C-string look-ahead such as nextEquals() stops there
// at the latest.
#include "xml/xml_buffer.h"

#include "xml/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

bool isAlpha(char c) {
    const char l = static_cast<char>(c | 0x20);
    return l >= 'a' && l <= 'z';
}

// Up to `n` bytes from `p`, stopping at `end` or at a NUL byte.
std::string peek(const char* p, const char* end, size_t n) {
    size_t len = 0;
    while (len < n && p + len < end && p[len]) ++len;
    return std::string(p, len);
}

const XmlElement prologElm{"version", "encoding"};

}  // namespace

void XmlBuffer::trace(const char* what, std::string_view arg) {
    if (arg.empty())
        std::fprintf(stderr, "--- XmlBuffer::%s\n", what);
    else
        std::fprintf(stderr, "--- XmlBuffer::%s(\"%.*s\")\n", what, static_cast<int>(arg.size()), arg.data());
}

void XmlBuffer::traceChar(char c) const {
    std::fprintf(stderr, "--- XmlBuffer::getChar('%c'): %c\n", c, cursor < end() ? *cursor : ' ');
}

XmlBuffer::XmlBuffer(std::string body) : text(std::move(body)), cursor(&text[0]) {
    const void* nul = std::memchr(text.data(), '\0', text.size());
    nulFree = nul ? static_cast<const char*>(nul) : end();
}

XmlBuffer::XmlBuffer(const XmlBuffer&) { throw ParseException("I told you not to!"); }

XmlBuffer::Nest::Nest(XmlBuffer& buffer) : xb(buffer) {
    if (xb.depth >= maxDepth) throw ParseException("Elements nested too deeply");
    ++xb.depth;
}

void XmlBuffer::traceString(std::string_view s) const {
    trace("getChar", s);
    std::fprintf(stderr, "gotChar: %s\n", peek(cursor, end(), 80).c_str());
}

int XmlBuffer::getWord(std::string_view w, int caseSensitive) {
    if (DBGXB) trace("getWord", w);
    return getWordN(w, caseSensitive != 0);
}

int XmlBuffer::tagEquals(std::string_view tag) {
    if (DBGXB) trace("tagEquals", tag);
    char* const p = blanks(cursor);
    if (p == end() || *p != '<') return 0;
    char* const after = wordAt(blanks(p + 1), tag, true);
    if (!after) return 0;
    cursor = after;
    return 1;
}

int XmlBuffer::tagIndex(const std::string_view* tags, size_t count) {
    if (DBGXB) trace("tagIndex", tags[0]);
    char* p = blanks(cursor);
    if (p == end() || *p != '<') return -1;
    p = blanks(p + 1);
    for (size_t i = 0; i < count; ++i)
        if (char* const after = wordAt(p, tags[i], true)) {
            cursor = after;
            return static_cast<int>(i);
        }
    return -1;
}

// Read as a C string: a value ends at its closing quote or at a NUL byte.
// `p` moves past it.
inline std::string_view XmlBuffer::valueAt(char*& p, const char* attrName) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getValue(\"%s\")\n", attrName);
    char* const e = &text[0] + text.size();
    p = blanks(p);
    if (p >= e || (*p != '"' && *p != '\''))
        throw std::logic_error("basic_string: construction from null is not valid");
    const char quote = *p++;
    char* const start = p;
    char* close = static_cast<char*>(std::memchr(p, quote, static_cast<size_t>(e - p)));
    if (close) {
        *close = '\0';
        p = close + 1;
    } else {
        close = p = e;
    }
    return upToNul(start, static_cast<size_t>(close - start));
}

int XmlBuffer::attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::attrsOk() %s\n", tag);
    const size_t count = std::min(elm.attrs.size(), attr.attr.size());
    std::fill_n(attr.attr.begin(), count, std::string_view());
    attr.emptyElement = false;
    unsigned long long seen = 0;

    // The attributes are read on a position of their own, the cursor set
    // after them.
    const char* const e = end();
    char* p = blanks(cursor);
    while (p < e && isAlpha(*p)) {
        // A name can only match a table entry with the same first letter.
        const char first = static_cast<char>(*p | 0x20);
        size_t i = 0;
        char* after = nullptr;
        for (; i < count; ++i)
            if (!(seen >> i & 1) && (elm.attrs[i][0] | 0x20) == first && (after = wordAt(p, elm.attrs[i], false)))
                break;
        if (i == count)
            throw ParseException(std::string("Unknown attribute in list for ") + tag + " (" + peek(p, e, 10) + ")");
        p = blanks(after);
        if (p == e || *p != '=') throw ParseException("'=' expected in attribute list");
        ++p;
        attr.attr[i] = valueAt(p, elm.attrs[i].c_str());
        seen |= 1ULL << i;
        p = blanks(p);
    }
    cursor = p;

    if (left() >= 2 && cursor[0] == '/' && cursor[1] == '>') {
        cursor += 2;
        attr.emptyElement = true;
        return 1;
    }
    if (cursor < end() && *cursor == '>') {
        ++cursor;
        return 1;
    }
    if (std::strcmp(tag, "?xml") == 0 && getChar("?>")) {
        attr.emptyElement = true;
        return 1;
    }
    throw ParseException(std::string("Bad attribute list for ") + tag + ": ");
}

int XmlBuffer::endTag(std::string_view tag, const XmlAttr* attr) {
    if (DBGXB) trace("endTag", tag);
    if (attr && attr->emptyElement) return 1;
    char* p = blanks(cursor);
    if (end() - p < 2 || p[0] != '<' || p[1] != '/') return 0;
    p = wordAt(blanks(p + 2), tag, true);
    if (!p) return 0;
    p = blanks(p);
    if (p == end() || *p != '>') return 0;
    cursor = p + 1;
    return 1;
}

int XmlBuffer::skipElement(std::string_view tag) {
    if (DBGXB) trace("skipElement", tag);
    // The end tag's text is limited to 256 bytes.
    const std::string close = "</" + std::string(tag.substr(0, 253)) + ">";
    const size_t at = std::string_view(cursor, left()).find(close);
    if (at == std::string_view::npos) return 0;
    cursor += at + close.size();
    return 1;
}

int XmlBuffer::testAttr(std::string_view name, std::string_view value, int caseSensitive) {
    const std::string_view rest(cursor, left());
    const size_t at = rest.substr(0, rest.find('>')).find(name);
    if (at == std::string_view::npos) return 0;
    const char* p = cursor + at + name.size();
    const char* const e = end();
    while (p < e && isSpace(*p)) ++p;
    if (p >= e) return 0;
    const char quote = *p++;
    const size_t n = value.size();
    if (static_cast<size_t>(e - p) <= n) return 0;
    const std::string_view here(p, n);
    return (caseSensitive ? here == value : equalsNoCase(here, value)) && p[n] == quote;
}

std::string XmlBuffer::getValue(const char* attrName) { return std::string(valueAt(cursor, attrName)); }

void XmlBuffer::skipContent() {
    static constexpr std::string_view cdataOpen = "<![CDATA[";
    static constexpr std::string_view cdataClose = "]]>";
    for (;;) {
        char* const here = cursor;
        const std::string_view rest(here, left());
        const size_t lt = rest.find('<');
        if (lt == std::string_view::npos) {
            cursor += rest.size();
            break;
        }
        cursor = here + lt;
        if (rest.compare(lt, cdataOpen.size(), cdataOpen) != 0) break;
        const size_t close = rest.find(cdataClose, lt + cdataOpen.size());
        if (close == std::string_view::npos) throw ParseException("Failed to get CDATA end tag.");
        cursor = here + close + cdataClose.size();
    }
}

const char* XmlBuffer::getContent(const XmlAttr* attr) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getContent()\n");
    if (attr && attr->emptyElement) return nullptr;
    char* const start = cursor;
    skipContent();
    if (cursor == start) return "";

    // The content moves two bytes to the front, over the end of the start
    // tag, which leaves room for its terminating NUL in front of the "<" of
    // the end tag.
    const size_t len = static_cast<size_t>(cursor - start);
    if (start - text.data() < 2) {
        spill.assign(start, len);
        return spill.c_str();
    }
    char* const moved = start - 2;
    std::memmove(moved, start, len);
    moved[len] = '\0';
    return moved;
}

std::string_view XmlBuffer::contentView(const XmlAttr* attr) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getContent()\n");
    if (attr && attr->emptyElement) return "";
    const char* const start = cursor;
    skipContent();
    return upToNul(start, static_cast<size_t>(cursor - start));
}

int XmlBuffer::xmlHdr() {
    skipWS();
    if (!getChar("<?xml")) return 0;
    XmlAttr attr;
    attrsOk(prologElm, attr, "?xml");
    return 1;
}

namespace {

struct Entity {
    std::string_view name;
    std::string_view plain;     // mode 0
    std::string_view escaped;   // every other mode
};

constexpr Entity entities[] = {
    {"&gt;", ">", ">"},
    {"&lt;", "<", "<"},
    {"&quot;", "\"", "\\\""},
    {"&amp;", "&", "&"},
    {"&apos;", "'", "'"},
};

}  // namespace

void unescapeXmlTo(std::string& out, std::string_view text, int mode) {
    size_t p = 0;
    while (p < text.size()) {
        const size_t next = std::min(text.find('&', p), text.find('\\', p));
        if (next == std::string_view::npos) {
            out.append(text.substr(p));
            break;
        }
        out.append(text.substr(p, next - p));
        p = next;
        if (text[p] == '\\') {
            out += mode ? "\\\\" : "\\";
            ++p;
            continue;
        }
        const Entity* hit = nullptr;
        for (const Entity& ent : entities)
            if (equalsNoCase(text.substr(p, ent.name.size()), ent.name)) {
                hit = &ent;
                break;
            }
        if (hit) {
            out.append(mode ? hit->escaped : hit->plain);
            p += hit->name.size();
        } else {
            out += '&';
            ++p;
        }
    }
}

std::string unescapeXml(std::string_view text, int mode) {
    std::string out;
    out.reserve(text.size());
    unescapeXmlTo(out, text, mode);
    return out;
}

std::string unescapeXml(const char* text, int mode) {
    return text ? unescapeXml(std::string_view(text), mode) : std::string();
}

namespace {

constexpr std::string_view kCdataOpen = "<![CDATA[";
constexpr std::string_view kCdataClose = "]]>";

}  // namespace

std::string DecodeText(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    size_t at = 0;
    while (at < raw.size()) {
        const size_t open = raw.find(kCdataOpen, at);
        if (open == std::string_view::npos) {
            unescapeXmlTo(out, raw.substr(at), 0);
            break;
        }
        unescapeXmlTo(out, raw.substr(at, open - at), 0);
        const size_t start = open + kCdataOpen.size();
        const size_t close = raw.find(kCdataClose, start);
        if (close == std::string_view::npos) {   // the scanner lets no such text through
            out.append(raw.substr(start));
            break;
        }
        out.append(raw.substr(start, close - start));
        at = close + kCdataClose.size();
    }
    return out;
}
