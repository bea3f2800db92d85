#include "tail/LogMessage.hpp"

#include <algorithm>
#include <cstring>

namespace tail {

namespace {

constexpr char categoryKey[] = "Zentrox"; // the entry of the structured data that the library writes

std::string facilityName(unsigned facility) {
    switch (facility) {
    case 1:
        return "user";
    case 10:
        return "security_event";
    case 22:
        return "service";
    case 23:
        return "middleware";
    default:
        return "facility_" + std::to_string(facility);
    }
}

std::string severityName(int severity) {
    static constexpr const char* names[] = {
        "EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFORMATIONAL", "DEBUG"};
    return severity >= 0 && severity < 8 ? names[severity] : "severity_" + std::to_string(severity);
}

// Every name and value of the structured data, at most so many: they come from remote.
template <typename Visit> void visitPairs(const DDS_Monitoring_LoggingMessage& message, Visit visit) {
    int left = 100;
    const auto& entries = message.structured_data;
    for (DDS_Long i = 0; i < DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries); ++i) {
        const auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, i);
        for (DDS_Long j = 0; j < DDS_Monitoring_NameValuePairSeq_get_length(&entry->pairs); ++j) {
            const auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, j);
            if (entry->key == nullptr || pair->name == nullptr || pair->value == nullptr)
                continue;
            if (left-- == 0)
                return;
            visit(entry->key, pair->name, pair->value);
        }
    }
}

bool isCategory(const char* key, const char* name) {
    return std::strcmp(key, categoryKey) == 0 && std::strcmp(name, "category") == 0;
}

std::string categoryOf(const DDS_Monitoring_LoggingMessage& message) {
    std::string category = "N/A";
    visitPairs(message, [&](const char* key, const char* name, const char* value) {
        if (isCategory(key, name))
            category = value;
    });
    return category;
}

void appendStructuredData(const DDS_Monitoring_LoggingMessage& message, std::vector<Leaf>& values) {
    visitPairs(message, [&](const char* key, const char* name, const char* value) {
        if (!isCategory(key, name))
            values.push_back({std::string("structured_data.") + key + "." + name, value, true});
    });
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
    std::string text = message.message != nullptr ? message.message : "";
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    auto& values = change.values;
    values.push_back({"facility", facilityName(message.facility), true});
    values.push_back({"severity", severityName(static_cast<int>(message.severity)), true});
    values.push_back({"sn", std::to_string(message.sn), false});
    values.push_back({"category", categoryOf(message), true});
    values.push_back({"message", std::move(text), true});
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

// The loggers of middleware and services put the level's word in front, which the head tells already.
std::string logText(const Change& change) {
    const std::string& text = valueOf(change, "message");
    const std::string word = valueOf(change, "severity") + " ";
    return escaped(text.starts_with(word) ? text.substr(word.size()) : text);
}

} // namespace tail
