// XmlBuffer: an in-place cursor over one reply body, driven by hand by the
// element parsers (recursive descent). Not a general XML parser.
#pragma once

#include "xml/errors.h"
#include "xml/render_flags.h"
#include "xml/string_array.h"
#include "xml/text.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

// The attribute table of one element kind: names in a fixed order.
class XmlElement {
public:
    explicit XmlElement(int count) : attrs(static_cast<size_t>(count)) {}
    XmlElement(std::initializer_list<const char*> names) : attrs(names.begin(), names.end()) {}
    XmlElement(const char* const* first, const char* const* last) : attrs(first, last) {}
    StringArray attrs;
};

// What one start tag carried: values parallel to the element's table (empty
// when absent) and whether the tag closed itself. The values are views into
// the scanner's buffer, each cut in place, valid as long as the XmlBuffer.
class XmlAttr {
public:
    bool emptyElement = false;
    std::array<std::string_view, 8> attr;   // the longest table has five names
};

class XmlBuffer {
public:
    explicit XmlBuffer(std::string body);
    XmlBuffer(const XmlBuffer&);   // throws ParseException("I told you not to!")
    XmlBuffer& operator=(const XmlBuffer&) = delete;

    // The steps every element takes many times are written here, in line.
    void skipWS() {
        if (DBGXB) trace("skipWS()");
        const char* const e = end();
        while (cursor < e && isSpace(*cursor)) ++cursor;
    }
    int getChar(std::string_view s) {
        if (DBGXB) traceString(s);
        if (left() < s.size()) return 0;
        for (size_t i = 0; i < s.size(); ++i)
            if (cursor[i] != s[i]) return 0;
        cursor += s.size();
        return 1;
    }
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
        return cursor < end() && *cursor == '<' ? cursor + 1 : nullptr;
    }
    // `p` points into a NUL-terminated buffer: the comparison stops at the
    // NUL, and the byte after a full match is at worst that NUL.
    static bool nextEquals(const char* p, std::string_view name) {
        if (!p) return false;
        for (size_t i = 0; i < name.size(); ++i)
            if (p[i] != name[i]) return false;
        return !isAlnum(p[name.size()]);
    }
    int getWord(std::string_view w, int caseSensitive = 1);
    int tagEquals(std::string_view tag);
    // tagEquals tried with each of `tags` in order: the index of the first
    // that opens next, or -1 with the cursor where it was.
    int tagIndex(const std::string_view* tags, size_t count);
    // Reads the attributes of the start tag just opened, names matched
    // without case in table order. Returns 1 or throws ParseException.
    int attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag);
    int endTag(std::string_view tag, const XmlAttr* attr = nullptr);
    int skipElement(std::string_view tag);
    int testAttr(std::string_view name, std::string_view value, int caseSensitive);
    // A quoted attribute value; an unquoted one throws std::logic_error,
    // which is not of the exception family.
    std::string getValue(const char* attrName);
    // Null for an empty element; otherwise the content, cut in place.
    const char* getContent(const XmlAttr* attr);
    // The same text as getContent (up to a NUL byte), left where it is:
    // a view into the body for lent values; "" for an empty element.
    std::string_view contentView(const XmlAttr* attr);
    int xmlHdr();

    // While set, the VALUE text of what is read, and a property's name and
    // type, are not copied: they stay views into this buffer's body, valid
    // as long as the buffer. Set only around items that are done with before
    // the buffer goes.
    bool lending = false;

    const char* cur() const { return cursor; }
    const char* begin() const { return text.data(); }
    const char* end() const { return text.data() + text.size(); }

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
        char* const after = wordAt(cursor, w, caseSensitive);
        if (!after) return 0;
        cursor = after;
        return 1;
    }
    // The untraced steps of the scanner calls, on a position `p` of the
    // body: the first byte from `p` on that is no blank, and the byte
    // after `w` when `w` is at `p` and not followed by a letter or digit
    // (else null).
    char* blanks(char* p) const {
        const char* const e = end();
        while (p < e && isSpace(*p)) ++p;
        return p;
    }
    char* wordAt(char* p, std::string_view w, bool caseSensitive) const {
        const size_t n = w.size();
        if (static_cast<size_t>(end() - p) < n) return nullptr;
        if (caseSensitive) {
            // Names tried in turn often share their beginning: the last
            // byte tells most of them apart.
            if (n && p[n - 1] != w[n - 1]) return nullptr;
            if (std::memcmp(p, w.data(), n) != 0) return nullptr;
        } else if (std::memcmp(p, w.data(), n) != 0 && !equalsNoCase(std::string_view(p, n), w)) {
            return nullptr;   // names are mostly written as in the table: that is tried first
        }
        if (p + n < end() && isAlnum(p[n])) return nullptr;
        return p + n;
    }
    // getValue's value at `p`, cut in place and not copied.
    std::string_view valueAt(char*& p, const char* attrName);
    // Moves the cursor over the content that starts there (CDATA sections
    // included), up to the next tag.
    void skipContent();
    // `p` up to `n` bytes, cut at a NUL byte of the body.
    std::string_view upToNul(const char* p, size_t n) const {
        return std::string_view(p, p + n <= nulFree ? n : strnlen(p, n));
    }
    size_t left() const { return static_cast<size_t>(end() - cursor); }
    static void trace(const char* what, std::string_view arg = {});
    void traceChar(char c) const;
    void traceString(std::string_view s) const;

    std::string text;       // the body, NUL-terminated by std::string
    char* cursor = nullptr;
    std::string spill;      // content that had no room to move in place
    // The body as received has no NUL byte before this point (the cuts
    // write theirs only behind the cursor), so a text ending before it
    // needs no look for one.
    const char* nulFree = nullptr;
    int depth = 0;
};

// Text an element keeps from its start tag: its own copy, or a view into
// the scanner's body while that lends it (XmlBuffer::lending).
class ReplyText {
public:
    ReplyText() = default;
    ReplyText(std::string text) : own(std::move(text)) {}

    void set(std::string_view text, bool lend) {
        if (lend) {
            lent = text.data();
            size = text.size();
        } else {
            own.assign(text.data(), text.size());
            lent = nullptr;
        }
    }
    // Copies lent text into the element's own.
    void keep() {
        if (!lent) return;
        own.assign(lent, size);
        lent = nullptr;
    }
    std::string_view view() const { return lent ? std::string_view(lent, size) : std::string_view(own); }
    operator std::string_view() const { return view(); }
    std::string str() const { return std::string(view()); }

private:
    std::string own;
    const char* lent = nullptr;
    size_t size = 0;
};

// Entity decoding: mode 0 plain, any other mode escapes quotes and backslashes
// for the text renderings.
std::string unescapeXml(const char* text, int mode);
std::string unescapeXml(std::string_view text, int mode);
// The same, appended to `out`.
void unescapeXmlTo(std::string& out, std::string_view text, int mode);

// The text of a VALUE as it reads: entities decoded, CDATA sections unwrapped.
std::string DecodeText(std::string_view raw);
