// Log messages: names of their severities, and the parts of one that people read.
//
// What is given points into the message or is static. Threads: any; no state.
#ifndef READING_LOG_MESSAGES_HPP
#define READING_LOG_MESSAGES_HPP

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include "orxmonitoring2d/dds_logging.h"

namespace reading {

// By severity, the worst first.
constexpr std::array<std::string_view, 8> severityNames{
    "emergency", "alert", "critical", "error", "warning", "notice", "informational", "debug"};
// The same as loggers write them in front of a text.
constexpr std::array<std::string_view, 8> severityWords{
    "EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFORMATIONAL", "DEBUG"};
// Empty for a number that no severity has: such a message can come from remote.
std::string_view severityWord(DDS_Monitoring_LoggingLevel severity);

struct StructuredDatum {
    std::string_view entry;
    std::string_view name;
    std::string_view value;
    // The category that the library writes, which categoryOf gives.
    bool isCategory() const;
};
// All that is complete; of a message with more than so many entries and pairs, the first of them.
constexpr std::size_t mostStructuredData = 100;
std::vector<StructuredDatum> structuredDataOf(const DDS_Monitoring_LoggingMessage& message);

// The first category of the structured data, and "N/A" of a message without one.
std::string_view categoryOf(const DDS_Monitoring_LoggingMessage& message);

// The text without line feeds at its end. The loggers of the middleware and of services put the level's word
// in front of it, which the severity tells already: it is left out, once; users' texts stay what they are.
std::string_view textOf(const DDS_Monitoring_LoggingMessage& message);

} // namespace reading

#endif
