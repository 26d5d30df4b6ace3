// The Prometheus text exposition format (version 0.0.4): metric families
// written one after another, each with its # HELP and # TYPE lines, label
// values and help texts escaped as the format wants them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The content type of a reply in this format.
constexpr const char* kMetricsContentType = "text/plain; version=0.0.4; charset=utf-8";

// A label value as it goes between the quotes: backslash, double quote and
// line feed escaped; bytes that are not UTF-8 become U+FFFD, since the
// format is UTF-8 and a scraper refuses anything else.
std::string EscapeLabelValue(std::string_view value);

// A help text: backslash and line feed escaped (and UTF-8 made valid).
std::string EscapeHelp(std::string_view text);

// A sample value: integers in full, other numbers in their shortest exact
// decimal form, NaN and the infinities as the format spells them.
std::string FormatValue(double value);
std::string FormatValue(std::uint64_t value);

using Labels = std::vector<std::pair<std::string, std::string>>;

// Builds the text. Each family is opened once (family) and its samples follow
// (sample) before the next family opens; a family may be left without
// samples.
class MetricText {
public:
    // `type` is "gauge", "counter", "histogram", "summary" or "untyped".
    void family(std::string_view name, std::string_view type, std::string_view help);
    void sample(std::string_view name, const Labels& labels, double value);
    void sample(std::string_view name, const Labels& labels, std::uint64_t value);
    void sample(std::string_view name, double value) { sample(name, Labels(), value); }

    const std::string& text() const { return text_; }
    std::string take() { return std::move(text_); }

private:
    void line(std::string_view name, const Labels& labels, const std::string& value);
    std::string text_;
};
