// Names of applications in selectors. Threads: any; no state.
#ifndef COLLECTOR_SELECTOR_HPP
#define COLLECTOR_SELECTOR_HPP

#include <optional>
#include <string>
#include <string_view>

namespace collector {

// Where an expression names applications: the place of the name's octets.
struct ApplicationPlace {
    std::size_t at = 0;
    std::size_t length = 0;
};
// Of an expression whose first pair is a class that "applications" meets, at the root, or "applications"
// itself, at any depth; nothing for any other, for "*" as the name, and for a GUID.
std::optional<ApplicationPlace> applicationPlace(std::string_view expression);

// Whether the name is the text, or the text, as a pattern, matches it.
bool isNamed(const std::string& name, const std::string& text);

} // namespace collector

#endif
