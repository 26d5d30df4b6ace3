// The in-place scanner. Every loop is bounded by the end of what may be read
// (`limit()`: the body's end, or a window's while the body arrives); a NUL
// byte is there, so C-string look-ahead such as nextEquals() stops there at
// the latest.
#include "xml/xml_buffer.h"

#include "xml/render_flags.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

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

unsigned long XmlBuffer::skipWSCalls = 0;

void XmlBuffer::trace(const char* what, std::string_view arg) {
    if (arg.empty())
        std::fprintf(stderr, "--- XmlBuffer::%s\n", what);
    else
        std::fprintf(stderr, "--- XmlBuffer::%s(\"%.*s\")\n", what, static_cast<int>(arg.size()), arg.data());
}

void XmlBuffer::traceChar(char c) const {
    std::fprintf(stderr, "--- XmlBuffer::getChar('%c'): %c\n", c, cursor < end() ? *cursor : ' ');
}

XmlBuffer::XmlBuffer(std::string body)
    : text(std::move(body)), base(&text[0]), stop(base + text.size()), cursor(base) {}

XmlBuffer::Incoming::Incoming(Arrival& arrival, std::string_view itemTag)
    : arrival(arrival), closeTag("</" + std::string(itemTag) + ">") {}

void XmlBuffer::Incoming::wait() {
    const Arrival::Progress progress = arrival.waitBeyond(in);
    in = progress.in;
    done = progress.done;
}

XmlBuffer::XmlBuffer(Arrival& arrival, std::string_view itemTag)
    : base(arrival.data()),
      stop(base),
      incoming(std::make_unique<Incoming>(arrival, itemTag)),
      cursor(base) {
    nextWindow();
}

// The window's NUL goes back to the byte that arrived there: the storage is
// the transfer's, and may outlive this reader.
XmlBuffer::~XmlBuffer() {
    if (incoming && incoming->open) *stop = incoming->saved;
}

void XmlBuffer::awaitItemSlow() {
    const char* p = cursor;
    while (p < stop && isSpace(*p)) ++p;
    if (p == stop) nextWindow();
}

// The last `</item>` in [from, to) with a blank after it that is in as well.
// Searched from the back: the last one is within the last item.
char* XmlBuffer::lastBoundary(char* from, char* to) const {
    const std::string_view tag = incoming->closeTag;
    const char* const received = base + incoming->in;
    for (char* p = to; p - from >= static_cast<ptrdiff_t>(tag.size());) {
        char* const gt = static_cast<char*>(memrchr(from, '>', static_cast<size_t>(p - from)));
        if (gt == nullptr) break;
        char* const after = gt + 1;
        if (after < received && (*after == ' ' || *after == '\n' || *after == '\r' || *after == '\t') &&
            gt + 1 - from >= static_cast<ptrdiff_t>(tag.size()) &&
            std::memcmp(after - tag.size(), tag.data(), tag.size()) == 0)
            return after;
        p = gt;
    }
    return nullptr;
}

// A window from the cursor to the last item end in reach, once there is
// one; the whole body when none comes within windowReach bytes or the
// transfer ends first.
void XmlBuffer::nextWindow() {
    Incoming& in = *incoming;
    if (in.open) *stop = in.saved;
    in.open = false;
    const size_t tagSize = in.closeTag.size();
    char* searched = cursor;   // no item ends with its blank in [cursor, searched)
    for (;;) {
        const size_t from = static_cast<size_t>(cursor - base);
        const size_t reach = std::min(in.in, from + windowReach);
        // Bytes searched before without a find are searched again only as
        // far back as an end tag that may have been waiting for its blank.
        char* const lowest = searched - cursor > static_cast<ptrdiff_t>(tagSize) ? searched - tagSize : cursor;
        if (char* end = lastBoundary(lowest, base + reach)) {
            in.saved = *end;
            *end = '\0';
            stop = end;
            in.open = true;
            return;
        }
        if (in.done || reach == from + windowReach) break;
        searched = base + reach;
        in.wait();
    }
    becomeWhole();
}

void XmlBuffer::becomeWhole() {
    Incoming& in = *incoming;
    if (in.open) *stop = in.saved;
    while (!in.done) in.wait();
    stop = base + in.in;
    *stop = '\0';   // the byte after the body; the writer is done with it
    incoming.reset();
}

// The cuts made from `from` on are put back, the newest first.
void XmlBuffer::rewindWhole(char* from) {
    std::vector<Cut>& cuts = incoming->cuts;
    while (!cuts.empty()) {
        const Cut& cut = cuts.back();
        if (cut.moved == 0) {
            if (cut.at < from) break;
            *cut.at = cut.saved[0];
        } else {
            if (cut.at - 2 < from) break;
            std::memmove(cut.at, cut.at - 2, cut.moved);
            cut.at[-2] = cut.saved[0];
            cut.at[-1] = cut.saved[1];
        }
        cuts.pop_back();
    }
    cursor = from;
    becomeWhole();
}

