// XmlBuffer: an in-place cursor over one reply body, driven by hand by the
// element parsers (recursive descent). Not a general XML parser.
#pragma once

#include "xml/arrival.h"
#include "xml/errors.h"
#include "xml/render_flags.h"
#include "xml/string_array.h"
#include "xml/text.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The attribute table of one element kind: names in a fixed order.
class XmlElement {
public:
    explicit XmlElement(int count) : attrs(static_cast<size_t>(count)) { setFirstToken(); }
    XmlElement(std::initializer_list<const char*> names) : attrs(names.begin(), names.end()) { setFirstToken(); }
    XmlElement(const char* const* first, const char* const* last) : attrs(first, last) { setFirstToken(); }
    StringArray attrs;
    // ` NAME="` for the first name, as plainStartTag takes it; empty
    // without names.
    std::string firstToken;

private:
    void setFirstToken() {
        if (!attrs.empty()) firstToken = " " + attrs[0] + "=\"";
    }
};

// The values of one start tag, indexed like the element's table: views into
// the scanner's buffer (each value is cut in place, so it also ends in a NUL
// byte), valid as long as the XmlBuffer. The first `inlineCount` live inside
// the object (the element parser's frame), so the tables of the reply
// elements need no heap block of their own.
class AttrValues {
public:
    static constexpr size_t inlineCount = 6;
    // The inline slots start empty.
    explicit AttrValues(size_t count) : n(count) {
        if (count > inlineCount) more.resize(count - inlineCount);
    }
    size_t size() const { return n; }
    // New slots are empty, as a vector's would be.
    void resize(size_t count) {
        for (size_t i = n; i < count && i < inlineCount; ++i) slots[i] = {};
        if (count > inlineCount)
            more.resize(count - inlineCount);
        else
            more.clear();
        n = count;
    }
    std::string_view& operator[](size_t i) { return i < inlineCount ? slots[i] : more[i - inlineCount]; }
    const std::string_view& operator[](size_t i) const { return i < inlineCount ? slots[i] : more[i - inlineCount]; }

private:
    std::string_view slots[inlineCount];
    std::vector<std::string_view> more;
    size_t n = 0;
};

// What one start tag carried: values parallel to the element's table (empty
// when absent) and whether the tag closed itself.
class XmlAttr {
public:
    explicit XmlAttr(size_t count = 8) : attr(count) {}
    bool emptyElement = false;
    AttrValues attr;
};

class XmlBuffer {
public:
    explicit XmlBuffer(std::string body);
    // A body that is still arriving, read a window at a time: each window
    // ends after an `</itemTag>` (and the blank after it) that is already
    // in, and the list reader asks for the next one (awaitItem). Reads of a
    // window give what reads of the whole body would, or are done again on
    // the whole body (guarded, restartWhole). Blocks until the first window
    // or the whole body is in.
    XmlBuffer(Arrival& arrival, std::string_view itemTag);
    ~XmlBuffer();
    XmlBuffer(const XmlBuffer&);   // throws ParseException("I told you not to!")
    XmlBuffer& operator=(const XmlBuffer&) = delete;

    // Before the next item of a list: when the window holds no more than
    // blanks, waits for a window further on, or for the whole body.
    void awaitItem() {
        if (incoming) awaitItemSlow();
    }
    // Reads one item. When the read fails while only a window is in, the
    // bytes it may have cut are put back and it is read again from the same
    // place once the whole body is in; the second outcome stands.
    template <class Read>
    auto guarded(Read&& read) -> decltype(read()) {
        if (!incoming) return read();
        char* const start = cursor;
        if (!incoming->handedOver) incoming->firstItem = static_cast<size_t>(start - base);
        try {
            return read();
        } catch (...) {
            if (!incoming) throw;
        }
        rewindWhole(start);
        return read();
    }
    // An item left the reader (to a sink): what has been read can no longer
    // be read again from the start, and the items read so far are not read
    // again at all.
    void handedOver() {
        if (!incoming) return;
        incoming->handedOver = true;
        incoming->cuts.clear();
        incoming->arrival.release(incoming->firstItem, static_cast<size_t>(cursor - base));
    }
    // After a failure before any item was handed over: the body put back as
    // it arrived, the cursor at its start, and the whole body in. False when
    // the failure stands.
    bool restartWhole();

