// A log message as a change: its leaves in the order in which a person wants them.
#ifndef TAIL_LOG_MESSAGE_HPP
#define TAIL_LOG_MESSAGE_HPP

#include <string>

#include "orxmonitoring2d/data_model.h"
#include "tail/Change.hpp"

namespace tail {

// Sets time and values: facility and severity by name, sn, category, message, and what else it has.
void setLogMessage(Change& change, const DDS_Monitoring_LoggingMessage& message);

// "facility severity  sn=N  category", and the text behind it; escaped. Of a change made by the function
// above.
std::string logHead(const Change& change);
std::string logText(const Change& change);

} // namespace tail

#endif
