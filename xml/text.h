// Small text helpers shared by every layer.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// `n` bytes equal. The names compared are short: a tail shorter than a
// word is compared as two words that overlap, within the n bytes.
inline bool sameBytes(const char* a, const char* b, size_t n) {
    const auto word = [](const char* p, auto w) {
        std::memcpy(&w, p, sizeof w);
        return w;
    };
    if (n >= 8) {
        for (; n > 8; a += 8, b += 8, n -= 8)
            if (word(a, std::uint64_t{}) != word(b, std::uint64_t{})) return false;
        return word(a + n - 8, std::uint64_t{}) == word(b + n - 8, std::uint64_t{});
    }
    if (n >= 4)
        return word(a, std::uint32_t{}) == word(b, std::uint32_t{}) &&
               word(a + n - 4, std::uint32_t{}) == word(b + n - 4, std::uint32_t{});
    if (n >= 2)
        return word(a, std::uint16_t{}) == word(b, std::uint16_t{}) &&
               word(a + n - 2, std::uint16_t{}) == word(b + n - 2, std::uint16_t{});
    return n == 0 || *a == *b;
}

// `n` bytes equal ignoring the case of ASCII letters.
inline bool sameFolded(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        char x = a[i], y = b[i];
        if (x == y) continue;
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x | 0x20);
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y | 0x20);
        if (x != y) return false;
    }
    return true;
}

// ASCII comparison ignoring case, as CIM compares names. Most names
// compared differ in length, and most of the rest come in one spelling:
// both are looked at where this is called (inlined always: the compiler
// would otherwise make one function of it).
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline bool equalsNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           (sameBytes(a.data(), b.data(), a.size()) || sameFolded(a.data(), b.data(), a.size()));
}

// text.find(what): the first place `what` starts in `text`, or npos. Places
// are picked sixteen at a time by the first two bytes of `what` (SSE2), and
// only those are compared whole: in a rendering, where every line starts
// with '-' and dates hold two more, a search by the first byte alone stops
// at nearly every line.
inline size_t findText(std::string_view text, std::string_view what) {
    const size_t n = what.size();
    if (n < 2 || text.size() < n) return text.find(what);
    const char* const begin = text.data();
    const char* const last = begin + (text.size() - n);   // the last place `what` can start
    const char* p = begin;
#if defined(__SSE2__)
    const __m128i first = _mm_set1_epi8(what[0]), second = _mm_set1_epi8(what[1]);
    // Sixteen places from p, when the bytes at p + 1 .. p + 16 are all in the
    // text: last - p >= 16 gives p + 16 <= last, and last + n - 1 is in it.
    for (; last - p >= 16; p += 16) {
        const __m128i at0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i at1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
        unsigned hits = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(at0, first), _mm_cmpeq_epi8(at1, second))));
        while (hits != 0) {
            const char* const at = p + __builtin_ctz(hits);
            if (std::memcmp(at + 2, what.data() + 2, n - 2) == 0) return static_cast<size_t>(at - begin);
            hits &= hits - 1;
        }
    }
#endif
    for (; p <= last; ++p)
        if (p[0] == what[0] && p[1] == what[1] && std::memcmp(p + 2, what.data() + 2, n - 2) == 0)
            return static_cast<size_t>(p - begin);
    return std::string_view::npos;
}
