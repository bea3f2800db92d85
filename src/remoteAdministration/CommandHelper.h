/* Requests and replies of the command service, to and from the bytes that a service request carries.
 *
 * The bytes are an encapsulation header and the whole sample in native byte order; the sequence's length is
 * theirs. Threads: any, the functions touch their arguments alone. Ownership: samples and sequences are the
 * caller's, and initialized. Errors: 1 for success, 0 and a line of the log. Bytes are hostile: whatever they
 * are, the sample stays releasable. */
#ifndef ORX_COMMAND_HELPER_H
#define ORX_COMMAND_HELPER_H

#include "orxmonitoring2d/orx_remote_administration.h"

ZDDS_BEGIN_C

/* When the second half of the work fails, the sequence keeps the length that it was given. */
int ORX_MonitoringCommandHelper_requestToOctetSeq(
    DDS_OctetSeq* seq, const DDS_Monitoring_MonitoringService_Request* request);
int ORX_MonitoringCommandHelper_replyToOctetSeq(
    DDS_OctetSeq* seq, const DDS_Monitoring_MonitoringService_Reply* reply);
int ORX_MonitoringCommandHelper_octetSeqToRequest(
    DDS_Monitoring_MonitoringService_Request* request, const DDS_OctetSeq* seq);
int ORX_MonitoringCommandHelper_octetSeqToReply(
    DDS_Monitoring_MonitoringService_Reply* reply, const DDS_OctetSeq* seq);

/* Points *exception at the reply's error, which every reply of a served operation has, a successful one too.
 * 0, with *exception as it was, for an operation that is not served. */
int ORX_MonitoringCommandHelper_getReplyException(
    DDS_Monitoring_MonitoringCommandError** exception, DDS_Monitoring_MonitoringService_Reply* reply);

ZDDS_END_C

#endif
