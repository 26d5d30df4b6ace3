// Attribute/value lists. The three parses share one loop; they differ in
// which names count as declared, which of those take reference values, and
// whether a pair waits for trailing bare tokens before it is stored.
#include "cim/avps.h"
#include "xml/text.h"

#include <string_view>

namespace {

constexpr size_t npos = std::string::npos;



// A declared parameter or property, as far as the split needs it.
struct Declared {
    std::string_view name;
    bool reference;   // its value is an object path holding commas and "="
    bool array;       // a list of such paths
};

enum class Mode {
    Parameters,   // references go through the reference splitter
    Properties,   // references become the pending entry's value
    Plain,        // nothing declared; pairs are stored as soon as read
};

std::vector<Declared> declaredParameters(const ArrayXml<ParameterXml>& parameters) {
    std::vector<Declared> out;
    for (const ParameterXml& p : parameters) {
        const bool ref = p.kind == ParameterXml::Reference || p.kind == ParameterXml::RefArray;
        out.push_back({p.name, ref, p.kind == ParameterXml::RefArray});
    }
    return out;
}

std::vector<Declared> declaredProperties(const ArrayXml<PropertyXml>& properties) {
    std::vector<Declared> out;
    for (const PropertyXml& p : properties) out.push_back({p.name, p.kind == PropertyXml::Reference, false});
    return out;
}

class ListParser {
public:
    ListParser(const char* text, std::vector<Declared> declared, Mode mode, std::vector<AValue>& out)
        : s(text ? text : ""), declared(std::move(declared)), mode(mode), out(out), work(s, "") {}

    void run() {
        size_t pos = 0;
        for (;;) {
            const bool declaredToken = takeBareTokens(pos);
            if (pending) {
                out.push_back(work);
                pending = false;
            }
            if (declaredToken || pos >= s.size()) return;
            const size_t eq = s.find('=', pos);
            if (eq == npos) return;
            pos = takePair(pos, eq);
        }
    }

private:
    // Tokens without "=" before the next "," extend the working entry. A
    // token that is itself a declared name is not stored and ends the parse
    // (returns true).
    bool takeBareTokens(size_t& pos) {
        while (pos < s.size()) {
            const size_t sep = s.find_first_of("=,", pos);
            if (sep != npos && s[sep] == '=') return false;
            const std::string token = s.substr(pos, sep == npos ? npos : sep - pos);
            if (find(token)) return true;
            work.add(token);
            pos = sep == npos ? s.size() : sep + 1;
        }
        return false;
    }

    // One name=value pair from `pos`; returns where the next item starts.
    size_t takePair(size_t pos, size_t eq) {
        const std::string name = s.substr(pos, eq - pos);
        const size_t valueStart = eq + 1;
        const size_t comma = s.find(',', valueStart);
        const Declared* d = mode == Mode::Plain ? nullptr : find(name);
        size_t valueEnd = comma;
        if (d && d->reference) {
            if (mode == Mode::Parameters && d->array) arrayMode = true;   // stays on for this parse
            valueEnd = referenceEnd(comma);
        }
        const std::string value = s.substr(valueStart, valueEnd == npos ? npos : valueEnd - valueStart);
        if (d && d->reference && mode == Mode::Parameters) {
            splitReferences(name, value);
        } else {
            work = AValue(name, value);
            if (mode == Mode::Plain)
                out.push_back(work);
            else
                pending = true;
        }
        return valueEnd == npos ? s.size() : valueEnd + 1;
    }

    // A reference value runs up to the "," before the next segment whose
    // name (the text up to its "=") begins a declared name, else to the end.
    size_t referenceEnd(size_t comma) const {
        for (size_t c = comma; c != npos; c = s.find(',', c + 1)) {
            const size_t eq = s.find('=', c + 1);
            if (eq == npos) return npos;
            if (beginsDeclaredName(std::string_view(s).substr(c + 1, eq - c - 1))) return c;
        }
        return npos;
    }

    // One entry per reference value; in array mode the value is a list of
    // paths, cut at the "," before every "." that starts a further path. A
    // "." with no "," between it and the current path's start is part of
    // that path.
    void splitReferences(const std::string& name, const std::string& value) {
        if (!arrayMode) {
            out.emplace_back(name, value);
            return;
        }
        AValue entry(name, "");
        bool first = true;
        size_t start = 0;
        const size_t firstDot = value.find('.');
        for (size_t dot = firstDot == npos ? npos : value.find('.', firstDot + 1); dot != npos;
             dot = value.find('.', dot + 1)) {
            const size_t cut = value.rfind(',', dot);
            if (cut == npos || cut < start) continue;
            addReference(entry, first, value.substr(start, cut - start));
            start = cut + 1;
        }
        addReference(entry, first, value.substr(start));
        out.push_back(std::move(entry));
    }

    static void addReference(AValue& entry, bool& first, std::string text) {
        if (first) {
            entry.val = std::move(text);
            first = false;
        } else {
            entry.add(std::move(text));
        }
    }

    const Declared* find(std::string_view name) const {
        for (const Declared& d : declared)
            if (equalsNoCase(d.name, name)) return &d;
        return nullptr;
    }

    bool beginsDeclaredName(std::string_view segment) const {
        for (const Declared& d : declared)
            if (d.name.size() >= segment.size() && equalsNoCase(d.name.substr(0, segment.size()), segment))
                return true;
        return false;
    }

    const std::string s;
    const std::vector<Declared> declared;
    const Mode mode;
    std::vector<AValue>& out;
    AValue work;             // starts as the whole text with an empty value
    bool pending = false;    // `work` still has to be stored
    bool arrayMode = false;
};

}  // namespace

AVPs::AVPs(const char* text, const ArrayXml<ParameterXml>& parameters) {
    ListParser(text, declaredParameters(parameters), Mode::Parameters, entries).run();
    markAllUngotten();
}

AVPs::AVPs(const char* text, const ArrayXml<PropertyXml>& properties) {
    ListParser(text, declaredProperties(properties), Mode::Properties, entries).run();
    markAllUngotten();
}

AVPs::AVPs(const char* text) {
    ListParser(text, {}, Mode::Plain, entries).run();
    markAllUngotten();
}

AValue* AVPs::get(const char* name) {
    if (!name) return nullptr;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (equalsNoCase(entries[i].attr, name)) {
            gotten[i] = 1;
            return &entries[i];
        }
    }
    return nullptr;
}

AValue* AVPs::get(unsigned int i) { return i < entries.size() ? &entries[i] : nullptr; }

int AVPs::check(const char* name) const {
    if (!name) return 0;
    for (const AValue& e : entries)
        if (equalsNoCase(e.attr, name)) return 1;
    return 0;
}

std::optional<std::string> AVPs::notGotten() const {
    std::optional<std::string> names;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (gotten[i]) continue;
        if (names)
            *names += ", ";
        else
            names.emplace();
        *names += entries[i].attr;
    }
    return names;
}

std::unique_ptr<AVPs> makeAVPs(const char* text, unsigned int expected) {
    if (!text) return nullptr;
    auto list = std::make_unique<AVPs>(text);
    if (list->size() != expected) return nullptr;
    return list;
}

AList::AList(const char* text) {
    const std::string_view s = text ? text : "";
    if (s.empty()) return;
    count = 1;
    for (char c : s)
        if (c == ',') ++count;
    for (size_t p = 0; p < s.size();) {
        const size_t comma = s.find(',', p);
        items.emplace_back(s.substr(p, comma == npos ? npos : comma - p));
        if (comma == npos) break;
        p = comma + 1;
    }
}
