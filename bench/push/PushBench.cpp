// What a push of an event metric costs the application's thread that makes it.
//
// Imitates a writer whose publication-matched status changes: the thread takes the metric mutex of the
// resource's index, pushes, and gives the mutex. The floor does the least that any such design must: a
// recursive mutex, room from a bump allocator, a copy of the same bytes, a link. Of the groups that are
// events this one has the largest value.
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <pthread.h>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "bench/common/Compare.hpp"
#include "orxmonitoring2d/data_model.h"
#include "src/dataModel/MetricCatalogue.h"
#include "tests/helpers/TestDomain.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace {

constexpr DDS_UnsignedLong publicationMatchedGroup = 5; // status_publication_matched_1
constexpr std::size_t batch = 200;
constexpr std::size_t rounds = 400;

// The floor.
class Floor {
public:
    Floor() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
    }

    void push(const DDS_Monitoring_PublicationMatchedStatus& status) {
        pthread_mutex_lock(&mutex_);
        Node* node = &nodes_[next_++ % nodes_.size()];
        std::memcpy(&node->status, &status, sizeof status);
        node->next = nullptr;
        // As to a consumer that walks without the mutex.
        if (tail_ != nullptr)
            std::atomic_ref(tail_->next).store(node, std::memory_order_release);
        std::atomic_ref(tail_).store(node, std::memory_order_release);
        pthread_mutex_unlock(&mutex_);
    }

private:
    struct Node {
        Node* next;
        std::array<unsigned char, 56> task; // what a task has to say besides the value
        DDS_Monitoring_PublicationMatchedStatus status;
    };
    pthread_mutex_t mutex_{};
    std::array<Node, 4096> nodes_{};
    std::size_t next_ = 0;
    Node* tail_ = nullptr;
};

struct Library {
    ORX_MonitoringClass* monitoringClass = nullptr;
    struct ORX_MonitoringResource* writer = nullptr;
    DDS_UnsignedLong index = 0;
    DDS_Entity* entity = nullptr;

    void push(DDS_Monitoring_PublicationMatchedStatus& status) const {
        ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1, 1, nullptr);
        monitoringClass->pushEventMetricFunction(monitoringClass, &status, writer, publicationMatchedGroup);
        ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1);
    }
};

DDS_Boolean noGroup(void** group, const void*, DDS_UnsignedLong) {
    *group = nullptr;
    return DDS_BOOLEAN_FALSE;
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "push_bench: %s\n", what);
    std::exit(1);
}

Library startLibrary() {
    ORX_MonitoringHost_initialize();
    ORX_Monitoring_initialize();
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringProperty_t_initialize(&property);
    property.domain_id = testDomain();
    property.event.publication_period = {0, 1'000'000}; // so that the library keeps up with the batches
    property.event.initial_memory_size = 256 * 1024; // room for a batch, so that none meets a growing arena
    // One selection that turns every metric on.
    DDS_MonitoringMetricSelectionSeq_ensure_length(&property.metric_selection_list, 1, 1);
    auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 0);
    DDS_String_replace(&selection->resource_selection, "//*");
    DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), "*");
    Library library;
    library.monitoringClass = ORX_MonitoringHost_start(&property);
    ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    if (library.monitoringClass == nullptr)
        fail("the library did not start");
    DDS_GUID_t guid{{1, 2, 3, 4}};
    const ORX_MonitoringResourceForwarder forwarder{noGroup, nullptr};
    library.entity = DDS_Entity_create_observedI(DDS_DATAWRITER_ENTITY_KIND, &guid, 0);
    library.writer = library.monitoringClass->assertResourceFunction(library.monitoringClass, &library.index,
        &guid, ORX_MONITORING_DATA_WRITER_CLASS_ID, "writer", library.entity,
        library.monitoringClass->rootResource, &forwarder);
    if (library.writer == nullptr)
        fail("no resource");
    return library;
}

} // namespace

int main(int argc, char** argv) {
    ORXLog_setStderrEnabled(0); // the group function above refuses on purpose
    const Library library = startLibrary();
    DDS_Monitoring_PublicationMatchedStatus status{};
    Floor floor;

    prometheus::Registry registry;
    auto& family = prometheus::BuildGauge().Name("bench").Register(registry);
    std::array<prometheus::Gauge*, 8> gauges{};
    for (std::size_t i = 0; i < gauges.size(); ++i)
        gauges[i] = &family.Add({{"number", std::to_string(i)}});

    spdlog::init_thread_pool(8192, 1);
    const auto logger =
        std::make_shared<spdlog::async_logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>(),
            spdlog::thread_pool(), spdlog::async_overflow_policy::overrun_oldest);

    const auto pushFloor = [&] {
        ++status.total_count;
        floor.push(status);
    };
    const auto push = [&] {
        ++status.total_count;
        library.push(status);
    };
    const auto setGauges = [&] {
        ++status.total_count;
        for (auto* gauge : gauges)
            gauge->Set(status.total_count);
    };
    const auto log = [&] { logger->info("publication matched {}", ++status.total_count); };
    const auto repeat = [](auto once) {
        return [once](std::size_t count) {
            for (std::size_t i = 0; i < count; ++i)
                once();
        };
    };

    // An application changes no status a million times a second: a batch finds the arena as the last one left
    // it. Every candidate waits alike, as others use the processor and its caches meanwhile.
    const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(3)); };
    const auto candidatesWith = [&](std::size_t warmUps) {
        const auto candidate = [&](const char* name, auto once) {
            return bench::Candidate{
                .name = name, .run = repeat(once), .beforeBatch = [pause, warmUp = repeat(once), warmUps] {
                    pause();
                    warmUp(warmUps);
                }};
        };
        return std::vector<bench::Candidate>{candidate("floor: recursive mutex, bump, copy, link", pushFloor),
            candidate("pushEventMetricFunction with its mutex", push),
            candidate("prometheus-cpp: 8 x Gauge::Set", setGauges),
            candidate("spdlog: one asynchronous call", log)};
    };
    const bench::SecondReference toGauges{2, "8 x Set"};
    std::vector<bench::Candidate> cold = candidatesWith(0);
    bench::Table afterPause = bench::compare("Cost of a push on the caller's thread, after a pause",
        "44 bytes of publication-matched status, metric mutex included; each batch begins with cold caches",
        cold, batch, rounds, &toGauges);
    std::vector<bench::Candidate> warm = candidatesWith(20);
    bench::Table table = bench::compare("Cost of a push on the caller's thread, steady",
        "the same behind 20 calls that do not count", warm, batch, rounds, &toGauges);

    const auto sample = [&](std::size_t row, const auto& once) {
        bench::samplePercentiles(table.rows[row], once, 100'000);
        const std::uint64_t before = bench::heapCalls();
        for (int i = 0; i < 10'000; ++i)
            once();
        table.rows[row].heapCalls = static_cast<double>(bench::heapCalls() - before) / 10'000;
    };
    sample(0, pushFloor);
    sample(1, push);
    sample(2, setGauges);
    sample(3, log);
    bench::print(afterPause);
    bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", {afterPause, table});
    library.monitoringClass->deleteResourceFunction(library.monitoringClass, library.writer);
    ORX_MonitoringHost_stop();
    DDS_Entity_delete_observedI(library.entity);
    return 0;
}
