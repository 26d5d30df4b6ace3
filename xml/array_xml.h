// ArrayXml<T>: the owned, ordered children of an element. Option<T>: a value
// that may be absent.
#pragma once

#include "xml/errors.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

template <class T>
class ArrayXml : public std::vector<T> {
public:
    using std::vector<T>::vector;

    void add(T item) { this->push_back(std::move(item)); }
    ArrayXml clone() const { return *this; }   // elements copy deeply

    // Renders every element with `q`, `sep` between two elements.
    void toStringBuffer(std::string& buf, const char* sep, const char* q) const {
        for (size_t i = 0; i < this->size(); ++i) {
            if (i && *sep) buf += sep;
            (*this)[i].toStringBuffer(buf, q);
        }
    }
};

template <class T>
class Option {
public:
    Option() = default;
    explicit Option(T v) : value(std::move(v)) {}

    bool exists() const { return value.has_value(); }
    T& val() {
        if (!value) throw DoesNotExist("Object of type Tnot found...");
        return *value;
    }
    const T& val() const {
        if (!value) throw DoesNotExist("Object of type Tnot found...");
        return *value;
    }
    void set(T v) { value = std::move(v); }
    // Sets a value built in place from `args`.
    template <class... Args>
    void emplace(Args&&... args) { value.emplace(std::forward<Args>(args)...); }

private:
    std::optional<T> value;
};
