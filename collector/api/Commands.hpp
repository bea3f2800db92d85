// Commands as the API takes them, and what sends them.
//
// A body has the names of the schema. Members that are not of it, values of another type, and lists and texts
// beyond their bounds are refused with a BadRequest that tells where.
#ifndef COLLECTOR_API_COMMANDS_HPP
#define COLLECTOR_API_COMMANDS_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/api/Json.hpp"

namespace collector::api {

enum class CommandKind {
    setMetricSubscriptionState,
    updateMetricSubscriptionState,
    setLoggingCollectionLevel,
    setLoggingForwardingLevel,
    requestResourceRegistry
};
constexpr std::array<const char*, 5> commandNames{"set_metric_subscription_state",
    "update_metric_subscription_state", "set_logging_collection_level", "set_logging_forwarding_level",
    "request_resource_registry"};

struct MetricSelector {
    std::string resources;
    std::vector<std::string> subscribe;
    std::vector<std::string> unsubscribe;
};

struct LoggingGroup {
    struct Setting {
        std::uint8_t facility = 0;
        std::uint32_t verbosity = 0;
    };
    std::string applications;
    std::vector<Setting> settings;
};

// One of the three lists is what the kind wants; the others are empty.
struct Command {
    CommandKind kind = CommandKind::requestResourceRegistry;
    std::vector<MetricSelector> metrics;
    std::vector<LoggingGroup> groups;
    std::vector<std::string> applications;
};

// Reads a body, and puts for each selector those that it stands for.
using Translate = std::function<std::vector<std::string>(std::string_view selector)>;
Command commandOf(CommandKind kind, std::string_view body, const Translate& translate);

struct CommandResult {
    int retCode = 2; // of the schema: 0 done, 2 error, 3 nothing matched
    std::string errorMessage;
    std::size_t destinations = 0;
    double seconds = 0;
};

// Sends a command and waits for its result. Any thread; several at once.
class Commander {
public:
    virtual ~Commander() = default;
    virtual CommandResult send(const Command& command) = 0;
};

http::Response answerOf(const CommandResult& result);

} // namespace collector::api

#endif
