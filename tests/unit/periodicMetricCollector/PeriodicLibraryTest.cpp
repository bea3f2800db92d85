// The periodic collector as a part of the library.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>

#include "src/entities/LibraryEntities.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/MovedClock.hpp"
#include "tests/helpers/PeriodicReader.hpp"
#include "tests/helpers/Wait.hpp"
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

// The stop said that it was done and the thread went on, until the host's finalize took its clock away.
// Ten seconds of the real clock: the time that the stop gives to the thread.
TEST(PeriodicLibrary, AStopBehindACollectionThatDoesNotEndFailsAndMayBeTriedAgain) {
    static Gate gate;
    static constexpr ORX_MonitoringResourceForwarder forwarder{
        [](void**, const void*, DDS_UnsignedLong) -> DDS_Boolean {
            char name[32] = "";
            pthread_getname_np(pthread_self(), name, sizeof name);
            if (std::string_view(name) == "oMo###Periodic") {
                EXPECT_TRUE(gate.pass());
            }
            return DDS_BOOLEAN_FALSE;
        },
        nullptr};
    LogCapture log;
    Library library;
    library.property.periodic.polling_period = {0, 1'000'000};
    library.select("//data_writers/*", "dds_data_writer_*cache*");
    ASSERT_TRUE(library.start());
    auto* publisher = library.assertResource(ORX_MONITORING_PUBLISHER_CLASS_ID, "q", library.participant("p"),
        library.newEntity(DDS_PUBLISHER_ENTITY_KIND));
    DDS_Entity* entity = library.newEntity(DDS_DATAWRITER_ENTITY_KIND);
    DDS_GUID_t guid{};
    DDS_Entity_get_guid(entity, &guid);
    DDS_UnsignedLong index = 0;
    Library::lockLibrary();
    const auto* writer = library.table->assertResourceFunction(library.table, &index, &guid,
        ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", entity, publisher, &forwarder);
    Library::unlockLibrary();
    ASSERT_NE(writer, nullptr) << log.text();
    ASSERT_GT(DDS_UnsignedLongSeq_get_length(&writer->monitoredPeriodicMetricGroupIndex), 0) << log.text();
    ASSERT_TRUE(gate.isReached());
    EXPECT_FALSE(ORX_MonitoringHost_stop());
    EXPECT_TRUE(log.has("Taking failure after timeout (10)\n", "FAILED_TO_LOCK")) << log.text();
    EXPECT_TRUE(log.has("monitoring library: a thread did not end", "FAILED_TO_DELETE")) << log.text();
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->monitoringClass, library.table) << "the thread needs it";
    EXPECT_EQ(ORX_MonitoringHost_start(&library.property), nullptr) << "it is still there";
    ORX_MonitoringHost_finalize();
    EXPECT_NE(ORX_MonitoringGlobals_get_instance(), nullptr) << "the thread needs the clock";
    gate.open();
    EXPECT_TRUE(library.stop()) << log.text();
    EXPECT_EQ(library.engine.liveObjects(), 0);
    EXPECT_TRUE(library.start()) << "and again";
    EXPECT_TRUE(library.stop());
}

} // namespace
