// Two processes: a program that is monitored, and a collector. The program changes a status and notes when,
// the collector takes the event and notes when. In turns with it the program writes samples of its own with
// the engine alone, and the collector's process takes those with the engine alone.
#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "bench/common/Child.hpp"
#include "bench/forwarder/Forwarded.hpp"
#include "bench/forwarder/Plain.h"
#include "bench/forwarder/Shared.hpp"
#include "bench/forwarder/Tables.hpp"
#include "orxmonitoring2d/data_model.h"
#include "src/dataModel/MetricCatalogue.h"
#include "tests/helpers/TestDomain.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace bench {

namespace {

constexpr DDS_UnsignedLong publicationMatchedGroup = 5; // status_publication_matched_1
constexpr std::size_t rounds = 12;
constexpr std::size_t samplesInRound = 200;
constexpr std::int64_t patience = 60'000'000'000;
constexpr std::size_t monitoringDomain = 2, plainDomain = 3; // purposes

// What is compared. An own program for each of the last two.
enum Kind : std::size_t { engine, everyPush, ownPeriod, kinds };

// A sample's number is its place here; the first ones are for getting under way.
constexpr std::size_t slotCount = kinds + kinds * rounds * samplesInRound;
struct Moments {
    std::array<std::int64_t, slotCount> sent;
    std::array<std::atomic<std::int64_t>, slotCount> taken; // 0: not yet
};

void await(const std::atomic<std::int64_t>& taken, std::int64_t end) {
    while (taken.load(std::memory_order_acquire) == 0) {
        if (now() > end)
            fail("a sample did not arrive");
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

// ---- The collector ----

// A value may come again with a snapshot: the first time counts.
void note(void* context, std::uint32_t number) {
    auto& taken = static_cast<Moments*>(context)->taken;
    std::int64_t never = 0;
    if (number < slotCount)
        taken[number].compare_exchange_strong(never, now(), std::memory_order_release);
}

Child::Handler collect(Moments& moments) {
    const ORX_MonitoringForwarder& forwarder = makeForwarder(testDomain(monitoringDomain));
    std::thread([&moments, &forwarder] {
        for (ForwardedReader reader(forwarder, PLAIN_EVENT);;)
            reader.take(note, &moments);
    }).detach();
    std::thread([&moments] {
        for (PlainReader* reader = PlainReader_new(testDomain(plainDomain), PLAIN_STAMP);;)
            PlainReader_take(reader, note, &moments);
    }).detach();
    return [](std::size_t) { return Child::Answer{}; };
}

// ---- The monitored program ----

DDS_Boolean noGroup(void** group, const void*, DDS_UnsignedLong) {
    *group = nullptr;
    return DDS_BOOLEAN_FALSE;
}
constexpr ORX_MonitoringResourceForwarder noGroups{noGroup, nullptr};

// The library with a data writer for each change of a round: of several changes of one status within a
// publication period only the last is published.
class Library {
public:
    explicit Library(Kind kind) {
        ORXLog_setStderrEnabled(0); // the group function above refuses on purpose
        ORX_MonitoringHost_initialize();
        ORX_Monitoring_initialize();
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = testDomain(monitoringDomain);
        if (kind == everyPush)
            property.event.publication_period = {0, 0};
        DDS_MonitoringMetricSelectionSeq_ensure_length(&property.metric_selection_list, 1, 1);
        auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 0);
        DDS_String_replace(&selection->resource_selection, "//*");
        DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1);
        DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), "*");
        table_ = ORX_MonitoringHost_start(&property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        if (table_ == nullptr)
            fail("the library did not start");
        for (std::size_t i = 0; i < samplesInRound; ++i)
            assertWriter(kind, i);
    }

    void changeStatus(std::size_t number) {
        DDS_Monitoring_PublicationMatchedStatus status{};
        status.total_count = static_cast<DDS_Long>(number);
        const Writer& writer = writers_[number % samplesInRound];
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, writer.index, 1, 1, nullptr);
        table_->pushEventMetricFunction(table_, &status, writer.resource, publicationMatchedGroup);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, writer.index, 1);
    }

private:
    struct Writer {
        ORX_MonitoringResource* resource;
        DDS_UnsignedLong index;
    };

    void assertWriter(Kind kind, std::size_t number) {
        DDS_GUID_t guid{{1, 2, 3, static_cast<DDS_Octet>(kind)}};
        guid.value[15] = static_cast<DDS_Octet>(number);
        const std::string name = "writer" + std::to_string(number);
        Writer& writer = writers_[number];
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
        writer.resource =
            table_->assertResourceFunction(table_, &writer.index, &guid, ORX_MONITORING_DATA_WRITER_CLASS_ID,
                name.c_str(), DDS_Entity_create_observedI(DDS_DATAWRITER_ENTITY_KIND, &guid, 0),
                table_->rootResource, &noGroups);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
        if (writer.resource == nullptr)
            fail("no resource");
    }

    ORX_MonitoringClass* table_ = nullptr;
    std::array<Writer, samplesInRound> writers_{};
};

