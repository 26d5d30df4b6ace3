// ArrayXml<T>: the owned, ordered children of an element. Option<T>: a value
// that may be absent.
#pragma once

#include "xml/errors.h"

#include <memory>
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
            if (i) buf += sep;
            (*this)[i].toStringBuffer(buf, q);
        }
    }
};

// A value most objects do without, kept behind a pointer: 8 bytes until it
// is made. Reads as an empty T while there is none; copies are deep.
template <class T>
class Rare {
public:
    Rare() = default;
    Rare(const Rare& other) : held(other.held ? std::make_unique<T>(*other.held) : nullptr) {}
    Rare& operator=(const Rare& other) {
        if (this != &other) held = other.held ? std::make_unique<T>(*other.held) : nullptr;
        return *this;
    }
    Rare(Rare&&) noexcept = default;
    Rare& operator=(Rare&&) noexcept = default;

    const T& get() const {
        static const T none{};
        return held ? *held : none;
    }
    // The value, made empty first when there is none.
    T& make() {
        if (!held) held = std::make_unique<T>();
        return *held;
    }
    void reset() { held.reset(); }
    bool made() const { return held != nullptr; }

private:
    std::unique_ptr<T> held;
};

template <class T>
class Option {
public:
    Option() = default;
    explicit Option(T v) : present(true), value(std::move(v)) {}

    bool exists() const { return present; }
    T& val() {
        if (!present) throw DoesNotExist("Object of type Tnot found...");
        return value;
    }
    const T& val() const {
        if (!present) throw DoesNotExist("Object of type Tnot found...");
        return value;
    }
    void set(T v) { value = std::move(v); present = true; }
    // Absent again. The value held stays for setInPlace() to fill again.
    void reset() { present = false; }
    // The value held (a fresh one unless one was set before, even when
    // reset since), marked present, for a caller that fills it in place.
    T& setInPlace() {
        present = true;
        return value;
    }

private:
    bool present = false;
    T value{};
};
