// Samples on their way from the built-in readers through the registry into the cache readers.
#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "orxmonitoring2d/dds_logging_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "zddsc/builtin_topics.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Forwarder = ORX_MonitoringForwarderImpl;

// The typed operations of one topic.
struct EventTopic {
    using Sample = DDS_Monitoring_Event;
    using Samples = DDS_Monitoring_EventSeq;
    static constexpr auto narrow = DDS_Monitoring_EventDataReader_narrow;
    static constexpr auto take = DDS_Monitoring_EventDataReader_take;
    static constexpr auto returnLoan = DDS_Monitoring_EventDataReader_return_loan;
    static constexpr auto length = DDS_Monitoring_EventSeq_get_length;
    static constexpr auto at = DDS_Monitoring_EventSeq_get_reference;
};
struct PeriodicTopic {
    using Sample = DDS_Monitoring_Periodic;
    using Samples = DDS_Monitoring_PeriodicSeq;
    static constexpr auto narrow = DDS_Monitoring_PeriodicDataReader_narrow;
    static constexpr auto take = DDS_Monitoring_PeriodicDataReader_take;
    static constexpr auto returnLoan = DDS_Monitoring_PeriodicDataReader_return_loan;
    static constexpr auto length = DDS_Monitoring_PeriodicSeq_get_length;
    static constexpr auto at = DDS_Monitoring_PeriodicSeq_get_reference;
};
struct LoggingTopic {
    using Sample = DDS_Monitoring_Logging;
    using Samples = DDS_Monitoring_LoggingSeq;
    static constexpr auto narrow = DDS_Monitoring_LoggingDataReader_narrow;
    static constexpr auto take = DDS_Monitoring_LoggingDataReader_take;
    static constexpr auto returnLoan = DDS_Monitoring_LoggingDataReader_return_loan;
    static constexpr auto length = DDS_Monitoring_LoggingSeq_get_length;
    static constexpr auto at = DDS_Monitoring_LoggingSeq_get_reference;
};

// One call of a listener: where samples come from, and what it needs for all of them.
struct Passage {
    Passage(void* listenerData, DDS_DataReader* dataReader)
        : self(*static_cast<Forwarder*>(listenerData)), reader(dataReader),
          topicName(DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(dataReader))) {}
    ~Passage() { DDS_ParticipantBuiltinTopicData_finalize(&participant); }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    Forwarder& self;
    DDS_DataReader* const reader;
    const char* const topicName;
    DDS_ParticipantBuiltinTopicData participant = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_DEFAULT;
};

// What the registry learns from a sample. Failures come as often as samples: a few lines in a second do.
template <class Sample> bool learn(Passage&, const Sample&, const DDS_SampleInfo&) {
    return true;
}
template <> bool learn(Passage& passage, const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info) {
    if (!info.valid_data ||
        static_cast<DDS_UnsignedLong>(sample.value._d) != ORX_MONITORING_APPLICATION_CLASS_ID)
        return true;
    if (DDS_DataReader_get_matched_publication_participant_data(
            passage.reader, &passage.participant, &info.publication_handle) != DDS_RETCODE_OK)
        return ORX_FLOOD_ERROR(FAILED_TO_GET, "DataWriter's Participant data for %s", passage.topicName);
    ORXOsapiRtpsGuid words;
    DDS_BuiltinTopicKey_to_mig_rtps_guidI(&passage.participant.key, &words);
    DDS_GUID_t participant;
    DDS_GUID_copy_from_pres_guid(&participant, &words);
    if (!ORX_MonitoringForwarderApplicationRegistry_processApplicationEventSample(
            passage.self.applicationRegistry, &sample, &participant))
        return ORX_FLOOD_ERROR(FAILED_TO_PROCESS, "Event Sample by Application Registry\n");
    return true;
}

// The registry first: who reads of an application finds it there.
template <class Topic>
bool forward(Passage& passage, const typename Topic::Sample& sample, const DDS_SampleInfo& info) {
    if (!learn(passage, sample, info))
        return false;
    if (!ORX_MonitoringForwarderEntities_addSampleToCacheReader(
            passage.self.parent.entities, passage.reader, &sample, &info))
        return ORX_FLOOD_ERROR(FAILED_TO_ADD, "Samples to cache reader for %s\n", passage.topicName);
    return true;
}

// False when there is nothing more to take, or a sample failed: what was taken with it is lost, and the next
// call begins afresh.
template <class Topic> bool forwardBatch(Passage& passage) {
    auto* reader = Topic::narrow(passage.reader);
    typename Topic::Samples samples{};
    DDS_SampleInfoSeq infos{};
    DDS_ReturnCode_t result = Topic::take(reader, &samples, &infos, DDS_LENGTH_UNLIMITED,
        DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    if (result == DDS_RETCODE_NO_DATA)
        return false;
    if (result != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Samples from builtin reader for %s with return code %s\n",
            passage.topicName, DDS_ReturnCode_toString(result));
    }
    bool isForwarded = true;
    const DDS_Long count = Topic::length(&samples);
    for (DDS_Long i = 0; isForwarded && i < count; ++i)
        isForwarded =
            forward<Topic>(passage, *Topic::at(&samples, i), *DDS_SampleInfoSeq_get_reference(&infos, i));
    result = Topic::returnLoan(reader, &samples, &infos);
    if (result != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_RETURN, "Loaned samples to builtin reader for %s with return code %s",
            passage.topicName, DDS_ReturnCode_toString(result));
    }
    return isForwarded;
}

template <class Topic> void forwardAll(void* listenerData, DDS_DataReader* reader) {
    ORX_LEAVE_IF(listenerData == ORX_NULL);
    ORX_LEAVE_IF(reader == ORX_NULL);
    Passage passage{listenerData, reader};
    while (forwardBatch<Topic>(passage)) {
    }
}

} // namespace

void ORX_MonitoringForwarder_onEventDataAvailable(void* listenerData, DDS_DataReader* reader) {
    forwardAll<EventTopic>(listenerData, reader);
}

void ORX_MonitoringForwarder_onPeriodicDataAvailable(void* listenerData, DDS_DataReader* reader) {
    forwardAll<PeriodicTopic>(listenerData, reader);
}

void ORX_MonitoringForwarder_onLoggingDataAvailable(void* listenerData, DDS_DataReader* reader) {
    forwardAll<LoggingTopic>(listenerData, reader);
}
