#include "send/Operations.hpp"

#include <algorithm>
#include <string>

#include "src/dataModel/IdHash.hpp"

namespace send {

namespace {

consteval Operation operation(const char* name, SelectorKind kind, bool isServed) {
    return {name, kind, orx::dataModel::operationHash(name), isServed};
}

constexpr Operation table[] = {
    operation("set_metric_subscription_state", SelectorKind::metrics, true),
    operation("update_metric_subscription_state", SelectorKind::metrics, true),
    operation("set_logging_collection_level", SelectorKind::levels, true),
    operation("set_logging_forwarding_level", SelectorKind::levels, true),
    operation("request_resource_registry", SelectorKind::expression, true),
    operation("subscribe", SelectorKind::metricGroups, false),
    operation("unsubscribe", SelectorKind::metricGroups, false),
    operation("request_snapshot", SelectorKind::metricGroups, false),
    operation("request_logging_snapshot", SelectorKind::expression, false),
    operation("request_event_subscription_snapshot", SelectorKind::expression, false),
    operation("pause_subscription", SelectorKind::expression, false),
    operation("resume_subscription", SelectorKind::expression, false),
};

} // namespace

std::span<const Operation> operations() {
    return table;
}

const Operation* findOperation(std::string_view name) {
    std::string underscored(name);
    std::replace(underscored.begin(), underscored.end(), '-', '_');
    const auto* found = std::find_if(
        std::begin(table), std::end(table), [&](const Operation& each) { return underscored == each.name; });
    return found == std::end(table) ? nullptr : found;
}

} // namespace send
