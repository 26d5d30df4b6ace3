// Overwriting secrets: every byte of a text's buffer, spare capacity
// included, is zero after wipeText, and appendSecret grows a text like
// append.
#include "cim/wipe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// The bytes of the buffer a text owns, read in place: the buffer stays
// allocated after wipeText (the text is only emptied), so reading it is safe.
bool AllZero(const char* buffer, size_t length) {
    return std::all_of(buffer, buffer + length, [](char c) { return c == '\0'; });
}

struct WipeCase {
    const char* name;
    size_t length;     // of the secret
    size_t reserved;   // capacity asked for before the secret is written
    size_t shortened;  // length it is cut to before the wipe
};

void PrintTo(const WipeCase& c, std::ostream* os) { *os << c.name; }

class Wipe : public testing::TestWithParam<WipeCase> {};

TEST_P(Wipe, ZeroesTheWholeBufferInPlace) {
    const WipeCase& c = GetParam();
    std::string text;
    text.reserve(c.reserved);
    text.assign(c.length, 'S');
    text.resize(c.shortened);   // what lay beyond the current size must go too
    const char* const buffer = text.data();
    const size_t capacity = text.capacity();
    wipeText(text);
    EXPECT_TRUE(text.empty());
    ASSERT_EQ(text.data(), buffer) << "the buffer must be wiped, not swapped for another";
    ASSERT_EQ(text.capacity(), capacity);
    EXPECT_TRUE(AllZero(buffer, capacity + 1));   // and the terminating zero
    text += "next";
    EXPECT_EQ(text, "next");
}

INSTANTIATE_TEST_SUITE_P(Texts, Wipe, testing::Values(
    WipeCase{"Empty", 0, 0, 0}, WipeCase{"ShortInsideTheObject", 6, 0, 6},   // small-string buffer
    WipeCase{"FillsTheSmallBuffer", 15, 0, 15}, WipeCase{"OnTheHeap", 100000, 0, 100000},
    WipeCase{"SpareCapacity", 10, 4096, 10}, WipeCase{"Shortened", 64, 0, 3}),
    [](const testing::TestParamInfo<WipeCase>& info) { return std::string(info.param.name); });

TEST(WipeOnExit, WipesHoweverTheScopeEnds) {
    for (const bool thrown : {false, true}) {
        std::string text(200, 'P');
        const char* const buffer = text.data();
        const size_t capacity = text.capacity();
        try {
            WipeOnExit guard(text);
            if (thrown) throw 1;
        } catch (int) {
        }
        EXPECT_TRUE(text.empty());
        EXPECT_TRUE(AllZero(buffer, capacity + 1)) << thrown;
    }
}

// The buffer appendSecret leaves is wiped and freed inside the call, out of
// a test's sight; while there is room it stays in place.
TEST(AppendSecret, GrowsLikeAppend) {
    std::string text, expected;
    text.reserve(100);
    const char* const buffer = text.data();
    appendSecret(text, "root:secret");
    EXPECT_EQ(text.data(), buffer);
    expected = "root:secret";
    for (int i = 0; i < 5000; ++i) {
        const char c = static_cast<char>('a' + i % 26);
        appendSecret(text, std::string_view(&c, 1));
        expected.push_back(c);
    }
    appendSecret(text, "");
    appendSecret(text, std::string(70000, 'z'));
    EXPECT_EQ(text, expected + std::string(70000, 'z'));
}

}  // namespace
