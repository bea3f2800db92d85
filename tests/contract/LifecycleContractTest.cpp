// Deletion in every order, while samples flow, and many threads at once.
#include <array>
#include <atomic>
#include <map>
#include <thread>

#include "tests/contract/EngineContract.hpp"

namespace contract {
namespace {

using eng::Status;

class Lifecycle : public EngineContract {};

// Aborts the test when it is called after its end was announced.
class WatchfulSink final : public eng::ReaderSink, public eng::WriterSink {
public:
    void onSample(const eng::IncomingSample&) override {
        look();
        ++samples;
    }
    void onMatched(const eng::RemoteEndpoint&) override { look(); }
    void onUnmatched(const eng::RemoteEndpoint&) override { look(); }
    void end() { ended_ = true; }

    std::atomic<int> samples{0};

private:
    void look() {
        if (ended_)
            ADD_FAILURE() << "called after the destructor of the endpoint had returned";
    }
    std::atomic<bool> ended_{false};
};

TEST_P(Lifecycle, ParticipantsComeAndGo) {
    for (int i = 0; i < 3; ++i) {
        ParticipantPointer one = participant(), two = participant();
        ASSERT_TRUE(one && two);
        one.reset();
        WriterPointer writer = makeWriter(*two, uniqueName("again"), nullptr);
        EXPECT_TRUE(writer);
    }
}

TEST_P(Lifecycle, BadDomainIsRefused) {
    ParticipantPointer bad{engine().createParticipant({.domainId = -1, .name = nullptr, .peers = {}})};
    EXPECT_FALSE(bad);
}

// The six orders in which a writer, a reader and a second reader can go, while the writer writes.
TEST_P(Lifecycle, EndpointsGoInEveryOrderWhileDataFlows) {
    std::array<int, 3> order{0, 1, 2};
    do {
        const std::string topic = uniqueName("orders");
        ParticipantPointer sending = participant(), receiving = participant();
        WatchfulSink writerSink, sinks[2];
        WriterPointer writer = makeWriter(*sending, topic, &writerSink);
        ReaderPointer readers[2] = {
            makeReader(*receiving, topic, &sinks[0]), makeReader(*sending, topic, &sinks[1])};
        ASSERT_TRUE(writer && readers[0] && readers[1]);
        std::atomic<bool> stop{false};
        std::thread flow([&] {
            while (!stop)
                EXPECT_EQ(write(*writer, sample("flow")), Status::ok);
        });
        while (sinks[0].samples < 20 || sinks[1].samples < 20)
            std::this_thread::yield();
        for (int which : order) {
            if (which == 2) {
                stop = true;
                flow.join();
                writer.reset();
                writerSink.end();
            } else {
                readers[which].reset();
                sinks[which].end();
            }
        }
        receiving.reset();
        sending.reset();
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_P(Lifecycle, ReadersComeAndGoUnderFire) {
    const std::string topic = uniqueName("churn");
    ParticipantPointer sending = participant(), receiving = participant();
    WriterPointer writer = makeWriter(*sending, topic, nullptr);
    std::atomic<bool> stop{false};
    std::thread flow([&] {
        while (!stop)
            EXPECT_EQ(write(*writer, sample("fire")), Status::ok);
    });
    for (int i = 0; i < 30; ++i) {
        WatchfulSink sink;
        ReaderPointer reader = makeReader(*receiving, topic, &sink);
        while (sink.samples == 0)
            std::this_thread::yield();
        reader.reset();
        sink.end();
    }
    stop = true;
    flow.join();
}

// A sample is never the first thing that a reader hears of a writer, and nothing comes after its end.
TEST_P(Lifecycle, MatchComesBeforeDataAndNothingAfterTheEnd) {
    const std::string topic = uniqueName("first");
    ParticipantPointer sending = participant(), receiving = participant();
    ReaderRecorder sink;
    ReaderPointer reader = makeReader(*receiving, topic, &sink);
    constexpr int rounds = 40;
    std::thread threads[2];
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (int i = 0; i < rounds; ++i) {
                WriterPointer writer = makeWriter(*sending, topic, nullptr);
                for (int n = 0; n < 5; ++n)
                    EXPECT_EQ(write(*writer, sample("x")), Status::ok);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_TRUE(sink.waitForUnmatches(2 * rounds));
    EXPECT_EQ(expectMatchesAround(sink.events()), 2 * rounds);
}

// Eight threads write through their own and through one shared writer; every sample arrives, in order per
// writer.
TEST_P(Lifecycle, EightThreadsLoseNothing) {
    constexpr int threadCount = 8, each = 200;
    const std::string topic = uniqueName("threads");
    ParticipantPointer sending = participant(), receiving = participant();
    ReaderRecorder sink;
    WriterRecorder sharedSink, sinks[threadCount];
    ReaderPointer reader = makeReader(*receiving, topic, &sink);
    WriterPointer shared = makeWriter(*sending, topic, &sharedSink);
    ASSERT_TRUE(sharedSink.waitForMatches(1));
    std::thread threads[threadCount];
    for (int t = 0; t < threadCount; ++t)
        threads[t] = std::thread([&, t] {
            WriterPointer own = makeWriter(*sending, topic, &sinks[t]);
            EXPECT_TRUE(sinks[t].waitForMatches(1));
            for (int i = 0; i < each; ++i) {
                EXPECT_EQ(write(*own, sample("own")), Status::ok);
                EXPECT_EQ(write(*shared, sample("shared")), Status::ok);
            }
            EXPECT_EQ(own->waitForAcknowledgments(eng::infinite), Status::ok);
        });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_TRUE(sink.waitForSamples(2 * threadCount * each));
    std::map<DDS_GUID_t, int64_t> last;
    for (const Received& one : sink.samples())
        EXPECT_EQ(one.sequenceNumber, ++last[one.writer]);
    EXPECT_EQ(last.size(), size_t{threadCount + 1});
    EXPECT_EQ(last[shared->guid()], int64_t{threadCount * each});
}

TEST_P(Lifecycle, ParticipantsOfManyThreadsDoNotDisturbEachOther) {
    std::thread threads[4];
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (int i = 0; i < 3; ++i) {
                ParticipantPointer own = participant(testDomain(2));
                ASSERT_TRUE(own);
                WriterPointer writer = makeWriter(*own, "manyThreads", nullptr);
                EXPECT_TRUE(writer);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

INSTANTIATE_TEST_SUITE_P(Engine, Lifecycle, allEngines, engineName);

} // namespace
} // namespace contract