bool XmlBuffer::restartWhole() {
    if (!incoming || incoming->handedOver) return false;
    rewindWhole(base);
    return true;
}

XmlBuffer::XmlBuffer(const XmlBuffer&) { throw ParseException("I told you not to!"); }

XmlBuffer::Nest::Nest(XmlBuffer& buffer) : xb(buffer) {
    if (xb.depth >= maxDepth) throw ParseException("Elements nested too deeply");
    ++xb.depth;
}

int XmlBuffer::getChar(std::string_view s) {
    if (DBGXB) {
        trace("getChar", s);
        std::fprintf(stderr, "gotChar: %s\n", peek(cursor, end(), 80).c_str());
    }
    if (left() < s.size() || std::memcmp(cursor, s.data(), s.size()) != 0) return 0;
    cursor += s.size();
    return 1;
}

int XmlBuffer::tagEquals(std::string_view tag) {
    if (DBGXB) trace("tagEquals", tag);
    char* const saved = cursor;
    skipWS();
    if (getChar('<')) {
        skipWS();
        if (getWordN(tag, true)) return 1;
    }
    cursor = saved;
    return 0;
}

int XmlBuffer::tagIndex(const std::string_view* tags, size_t count) {
    char* const saved = cursor;
    skipWS();
    if (getChar('<')) {
        skipWS();
        for (size_t i = 0; i < count; ++i) {
            if (DBGXB) trace("tagEquals", tags[i]);
            if (getWordN(tags[i], true)) return static_cast<int>(i);
        }
    }
    cursor = saved;
    return -1;
}

int XmlBuffer::attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::attrsOk() %s\n", tag);
    const size_t count = std::min<size_t>(elm.attrs.size(), 64);
    if (attr.attr.size() < count) attr.attr.resize(count);
    for (size_t i = 0; i < attr.attr.size(); ++i) attr.attr[i] = {};
    attr.emptyElement = false;
    unsigned long long seen = 0;

    skipWS();
    while (cursor < end() && isAlpha(*cursor)) {
        size_t i = 0;
        while (i < count && ((seen >> i & 1) || !getWordN(elm.attrs[i], false))) ++i;
        if (i == count)
            throw ParseException(std::string("Unknown attribute in list for ") + tag + " (" +
                                 peek(cursor, end(), 10) + ")");
        skipWS();
        if (!getChar('=')) throw ParseException("'=' expected in attribute list");
        if (DBGXB) trace("getValue", elm.attrs[i]);
        attr.attr[i] = valueText();
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

int XmlBuffer::skipElement(std::string_view tag) {
    if (DBGXB) trace("skipElement", tag);
    char endText[256];
    const size_t n = std::min(tag.size(), sizeof endText - 3);
    endText[0] = '<';
    endText[1] = '/';
    std::memcpy(endText + 2, tag.data(), n);
    endText[n + 2] = '>';
    const std::string_view close(endText, n + 3);
    const std::string_view rest(cursor, left());
    const size_t at = rest.find(close);
    if (at == std::string_view::npos) return 0;
    cursor += at + close.size();
    return 1;
}

int XmlBuffer::testAttr(std::string_view name, std::string_view value, int caseSensitive) {
    const std::string_view rest(cursor, left());
    const std::string_view tagText = rest.substr(0, rest.find('>'));
    const size_t at = tagText.find(name);
    if (at == std::string_view::npos) return 0;
    const char* p = cursor + at + name.size();
    const char* const e = end();
    while (p < e && isSpace(*p)) ++p;
    if (p >= e) return 0;
    const char quote = *p++;
    const size_t n = value.size();
    if (static_cast<size_t>(e - p) <= n) return 0;
    const bool same = caseSensitive ? sameBytes(p, value.data(), n) : sameFolded(p, value.data(), n);
    return same && p[n] == quote;
}

bool XmlBuffer::plainStartTag(std::string_view tag, const std::string_view* tokens, size_t count,
                              std::string_view* values, bool& empty, unsigned optional) {
    const char* p = cursor;
    const char* const e = end();
    while (p < e && isSpace(*p)) ++p;
    // "<", the tag, and room for "/>" after it.
    if (static_cast<size_t>(e - p) < tag.size() + 3 || *p != '<' || !sameBytes(p + 1, tag.data(), tag.size()))
        return false;
    p += 1 + tag.size();
    for (size_t i = 0; i < count; ++i) {
        // The token, and room for the closing quote.
        const std::string_view token = tokens[i];
        if (static_cast<size_t>(e - p) <= token.size() || !sameBytes(p, token.data(), token.size())) {
            if (!(optional >> i & 1u)) return false;
            values[i] = {};
            continue;
        }
        p += token.size();
        const char* const start = p;
        p = findEither(p, e, '"', '\0');
        if (p == e || *p != '"') return false;
        values[i] = std::string_view(start, static_cast<size_t>(p - start));
        ++p;
    }
    if (p < e && *p == '>') {
        empty = false;
        ++p;
    } else if (e - p >= 2 && p[0] == '/' && p[1] == '>') {
        empty = true;
        p += 2;
    } else {
        return false;
    }
    cursor = const_cast<char*>(p);
    return true;
}

bool XmlBuffer::plainText(std::string_view tag, std::string_view& text) {
    const char* const e = end();
    // A NUL before the '<' leaves the text to the general steps.
    const char* const lt = findEither(cursor, e, '<', '\0');
    if (lt == e || *lt != '<' || static_cast<size_t>(e - lt) < tag.size() + 3 || lt[1] != '/' ||
        !sameBytes(lt + 2, tag.data(), tag.size()) || lt[2 + tag.size()] != '>')
        return false;
    const size_t len = static_cast<size_t>(lt - cursor);
    text = std::string_view(cursor, len);
    cursor = const_cast<char*>(lt) + tag.size() + 3;
    return true;
}

bool XmlBuffer::plainValueThenEnd(std::string_view tag, std::string_view& text) {
    static constexpr std::string_view open = "<VALUE>", close = "</VALUE>";
    const char* const e = end();
    const char* p = cursor;
    while (p < e && isSpace(*p)) ++p;
    if (static_cast<size_t>(e - p) < open.size() || !sameBytes(p, open.data(), open.size())) return false;
    const char* const start = p + open.size();
    const char* const lt = findEither(start, e, '<', '\0');
    if (static_cast<size_t>(e - lt) < close.size() || !sameBytes(lt, close.data(), close.size())) return false;
    p = lt + close.size();
    while (p < e && isSpace(*p)) ++p;
    if (static_cast<size_t>(e - p) < tag.size() + 3 || p[0] != '<' || p[1] != '/' ||
        !sameBytes(p + 2, tag.data(), tag.size()) || p[2 + tag.size()] != '>')
        return false;
    text = std::string_view(start, static_cast<size_t>(lt - start));
    cursor = const_cast<char*>(p) + tag.size() + 3;
    return true;
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
        cutByte(close);
        cursor = close + 1;
    } else {
        close = limit();
        cursor = close;
    }
    const size_t len = static_cast<size_t>(close - start);
    return std::string_view(start, strnlen(start, len));
}

