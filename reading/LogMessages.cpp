#include "reading/LogMessages.hpp"

#include "zddsc/logger.h"

namespace reading {

std::string_view severityWord(DDS_Monitoring_LoggingLevel severity) {
    const auto number = static_cast<std::size_t>(severity);
    return number < severityWords.size() ? severityWords[number] : std::string_view();
}

bool StructuredDatum::isCategory() const {
    return entry == "Zentrox" && name == "category";
}

std::vector<StructuredDatum> structuredDataOf(const DDS_Monitoring_LoggingMessage& message) {
    std::vector<StructuredDatum> data;
    std::size_t seen = 0;
    const auto& entries = message.structured_data;
    for (DDS_Long i = 0; i < DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries); ++i) {
        if (seen++ >= mostStructuredData)
            return data;
        const auto* const entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, i);
        const DDS_Long pairs = DDS_Monitoring_NameValuePairSeq_get_length(&entry->pairs);
        for (DDS_Long j = 0; j < pairs; ++j) {
            if (seen++ >= mostStructuredData)
                return data;
            const auto* const pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, j);
            if (entry->key != nullptr && pair->name != nullptr && pair->value != nullptr)
                data.push_back({entry->key, pair->name, pair->value});
        }
    }
    return data;
}

std::string_view categoryOf(const DDS_Monitoring_LoggingMessage& message) {
    for (const StructuredDatum& each : structuredDataOf(message)) {
        if (each.isCategory())
            return each.value;
    }
    return "N/A";
}

std::string_view textOf(const DDS_Monitoring_LoggingMessage& message) {
    std::string_view text = message.message != nullptr ? message.message : "";
    while (text.ends_with('\n'))
        text.remove_suffix(1);
    const bool hasWord = message.facility == ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE ||
                         message.facility == ZDDS_CONFIG_LOG_FACILITY_SERVICE;
    const std::string_view word = severityWord(message.severity);
    if (hasWord && !word.empty() && text.starts_with(word) && text.substr(word.size()).starts_with(' '))
        text.remove_prefix(word.size() + 1);
    return text;
}

} // namespace reading
