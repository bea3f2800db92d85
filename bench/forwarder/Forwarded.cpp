#include "bench/forwarder/Forwarded.hpp"

#include <cstdint>

#include "bench/common/Child.hpp"
#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "zddscore/log.h"

namespace bench {

namespace {

constexpr DDS_Long samplesInTake = 256;

// The typed operations of one topic, and the number of a sample; null when it bears none.
struct EventTopic {
    using Samples = DDS_Monitoring_EventSeq;
    static constexpr auto narrow = DDS_Monitoring_EventDataReader_narrow;
    static constexpr auto take = DDS_Monitoring_EventDataReader_take;
    static constexpr auto returnLoan = DDS_Monitoring_EventDataReader_return_loan;
    static constexpr auto at = DDS_Monitoring_EventSeq_get_reference;
    static bool number(const DDS_Monitoring_Event& event, std::uint32_t& number) {
        const auto* status = event.value._u.data_writer.status_publication_matched_1;
        if (static_cast<DDS_UnsignedLong>(event.value._d) != ORX_MONITORING_DATA_WRITER_CLASS_ID ||
            status == nullptr)
            return false;
        number = static_cast<std::uint32_t>(status->total_count);
        return true;
    }
};
struct PeriodicTopic {
    using Samples = DDS_Monitoring_PeriodicSeq;
    static constexpr auto narrow = DDS_Monitoring_PeriodicDataReader_narrow;
    static constexpr auto take = DDS_Monitoring_PeriodicDataReader_take;
    static constexpr auto returnLoan = DDS_Monitoring_PeriodicDataReader_return_loan;
    static constexpr auto at = DDS_Monitoring_PeriodicSeq_get_reference;
    static bool number(const DDS_Monitoring_Periodic& periodic, std::uint32_t& number) {
        const auto* status = periodic.value._u.data_writer.status_cache_2;
        if (static_cast<DDS_UnsignedLong>(periodic.value._d) != ORX_MONITORING_DATA_WRITER_CLASS_ID ||
            status == nullptr)
            return false;
        number = static_cast<std::uint32_t>(status->sample_count);
        return true;
    }
};

template <class Topic> std::size_t takeAll(DDS_DataReader* untyped, Plain_Visit visit, void* context) {
    auto* reader = Topic::narrow(untyped);
    std::size_t total = 0;
    for (;;) {
        typename Topic::Samples samples{};
        DDS_SampleInfoSeq infos{};
        const DDS_ReturnCode_t result = Topic::take(reader, &samples, &infos, samplesInTake,
            DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
        if (result == DDS_RETCODE_NO_DATA)
            return total;
        if (result != DDS_RETCODE_OK)
            fail("the cache reader gives no samples");
        const DDS_Long count = DDS_SampleInfoSeq_get_length(&infos);
        for (DDS_Long i = 0; i < count; ++i) {
            std::uint32_t number = 0;
            if (DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data &&
                Topic::number(*Topic::at(&samples, i), number)) {
                visit(context, number);
                ++total;
            }
        }
        if (Topic::returnLoan(reader, &samples, &infos) != DDS_RETCODE_OK)
            fail("the cache reader keeps its loan");
    }
}

DDS_WaitSet* waitSetOf(DDS_DataReader* reader) {
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_ReadCondition* condition = DDS_DataReader_create_readcondition(
        reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    if (waitSet == nullptr || condition == nullptr ||
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(condition)) != DDS_RETCODE_OK)
        fail("no wait set");
    return waitSet;
}

} // namespace

ORX_MonitoringForwarder& makeForwarder(int domain) {
    ORX_MonitoringForwarderProperty_t property = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
    property.domain_id = domain;
    auto* forwarder = ORX_MonitoringForwarder_new(DDS_DomainParticipantFactory_get_instance(), &property);
    if (forwarder == nullptr)
        fail("no forwarder");
    return *forwarder;
}

ForwardedReader::ForwardedReader(const ORX_MonitoringForwarder& forwarder, PlainTopic topic)
    : isEvent_{topic == PLAIN_EVENT}, reader_{isEvent_ ? forwarder.entities->event_reader
                                                       : forwarder.entities->periodic_reader},
      waitSet_{waitSetOf(reader_)} {}

std::size_t ForwardedReader::take(Plain_Visit visit, void* context) {
    const DDS_Duration_t bound{0, 100'000'000U};
    DDS_ConditionSeq active{};
    (void)DDS_WaitSet_wait(waitSet_, &active, &bound);
    DDS_ConditionSeq_finalize(&active);
    return isEvent_ ? takeAll<EventTopic>(reader_, visit, context)
                    : takeAll<PeriodicTopic>(reader_, visit, context);
}

} // namespace bench
