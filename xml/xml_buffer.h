// XmlBuffer: an in-place cursor over one reply body, driven by hand by the
// element parsers (recursive descent). Not a general XML parser.
#pragma once

#include "xml/errors.h"
#include "xml/string_array.h"

#include <string>

// The attribute table of one element kind: names in a fixed order.
class XmlElement {
public:
    explicit XmlElement(int count) : attrs(static_cast<size_t>(count)) {}
    XmlElement(std::initializer_list<const char*> names) : attrs(names.begin(), names.end()) {}
    XmlElement(const char* const* first, const char* const* last) : attrs(first, last) {}
    StringArray attrs;
};

// What one start tag carried: values parallel to the element's table (empty
// when absent) and whether the tag closed itself.
class XmlAttr {
public:
    explicit XmlAttr(size_t count = 8) : attr(count) {}
    bool emptyElement = false;
    StringArray attr;
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

private:
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
