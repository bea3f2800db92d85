// JSON from a collector, taken as anybody's: its depth is bounded, and members may be missing or of any type.
// Threads: any.
#ifndef CTL_JSON_HPP
#define CTL_JSON_HPP

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace ctl {

// Members keep the order in which they came.
using Json = nlohmann::ordered_json;

// Nothing for a text that is no JSON, or is nested deeper than any answer of a collector.
std::optional<Json> parseJson(std::string_view text);

// The member, or null. The reference lives as long as the object.
const Json& member(const Json& object, const char* name);
// A text member; anything else gives an empty text.
std::string textOf(const Json& object, const char* name);
// A member as people read it: texts without quotes, nothing for null, arrays with commas.
std::string shownOf(const Json& object, const char* name);
std::string shown(const Json& value);
// The elements of an array member; nothing when it is none.
const Json::array_t& elementsOf(const Json& object, const char* name);

// On one line (indent below 0) or indented. ASCII alone, so that it may go to any terminal; octets that are
// no UTF-8 become the replacement character.
std::string dumped(const Json& value, int indent = -1);

} // namespace ctl

#endif
