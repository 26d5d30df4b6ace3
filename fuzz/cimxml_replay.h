// One input through the reply parser and through every text rendering its
// result allows, and read once more through a sink, as the reports read an
// enumeration, which must come to the same. Shared by the libFuzzer target
// fuzz_cimxml.cpp and by the unit test that replays the saved corpus, so
// that both judge an input the same way.
//
// The outcomes a hostile or broken reply may lead to are the ones a caller of
// CimXml is prepared for: the XmlException family (the server's CIM error
// included), DoesNotExist, the plain std::logic_error of an unquoted
// attribute value, and std::out_of_range. replay() turns those into an
// Outcome; anything else escapes from it, and the fuzz target aborts on it.
#pragma once

#include "xml/classes.h"
#include "xml/envelope.h"
#include "xml/model.h"
#include "xml/render_flags.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace cimxmlfuzz {

enum class Outcome { Rendered, XmlError, Missing, UnquotedValue, OutOfRange };

struct Result {
    Outcome outcome;
    std::string text;   // the default rendering, or the error's message
};

// A result and its clone (or the result once taken out of its tree)
// rendered differently: a deep copy or a move lost or shared something.
class CloneMismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The five rendering switches, set together for one pass, and the quote
// handed to the renderers.
struct Flags {
    int useNl, addType, noVal, noQuotes, dlmRefs;
    const char* q;
};

// The defaults first, as the reports render: that pass is the one kept in
// Result::text.
constexpr Flags flagSets[] = {
    {1, 0, 0, 0, 0, ""},
    {0, 1, 0, 0, 1, "\""},
    {1, 0, 0, 1, 0, ""},
    {1, 1, 1, 1, 1, ""},
};

// Sets the switches for a scope and puts the defaults back afterwards, also
// when a renderer throws.
class FlagScope {
public:
    explicit FlagScope(const Flags& f) { apply(f); }
    ~FlagScope() { apply(flagSets[0]); }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    static void apply(const Flags& f) {
        useNl = f.useNl;
        addType = f.addType;
        noVal = f.noVal;
        noQuotes = f.noQuotes;
        dlmRefs = f.dlmRefs;
    }
};

inline void render(const RetValXml& r, std::string& buf, const char* q);

namespace detail {

template <class T>
const T& as(const RetValXml& r) {
    return dynamic_cast<const T&>(r);   // throws std::bad_cast on a wrong type code
}

inline void self(const RetValXml& r, std::string& buf, const char* q) { r.toStringBuffer(buf, q); }

// A class renders its properties; its key list and its methods' parameters
// are rendered too, as far as the model has a text form for them.
inline void cls(const RetValXml& r, std::string& buf, const char* q) {
    const ClassXml& c = as<ClassXml>(r);
    c.toStringBuffer(buf, q);
    c.keys.toStringBuffer(buf, "|", q);
    for (const MethodXml& m : c.methods) m.parameters.toStringBuffer(buf, "|", q);
}

inline void namedInstance(const RetValXml& r, std::string& buf, const char* q) {
    const NamedInstanceXml& n = as<NamedInstanceXml>(r);
    n.name.toStringBuffer(buf, q);
    buf += '\n';
    n.instance.toStringBuffer(buf, q);
}

inline void objectWithPath(const RetValXml& r, std::string& buf, const char* q) {
    const ObjectWithPathXml& o = as<ObjectWithPathXml>(r);
    if (o.path) o.path->toStringBuffer(buf, q);
    buf += '\n';
    o.instance.toStringBuffer(buf, q);
}

template <class List>
void each(const RetValXml& r, std::string& buf, const char* q) {
    for (const auto& item : as<List>(r).items) {
        render(item, buf, q);
        buf += '\n';
    }
}

struct Renderer {
    int type;
    void (*render)(const RetValXml&, std::string&, const char* q);
};

// Every result type CimXml can hand out, in type-code order.
constexpr Renderer renderers[] = {
    {TypeInstance, self},
    {TypeInstances, each<InstancesXml>},
    {TypeClass, cls},
    {TypeInstanceName, self},
    {TypeInstanceNames, each<InstanceNamesXml>},
    {TypeClasses, each<ClassesXml>},
    {TypeClassName, self},
    {TypeClassNames, each<ClassNamesXml>},
    {TypeNamedInstance, namedInstance},
    {TypeNamedInstances, each<NamedInstancesXml>},
    {TypeObjectWithPath, objectWithPath},
    {TypeObjectsWithPath, each<ObjectsWithPathXml>},
    {TypeValue, self},
    {TypeMethodresponse, self},
    {TypeParamvalue, self},
};

}  // namespace detail

// Renders any result; a type code the table does not know is a fault of the
// parser (it handed out something no operation could check for).
inline void render(const RetValXml& r, std::string& buf, const char* q) {
    for (const detail::Renderer& d : detail::renderers)
        if (d.type == r.type) return d.render(r, buf, q);
    throw std::runtime_error("result with unknown type code " + std::to_string(r.type));
}

