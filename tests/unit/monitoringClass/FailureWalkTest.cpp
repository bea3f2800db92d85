// Every allocation and every engine call fails once, through start, assert, push, delete and stop; nothing is
// left.
//
// Left on purpose, and the whole list:
// - a resource whose removal could not be posted: it has left the tree and the lists, and its memory stays,
// since
//   whoever was to hear of the removal may still refer to it. The log says "Removal resource update\n" for
//   each.
#include <set>
#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

extern "C" {
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);
}

namespace {

constexpr char leftOnPurpose[] = "Removal resource update\n";

// One life of the library. True when all of it went well.
bool live(Library& library) {
    bool result = library.start();
    if (!result)
        return false;
    auto* participant = library.participant("p");
    auto* topic = participant != nullptr ? library.topic("t", participant) : nullptr;
    result = topic != nullptr;
    if (topic != nullptr) {
        const DDS_Monitoring_InconsistentTopicStatus status{1, 1};
        for (int i = 0; i < 3; ++i) {
            result &= library.push(topic, 1, "square");
            result &= library.push(topic, 3, &status);
        }
        result &= library.table->pauseResourceMetricsFunction(library.table, topic) != 0;
        result &= library.table->resumeResourceMetricsFunction(library.table, topic) != 0;
        library.deleteResource(topic);
    }
    if (participant != nullptr)
        library.deleteResource(participant);
    EXPECT_TRUE(library.stop());
    return result;
}

void prepare(Library& library) {
    library.property.event.initial_memory_size = 64; // so that arenas grow on the way
    library.select("//topics/*", "*");
    library.select("//data_writers/*", "dds_data_writer_cache*");
}

// The lines of the steps of create that make something: each is seen when memory is out from there on.
const std::set<std::string> linesOfCreate = {
    "disableSelection.disabled_metrics_selection length (1)",
    "disableSelection.disabled_metrics_selection[0]to \"*\"",
    "'struct ORX_MonitoringClass' with size " + std::to_string(sizeof(ORX_MonitoringClassImpl)),
    "'struct ORX_MonitoringProperty_t' with size " + std::to_string(sizeof(ORX_MonitoringProperty_t)),
    "property",
    "Metric selection index node allocator",
    "Metric selection index",
    "Metric Selection Node Buffer Pool",
    "initial Metric Selection list",
    "Monitoring library entities",
    "Monitoring Event Snapshot Thread with name oMo###EventSnap",
    "Monitoring resource registry",
    "Monitoring resource application root",
    "Monitoring event metric thread with name oMo#######Event",
    "Monitoring periodic event thread with name oMo###Periodic",
    "Monitoring logging thread with name oMo#####Logging",
    "Monitoring Library Entities",
    "Monitoring Command dispatcher with thread name oMo###Command",
};

// What a process makes once and keeps.
void warmUp() {
    LogCapture log;
    Library library;
    prepare(library);
    EXPECT_TRUE(live(library)) << log.text();
}

// What is left on purpose is counted by this test, and nothing for the leak checker. The functions are there
// in builds with the address sanitizer alone.
class LeaksAreCounted {
public:
    LeaksAreCounted() {
        if (__lsan_disable != nullptr)
            __lsan_disable();
    }
    ~LeaksAreCounted() {
        if (__lsan_enable != nullptr)
            __lsan_enable();
    }
    LeaksAreCounted(const LeaksAreCounted&) = delete;
    LeaksAreCounted& operator=(const LeaksAreCounted&) = delete;
};

// The n-th fails, or all from the n-th on.
void walkAllocations(uint64_t times) {
    const LeaksAreCounted counted;
    warmUp();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    bool allWentWell = false;
    uint64_t n = 0;
    int leftovers = 0;
    std::set<std::string> unseen = linesOfCreate;
    while (!allWentWell && n < 5000) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        bool failed = true;
        {
            Library library;
            prepare(library);
            FailingHeap heap;
            heap.failAt(++n, times);
            allWentWell = live(library);
            failed = heap.hasFailed();
            heap.failNoMore();
            ASSERT_EQ(library.engine.liveObjects(), 0) << "allocation " << n << "\n" << log.text();
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "allocation " << n << "\n" << log.text();
        for (const auto& line : log.lines())
            unseen.erase(line.subject);
        if (log.has(leftOnPurpose)) {
            ++leftovers;
        } else {
            ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
        }
        // A failure that is not noticed by its caller is at least in the log, unless something went on
        // without it.
        if (failed)
            allWentWell = false;
    }
    EXPECT_TRUE(allWentWell);
    if (times == UINT64_MAX) { // after a single failure a sequence tries a smaller buffer
        EXPECT_THAT(unseen, testing::IsEmpty());
    }
    EXPECT_GT(n, 100U);
    EXPECT_LT(leftovers, 20);
    testing::Test::RecordProperty("allocations", static_cast<int>(n));
    testing::Test::RecordProperty("leftovers", leftovers);
}

TEST(FailureWalk, EveryAllocationFails) {
    walkAllocations(1);
}

TEST(FailureWalk, EveryAllocationIsTheLast) {
    walkAllocations(UINT64_MAX);
}

TEST(FailureWalk, EveryEngineCallFails) {
    warmUp();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    int64_t call = 0;
    bool failed = true;
    while (failed && call < 500) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            Library library;
            prepare(library);
            library.engine.failAt(++call);
            (void)live(library);
            failed = library.engine.calls() >= call;
            ASSERT_EQ(library.engine.liveObjects(), 0) << "call " << call << "\n" << log.text();
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "call " << call;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "call " << call << "\n" << log.text();
    }
    RecordProperty("calls", static_cast<int>(call));
    EXPECT_GT(call, 4); // the participant, three writers, and writes
}

} // namespace
