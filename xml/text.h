// Small text helpers shared by every layer.
#pragma once

#include <string_view>

// ASCII comparison ignoring case, as CIM compares names.
inline bool equalsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x | 0x20);
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y | 0x20);
        if (x != y) return false;
    }
    return true;
}
