// Names of the cases of a parameterised test. Without a name generator
// GoogleTest numbers the cases and shows the bytes of each row beside them
// (`16-byte object <DD-F4 ...>`), which change from build to build. With
// these, a case is named by its row's index, '_' and a label made from the
// row, letters, digits and '_' only: "3_CimStatusHeader".
//
//   INSTANTIATE_TEST_SUITE_P(Table, Suite, Values(...), paramname::ByName());
//       the label is the row's `name` member;
//   INSTANTIATE_TEST_SUITE_P(Table, Suite, Values(...),
//                            paramname::Numbered([](const Row& r) { return r.reply; }));
//       the label is made from what the function returns.
//
// The index first keeps the names unique and none the start of another
// (`/3_x` is not found in `/3_xy` of another row, nor in `/13_x`), so the
// name CTest shows for a case, given to `ctest -R`, selects that case alone.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <string_view>
#include <type_traits>

namespace paramname {

// `text` made fit for a test name: letters and digits stay, every run of
// other bytes becomes one '_', none at either end; at most `limit` bytes.
inline std::string Clean(std::string_view text, size_t limit = 40) {
    std::string name;
    bool gap = false;
    for (const char c : text) {
        if (name.size() >= limit) break;
        if (std::isalnum(static_cast<unsigned char>(c))) {
            if (gap && !name.empty()) name += '_';
            name += c;
            gap = false;
        } else {
            gap = true;
        }
    }
    return name;
}

// What a label function may return, as text: a string (a null pointer as
// "null"), a character, or a number.
inline std::string Text(const char* text) { return text ? text : "null"; }
inline std::string Text(std::string_view text) { return std::string(text); }
inline std::string Text(const std::string& text) { return text; }
inline std::string Text(char c) { return std::string(1, c); }
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
std::string Text(Number n) {
    return std::to_string(n);
}

// The index, '_' and the label `label(row)`, cleaned ("3_" when nothing of
// it is left: never the bare index, which CTest would replace with the
// row's bytes again).
template <class Label>
struct Numbered {
    explicit Numbered(Label label) : label(label) {}
    template <class Row>
    std::string operator()(const ::testing::TestParamInfo<Row>& info) const {
        return std::to_string(info.index) + "_" + Clean(Text(label(info.param)));
    }
    Label label;
};

// The label is the row's `name` member.
struct RowName {
    template <class Row>
    const auto& operator()(const Row& row) const { return row.name; }
};
inline Numbered<RowName> ByName() { return Numbered<RowName>(RowName{}); }

}  // namespace paramname
