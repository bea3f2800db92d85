// A reader of the periodic topic in a participant of its own, as a collector has it.
#ifndef ORX_TESTS_PERIODIC_READER_HPP
#define ORX_TESTS_PERIODIC_READER_HPP

#include <memory>
#include <vector>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/entities/EntitiesHelper.h"

struct DeletePeriodic {
    void operator()(DDS_Monitoring_Periodic* sample) const {
        DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
    }
};
using PeriodicSample = std::unique_ptr<DDS_Monitoring_Periodic, DeletePeriodic>;
using PeriodicSamples = std::vector<PeriodicSample>;

class PeriodicReader {
public:
    explicit PeriodicReader(DDS_DomainId_t domain) {
        auto* factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipantQos participantQos{};
        DDS_DomainParticipantQos_initialize(&participantQos);
        DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            factory, &participantQos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        participant_ =
            DDS_DomainParticipantFactory_create_participant(factory, domain, &participantQos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&participantQos);
        DDS_SubscriberQos subscriberQos{};
        DDS_SubscriberQos_initialize(&subscriberQos);
        DDS_DataReaderQos readerQos{};
        DDS_DataReaderQos_initialize(&readerQos);
        MonitoringEntitiesHelper_getMonitoringReaderQos(
            &readerQos, factory, nullptr, ORX_MONITORING_PERIODIC_TOPIC_NAME);
        readerQos.resource_limits.max_samples = DDS_LENGTH_UNLIMITED;
        MonitoringEntitiesHelper_assertSubscriberEntities(&subscriber_, &topic_, &reader_, nullptr,
            participant_, &subscriberQos, &readerQos, ORX_MONITORING_PERIODIC_TOPIC_NAME,
            ORX_MONITORING_PERIODIC_TYPE_NAME);
        DDS_DataReaderQos_finalize(&readerQos);
        DDS_SubscriberQos_finalize(&subscriberQos);
    }
    ~PeriodicReader() {
        MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber_, topic_, participant_);
        DDS_DomainParticipantFactory_delete_participant(
            DDS_DomainParticipantFactory_get_instance(), participant_);
    }
    PeriodicReader(const PeriodicReader&) = delete;
    PeriodicReader& operator=(const PeriodicReader&) = delete;

    // What is in the reader now.
    PeriodicSamples takeNow() {
        PeriodicSamples taken;
        auto* reader = DDS_Monitoring_PeriodicDataReader_narrow(reader_);
        DDS_Monitoring_PeriodicSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_Monitoring_PeriodicDataReader_take(reader, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return taken;
        for (DDS_Long i = 0; i < DDS_Monitoring_PeriodicSeq_get_length(&samples); ++i) {
            if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                continue;
            taken.emplace_back(DDS_Monitoring_PeriodicPluginSupport_create_data());
            DDS_Monitoring_PeriodicPluginSupport_copy_data(
                taken.back().get(), DDS_Monitoring_PeriodicSeq_get_reference(&samples, i));
        }
        DDS_Monitoring_PeriodicDataReader_return_loan(reader, &samples, &infos);
        return taken;
    }

private:
    DDS_DomainParticipant* participant_ = nullptr;
    DDS_Subscriber* subscriber_ = nullptr;
    DDS_Topic* topic_ = nullptr;
    DDS_DataReader* reader_ = nullptr;
};

#endif
