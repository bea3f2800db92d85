/* A received log message as the one line that a collector prints.
 *
 * Threads: any; nothing is shared, nothing is allocated. */
#ifndef ORX_MONITORING_LOG_MESSAGE_FORMATTER_H
#define ORX_MONITORING_LOG_MESSAGE_FORMATTER_H

#include <stddef.h>

#include "src/Export.h"
#include "zddscore/types.h"

ZDDS_BEGIN_C

struct DDS_Monitoring_LoggingMessage;

/* Writes "[timestamp] FACILITY (sn:N) SEVERITY [activity context]rest" and a line end into the buffer, always
 * terminated. The text of the message may open with a timestamp of its own in brackets, which is then kept;
 * otherwise the message's timestamp is printed in UTC, to the microsecond. Inner line ends become blanks, and
 * GUIDs become groups of hexadecimal digits joined by dots, each with the prefix that the text abbreviated. A
 * text that cannot be read so, or that does not fit, is copied as it is, cut at the buffer's end, with a
 * warning in the log.
 *
 * size: bytes of the buffer with the terminator, 1 to 4294967295. With a null argument, or a size outside,
 * nothing is written. Of a text, the first 1023 bytes are used. Other control characters stay: who prints to
 * a terminal escapes them. */
ORX_EXPORT void ORX_MonitoringForwarder_log_message_to_string(
    const struct DDS_Monitoring_LoggingMessage* message, char* buffer, size_t size);

ZDDS_END_C

#endif
