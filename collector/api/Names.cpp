#include "collector/api/Names.hpp"

#include <charconv>

#include "reading/LogMessages.hpp"
#include "reading/Words.hpp"

namespace collector::api {

namespace {

using reading::severityNames;

template <typename Number> std::optional<Number> numberOf(std::string_view text, std::uint32_t most) {
    std::uint32_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || number > most)
        return std::nullopt;
    return static_cast<Number>(number);
}

} // namespace

Json facilityJson(std::uint8_t facility) {
    const std::string_view name = reading::facilityName(facility);
    return name.empty() ? Json(facility) : Json(name);
}

std::string facilityText(std::uint8_t facility) {
    const Json json = facilityJson(facility);
    return json.is_string() ? json.get<std::string>() : std::to_string(facility);
}

std::optional<std::uint8_t> facilityOf(std::string_view text) {
    if (const reading::Facility* const known = reading::facilityNamed(text))
        return known->number;
    return numberOf<std::uint8_t>(text, 255);
}

Json severityJson(std::uint32_t severity) {
    return severity < severityNames.size() ? Json(severityNames[severity]) : Json(severity);
}

std::optional<std::uint32_t> severityOf(std::string_view text) {
    for (std::uint32_t i = 0; i < severityNames.size(); ++i) {
        if (severityNames[i] == text)
            return i;
    }
    return numberOf<std::uint32_t>(text, severityNames.size() - 1);
}

Json verbosityJson(std::uint32_t verbosity) {
    if (verbosity == 0)
        return "silent";
    for (std::uint32_t i = 0; i < severityNames.size(); ++i) {
        if (verbosity == (2U << i) - 1)
            return severityNames[i];
    }
    return verbosity;
}

std::optional<std::uint32_t> verbosityOf(std::string_view name) {
    if (name == "silent")
        return 0;
    for (std::uint32_t i = 0; i < severityNames.size(); ++i) {
        if (severityNames[i] == name)
            return (2U << i) - 1;
    }
    return std::nullopt;
}

bool isVerbosity(std::uint64_t number) {
    return number <= 255 && (number & (number + 1)) == 0;
}

} // namespace collector::api
