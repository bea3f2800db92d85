#include "bench/periodic/Walked.hpp"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <random>
#include <semaphore>
#include <string>
#include <vector>

#include "bench/common/Child.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/entities/LibraryEntities.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "tests/helpers/TestDomain.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace bench {

namespace {

using Steady = std::chrono::steady_clock;

constexpr ORX_INT64 period = 5; // seconds of the clock below

// Groups that carry metrics: the cache, the protocol and the reliable cache of a writer, two of a reader.
constexpr std::size_t groupsOfAPair = 5;

double nanosecondsBetween(Steady::time_point begin, Steady::time_point end) {
    return std::chrono::duration<double, std::nano>(end - begin).count();
}

double threadNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Stands still; or leaps a period at each look, so that an event is always due.
struct LeapingClock {
    ORXClock operations{getTime, nullptr, nullptr, nullptr}; // first: one is the other's address
    std::atomic<ORX_INT64> seconds{1000};
    std::atomic<bool> leaps{false};

    static int getTime(ORXClock* self, ORXNtpTime* time) {
        auto& clock = *reinterpret_cast<LeapingClock*>(self);
        if (clock.leaps)
            clock.seconds += period;
        *time = {clock.seconds, 0};
        return 1;
    }
};

// CPU time of the collector's thread from the first fetch of some passes to their last: a busy machine that
// takes the CPU away does not count.
struct PassWatch {
    std::atomic<std::size_t> expected{0}; // fetches; 0: not watching
    LeapingClock* clock = nullptr;        // stands still again at the end
    std::size_t fetched = 0;              // on the collector's thread
    double begin = 0, end = 0;
    std::binary_semaphore ended{0};

    void onFetch() {
        const std::size_t all = expected.load(std::memory_order_acquire);
        if (all == 0)
            return;
        if (fetched++ == 0)
            begin = threadNanoseconds();
        if (fetched < all)
            return;
        end = threadNanoseconds();
        fetched = 0;
        clock->leaps = false;
        expected.store(0, std::memory_order_relaxed);
        ended.release();
    }
};
PassWatch watch;

// Every value of every group, as an agent's: it is there, and only handed out. Zeros are a value of every
// type.
alignas(64) unsigned char zeros[4096];
char text[] = "text";

template <bool isWriter> DDS_Boolean getGroup(void** group, const void*, DDS_UnsignedLong index) {
    constexpr DDS_UnsignedLong firstText =
        isWriter ? 7 : 8; // the names of topic and type, the last of the events
    constexpr DDS_UnsignedLong firstPeriodic = firstText + 2;
    if (index >= firstPeriodic)
        watch.onFetch();
    const bool isText = index >= firstText && index < firstPeriodic;
    *group = isText ? static_cast<void*>(text) : zeros;
    return DDS_BOOLEAN_TRUE;
}
DDS_Boolean getNothing(void**, const void*, DDS_UnsignedLong) {
    return DDS_BOOLEAN_FALSE;
}
constexpr ORX_MonitoringResourceForwarder writers{getGroup<true>, nullptr};
constexpr ORX_MonitoringResourceForwarder readers{getGroup<false>, nullptr};
constexpr ORX_MonitoringResourceForwarder nothing{getNothing, nullptr};

Walked::Waits waitsOf(std::vector<double>& times) {
    std::sort(times.begin(), times.end());
    const auto at = [&](double part) {
        return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    return {at(0.5), at(0.99), times.back()};
}

} // namespace

struct Walked::Library {
    LeapingClock clock;
    ORX_MonitoringClass* table = nullptr;
    ORX_MonitoringResource* participant = nullptr;
    DDS_Entity* entity = nullptr;                   // stands for all, as nobody looks behind it
    std::vector<ORX_MonitoringResource*> resources; // writers at even places, readers at odd ones
    std::uint64_t asserted = 0;
    std::mt19937_64 random{1};

