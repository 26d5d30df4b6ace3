// Overwriting secrets (passwords, and texts that carry one) before their
// memory is let go, so that they do not linger in freed heap blocks.
#pragma once

#include <string>
#include <string_view>

// Zeroes every byte of the text's buffer, its spare capacity included, and
// leaves the text empty (the buffer stays allocated).
void wipeText(std::string& text);

// Appends `more`; when the text must grow, the old buffer is wiped before it
// is freed, so no partial copy stays behind.
void appendSecret(std::string& text, std::string_view more);

// Wipes a text at the end of the scope, however the scope is left.
class WipeOnExit {
public:
    explicit WipeOnExit(std::string& text) : text_(text) {}
    ~WipeOnExit() { wipeText(text_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

private:
    std::string& text_;
};
