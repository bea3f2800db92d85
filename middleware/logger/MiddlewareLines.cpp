// The middleware's own lines, as messages of the facility middleware.
//
// A precondition and an error are of level ERROR, a warning WARNING, a status INFORMATIONAL, the rest DEBUG.
// The text is the level's word, the module's name as the category, and the line's text, without the line
// break that many subjects end in; the message's id is the number of the module. Nothing here waits or
// allocates: the line is formatted already.
#include "middleware/logger/Text.hpp"
#include "zddscore/log.h"

namespace zdds::logger {
namespace {

// Null for a module that is not of the middleware.
const char* categoryOf(ORX_UINT32 module) {
    switch (module) {
    case ORX_LOG_MODULE_DDS:
        return "DDS";
    case ORX_LOG_MODULE_SUPPORT:
        return "Support";
    case ORX_LOG_MODULE_MONITORING:
        return "Monitoring";
    default:
        return nullptr;
    }
}

ZDDS_Config_LogLevel levelOf(ORX_UINT32 bit) {
    if ((bit & (ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR)) != 0)
        return ZDDS_CONFIG_LOG_LEVEL_ERROR;
    if ((bit & ORX_LOG_BIT_WARNING) != 0)
        return ZDDS_CONFIG_LOG_LEVEL_WARNING;
    return (bit & ORX_LOG_BIT_STATUS) != 0 ? ZDDS_CONFIG_LOG_LEVEL_INFORMATIONAL
                                           : ZDDS_CONFIG_LOG_LEVEL_DEBUG;
}

// The message without the line breaks at its end.
const char* textOf(
    TextBuffer& buffer, ZDDS_Config_LogLevel level, const char* category, const ORXLogLine& line) {
    std::size_t length =
        composeText(buffer, ZDDS_Config_SyslogLevel_from_log_level(level), category, line.message);
    while (buffer.bytes[length - 1] == '\n') // the level's word stands in front
        --length;
    buffer.bytes[length] = '\0';
    return buffer.bytes;
}

} // namespace

void onMiddlewareLine(void* context, const ORXLogLine* line) {
    const auto& self = *static_cast<const ZDDS_Config_Logger*>(context);
    const char* category = categoryOf(line->module);
    if (category == nullptr || !mayDeliver())
        return;
    const ZDDS_Config_LogLevel level = levelOf(line->level);
    const auto verbosity =
        ZDDS_Config_Logger_get_verbosity_by_facility(&self, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE);
    if ((verbosity & level) == 0)
        return;
    TextBuffer buffer;
    deliver({.text = textOf(buffer, level, category, *line),
        .level = level,
        .is_security_message = DDS_BOOLEAN_FALSE,
        .message_id = line->module,
        .timestamp = timeOf(line->timeNs),
        .facility = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE});
}

} // namespace zdds::logger
