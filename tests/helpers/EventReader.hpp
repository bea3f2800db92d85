// A reader of the event topic in a participant of its own, as a collector has it.
#ifndef ORX_TESTS_EVENT_READER_HPP
#define ORX_TESTS_EVENT_READER_HPP

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "tests/helpers/TopicReader.hpp"
#include "tests/helpers/Wait.hpp"

struct DeleteEvent {
    void operator()(DDS_Monitoring_Event* sample) const {
        DDS_Monitoring_EventPluginSupport_destroy_data(sample);
    }
};
using EventSample = std::unique_ptr<DDS_Monitoring_Event, DeleteEvent>;
using EventSamples = std::vector<EventSample>;

class EventReader : public TopicReader {
public:
    explicit EventReader(DDS_DomainId_t domain)
        : TopicReader(domain, ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_EVENT_TYPE_NAME) {}

    // What is in the reader now.
    EventSamples takeNow() {
        EventSamples taken;
        auto* narrowed = DDS_Monitoring_EventDataReader_narrow(reader());
        DDS_Monitoring_EventSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_Monitoring_EventDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK) {
            return taken;
        }
        for (DDS_Long i = 0; i < DDS_Monitoring_EventSeq_get_length(&samples); ++i) {
            if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                continue;
            taken.emplace_back(DDS_Monitoring_EventPluginSupport_create_data());
            DDS_Monitoring_EventPluginSupport_copy_data(
                taken.back().get(), DDS_Monitoring_EventSeq_get_reference(&samples, i));
        }
        DDS_Monitoring_EventDataReader_return_loan(narrowed, &samples, &infos);
        return taken;
    }
    // Adds to `all` until it has `count` samples; false when the bound has passed.
    bool takeUntil(EventSamples& all, size_t count) {
        return takeUntilThat(all, [&] { return all.size() >= count; });
    }
    template <typename Done> bool takeUntilThat(EventSamples& all, Done done) {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        for (;;) {
            for (auto& sample : takeNow())
                all.push_back(std::move(sample));
            if (done())
                return true;
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
    }
};

#endif
