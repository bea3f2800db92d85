/* The collector's side of monitoring: what a forwarder knows of the applications that it reads, and how a
 * received log message is printed. */
#ifndef ORXMONITORING2D_FORWARDER_H
#define ORXMONITORING2D_FORWARDER_H

#include <stddef.h>

#include "orxmonitoring2d/dds_logging.h"

ZDDS_BEGIN_C

/* An application that publishes. Owned by the forwarder; read it with the application registry locked, and
 * not beyond that. */
struct ORX_MonitoringForwarderApplicationResource {
    DDS_Monitoring_LoggingConfig loggingConfig; /* as it was reported last, or applied from here */
    char* fullyQualifiedName;                   /* "/applications/<name>" */
};
typedef struct ORX_MonitoringForwarderApplicationResource ORX_MonitoringForwarderApplicationResource;

/* Borrowed pointers. */
typedef ORX_MonitoringForwarderApplicationResource* ORX_MonitoringForwarderApplicationResourcePtr;
DDS_SEQUENCE_DECLARE(ORX_SCHEMA_EXPORT, ORX_MonitoringForwarderApplicationResourcePtrSeq,
    ORX_MonitoringForwarderApplicationResourcePtr);

/* Writes "[timestamp] FACILITY (sn:N) SEVERITY [activity context]rest" and a line end into the buffer, always
 * terminated. The text of the message may open with a timestamp of its own in brackets, which is then kept;
 * otherwise the message's timestamp is printed in UTC, to the microsecond. Inner line ends become blanks, and
 * GUIDs become groups of hexadecimal digits joined by dots, each with the prefix that the text abbreviated. A
 * text that cannot be read so, or that does not fit, is copied as it is, cut at the buffer's end, with a
 * warning in the log.
 *
 * size: bytes of the buffer with the terminator, 1 to 4294967295. With a null argument, or a size outside,
 * nothing is written. Of a text, the first 1023 bytes are used. Other control characters stay: who prints to
 * a terminal escapes them. Any thread; nothing is shared, nothing is allocated. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_log_message_to_string(
    const DDS_Monitoring_LoggingMessage* message, char* buffer, size_t size);

ZDDS_END_C

#endif
