// The periodic collector as a part of the library.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "src/entities/LibraryEntities.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/MovedClock.hpp"
#include "tests/helpers/PeriodicReader.hpp"
#include "tests/unit/monitoringClass/Library.hpp"

namespace {

constexpr char memoryMetrics[] = "dds_application_process_memory_usage*";

bool flush(const Library& library) {
    const DDS_Duration_t bound{60, 0};
    auto* impl = reinterpret_cast<ORX_MonitoringClassImpl*>(library.table);
    return DDS_DataWriter_flushI(impl->entities->periodicWriter, &bound) == DDS_RETCODE_OK;
}

bool awaitSample(PeriodicReader& reader, PeriodicSamples& samples) {
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (samples.empty() && std::chrono::steady_clock::now() < end) {
        samples = reader.takeNow();
        std::this_thread::yield();
    }
    return !samples.empty();
}

TEST(PeriodicLibrary, PublishesTheMemoryOfTheProcess) {
    Library library;
    library.property.periodic.polling_period = {0, 1'000'000};
    library.select("//applications/*", memoryMetrics);
    PeriodicReader reader(Library::domain);
    ASSERT_TRUE(library.start());
    PeriodicSamples samples;
    ASSERT_TRUE(awaitSample(reader, samples));
    EXPECT_EQ(std::memcmp(samples[0]->resource_guid, library.table->rootResource->base.guid, 16), 0);
    ASSERT_EQ(samples[0]->value._d, static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID));
    const auto* memory = samples[0]->value._u.application.process_utilization_memory_usage;
    ASSERT_NE(memory, nullptr);
    EXPECT_GT(memory->resident_memory_bytes, 100'000U);
    EXPECT_TRUE(library.stop());
}

// Create as the host calls it, and then a while in which the event runs often before the host goes on.
struct Watched {
    static inline PeriodicReader* reader = nullptr;
    static inline MovedClock* clock = nullptr;
    static inline ORXClock* realClock = nullptr;
    static inline size_t samplesBefore = 0;

    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
        ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
        realClock = globals.eventClock;
        globals.eventClock = clock->handle();
        ORX_MonitoringClass* library = ORX_Monitoring_create(factory, property);
        if (library == nullptr)
            return nullptr;
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(clock->settle());
        auto* impl = reinterpret_cast<ORX_MonitoringClassImpl*>(library);
        const DDS_Duration_t bound{60, 0};
        EXPECT_EQ(DDS_DataWriter_flushI(impl->entities->periodicWriter, &bound), DDS_RETCODE_OK);
        samplesBefore = reader->takeNow().size();
        return library;
    }
};

TEST(PeriodicLibrary, NoSampleIsWrittenBeforeCreateHasReturned) {
    Library library;
    library.property.periodic.polling_period = {0, 0}; // again and again
    library.select("//applications/*", memoryMetrics);
    MovedClock clock;
    PeriodicReader reader(Library::domain);
    Watched::reader = &reader;
    Watched::clock = &clock;
    ORX_MonitoringHost_set_create_function(Watched::create);
    ASSERT_TRUE(library.start());
    EXPECT_EQ(Watched::samplesBefore, 0U);
    PeriodicSamples samples;
    EXPECT_TRUE(awaitSample(reader, samples));
    EXPECT_TRUE(library.stop());
    ORX_MonitoringGlobals_get_instance()->eventClock = Watched::realClock;
}

// Who asserts, deletes, pauses and pushes meets the walk everywhere. The sanitizers look on.
TEST(PeriodicLibrary, WalksWhileResourcesComeAndGo) {
    Library library;
    library.property.periodic.polling_period = {0, 0};
    library.property.event.publication_period = {0, 1'000'000};
    library.select("//*", "*");
    LogCapture log; // the participants' groups here are not to be had
    ASSERT_TRUE(library.start());
    auto* kept = library.participant("kept");
    ASSERT_NE(kept, nullptr);
    std::atomic<bool> isDone{false};
    std::thread pauser([&] {
        while (!isDone) {
            Library::lockLibrary();
            EXPECT_TRUE(library.table->pauseResourceMetricsFunction(library.table, kept));
            EXPECT_TRUE(library.table->resumeResourceMetricsFunction(library.table, kept));
            Library::unlockLibrary();
        }
    });
    for (int i = 0; i < 30; ++i) {
        ORX_MonitoringResource* topics[8];
        for (auto*& topic : topics) {
            topic = library.topic(("t" + std::to_string(i)).c_str(), kept);
            ASSERT_NE(topic, nullptr);
        }
        for (auto* topic : topics)
            library.deleteResource(topic);
    }
    isDone = true;
    pauser.join();
    EXPECT_TRUE(flush(library));
    EXPECT_TRUE(library.stop());
    EXPECT_FALSE(log.has("Monitoring Resource")) << log.text();
}

} // namespace
