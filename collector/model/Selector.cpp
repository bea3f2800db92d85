#include "collector/model/Selector.hpp"

#include <algorithm>

#include "orxmonitoring2d/path_tokenizer.h"
#include "zddscore/text.h"

namespace collector {

namespace {

constexpr const char* applications = "applications";

// Components up to the end or to the next "//".
std::size_t componentsOf(std::string_view section) {
    section = section.substr(0, section.find("//"));
    if (section.ends_with('/'))
        section.remove_suffix(1);
    return section.empty() ? 0
                           : 1 + static_cast<std::size_t>(std::count(section.begin(), section.end(), '/'));
}

} // namespace

std::optional<ApplicationPlace> applicationPlace(std::string_view expression) {
    const bool isAtAnyDepth = expression.starts_with("//");
    const std::size_t first = isAtAnyDepth ? 2 : expression.starts_with('/') ? 1 : 0;
    const std::string_view section = expression.substr(first);
    const std::size_t slash = section.find('/');
    if (slash == std::string_view::npos || section.substr(slash).starts_with("//"))
        return std::nullopt;
    // A section with an odd number of components begins with a name.
    if (isAtAnyDepth && componentsOf(section) % 2 != 0)
        return std::nullopt;
    const std::string classPattern(section.substr(0, slash));
    const bool isMet = isAtAnyDepth ? classPattern == applications
                                    : REDAString_fnmatch(classPattern.c_str(), applications, 0) == 0;
    const std::string_view name = section.substr(slash + 1, section.find('/', slash + 1) - slash - 1);
    if (!isMet || name.empty() || name == "*" || name.starts_with("GUID("))
        return std::nullopt;
    return ApplicationPlace{first + slash + 1, name.size()};
}

bool isNamed(const std::string& name, const std::string& text) {
    return name == text || REDAString_fnmatch(text.c_str(), name.c_str(), 0) == 0;
}

} // namespace collector
