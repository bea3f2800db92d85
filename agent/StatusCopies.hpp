// Copies of an entity's statuses, in the forms in which the monitoring library takes them.
//
// The listeners of the engine fill them, the metric group functions point at them. Plain memory of zeros is
// the state of an entity to which nothing has happened yet.
#ifndef ORX_AGENT_STATUS_COPIES_HPP
#define ORX_AGENT_STATUS_COPIES_HPP

#include <cstddef>

#include "orxmonitoring2d/dds_status.h"

namespace orx::agent {

// How often each QoS policy was the last one that did not fit. The engine tells the last policy alone, once
// for each endpoint that does not match, so counting its reports gives the counts.
struct PolicyCounts {
    static constexpr size_t maximum = 32; // more policies than DDS has
    DDS_Monitoring_QosPolicyCount counts[maximum];
    DDS_UnsignedLong length;
};

struct TopicStatuses {
    DDS_Monitoring_InconsistentTopicStatus inconsistentTopic;
};

struct WriterStatuses {
    DDS_Monitoring_LivelinessLostStatus livelinessLost;
    DDS_Monitoring_OfferedDeadlineMissedStatus offeredDeadlineMissed;
    DDS_Monitoring_OfferedIncompatibleQosStatus offeredIncompatibleQos;
    DDS_Monitoring_PublicationMatchedStatus publicationMatched;
    // The engine has no such status: the sampler looks at the readers instead.
    DDS_Monitoring_ReliableReaderActivityChangedStatus reliableActivityChanged;
    PolicyCounts policies;
};

struct ReaderStatuses {
    DDS_Monitoring_SampleRejectedStatus sampleRejected;
    DDS_Monitoring_LivelinessChangedStatus livelinessChanged;
    DDS_Monitoring_RequestedDeadlineMissedStatus requestedDeadlineMissed;
    DDS_Monitoring_RequestedIncompatibleQosStatus requestedIncompatibleQos;
    DDS_Monitoring_SampleLostStatus sampleLost;
    DDS_Monitoring_SubscriptionMatchedStatus subscriptionMatched;
    PolicyCounts policies;
};

union StatusCopies {
    TopicStatuses topic;
    WriterStatuses writer;
    ReaderStatuses reader;
};

} // namespace orx::agent

#endif
