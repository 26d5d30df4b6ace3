// Small text helpers shared by every layer.
#pragma once

#include <string_view>

// ASCII comparison ignoring case, as CIM compares names.
inline bool equalsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        const char x = a[i], y = b[i];
        if (x == y) continue;
        // Different bytes are the same letter only when they differ in the
        // case bit alone and are letters.
        const char lower = static_cast<char>(x | 0x20);
        if ((x ^ y) != 0x20 || lower < 'a' || lower > 'z') return false;
    }
    return true;
}
