// What must hold for a model whatever samples it is fed with: for the fuzzer, and for the replay of its
// corpus.
//
// An input is a row of samples: an octet (bit 0: periodic; bit 1: from another participant), the length in
// two octets, the low one first, and the encoded sample. What cannot be decoded is passed over.
#ifndef FUZZ_COLLECTOR_SAMPLES_CHECK_HPP
#define FUZZ_COLLECTOR_SAMPLES_CHECK_HPP

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"
#include "tests/unit/collector/ExpositionText.hpp"
#include "zddsc/type_engine.h"

#define COLLECTOR_CHECK(test)                                                                                \
    do {                                                                                                     \
        if (!(test)) {                                                                                       \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #test);                                  \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

class CollectorSamplesCheck {
public:
    static void run(const std::uint8_t* data, std::size_t size) {
        collector::ModelLimits limits;
        limits.applications = 2;
        limits.resources = 10;
        limits.resourcesPerApplication = 6;
        limits.series = 100;
        limits.seriesPerApplication = 70;
        limits.textLength = 24;
        collector::Model model(limits);
        const auto observer = std::make_shared<Following>();
        model.addObserver(observer);
        while (size >= 3) {
            const std::size_t length = std::min<std::size_t>(data[1] + 256U * data[2], size - 3);
            feed(model, data[0], data + 3, static_cast<DDS_UnsignedLong>(length));
            data += 3 + length;
            size -= 3 + length;
        }
        check(model, limits);
        // What the events told is what there is.
        const auto page = model.resources("//*", false, 1000);
        std::set<collector::Guid> there;
        for (const collector::ResourceView& view : page->resources)
            there.insert(view.guid);
        COLLECTOR_CHECK(there == observer->there);
    }

private:
    struct Following : collector::ModelObserver {
        std::set<collector::Guid> there;
        std::map<collector::Guid, std::set<collector::Guid>> ofApplication;
        void onEvents(std::span<const collector::ModelEvent> events) override {
            for (const collector::ModelEvent& event : events) {
                switch (event.kind) {
                case collector::ModelEventKind::applicationAppeared:
                case collector::ModelEventKind::created:
                    COLLECTOR_CHECK(there.insert(event.guid).second);
                    ofApplication[event.application].insert(event.guid);
                    break;
                case collector::ModelEventKind::deleted:
                    COLLECTOR_CHECK(there.erase(event.guid) == 1);
                    ofApplication[event.application].erase(event.guid);
                    break;
                case collector::ModelEventKind::applicationVanished:
                    for (const collector::Guid& guid : ofApplication[event.application])
                        there.erase(guid);
                    ofApplication.erase(event.application);
                    break;
                default:
                    COLLECTOR_CHECK(there.contains(event.guid));
                }
            }
        }
    };

    static void feed(
        collector::Model& model, std::uint8_t kind, const std::uint8_t* bytes, DDS_UnsignedLong size) {
        DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
        info.valid_data = 1;
        info.publication_handle.keyHash[0] = static_cast<DDS_Octet>(kind & 2U);
        const auto* text = reinterpret_cast<const char*>(bytes);
        if ((kind & 1U) != 0) {
            const auto* type = DDS_Monitoring_Periodic_get_typecode();
            if (auto* sample = static_cast<DDS_Monitoring_Periodic*>(
                    DDS_Type_create_data_from_cdr_buffer(type, text, size))) {
                model.periodic(*sample, info);
                DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
            }
        } else {
            const auto* type = DDS_Monitoring_Event_get_typecode();
            if (auto* sample = static_cast<DDS_Monitoring_Event*>(
                    DDS_Type_create_data_from_cdr_buffer(type, text, size))) {
                model.event(*sample, info);
                DDS_Monitoring_EventPluginSupport_destroy_data(sample);
            }
        }
    }

    static void check(collector::Model& model, const collector::ModelLimits& limits) {
        const auto statistics = model.statistics();
        COLLECTOR_CHECK(statistics.applications <= limits.applications);
        COLLECTOR_CHECK(statistics.resources <= limits.resources);
        COLLECTOR_CHECK(statistics.series <= limits.series);
        std::size_t resources = 0;
        std::size_t series = 0;
        for (const collector::ApplicationView& view : model.applications()) {
            COLLECTOR_CHECK(view.resources <= limits.resourcesPerApplication);
            COLLECTOR_CHECK(view.series <= limits.seriesPerApplication);
            resources += view.resources;
            series += view.series;
        }
        COLLECTOR_CHECK(resources == statistics.resources && series == statistics.series);
        const collector::OwnMetrics own;
        collector::Exposition exposition(model, own);
        const auto read =
            collector_test::readExposition(exposition.render(collector::ExpositionFormat::openMetrics), true);
        COLLECTOR_CHECK(read.errors.empty());
        COLLECTOR_CHECK(read.count("") == series);
    }
};

#endif
