/* Statuses of entities, sample and view states, sample info. */
#ifndef ZDDSC_STATUS_H
#define ZDDSC_STATUS_H

#include "zddsc/sequence.h"

ZDDS_BEGIN_C

typedef DDS_UnsignedLong DDS_StatusMask;
#define DDS_STATUS_MASK_NONE 0U
#define DDS_STATUS_MASK_ALL 0xFFFFFFFFU
#define DDS_INCONSISTENT_TOPIC_STATUS (1U << 0)
#define DDS_OFFERED_DEADLINE_MISSED_STATUS (1U << 1)
#define DDS_REQUESTED_DEADLINE_MISSED_STATUS (1U << 2)
#define DDS_OFFERED_INCOMPATIBLE_QOS_STATUS (1U << 5)
#define DDS_REQUESTED_INCOMPATIBLE_QOS_STATUS (1U << 6)
#define DDS_SAMPLE_LOST_STATUS (1U << 7)
#define DDS_SAMPLE_REJECTED_STATUS (1U << 8)
#define DDS_DATA_ON_READERS_STATUS (1U << 9)
#define DDS_DATA_AVAILABLE_STATUS (1U << 10)
#define DDS_LIVELINESS_LOST_STATUS (1U << 11)
#define DDS_LIVELINESS_CHANGED_STATUS (1U << 12)
#define DDS_PUBLICATION_MATCHED_STATUS (1U << 13)
#define DDS_SUBSCRIPTION_MATCHED_STATUS (1U << 14)

struct DDS_PublicationMatchedStatus {
    DDS_Long total_count;
    DDS_Long total_count_change;
    DDS_Long current_count;
    DDS_Long current_count_peak;
    DDS_Long current_count_change;
    DDS_InstanceHandle_t last_subscription_handle;
};
typedef struct DDS_PublicationMatchedStatus DDS_PublicationMatchedStatus;
ZDDSC_EXPORT DDS_Boolean DDS_PublicationMatchedStatus_initialize(DDS_PublicationMatchedStatus* self);
ZDDSC_EXPORT DDS_Boolean DDS_PublicationMatchedStatus_finalize(DDS_PublicationMatchedStatus* self);

struct DDS_SubscriptionMatchedStatus {
    DDS_Long total_count;
    DDS_Long total_count_change;
    DDS_Long current_count;
    DDS_Long current_count_peak;
    DDS_Long current_count_change;
    DDS_InstanceHandle_t last_publication_handle;
};
typedef struct DDS_SubscriptionMatchedStatus DDS_SubscriptionMatchedStatus;
ZDDSC_EXPORT DDS_Boolean DDS_SubscriptionMatchedStatus_initialize(DDS_SubscriptionMatchedStatus* self);
ZDDSC_EXPORT DDS_Boolean DDS_SubscriptionMatchedStatus_finalize(DDS_SubscriptionMatchedStatus* self);

typedef DDS_UnsignedLong DDS_SampleStateMask;
#define DDS_READ_SAMPLE_STATE 1U
#define DDS_NOT_READ_SAMPLE_STATE 2U
#define DDS_ANY_SAMPLE_STATE 0xFFFFU
typedef DDS_UnsignedLong DDS_ViewStateMask;
#define DDS_NEW_VIEW_STATE 1U
#define DDS_NOT_NEW_VIEW_STATE 2U
#define DDS_ANY_VIEW_STATE 0xFFFFU
typedef DDS_UnsignedLong DDS_InstanceStateMask;
#define DDS_ALIVE_INSTANCE_STATE 1U
#define DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE 2U
#define DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE 4U
#define DDS_NOT_ALIVE_INSTANCE_STATE 6U
#define DDS_ANY_INSTANCE_STATE 0xFFFFU

struct DDS_SampleInfo {
    DDS_SampleStateMask sample_state;
    DDS_ViewStateMask view_state;
    DDS_InstanceStateMask instance_state;
    DDS_Time_t source_timestamp;
    DDS_Time_t reception_timestamp;
    DDS_InstanceHandle_t instance_handle;
    DDS_InstanceHandle_t publication_handle; /* the writer's GUID */
    DDS_SequenceNumber_t publication_sequence_number;
    DDS_GUID_t original_publication_virtual_guid;
    DDS_SequenceNumber_t original_publication_virtual_sequence_number;
    DDS_Long sample_rank;
    DDS_Boolean valid_data;
    /* What the write parameters said, of samples that were put into the reader by hand; else all 0. */
    DDS_GUID_t source_guid;
    DDS_GUID_t related_source_guid;
};
typedef struct DDS_SampleInfo DDS_SampleInfo;
/* Invalid times, everything else 0. */
ZDDSC_EXPORT extern const DDS_SampleInfo DDS_SAMPLEINFO_DEFAULT;
ZDDSC_EXPORT DDS_Boolean DDS_SampleInfo_finalize(DDS_SampleInfo* self);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_SampleInfoSeq, DDS_SampleInfo);

ZDDS_END_C

#endif
