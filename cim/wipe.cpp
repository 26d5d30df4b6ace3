#include "cim/wipe.h"

#include <string.h>

#include <algorithm>

void wipeText(std::string& text) {
    // Growing to the capacity never reallocates, and makes the spare bytes
    // part of the text, so that they may be written.
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

void appendSecret(std::string& text, std::string_view more) {
    const size_t needed = text.size() + more.size();
    if (needed > text.capacity()) {
        std::string grown;
        grown.reserve(std::max(needed, 2 * text.capacity()));
        grown.append(text);
        wipeText(text);
        text.swap(grown);   // the wiped buffer leaves with `grown`
    }
    text.append(more);
}
