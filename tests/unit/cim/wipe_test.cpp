// Overwriting secrets: every byte of a text's buffer, spare capacity
// included, is zero after wipeText, and appendSecret never lets go of a
// buffer that still holds the text.
#include "cim/wipe.h"
#include "tests/unit/param_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// The bytes of the buffer a text owns, read in place. The buffer stays
// allocated after wipeText (the text is only emptied), so reading it is safe.
bool AllZero(const char* buffer, size_t length) {
    return std::all_of(buffer, buffer + length, [](char c) { return c == '\0'; });
}

struct WipeCase {
    const char* name;
    size_t length;     // of the secret
    size_t reserved;   // capacity asked for before the secret is written
};

void PrintTo(const WipeCase& c, std::ostream* os) { *os << c.name; }

class Wipe : public testing::TestWithParam<WipeCase> {};

TEST_P(Wipe, ZeroesTheWholeBufferInPlace) {
    const WipeCase& c = GetParam();
    std::string text;
    text.reserve(c.reserved);
    text.assign(c.length, 'S');
    const char* const buffer = text.data();
    const size_t capacity = text.capacity();

    wipeText(text);

    EXPECT_TRUE(text.empty());
    ASSERT_EQ(text.data(), buffer) << "the buffer must be wiped, not swapped for another";
    ASSERT_EQ(text.capacity(), capacity);
    EXPECT_TRUE(AllZero(buffer, capacity + 1));   // and the terminating zero
}

INSTANTIATE_TEST_SUITE_P(Texts, Wipe, testing::Values(
    WipeCase{"Empty", 0, 0},
    WipeCase{"ShortInsideTheObject", 6, 0},         // small-string buffer
    WipeCase{"FillsTheSmallBuffer", 15, 0},
    WipeCase{"OnTheHeap", 100000, 0},
    WipeCase{"SpareCapacityAfterShrinking", 10, 4096}), paramname::ByName());

// What was in the spare capacity before (a longer secret, since shortened)
// is gone too.
TEST(WipeText, ClearsWhatLiesBeyondTheCurrentSize) {
    std::string text(64, 'L');
    text.resize(3);
    const char* const buffer = text.data();
    ASSERT_EQ(buffer[10], 'L');
    wipeText(text);
    EXPECT_TRUE(AllZero(buffer, 65));
}

TEST(WipeText, LeavesAUsableText) {
    std::string text = "Ctl-Secret-77";
    wipeText(text);
    text += "next";
    EXPECT_EQ(text, "next");
}

TEST(WipeOnExit, WipesWhenTheScopeEnds) {
    std::string text(200, 'P');
    const char* const buffer = text.data();
    const size_t capacity = text.capacity();
    { WipeOnExit guard(text); }
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(AllZero(buffer, capacity + 1));
}

TEST(WipeOnExit, WipesWhenAnExceptionLeavesTheScope) {
    std::string text(200, 'P');
    const char* const buffer = text.data();
    const size_t capacity = text.capacity();
    try {
        WipeOnExit guard(text);
        throw 1;
    } catch (int) {
    }
    EXPECT_TRUE(AllZero(buffer, capacity + 1));
}

// appendSecret grows the text like append (the buffer it leaves is wiped
// and freed inside the call, out of a test's sight).
TEST(AppendSecret, GrowsLikeAppend) {
    std::string text;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        const char c = static_cast<char>('a' + i % 26);
        appendSecret(text, std::string_view(&c, 1));
        expected.push_back(c);
    }
    appendSecret(text, "");
    appendSecret(text, std::string(70000, 'z'));
    expected.append(70000, 'z');
    EXPECT_EQ(text, expected);
}

TEST(AppendSecret, StaysInPlaceWhileThereIsRoom) {
    std::string text;
    text.reserve(100);
    text = "root:";
    const char* const buffer = text.data();
    appendSecret(text, "secret");
    EXPECT_EQ(text.data(), buffer);
    EXPECT_EQ(text, "root:secret");
}

}  // namespace