    void skipWS() {
        if (DBGXB) trace("skipWS()");
        ++skipWSCalls;
        const char* const e = end();
        while (cursor < e && isSpace(*cursor)) ++cursor;
    }
    int getChar(std::string_view s);
    int getChar(char c) {
        if (DBGXB) traceChar(c);
        if (cursor >= end() || *cursor != c) return 0;
        ++cursor;
        return c;
    }
    // After the blanks: the byte following a "<", or null.
    const char* nextTag() {
        if (DBGXB) trace("nextTag(): ");
        skipWS();
        if (cursor < end() && *cursor == '<') return cursor + 1;
        return nullptr;
    }
    // `p` points into a NUL-terminated buffer: the comparison stops at the
    // NUL, and the byte after a full match is at worst that NUL.
    static bool nextEquals(const char* p, std::string_view name) {
        if (!p) return false;
        for (size_t i = 0; i < name.size(); ++i)
            if (p[i] != name[i]) return false;
        return !isAlnum(p[name.size()]);
    }
    int getWord(std::string_view w, int caseSensitive = 1) {
        if (DBGXB) trace("getWord", w);
        return getWordN(w, caseSensitive != 0);
    }
    int tagEquals(std::string_view tag);
    // tagEquals tried with each of `tags` in order, the blanks around "<"
    // skipped once: the index of the first that opens next, or -1 with the
    // cursor where it was.
    int tagIndex(const std::string_view* tags, size_t count);
    // Reads the attributes of the start tag just opened, names matched
    // without case in table order. 1 when the tag ends in ">" or "/>"; 0
    // when it ends in "?>" but is not the prolog (the element parser then
    // reports its "Bad ... attributes"); throws ParseException otherwise.
    int attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag);
    int endTag(std::string_view tag, const XmlAttr* attr = nullptr) {
        if (DBGXB) trace("endTag", tag);
        if (attr && attr->emptyElement) return 1;
        char* const saved = cursor;
        skipWS();
        // As servers write it, "</TAG>", read at once (not while tracing,
        // which shows the steps below).
        const size_t n = tag.size();
        if (!DBGXB && left() >= n + 3 && cursor[0] == '<' && cursor[1] == '/' && sameBytes(cursor + 2, tag.data(), n) &&
            cursor[2 + n] == '>') {
            cursor += n + 3;
            return 1;
        }
        if (left() >= 2 && cursor[0] == '<' && cursor[1] == '/') {
            cursor += 2;
            skipWS();
            if (getWordN(tag, true)) {
                skipWS();
                if (getChar('>')) return 1;
            }
        }
        cursor = saved;
        return 0;
    }
    int skipElement(std::string_view tag);
    int testAttr(std::string_view name, std::string_view value, int caseSensitive);
    // A quoted attribute value; an unquoted one throws std::logic_error,
    // which is not of the exception family.
    std::string getValue(const char* attrName);
    // The shapes in which servers write nearly every element, read in one
    // pass. Each reads only bytes that the general steps above would read
    // to the same result, and only when the bytes after the blanks are
    // exactly that shape; otherwise it returns false and leaves the cursor
    // where it was, for the general steps to read the element.
    //
    // A start tag "<TAG", then ` NAME="value"` for each of `tokens` in that
    // order, each token being ` NAME="` (double quotes, values without NUL
    // bytes), then ">" or "/>" (`empty`). A name whose bit is set in
    // `optional` may be left out; its value is then empty.
    bool plainStartTag(std::string_view tag, const std::string_view* tokens, size_t count,
                       std::string_view* values, bool& empty, unsigned optional = 0);
    // Text without "<" or NUL bytes, then "</TAG>".
    bool plainText(std::string_view tag, std::string_view& text);
    // The rest of an element that holds one value: "<VALUE>", text as in
    // plainText, "</VALUE>", then "</TAG>" (blanks before either tag).
    bool plainValueThenEnd(std::string_view tag, std::string_view& text);

    // Null for an empty element; otherwise the content, cut in place.
    const char* getContent(const XmlAttr* attr);
    // The same with its length (a NUL byte follows it); a view without data
    // for an empty element.
    std::string_view contentText(const XmlAttr* attr);
    int xmlHdr();

    const char* cur() const { return cursor; }
    // Back to a place cur() gave: for a reader that tries a shape of several
    // elements with the one-pass reads above, which cut nothing, and leaves
    // the whole to the general steps when one of them fails.
    void backTo(const char* place) { cursor = const_cast<char*>(place); }
    const char* begin() const { return base; }
    const char* end() const { return stop; }

    // Element parsers that can recurse (values, references, key bindings)
    // hold one of these for as long as they run, so that a hostile document
    // nested without end fails with a ParseException instead of exhausting
    // the stack.
    class Nest {
    public:
        explicit Nest(XmlBuffer& xb);
        ~Nest() { --xb.depth; }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;

    private:
        XmlBuffer& xb;
    };
    static constexpr int maxDepth = 64;

    // Element parsers reserve this many properties for the next instance:
    // the count of the last one (the instances of a reply share a class).
    size_t propertyHint = 0;
    // The same for the key bindings of an instance name.
    size_t keyHint = 0;

    // Bytes whose value, read as a signed 8-bit number, is at most 32:
    // control characters, the blank, NUL and every byte from 128 up.
    static bool isSpace(char c) { return static_cast<signed char>(c) <= 32; }
    static bool isAlnum(char c) {
        const char l = static_cast<char>(c | 0x20);
        return (c >= '0' && c <= '9') || (l >= 'a' && l <= 'z');
    }