    void start();
    ORX_MonitoringResource* make(DDS_UnsignedLong classId, const std::string& name,
        ORX_MonitoringResource* parent, const ORX_MonitoringResourceForwarder& forwarder);
    ORX_MonitoringResource* makeAt(std::size_t place);
    DDS_DataWriterCountersI counters() const;
    void awaitEmptyQueue() const;
};

void Walked::Library::start() {
    ORXLog_setStderrEnabled(0); // the participant's groups are refused on purpose
    ORX_MonitoringHost_initialize();
    ORX_Monitoring_initialize();
    ORX_MonitoringGlobals_get_instance()->eventClock = &clock.operations;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringProperty_t_initialize(&property);
    property.domain_id = testDomain();
    property.periodic.polling_period = {static_cast<DDS_Long>(period), 0};
    DDS_Long place = 0;
    DDS_MonitoringMetricSelectionSeq_ensure_length(&property.metric_selection_list, 2, 2);
    for (const char* expression : {"//data_writers/*", "//data_readers/*"}) {
        auto* selection =
            DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, place++);
        DDS_String_replace(&selection->resource_selection, expression);
        DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1);
        DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), "*");
    }
    table = ORX_MonitoringHost_start(&property);
    ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    if (table == nullptr)
        fail("the library did not start");
    const DDS_GUID_t guid{{1, 2, 3, 4}};
    entity = DDS_Entity_create_observedI(DDS_PARTICIPANT_ENTITY_KIND, &guid, 0);
    participant = make(ORX_MONITORING_PARTICIPANT_CLASS_ID, "participant", table->rootResource, nothing);
    entity = DDS_Entity_create_observedI(DDS_DATAWRITER_ENTITY_KIND, &guid, 0);
}

ORX_MonitoringResource* Walked::Library::make(DDS_UnsignedLong classId, const std::string& name,
    ORX_MonitoringResource* parent, const ORX_MonitoringResourceForwarder& forwarder) {
    const std::uint64_t number = ++asserted;
    DDS_GUID_t guid{{1, 2, 3, 4}};
    std::memcpy(guid.value + 8, &number, sizeof number);
    DDS_UnsignedLong index = 0;
    auto* resource = table->assertResourceFunction(
        table, &index, &guid, classId, name.c_str(), entity, parent, &forwarder);
    if (resource == nullptr)
        fail("a resource was not asserted");
    return resource;
}

ORX_MonitoringResource* Walked::Library::makeAt(std::size_t place) {
    const std::string name = "endpoint_" + std::to_string(asserted);
    return place % 2 == 0 ? make(ORX_MONITORING_DATA_WRITER_CLASS_ID, name, participant, writers)
                          : make(ORX_MONITORING_DATA_READER_CLASS_ID, name, participant, readers);
}

DDS_DataWriterCountersI Walked::Library::counters() const {
    DDS_DataWriterCountersI counters{};
    DDS_DataWriter_get_countersI(
        reinterpret_cast<const ORX_MonitoringClassImpl*>(table)->entities->periodicWriter, &counters);
    return counters;
}

void Walked::Library::awaitEmptyQueue() const {
    const DDS_Duration_t bound{60, 0};
    (void)DDS_DataWriter_flushI(
        reinterpret_cast<const ORX_MonitoringClassImpl*>(table)->entities->periodicWriter, &bound);
}

Walked::Walked(std::size_t resources) : library_{std::make_unique<Library>()} {
    library_->start();
    library_->resources.reserve(resources);
    while (library_->resources.size() < resources)
        library_->resources.push_back(library_->makeAt(library_->resources.size()));
}
// The library goes with its process.
Walked::~Walked() = default;

Walked::Pass Walked::pass(std::size_t visits) {
    const std::size_t count = library_->resources.size();
    library_->awaitEmptyQueue();
    const std::size_t passes = (visits + count - 1) / count;
    watch.clock = &library_->clock;
    watch.expected.store(passes * (count / 2) * groupsOfAPair, std::memory_order_release);
    library_->clock.leaps = true;
    if (!watch.ended.try_acquire_for(std::chrono::seconds(60)))
        fail("the passes did not end");
    const auto counters = library_->counters();
    return {(watch.end - watch.begin) / static_cast<double>(passes * count),
        static_cast<double>(counters.written), static_cast<double>(counters.dropped_queue_full)};
}

Walked::Churn Walked::churn(std::size_t count, bool isWalking) {
    std::vector<double> assertions;
    std::vector<double> deletions;
    library_->clock.leaps = isWalking;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place = library_->random() % library_->resources.size();
        const auto begin = Steady::now();
        library_->table->deleteResourceFunction(library_->table, library_->resources[place]);
        const auto deleted = Steady::now();
        library_->resources[place] = library_->makeAt(place);
        const auto end = Steady::now();
        deletions.push_back(nanosecondsBetween(begin, deleted));
        assertions.push_back(nanosecondsBetween(deleted, end));
    }
    library_->clock.leaps = false;
    return {waitsOf(assertions), waitsOf(deletions)};
}

} // namespace bench
