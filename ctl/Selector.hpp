// What a person writes for resources, as the path expressions that a collector takes.
//
// A PATH is an expression when it has a '/', a GUID when it looks like one, and else the name of an
// application, in which pattern characters hold too. Threads: any.
#ifndef CTL_SELECTOR_HPP
#define CTL_SELECTOR_HPP

#include <optional>
#include <string>
#include <vector>

namespace ctl {

// "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D" of that text in either case, or of "GUID(...)" around it.
std::optional<std::string> guidOf(const std::string& path);

// The resource or resources themselves.
std::string expressionOf(const std::string& path);
// The same and all below them, in the order in which they are best asked for.
std::vector<std::string> subtreeExpressionsOf(const std::string& path);
// What a command about metrics goes to: a name stands for the whole application, an expression for itself.
std::vector<std::string> metricSelectorsOf(const std::string& path);
// For a name that no application has: resources of any class with that name. Nothing for other paths.
std::optional<std::string> anyResourceNamed(const std::string& path);

} // namespace ctl

#endif
