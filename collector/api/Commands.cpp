#include "collector/api/Commands.hpp"

#include <cmath>
#include <initializer_list>
#include <optional>

#include "collector/api/Names.hpp"
#include "orxmonitoring2d/path_tokenizer.h"
#include "zddsc/service_request.h"

namespace collector::api {

namespace {

constexpr std::size_t maximalSelectors = 256; // in a body
constexpr std::size_t maximalPatterns = 256;  // of one selector
constexpr std::size_t maximalSettings = 64;   // of one group
constexpr std::size_t maximalPattern = 255;

// Octets of the encoding, at most. A command is sent as a whole to each of its destinations, and one that is
// larger than this cannot be sent.
constexpr std::size_t maximalCommand = DDS_SERVICE_REQUEST_MAX_BODY_BYTESI;
constexpr std::size_t sizeOfFrame = 256;  // around the selectors
constexpr std::size_t sizeOfElement = 32; // of a sequence, beside its texts
std::size_t sizeOfText(const std::string& text) {
    return text.size() + 8; // length, terminator, padding
}

// The object at `where`, which has only these members.
const Json& objectAt(const Json& json, const std::string& where, std::initializer_list<const char*> members) {
    if (!json.is_object())
        throw BadRequest(where + " is no object");
    for (const auto& [name, value] : json.items()) {
        bool isKnown = false;
        for (const char* member : members)
            isKnown = isKnown || name == member;
        if (!isKnown)
            throw BadRequest(where + " has a member \"" + name + "\", which is not known");
    }
    return json;
}

const Json& listAt(const Json& object, const char* name, const std::string& where, std::size_t most) {
    static const Json none = Json::array();
    if (!object.contains(name))
        return none;
    const Json& list = object[name];
    if (!list.is_array())
        throw BadRequest(where + "." + name + " is no array");
    if (list.size() > most)
        throw BadRequest(where + "." + name + " has more than " + std::to_string(most) + " elements");
    return list;
}

// A list without which there would be nothing to do.
const Json& wantedListAt(const Json& body, const char* name) {
    const Json& list = listAt(body, name, "the body", maximalSelectors);
    if (list.empty())
        throw BadRequest(std::string("the body wants \"") + name + "\", with one element at least");
    return list;
}

std::string textOf(const Json& json, const std::string& where, std::size_t longest) {
    if (!json.is_string())
        throw BadRequest(where + " is no text");
    auto text = json.get<std::string>();
    if (text.empty() || text.size() > longest)
        throw BadRequest(where + " has no text of 1 to " + std::to_string(longest) + " bytes");
    if (text.find('\0') != std::string::npos)
        throw BadRequest(where + " holds a zero octet");
    return text;
}

std::string selectorAt(const Json& object, const char* name, const std::string& where) {
    if (!object.contains(name))
        throw BadRequest(where + " has no \"" + name + "\"");
    return textOf(object[name], where + "." + name, ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH);
}

std::vector<std::string> patternsAt(const Json& object, const char* name, const std::string& where) {
    std::vector<std::string> patterns;
    for (const Json& each : listAt(object, name, where, maximalPatterns))
        patterns.push_back(textOf(each, where + "." + name, maximalPattern));
    return patterns;
}

std::uint8_t facilityAt(const Json& setting, const std::string& where) {
    const Json& json = setting.contains("facility") ? setting["facility"] : Json();
    if (json.is_string()) {
        if (const auto facility = facilityOf(json.get<std::string>()))
            return *facility;
    } else if (json.is_number_unsigned() && json.get<std::uint64_t>() <= 255) {
        return json.get<std::uint8_t>();
    }
    throw BadRequest(where + ".facility is no facility: user, security, service, middleware, or 0 to 255");
}

std::uint32_t verbosityAt(const Json& setting, const std::string& where) {
    const Json& json = setting.contains("verbosity") ? setting["verbosity"] : Json();
    if (json.is_string()) {
        if (const auto verbosity = verbosityOf(json.get<std::string>()))
            return *verbosity;
    } else if (json.is_number_unsigned() && isVerbosity(json.get<std::uint64_t>())) {
        return json.get<std::uint32_t>();
    }
    throw BadRequest(where +
                     ".verbosity is no level: silent, emergency, alert, critical, error, warning, notice, "
                     "informational, debug, or the mask of one");
}

// Puts for a selector those that it stands for. A name stands for each application that is called so, and
// each of these selectors brings all that stands beside it, so their sum is bounded.
class Translation {
public:
    explicit Translation(const Translate& translate) : translate_(translate) {}
    // `besides`: octets that each of them takes more.
    std::vector<std::string> operator()(const std::string& selector, std::size_t besides) {
        std::vector<std::string> translated = translate_(selector);
        for (const std::string& each : translated)
            size_ += sizeOfElement + sizeOfText(each) + besides;
        if (size_ > maximalCommand) {
            throw BadRequest("the command would have more than " + std::to_string(maximalCommand) +
                             " bytes, with a selector for each application that the selectors name: send it "
                             "in parts");
        }
        return translated;
    }

private:
    const Translate& translate_;
    std::size_t size_ = sizeOfFrame;
};

std::size_t sizeOfTexts(const std::vector<std::string>& texts) {
    std::size_t size = 0;
    for (const std::string& each : texts)
        size += sizeOfText(each);
    return size;
}

void readMetrics(Command& command, const Json& body, Translation& translate) {
    objectAt(body, "the body", {"metrics"});
    std::size_t number = 0;
    for (const Json& each : wantedListAt(body, "metrics")) {
        const std::string where = "metrics[" + std::to_string(number++) + "]";
        objectAt(
            each, where, {"resource_selector", "subscribe_metric_selector", "unsubscribe_metric_selector"});
        MetricSelector selector;
        selector.subscribe = patternsAt(each, "subscribe_metric_selector", where);
        selector.unsubscribe = patternsAt(each, "unsubscribe_metric_selector", where);
        const std::size_t patterns = sizeOfTexts(selector.subscribe) + sizeOfTexts(selector.unsubscribe);
        for (std::string& resources : translate(selectorAt(each, "resource_selector", where), patterns)) {
            selector.resources = std::move(resources);
            command.metrics.push_back(selector);
        }
    }
}

void readGroups(Command& command, const Json& body, Translation& translate) {
    objectAt(body, "the body", {"logging_groups"});
    std::size_t number = 0;
    for (const Json& each : wantedListAt(body, "logging_groups")) {
        const std::string where = "logging_groups[" + std::to_string(number++) + "]";
        objectAt(each, where, {"application_selector", "logging_settings"});
        LoggingGroup group;
        for (const Json& setting : listAt(each, "logging_settings", where, maximalSettings)) {
            const std::string at = where + ".logging_settings[" + std::to_string(group.settings.size()) + "]";
            objectAt(setting, at, {"facility", "verbosity"});
            group.settings.push_back({facilityAt(setting, at), verbosityAt(setting, at)});
        }
        if (group.settings.empty())
            throw BadRequest(where + " wants \"logging_settings\", with one element at least");
        const std::size_t settings = group.settings.size() * sizeOfElement;
        for (std::string& applications :
            translate(selectorAt(each, "application_selector", where), settings)) {
            group.applications = std::move(applications);
            command.groups.push_back(group);
        }
    }
}

void readApplications(Command& command, const Json& body, Translation& translate) {
    objectAt(body, "the body", {"applications"});
    for (const Json& each : wantedListAt(body, "applications")) {
        for (std::string& selector :
            translate(textOf(each, "applications", ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH), 0))
            command.applications.push_back(std::move(selector));
    }
}

} // namespace

Command commandOf(CommandKind kind, std::string_view text, const Translate& translate) {
    const Json body = parse(text);
    Translation translation(translate);
    Command command;
    command.kind = kind;
    switch (kind) {
    case CommandKind::setMetricSubscriptionState:
    case CommandKind::updateMetricSubscriptionState:
        readMetrics(command, body, translation);
        break;
    case CommandKind::setLoggingCollectionLevel:
    case CommandKind::setLoggingForwardingLevel:
        readGroups(command, body, translation);
        break;
    case CommandKind::requestResourceRegistry:
        readApplications(command, body, translation);
        break;
    }
    return command;
}

http::Response answerOf(const CommandResult& result) {
    constexpr int done = 0;
    constexpr int nothingMatched = 3;
    const Json json{{"ret_code", result.retCode}, {"error_message", result.errorMessage},
        {"destinations", result.destinations}, {"duration_seconds", std::round(result.seconds * 1e6) / 1e6}};
    if (result.retCode == done)
        return answer(json);
    const bool isNothing = result.retCode == nothingMatched;
    const std::string message = !result.errorMessage.empty() ? result.errorMessage
                                : isNothing                  ? "nothing matched the selectors"
                                                             : "the command failed";
    return answer({{"error", {{"code", isNothing ? "nothing_matched" : "command_failed"},
                                 {"message", message}, {"result", json}}}},
        isNothing ? 404 : 422);
}

} // namespace collector::api
