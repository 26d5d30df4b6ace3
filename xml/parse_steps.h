// The steps every element parser repeats: open the start tag against the
// element's attribute table, look at the next child, close the element. Each
// step throws ParseException with the caller's exact message.
#pragma once

#include "xml/render_flags.h"
#include "xml/text.h"
#include "xml/xml_buffer.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace xmlsteps {

// `tag` is NUL-terminated (a literal, or a name from a table of them).
inline void open(XmlBuffer& xb, std::string_view tag, const XmlElement& elm, XmlAttr& attr,
                 const char* expecting, const char* badAttributes) {
    if (DBGX) std::fprintf(stderr, "--- %s\n", tag.data());
    if (!xb.tagEquals(tag)) throw ParseException(expecting);
    if (!xb.attrsOk(elm, attr, tag.data())) throw ParseException(badAttributes);
}

// The end tag; an element written in its empty form is closed already.
inline void close(XmlBuffer& xb, std::string_view tag, const XmlAttr& attr, const char* expecting) {
    if (!xb.endTag(tag, &attr)) throw ParseException(expecting);
}

// True when the element has content and its next child is `tag` (or a tag
// name that continues `tag` with a character other than a letter or digit).
inline bool childIs(XmlBuffer& xb, const XmlAttr& attr, std::string_view tag) {
    return !attr.emptyElement && XmlBuffer::nextEquals(xb.nextTag(), tag);
}

// The element's text content, read as a C string (up to the first NUL
// byte); empty for the empty form.
inline std::string content(XmlBuffer& xb, const XmlAttr& attr) { return std::string(xb.contentView(&attr)); }

// In a loop over an element's children: true when the element ends here
// (its empty form, or its end tag next). Otherwise `next` is what
// nextTag() found; the end tag is only tried where a "</" comes.
inline bool ends(XmlBuffer& xb, std::string_view tag, const XmlAttr& attr, const char*& next) {
    next = xb.nextTag();
    if (!attr.emptyElement && (!next || *next != '/')) return false;
    return xb.endTag(tag, &attr);
}

// Equal ignoring the case of ASCII letters.
inline bool sameName(std::string_view a, std::string_view b) { return equalsNoCase(a, b); }

// The first form in `forms` (tried in order) whose tag opens next, as
// tagEquals would find it; the blanks around "<" are skipped once.
template <class Form, size_t N>
const Form* openForm(XmlBuffer& xb, const Form (&forms)[N]) {
    std::string_view tags[N];
    for (size_t i = 0; i < N; ++i) tags[i] = forms[i].tag;
    const int at = xb.tagIndex(tags, N);
    return at < 0 ? nullptr : &forms[at];
}

// An attribute value kept by a model: copied, or lent while the scanner lends.
inline void store(const XmlBuffer&, std::string& to, std::string_view text) { to.assign(text.data(), text.size()); }
inline void store(const XmlBuffer& xb, ReplyText& to, std::string_view text) { to.set(text, xb.lending); }

// An element with several forms whose attributes go to members of `into`
// (PROPERTY, PARAMETER and their variants): opens the form that comes next,
// reads its attributes against its table, `tables[kind - 1]`, and stores
// those the model keeps (a form's `fields` entry is null for an attribute
// that is checked but not kept). Sets `into.kind`.
template <class Model, class Form, size_t N>
const Form& openKind(XmlBuffer& xb, const Form (&forms)[N], const XmlElement* tables, Model& into, XmlAttr& attr,
                     const char* expecting, const char* badAttributes) {
    const Form* form = openForm(xb, forms);
    if (!form) throw ParseException(expecting);
    if (!xb.attrsOk(tables[form->kind - 1], attr, form->tag.data())) throw ParseException(badAttributes);
    into.kind = form->kind;
    for (size_t i = 0; i < form->count; ++i)
        if (form->fields[i] && !attr.attr[i].empty()) store(xb, into.*(form->fields[i]), attr.attr[i]);
    return *form;
}

}  // namespace xmlsteps
