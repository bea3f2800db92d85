// A writer in a process of its own writes the same samples to a forwarder and to a plain reader in turns;
// each of the two is a process, and has a domain, of its own.
//
// The writer packs samples into large packets and stays at most a window ahead of the reader, so that nothing
// is lost. Where all have all processors, it takes about as long as a reader; where the reading process has
// one of them, and the writer another, the readers alone are timed.
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "bench/common/Child.hpp"
#include "bench/forwarder/Forwarded.hpp"
#include "bench/forwarder/Plain.h"
#include "bench/forwarder/Shared.hpp"
#include "bench/forwarder/Tables.hpp"
#include "tests/helpers/TestDomain.hpp"

namespace bench {

namespace {

constexpr std::size_t samplesInRound = 20'000;
constexpr std::size_t rounds = 15;
constexpr std::size_t samplesInFlush = 64;
// Samples that are written and not taken yet: what a socket's buffer surely holds where nothing is repeated.
constexpr std::size_t windows[] = {2'048, 512};
constexpr int attempts = 3; // at a round
constexpr std::int64_t patience = 10'000'000'000;

// Whom the writer writes to. Their domains are told apart by this number too.
enum Side : std::size_t { plain, forwarded, sides };
constexpr std::size_t topicCount = 2; // events and periodic samples

// What one topic's taker of one side has taken so far.
struct Taken {
    std::atomic<std::uint64_t> samples;
    std::atomic<std::int64_t> last; // when
};
using AllTaken = std::array<std::array<Taken, topicCount>, sides>;

PlainTopic topicOf(std::size_t number) {
    return number == 0 ? PLAIN_EVENT : PLAIN_PERIODIC;
}

// The calling thread and those that it starts later.
void keepTo(unsigned processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor % std::max(1U, std::thread::hardware_concurrency()), &set);
    (void)sched_setaffinity(0, sizeof set, &set); // not where the container has other processors
}

double cpuNanoseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return 1e9 * static_cast<double>(time.tv_sec) + 1e3 * static_cast<double>(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

// ---- The readers ----

void sum(void* context, std::uint32_t number) {
    *static_cast<std::uint64_t*>(context) += number;
}

template <class Take> void keepTaking(Taken& taken, Take take) {
    std::thread([&taken, take] {
        std::uint64_t numbers = 0;
        for (;;) {
            const std::size_t count = take(&numbers);
            if (count == 0)
                continue;
            keep(numbers);
            taken.last.store(now(), std::memory_order_relaxed);
            taken.samples.fetch_add(count, std::memory_order_release);
        }
    }).detach();
}

// Answers every question with the processor's time that the process has used so far.
Child::Handler cpuTime() {
    return [](std::size_t) { return Child::Answer{cpuNanoseconds()}; };
}

Child::Handler readForwarded(AllTaken& taken) {
    const ORX_MonitoringForwarder& forwarder = makeForwarder(testDomain(forwarded));
    for (std::size_t i = 0; i < topicCount; ++i) {
        const auto reader = std::make_shared<ForwardedReader>(forwarder, topicOf(i));
        keepTaking(taken[forwarded][i], [reader](void* context) { return reader->take(sum, context); });
    }
    return cpuTime();
}

Child::Handler readPlain(AllTaken& taken) {
    for (std::size_t i = 0; i < topicCount; ++i) {
        PlainReader* reader = PlainReader_new(testDomain(plain), topicOf(i));
        keepTaking(
            taken[plain][i], [reader](void* context) { return PlainReader_take(reader, sum, context); });
    }
    return cpuTime();
}

// ---- The writer ----

constexpr std::size_t questionOf(Side side, std::size_t topic) {
    return 1 + side * topicCount + topic;
}

// Until the reader has taken so many. False when it takes nothing any more.
bool wait(const Taken& taken, std::uint64_t count) {
    std::uint64_t before = 0;
    for (std::int64_t end = now() + patience;;) {
        const std::uint64_t samples = taken.samples.load(std::memory_order_acquire);
        if (samples >= count)
            return true;
        if (samples != before)
            end = now() + patience;
        before = samples;
        if (now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
}

// Nanoseconds from the first write to the last take; less than 0 when samples were lost.
double writeRound(PlainWriter& writer, const Taken& taken, std::size_t window) {
    const std::uint64_t before = taken.samples.load();
    const std::int64_t start = now();
    for (std::size_t written = 0; written < samplesInRound;) {
        for (std::size_t i = 0; i < samplesInFlush && written < samplesInRound; ++i)
            PlainWriter_write(&writer, static_cast<std::uint32_t>(++written));
        PlainWriter_flush(&writer);
        if (written > window && !wait(taken, before + written - window))
            return -1;
    }
    if (!wait(taken, before + samplesInRound))
        return -1;
    return static_cast<double>(taken.last.load() - start);
}

// Until the reader knows the writer too: what came before that is for nobody.
void writeFirst(PlainWriter& writer, const Taken& taken) {
    PlainWriter_waitForReader(&writer);
    while (taken.samples.load() == 0) {
        PlainWriter_write(&writer, 0);
        PlainWriter_flush(&writer);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

Child::Handler write(const AllTaken& taken) {
    Plain_batchWrites();
    std::array<std::array<PlainWriter*, topicCount>, sides> writers{};
    for (std::size_t side = 0; side < sides; ++side)
        for (std::size_t topic = 0; topic < topicCount; ++topic)
            writers[side][topic] = PlainWriter_new(testDomain(side), topicOf(topic));
    for (std::size_t side = 0; side < sides; ++side)
        for (std::size_t topic = 0; topic < topicCount; ++topic)
            writeFirst(*writers[side][topic], taken[side][topic]);
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // what is under way arrives
    return [writers, &taken](std::size_t question) {
        const std::size_t side = (question - 1) / topicCount, topic = (question - 1) % topicCount;
        return Child::Answer{writeRound(*writers[side][topic], taken[side][topic], windows[topic])};
    };
}

// ---- The tables ----

// Either every process has all processors, or the writer has one and the readers another.
struct World {
    explicit World(bool isApart) : taken{shared<AllTaken>()} {
        const auto on = [isApart](unsigned processor, auto make) {
            return [=] {
                if (isApart)
                    keepTo(processor);
                return make();
            };
        };
        for (std::size_t side = 0; side < sides; ++side)
            (void)testDomain(side); // claimed once, for all of them
        readers[plain] = std::make_unique<Child>(on(1, [this] { return readPlain(taken); }));
        readers[forwarded] = std::make_unique<Child>(on(1, [this] { return readForwarded(taken); }));
        for (const auto& reader : readers)
            reader->waitUntilBuilt();
        writer = std::make_unique<Child>(on(0, [this] { return write(taken); }));
        writer->waitUntilBuilt();
    }

    AllTaken& taken;
    std::array<std::unique_ptr<Child>, sides> readers;
    std::unique_ptr<Child> writer;
};

struct Figures {
    std::vector<double> times, cpu;
};

void measureRound(const World& world, Side side, std::size_t topic, Figures* figures) {
    double cpuBefore = 0, time = -1;
    for (int attempt = 0; time < 0; ++attempt) { // best effort may lose some on a machine that stands still
        if (attempt == attempts)
            fail("samples are lost");
        cpuBefore = world.readers[side]->ask(1)[0];
        time = world.writer->ask(questionOf(side, topic))[0];
    }
    const double cpu = world.readers[side]->ask(1)[0] - cpuBefore;
    if (figures != nullptr) {
        figures->times.push_back(time / samplesInRound);
        figures->cpu.push_back(cpu / samplesInRound);
    }
}

Table measureTopic(const World& world, std::size_t topic, const std::string& title) {
    std::array<Figures, sides> figures;
    for (std::size_t round = 0; round < rounds + 1; ++round)
        for (const Side side : {plain, forwarded})
            measureRound(world, side, topic, round == 0 ? nullptr : &figures[side]); // the first warms up
    Table table{title,
        "20,000 samples in a round, a writer in another process; time of a sample from write to take, and "
        "processor's time of all threads of the reading process; ratio to the plain reader; in parentheses "
        "samples a second",
        {rowOf("plain reader of Cyclone DDS", figures[plain].times, figures[plain].times),
            rowOf("forwarder, to the cache reader", figures[forwarded].times, figures[plain].times),
            rowOf("processor's time: plain reader", figures[plain].cpu, figures[plain].cpu),
            rowOf("processor's time: forwarder", figures[forwarded].cpu, figures[plain].cpu)}};
    for (std::size_t i = 0; i < sides; ++i)
        table.rows[i].perPiece = 1e9 / table.rows[i].nanoseconds;
    return table;
}

} // namespace

void measureRates(std::vector<Table>& tables) {
    for (const bool isApart : {false, true}) {
        const World world(isApart);
        const std::string where = isApart ? ", on one processor" : "";
        addPrinted(tables, measureTopic(world, 0, "Forwarding events, reliable" + where));
        addPrinted(tables, measureTopic(world, 1, "Forwarding periodic samples, best effort" + where));
    }
}

} // namespace bench
