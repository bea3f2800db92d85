/* service_id of the samples that carry commands and replies. */
#ifndef ORX_COMMAND_SERVICE_IDS_H
#define ORX_COMMAND_SERVICE_IDS_H

#define ORX_MONITORING_COMMAND_SERVICE_ID 4
#define ORX_MONITORING_REPLY_SERVICE_ID 5

#endif