const char* XmlBuffer::getContent(const XmlAttr* attr) { return contentText(attr).data(); }

std::string_view XmlBuffer::contentText(const XmlAttr* attr) {
    if (DBGXB) std::fprintf(stderr, "--- XmlBuffer::getContent()\n");
    if (attr && attr->emptyElement) return {};
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
    if (cursor == start) return std::string_view(emptyText, 0);

    // The content moves two bytes to the front, over the end of the start
    // tag, which leaves room for its terminating NUL in front of the "<" of
    // the end tag.
    const size_t len = static_cast<size_t>(cursor - start);
    if (start - base < 2) {
        spill.assign(start, len);
        return spill;
    }
    char* const moved = start - 2;
    if (incoming) incoming->cuts.push_back({start, len, {moved[0], moved[1]}});
    std::memmove(moved, start, len);
    moved[len] = '\0';
    return std::string_view(moved, len);
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

char* unescapeXmlInto(char* out, std::string_view text, int mode) {
    if (text.empty()) return out;   // its data may be null
    const char* p = text.data();
    const char* const e = p + text.size();
    while (p < e) {
        const char* const next = findEither(p, e, '&', '\\');
        copyBytes(out, p, static_cast<size_t>(next - p));
        out += next - p;
        p = next;
        if (p == e) break;
        if (*p == '\\') {
            *out++ = '\\';
            if (mode) *out++ = '\\';
            ++p;
            continue;
        }
        const size_t rest = static_cast<size_t>(e - p);
        const Entity* hit = nullptr;
        for (const Entity& ent : entities)
            if (rest >= ent.name.size() && sameFolded(p, ent.name.data(), ent.name.size())) {
                hit = &ent;
                break;
            }
        if (hit) {
            const std::string_view with = mode ? hit->escaped : hit->plain;
            std::memcpy(out, with.data(), with.size());
            out += with.size();
            p += hit->name.size();
        } else {
            *out++ = '&';
            ++p;
        }
    }
    return out;
}

void unescapeXmlTo(std::string& out, std::string_view text, int mode) {
    const size_t at = out.size();
    out.resize(at + 2 * text.size());
    char* const written = unescapeXmlInto(&out[at], text, mode);
    out.resize(static_cast<size_t>(written - out.data()));
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
