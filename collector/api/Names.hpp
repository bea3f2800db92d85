// Facilities, severities and verbosities by the names that the API gives them. Numbers without a name are
// numbers in JSON, too.
#ifndef COLLECTOR_API_NAMES_HPP
#define COLLECTOR_API_NAMES_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/api/Json.hpp"

namespace collector::api {

// "user", or the number: as a text where a name is wanted, such as that of a member.
std::string facilityText(std::uint8_t facility);
Json facilityJson(std::uint8_t facility);
std::optional<std::uint8_t> facilityOf(std::string_view text);
// Severity of a message: 0, the worst, to 7.
Json severityJson(std::uint32_t severity);
std::optional<std::uint32_t> severityOf(std::string_view text);
// A verbosity is the mask of the severities that it lets pass: "silent" 0 to "debug" 255.
Json verbosityJson(std::uint32_t verbosity);
std::optional<std::uint32_t> verbosityOf(std::string_view name);
bool isVerbosity(std::uint64_t number);

} // namespace collector::api

#endif