private:
    // `w` at the cursor, not followed by a letter or digit.
    int getWordN(std::string_view w, bool caseSensitive) {
        const size_t n = w.size();
        if (left() < n) return 0;
        // Most tries fail on the first or the last byte; the exact bytes are
        // compared before the comparison without case.
        if (n && caseSensitive && (cursor[0] != w[0] || cursor[n - 1] != w[n - 1])) return 0;
        if (!sameBytes(cursor, w.data(), n) && (caseSensitive || !sameFolded(cursor, w.data(), n))) return 0;
        if (cursor + n < end() && isAlnum(cursor[n])) return 0;
        cursor += n;
        return 1;
    }
    // The quoted value after '=' (see getValue), cut in place.
    std::string_view valueText();
    size_t left() const { return static_cast<size_t>(end() - cursor); }
    char* limit() { return stop; }
    static void trace(const char* what, std::string_view arg = {});
    void traceChar(char c) const;

    // A cut made in place while only a window is in, so that it can be put
    // back: one byte overwritten with a NUL, or `moved` bytes of content
    // moved two to the front (over the two bytes kept) and a NUL after them.
    struct Cut {
        char* at;
        size_t moved;   // 0 for a single byte
        char saved[2];
    };
    // While the body arrives. The window ends at stop; the byte at stop, a
    // blank as it arrived, holds a NUL for as long as the window ends there,
    // so the scanner sees the window as it sees a whole body.
    struct Incoming {
        Incoming(Arrival& arrival, std::string_view itemTag);
        void wait();                // for more than `in` bytes, or the end
        Arrival& arrival;
        std::string closeTag;       // "</" itemTag ">"
        size_t in = 0;              // bytes known to be in
        bool done = false;
        bool open = false;          // a window is set
        char saved = 0;             // the byte under the NUL at stop
        std::vector<Cut> cuts;      // since the last item handed over
        bool handedOver = false;
        size_t firstItem = 0;       // where the first item began
    };
    static constexpr size_t windowReach = 512 * 1024;
    void awaitItemSlow();
    void nextWindow();
    char* lastBoundary(char* from, char* to) const;
    void rewindWhole(char* from);
    void becomeWhole();
    void cutByte(char* at) {
        if (incoming) incoming->cuts.push_back({at, 0, {*at, 0}});
        *at = '\0';
    }

    std::string text;       // a body had whole, NUL-terminated by std::string
    char* base = nullptr;   // the body's first byte
    char* stop = nullptr;   // the end of what may be read: the body's or the window's
    std::unique_ptr<Incoming> incoming;   // null once the whole body is in
    char* cursor = nullptr;
    std::string spill;      // content that had no room to move in place
    int depth = 0;
    static unsigned long skipWSCalls;   // counted on every skipWS(); nothing reads it
};

