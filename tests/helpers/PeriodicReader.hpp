// A reader of the periodic topic in a participant of its own, as a collector has it.
#ifndef ORX_TESTS_PERIODIC_READER_HPP
#define ORX_TESTS_PERIODIC_READER_HPP

#include <memory>
#include <vector>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "tests/helpers/TopicReader.hpp"

struct DeletePeriodic {
    void operator()(DDS_Monitoring_Periodic* sample) const {
        DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
    }
};
using PeriodicSample = std::unique_ptr<DDS_Monitoring_Periodic, DeletePeriodic>;
using PeriodicSamples = std::vector<PeriodicSample>;

class PeriodicReader : public TopicReader {
public:
    explicit PeriodicReader(DDS_DomainId_t domain)
        : TopicReader(domain, ORX_MONITORING_PERIODIC_TOPIC_NAME, ORX_MONITORING_PERIODIC_TYPE_NAME) {}

    // What is in the reader now.
    PeriodicSamples takeNow() {
        PeriodicSamples taken;
        auto* narrowed = DDS_Monitoring_PeriodicDataReader_narrow(reader());
        DDS_Monitoring_PeriodicSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_Monitoring_PeriodicDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return taken;
        for (DDS_Long i = 0; i < DDS_Monitoring_PeriodicSeq_get_length(&samples); ++i) {
            if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                continue;
            taken.emplace_back(DDS_Monitoring_PeriodicPluginSupport_create_data());
            DDS_Monitoring_PeriodicPluginSupport_copy_data(
                taken.back().get(), DDS_Monitoring_PeriodicSeq_get_reference(&samples, i));
        }
        DDS_Monitoring_PeriodicDataReader_return_loan(narrowed, &samples, &infos);
        return taken;
    }
};

#endif
