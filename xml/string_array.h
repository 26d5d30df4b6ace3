// An ordered list of strings: namespace components, attribute tables,
// multi-valued arguments.
#pragma once

#include <string>
#include <vector>

class StringArray : public std::vector<std::string> {
public:
    using std::vector<std::string>::vector;

    void add(std::string s) { push_back(std::move(s)); }

    // Appends every element followed by `terminator`, with `separator`
    // between two elements (not after the last).
    void toStringBuffer(std::string& sb, const char* separator, const char* terminator) const {
        for (size_t i = 0; i < size(); ++i) {
            if (i) sb += separator;
            sb += (*this)[i];
            sb += terminator;
        }
    }
};
