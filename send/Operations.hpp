// The operations of the command service, and what each takes for a selector.
#ifndef SEND_OPERATIONS_HPP
#define SEND_OPERATIONS_HPP

#include <cstdint>
#include <span>
#include <string_view>

namespace send {

enum class SelectorKind {
    metrics,      // EXPRESSION=PATTERN,!PATTERN: resources, metrics on and off
    metricGroups, // EXPRESSION=PATTERN: resources and their metric groups
    levels,       // EXPRESSION=FACILITY:LEVEL: applications and their logging levels
    expression    // EXPRESSION: applications or resources
};

struct Operation {
    const char* name;
    SelectorKind kind;
    std::int32_t hash; // its label in requests and replies
    bool isServed;     // applications do something with it; they refuse or ignore the others
};
std::span<const Operation> operations();
// Null for a name that is none; '-' stands for '_'.
const Operation* findOperation(std::string_view name);

} // namespace send

#endif
