// XmlBuffer: an in-place cursor over one reply body, driven by hand by the
// element parsers (recursive descent). Not a general XML parser.
#pragma once

#include "xml/errors.h"
#include "xml/string_array.h"

#include <string>
#include <string_view>
#include <vector>

// The attribute table of one element kind: names in a fixed order.
class XmlElement {
public:
    explicit XmlElement(int count) : attrs(static_cast<size_t>(count)) {}
    XmlElement(std::initializer_list<const char*> names) : attrs(names.begin(), names.end()) {}
    XmlElement(const char* const* first, const char* const* last) : attrs(first, last) {}
    StringArray attrs;
};

// The values of one start tag, indexed like the element's table. The first
// `inlineCount` live inside the object (the element parser's frame), so the
// tables of the reply elements need no heap block of their own.
class AttrValues {
public:
    static constexpr size_t inlineCount = 6;
    explicit AttrValues(size_t count) { resize(count); }
    size_t size() const { return n; }
    // New slots are empty, as a vector's would be.
    void resize(size_t count) {
        for (size_t i = n; i < count && i < inlineCount; ++i) slots[i].clear();
        if (count > inlineCount)
            more.resize(count - inlineCount);
        else
            more.clear();
        n = count;
    }
    std::string& operator[](size_t i) { return i < inlineCount ? slots[i] : more[i - inlineCount]; }
    const std::string& operator[](size_t i) const { return i < inlineCount ? slots[i] : more[i - inlineCount]; }

private:
    std::string slots[inlineCount];
    std::vector<std::string> more;
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
    XmlBuffer(const XmlBuffer&);   // throws ParseException("I told you not to!")
    XmlBuffer& operator=(const XmlBuffer&) = delete;

    void skipWS();
    int getChar(const char* s);
    int getChar(char c);
    const char* nextTag();
    static bool nextEquals(const char* p, const char* name);
    int getWord(const char* w, int caseSensitive = 1);
    int tagEquals(const char* tag);
    // tagEquals tried with each of `tags` in order, the blanks around "<"
    // skipped once: the index of the first that opens next, or -1 with the
    // cursor where it was.
    int tagIndex(const char* const* tags, size_t count);
    // Reads the attributes of the start tag just opened, names matched
    // without case in table order. 1 when the tag ends in ">" or "/>"; 0
    // when it ends in "?>" but is not the prolog (the element parser then
    // reports its "Bad ... attributes"); throws ParseException otherwise.
    int attrsOk(const XmlElement& elm, XmlAttr& attr, const char* tag);
    int endTag(const char* tag, const XmlAttr* attr = nullptr);
    int skipElement(const char* tag);
    int testAttr(const char* name, const char* value, int caseSensitive);
    // A quoted attribute value; an unquoted one throws std::logic_error,
    // which is not of the exception family.
    std::string getValue(const char* attrName);
    // Null for an empty element; otherwise the content, cut in place.
    const char* getContent(const XmlAttr* attr);
    int xmlHdr();

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

    // Element parsers reserve this many properties for the next instance:
    // the count of the last one (the instances of a reply share a class).
    size_t propertyHint = 0;

private:
    // getWord with the length of `w` known.
    int getWordN(const char* w, size_t n, bool caseSensitive);
    // The quoted value after '=' (see getValue), cut in place.
    std::string_view valueText();
    size_t left() const { return static_cast<size_t>(end() - cursor); }
    char* limit() { return &text[0] + text.size(); }

    std::string text;       // the private copy, NUL-terminated by std::string
    char* cursor = nullptr;
    std::string spill;      // content that had no room to move in place
    int depth = 0;
};

// Entity decoding: mode 0 plain, any other mode escapes quotes and backslashes
// for the text renderings.
std::string unescapeXml(const char* text, int mode);
// The same, appended to `out` (nothing for a null `text`).
void unescapeXmlTo(std::string& out, const char* text, int mode);
