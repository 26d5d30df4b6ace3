#include "exporter/metrics_text.h"

#include <charconv>
#include <cmath>

namespace {

// The length of the valid UTF-8 sequence at the start of `text`, 0 when it
// does not start with one (overlong forms, surrogates and values past
// U+10FFFF included).
size_t Utf8Length(std::string_view text) {
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;  // range of the second byte
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0) low = 0xA0;
        if (first == 0xED) high = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0) low = 0x90;
        if (first == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (text.size() < length) return 0;
    if (byte(1) < low || byte(1) > high) return 0;
    for (size_t i = 2; i < length; ++i)
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    return length;
}

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

std::string Escape(std::string_view text, bool quote) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = Utf8Length(text);
        if (length == 0) {
            out += kReplacement;
            text.remove_prefix(1);
            continue;
        }
        const char c = text[0];
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '"' && quote)
            out += "\\\"";
        else
            out.append(text.substr(0, length));
        text.remove_prefix(length);
    }
    return out;
}

}  // namespace

std::string EscapeLabelValue(std::string_view value) { return Escape(value, true); }

std::string EscapeHelp(std::string_view text) { return Escape(text, false); }

std::string FormatValue(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string FormatValue(std::uint64_t value) { return std::to_string(value); }

void MetricText::family(std::string_view name, std::string_view type, std::string_view help) {
    text_.append("# HELP ").append(name).append(" ").append(EscapeHelp(help)).append("\n");
    text_.append("# TYPE ").append(name).append(" ").append(type).append("\n");
}

void MetricText::sample(std::string_view name, const Labels& labels, double value) {
    line(name, labels, FormatValue(value));
}

void MetricText::sample(std::string_view name, const Labels& labels, std::uint64_t value) {
    line(name, labels, FormatValue(value));
}

void MetricText::line(std::string_view name, const Labels& labels, const std::string& value) {
    text_.append(name);
    if (!labels.empty()) {
        text_ += '{';
        bool first = true;
        for (const auto& [label, labelValue] : labels) {
            if (!first) text_ += ',';
            first = false;
            text_.append(label).append("=\"").append(EscapeLabelValue(labelValue)).append("\"");
        }
        text_ += '}';
    }
    text_.append(" ").append(value).append("\n");
}