// Sends at moments that have nothing to do with the library's own rhythm, and waits until all is taken.
template <class Send> void sendRound(Moments& moments, std::size_t first, const Send& send) {
    static std::minstd_rand random;
    for (std::size_t number = first; number < first + samplesInRound; ++number) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 4'000));
        moments.sent[number] = now();
        send(number);
    }
    for (std::size_t number = first; number < first + samplesInRound; ++number)
        await(moments.taken[number], now() + patience);
}

// Until the reader is there.
template <class Send> void sendFirst(Moments& moments, std::size_t number, const Send& send) {
    for (const std::int64_t end = now() + patience; moments.taken[number].load() == 0;) {
        if (now() > end)
            fail("nothing arrives");
        send(number);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

Child::Handler changeStatuses(Moments& moments, Kind kind) {
    const auto library = std::make_shared<Library>(kind);
    const auto change = [library](std::size_t number) { library->changeStatus(number); };
    sendFirst(moments, kind, change);
    PlainWriter* writer = PlainWriter_new(testDomain(plainDomain), PLAIN_STAMP);
    const auto write = [writer](std::size_t number) {
        PlainWriter_write(writer, static_cast<std::uint32_t>(number));
    };
    sendFirst(moments, engine, write);
    // Even questions: statuses. Odd ones: samples of its own, from the first program that was built alone.
    return [&moments, change, write](std::size_t question) {
        if (question % 2 == 0)
            sendRound(moments, question / 2, change);
        else
            sendRound(moments, question / 2, write);
        return Child::Answer{};
    };
}

// ---- The table ----

constexpr std::size_t firstSlot(Kind kind, std::size_t round) {
    return kinds + (kind * rounds + round) * samplesInRound;
}

std::vector<double> timesOf(const Moments& moments, Kind kind, std::size_t round) {
    std::vector<double> times;
    for (std::size_t i = 0; i < samplesInRound; ++i) {
        const std::size_t slot = firstSlot(kind, round) + i;
        times.push_back(static_cast<double>(moments.taken[slot].load() - moments.sent[slot]));
    }
    return times;
}

struct Figures {
    std::vector<double> all, medians;
};

Figures figuresOf(const Moments& moments, Kind kind) {
    Figures figures;
    for (std::size_t round = 1; round < rounds; ++round) { // the first warms up
        const std::vector<double> times = timesOf(moments, kind, round);
        figures.medians.push_back(percentile(times, 0.5));
        figures.all.insert(figures.all.end(), times.begin(), times.end());
    }
    return figures;
}

Row rowOf(const char* name, const Figures& figures, const Figures& reference) {
    Row row = bench::rowOf(name, figures.medians, reference.medians);
    row.p50 = percentile(figures.all, 0.5);
    row.p99 = percentile(figures.all, 0.99);
    row.perPiece = row.p99 / percentile(reference.all, 0.99);
    return row;
}

} // namespace

void measureLatencies(std::vector<Table>& tables) {
    auto& moments = shared<Moments>();
    (void)testDomain(monitoringDomain); // claimed once, for all of them
    (void)testDomain(plainDomain);
    const Child collector([&] { return collect(moments); });
    collector.waitUntilBuilt();
    const Child prompt([&] { return changeStatuses(moments, everyPush); });
    prompt.waitUntilBuilt();
    const Child ordinary([&] { return changeStatuses(moments, ownPeriod); });
    ordinary.waitUntilBuilt();
    for (std::size_t round = 0; round < rounds; ++round) {
        prompt.ask(2 * firstSlot(engine, round) + 1);
        prompt.ask(2 * firstSlot(everyPush, round));
        ordinary.ask(2 * firstSlot(ownPeriod, round));
    }
    const Figures reference = figuresOf(moments, engine);
    addPrinted(tables, {"From a status change in the program to the user's take at the forwarder",
                           "single changes, two processes; ratio of the rounds' medians to the engine's own "
                           "time from write to "
                           "take between the same processes; in parentheses the same of p99",
                           {rowOf("Cyclone DDS alone: write to take", reference, reference),
                               rowOf("event, publication period 0", figuresOf(moments, everyPush), reference),
                               rowOf("event, publication period 100 ms (default)",
                                   figuresOf(moments, ownPeriod), reference)}});
}

} // namespace bench