// The result rendered under every flag set; the text of the default set is
// returned. The clone must render exactly like the original.
inline std::string renderAll(const RetValXml& r) {
    std::string first;
    for (const Flags& f : flagSets) {
        FlagScope scope(f);
        std::string buf;
        render(r, buf, f.q);
        if (&f == &flagSets[0]) first = buf;
    }
    const std::unique_ptr<RetValXml> copy = r.clone();
    std::string again;
    {
        FlagScope scope(flagSets[0]);
        render(*copy, again, flagSets[0].q);
    }
    if (again != first) throw CloneMismatch("clone renders differently from its original");
    return first;
}

// The table reports mark an instance's key properties from its name before
// rendering it; do the same to every named instance of the result.
inline void markKeys(RetValXml& r) {
    if (auto* one = dynamic_cast<NamedInstanceXml*>(&r)) one->instance.propagateKeyFlags(one->name.keys);
    if (auto* list = dynamic_cast<NamedInstancesXml*>(&r))
        for (NamedInstanceXml& item : list->items) item.instance.propagateKeyFlags(item.name.keys);
}

// The outcome of `body`, or of the exception it throws among those a caller
// of CimXml is prepared for; any other exception leaves.
template <class Body>
Result outcomeOf(Body body) {
    try {
        return body();
    } catch (const XmlException& e) {
        return {Outcome::XmlError, e.getMsg()};
    } catch (const DoesNotExist& e) {
        return {Outcome::Missing, e.getMsg()};
    } catch (const std::out_of_range& e) {
        return {Outcome::OutOfRange, e.what()};
    } catch (const std::logic_error& e) {
        // Only the plain logic_error of an unquoted attribute value; its
        // other subclasses (length_error, invalid_argument, ...) are faults.
        if (typeid(e) != typeid(std::logic_error)) throw;
        return {Outcome::UnquotedValue, e.what()};
    }
}

// Reading an enumeration while it is parsed (as the reports do) and reading
// it whole first must come to the same: the same text, or the same failure.
class StreamMismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Marks and renders each named instance as it is read, with the default
// switches; a failure is held until the reply has been read to its end.
class RenderEach final : public NamedInstanceSink {
public:
    void take(NamedInstanceXml& item) override {
        if (failure) return;
        try {
            item.instance.propagateKeyFlags(item.name.keys);
            render(item, text, flagSets[0].q);
            text += '\n';
        } catch (...) {
            failure = std::current_exception();
        }
    }
    std::string text;
    std::exception_ptr failure;
};

// The whole reply first, then its default rendering.
inline Result readWhole(const std::string& body) {
    return outcomeOf([&]() -> Result {
        CimXml reply(body, 0);
        RetValXml& result = *reply.getReturnData();
        markKeys(result);
        std::string text;
        render(result, text, flagSets[0].q);
        return {Outcome::Rendered, std::move(text)};
    });
}

// Named instances of a list through a sink; any other result as it comes.
// `parse` makes the CimXml that reads into the sink.
template <class Parse>
Result readThroughSink(Parse parse) {
    return outcomeOf([&]() -> Result {
        RenderEach each;
        const std::unique_ptr<CimXml> reply = parse(each);
        RetValXml& result = *reply->getReturnData();
        if (each.failure) std::rethrow_exception(each.failure);
        if (result.type == TypeNamedInstances) {
            if (!detail::as<NamedInstancesXml>(result).items.empty())
                throw StreamMismatch("a list read through a sink kept its instances");
            return {Outcome::Rendered, std::move(each.text)};
        }
        if (!each.text.empty()) throw StreamMismatch("instances went to the sink of a result that is no list");
        markKeys(result);
        std::string text;
        render(result, text, flagSets[0].q);
        return {Outcome::Rendered, std::move(text)};
    });
}

inline Result readStreamed(const std::string& body) {
    return readThroughSink([&](NamedInstanceSink& sink) { return std::make_unique<CimXml>(body, 0, &sink); });
}

inline Result replay(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    const Result whole = readWhole(body), streamed = readStreamed(body);
    if (whole.outcome != streamed.outcome || whole.text != streamed.text)
        throw StreamMismatch("read while parsing: \"" + streamed.text + "\", read whole: \"" + whole.text + "\"");
    return outcomeOf([&]() -> Result {
        std::string text;
        std::unique_ptr<RetValXml> taken;
        {
            CimXml reply(body, 0);
            RetValXml& result = *reply.getReturnData();
            markKeys(result);
            text = renderAll(result);
            // The operations take the result out of the tree; it must
            // outlive the tree unchanged.
            taken = reply.takeReturnData();
        }
        std::string again;
        {
            FlagScope scope(flagSets[0]);
            render(*taken, again, flagSets[0].q);
        }
        if (again != text) throw CloneMismatch("result taken from the tree renders differently");
        return {Outcome::Rendered, std::move(text)};
    });
}

}  // namespace cimxmlfuzz
