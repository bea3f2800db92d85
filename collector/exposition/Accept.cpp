// Which format an Accept header asks for.
#include <charconv>
#include <optional>

#include "collector/exposition/Exposition.hpp"

namespace collector {

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// Takes what stands before the separator off the text.
std::string_view takePart(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

bool isSame(std::string_view text, std::string_view lowerCase) {
    if (text.size() != lowerCase.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char octet =
            text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
        if (octet != lowerCase[i])
            return false;
    }
    return true;
}

struct Range {
    std::string_view type;
    double quality = 1;
    bool isOtherVersion = false; // of OpenMetrics than we have
};

Range rangeOf(std::string_view item) {
    Range range;
    range.type = takePart(item, ';');
    while (!item.empty()) {
        std::string_view value = takePart(item, ';');
        const std::string_view name = takePart(value, '=');
        value = trimmed(value);
        if (isSame(name, "version")) {
            range.isOtherVersion = value != "1.0.0" && value != "0.0.1";
        } else if (isSame(name, "q")) {
            // What cannot be read counts as nothing asked for.
            if (std::from_chars(value.data(), value.data() + value.size(), range.quality).ec != std::errc())
                range.quality = 0;
        }
    }
    return range;
}

} // namespace

ExpositionFormat formatFor(std::string_view accept) {
    double openMetrics = 0;
    std::optional<double> text;
    while (!accept.empty()) {
        const Range range = rangeOf(takePart(accept, ','));
        if (isSame(range.type, "application/openmetrics-text")) {
            if (!range.isOtherVersion)
                openMetrics = std::max(openMetrics, range.quality);
        } else if (isSame(range.type, "text/plain") || (!text && isSame(range.type, "text/*"))) {
            text = range.quality;
        }
    }
    return openMetrics > 0 && openMetrics >= text.value_or(0) ? ExpositionFormat::openMetrics
                                                              : ExpositionFormat::text;
}

} // namespace collector