// The first byte at or after `p` that is `a` or `b`, or `e`. Sixteen bytes
// (SSE2), then eight are looked at a time: the values of the replies are
// mostly short, where memchr's call and set-up cost more than the search.
inline const char* findEither(const char* p, const char* e, char a, char b) {
#if defined(__SSE2__)
    const __m128i wantA16 = _mm_set1_epi8(a), wantB16 = _mm_set1_epi8(b);
    for (; e - p >= 16; p += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int hits = _mm_movemask_epi8(
            _mm_or_si128(_mm_cmpeq_epi8(block, wantA16), _mm_cmpeq_epi8(block, wantB16)));
        if (hits) return p + __builtin_ctz(static_cast<unsigned>(hits));
    }
#endif
    constexpr std::uint64_t ones = 0x0101010101010101u;
    constexpr std::uint64_t highs = 0x8080808080808080u;
    const std::uint64_t wantA = ones * static_cast<unsigned char>(a);
    const std::uint64_t wantB = ones * static_cast<unsigned char>(b);
    for (; e - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        const std::uint64_t x = word ^ wantA, y = word ^ wantB;
        // A high bit for every byte of x or y that is zero, and possibly for
        // bytes after one; the first marked byte is always a match.
        const std::uint64_t hits = ((x - ones) & ~x & highs) | ((y - ones) & ~y & highs);
        if (hits) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
            return p + __builtin_ctzll(hits) / 8;
#else
            break;   // the byte loop below finds it
#endif
        }
    }
    for (; p < e; ++p)
        if (*p == a || *p == b) return p;
    return e;
}

// memcpy for the short pieces of the renderings (names, values, quotes),
// without a call for the common sizes.
inline void copyBytes(char* to, const char* from, size_t n) {
    if (n >= 8 && n <= 16) {
        std::uint64_t head, tail;
        std::memcpy(&head, from, 8);
        std::memcpy(&tail, from + n - 8, 8);
        std::memcpy(to, &head, 8);
        std::memcpy(to + n - 8, &tail, 8);
    } else if (n < 8) {
        for (size_t i = 0; i < n; ++i) to[i] = from[i];
    } else {
        std::memcpy(to, from, n);
    }
}

// to = from, for the model's strings read again in place. A string that
// keeps its length from one item to the next (a property's name, its type)
// is written over without a call into the library; `from` must not point
// into `to`.
inline void assignBytes(std::string& to, std::string_view from) {
    if (from.size() != to.size()) {
        to.assign(from.data(), from.size());
        return;
    }
    if (!from.empty()) copyBytes(&to[0], from.data(), from.size());
}

// Entity decoding: mode 0 plain, any other mode escapes quotes and backslashes
// for the text renderings.
std::string unescapeXml(const char* text, int mode);
std::string unescapeXml(std::string_view text, int mode);
// The same, appended to `out`.
void unescapeXmlTo(std::string& out, std::string_view text, int mode);
// The same, written at `out`, which has room for twice the size of `text`
// (the most any mode can write); returns the end of what was written.
char* unescapeXmlInto(char* out, std::string_view text, int mode);
