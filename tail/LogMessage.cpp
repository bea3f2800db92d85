#include "tail/LogMessage.hpp"

#include <algorithm>
#include <string_view>

#include "reading/LogMessages.hpp"
#include "reading/Words.hpp"

namespace tail {

namespace {

std::string facilityName(unsigned facility) {
    const std::string_view name = reading::facilityName(facility);
    return name.empty() ? "facility_" + std::to_string(facility) : std::string(name);
}

std::string severityName(DDS_Monitoring_LoggingLevel severity) {
    const std::string_view word = reading::severityWord(severity);
    return word.empty() ? "severity_" + std::to_string(static_cast<int>(severity)) : std::string(word);
}

void appendStructuredData(const DDS_Monitoring_LoggingMessage& message, std::vector<Leaf>& values) {
    for (const auto& each : reading::structuredDataOf(message)) {
        if (!each.isCategory())
            values.push_back({"structured_data." + std::string(each.entry) + "." + std::string(each.name),
                std::string(each.value), true});
    }
}

const std::string& valueOf(const Change& change, const char* path) {
    static const std::string none;
    const auto leaf = std::find_if(
        change.values.begin(), change.values.end(), [&](const Leaf& each) { return each.path == path; });
    return leaf != change.values.end() ? leaf->text : none;
}

} // namespace

void setLogMessage(Change& change, const DDS_Monitoring_LoggingMessage& message) {
    change.kind = ChangeKind::log;
    constexpr std::int64_t latest = 9'000'000'000; // seconds that fit as nanoseconds
    if (message.timestamp.sec > 0 && message.timestamp.sec < latest)
        change.timeNs = std::int64_t{message.timestamp.sec} * 1'000'000'000 + message.timestamp.nanosec;
    auto& values = change.values;
    values.push_back({"facility", facilityName(message.facility), true});
    values.push_back({"severity", severityName(message.severity), true});
    values.push_back({"sn", std::to_string(message.sn), false});
    values.push_back({"category", std::string(reading::categoryOf(message)), true});
    values.push_back({"message", std::string(reading::textOf(message)), true});
    values.push_back({"msgid", message.msgid != nullptr ? message.msgid : "", true});
    for (const auto& [name, value] : {std::pair{"hostname", message.hostname}, {"hostip", message.hostip},
             {"appname", message.appname}, {"procid", message.procid}}) {
        if (value != nullptr)
            values.push_back({name, value, true});
    }
    appendStructuredData(message, values);
}

std::string logHead(const Change& change) {
    return valueOf(change, "facility") + " " + valueOf(change, "severity") + "  sn=" + valueOf(change, "sn") +
           "  " + escaped(valueOf(change, "category"));
}

std::string logText(const Change& change) {
    return escaped(valueOf(change, "message"));
}

} // namespace tail
