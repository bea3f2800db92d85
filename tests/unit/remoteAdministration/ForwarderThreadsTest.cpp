// Many callers at once, many destinations, and the manager's end in the midst of it.
#include <cstdlib>
#include <functional>
#include <map>

#include "tests/unit/remoteAdministration/ForwarderWorld.hpp"

namespace forwarding {
namespace {

// Answers what comes to some applications, on a thread of its own, and counts it.
class Responder {
public:
    using Answer = std::function<std::optional<int>(size_t application)>; // a code, or silence
    Responder(std::vector<std::unique_ptr<Application>>& applications, Answer answer)
        : applications_(applications), answer_(std::move(answer)), thread_([this] { run(); }) {}
    ~Responder() { stop(); }
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;
    void stop() {
        isStopping_ = true;
        if (thread_.joinable())
            thread_.join();
        takeAll();
    }
    // Once it has stopped: the most commands of one identifier that one application got.
    int mostOfOne() const {
        int most = 0;
        for (const auto& [key, count] : commands_)
            most = std::max(most, count);
        return most;
    }
    size_t commands() const { return commands_.size(); }

private:
    void run() {
        while (!isStopping_) {
            if (!takeAll())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    bool takeAll() {
        bool hasAny = false;
        for (size_t i = 0; i < applications_.size(); ++i) {
            for (const Arrived& one : applications_[i]->takeNow()) {
                hasAny = true;
                if (!one.isData)
                    continue;
                ++commands_[{i, std::string(reinterpret_cast<const char*>(one.uuid.value), 16)}];
                if (const auto code = answer_(i))
                    applications_[i]->reply(one, *code);
            }
        }
        return hasAny;
    }

    std::vector<std::unique_ptr<Application>>& applications_;
    const Answer answer_;
    std::map<std::pair<size_t, std::string>, int> commands_;
    std::atomic<bool> isStopping_{false};
    std::thread thread_;
};

// While it lives, the n-th allocation of the thread that entered goes on only once the manager takes no
// commands any more.
class HeldAt {
public:
    HeldAt(const Manager& watched, unsigned allocation) {
        manager = &watched;
        left = allocation;
        isReached = false;
        static const ORXOsapiHeapAllocator allocator{&HeldAt::allocate, &HeldAt::release, nullptr};
        ORXOsapiHeap_setAllocator(&allocator);
    }
    ~HeldAt() { ORXOsapiHeap_setAllocator(nullptr); }
    HeldAt(const HeldAt&) = delete;
    HeldAt& operator=(const HeldAt&) = delete;
    static inline thread_local bool isEntered = false;
    static inline std::atomic<bool> isReached{false};

private:
    static void* allocate(void*, size_t size, size_t alignment, const char*) {
        if (isEntered && left > 0 && --left == 0) {
            isReached = true;
            EXPECT_TRUE(eventually([] { return !orx::forwarder::isTakingCommands(*manager); }));
        }
        if (alignment <= alignof(std::max_align_t))
            return std::malloc(size != 0 ? size : 1);
        return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    }
    static void release(void*, void* memory) { std::free(memory); }
    static inline const Manager* manager = nullptr;
    static inline unsigned left = 0; // of the thread that entered
};

class ForwarderThreads : public World {};
// Over one engine: the points are those of the manager.
class ForwarderEnd : public World {
protected:
    // Runs `command` again and again; each time the manager's end begins one allocation later, until it is at
    // work on the far side.
    template <class Command> void endEverywhere(Command command) {
        bool isBeyond = false;
        unsigned n = 0;
        while (!isBeyond && n < 500 && !HasFailure()) {
            begin(1);
            const HeldAt held(*collector->manager, ++n);
            auto done = std::async(std::launch::async, [&] {
                HeldAt::isEntered = true;
                command();
                HeldAt::isEntered = false;
            });
            EXPECT_TRUE(eventually([&] { return HeldAt::isReached || !app(1).isQuiet(); }));
            isBeyond = !HeldAt::isReached;
            EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_finalize(collector->manager))
                << n << log.text();
            done.get();
            EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 0U) << n << log.text();
            collector.reset();
            applications.clear();
        }
        EXPECT_TRUE(isBeyond);
        EXPECT_GT(n, 10U);
    }
};

TEST_P(ForwarderEnd, MayComeAtEveryPointOfABlockingCommand) {
    endEverywhere([&] {
        const Result got = collector->run(Kind::setForwarding, everybody);
        EXPECT_EQ(got.code, 2) << got;
        EXPECT_EQ(got.message, "Timedout") << got;
    });
}

TEST_P(ForwarderEnd, MayComeAtEveryPointOfASelfManagedCommand) {
    endEverywhere([&] { (void)collector->requestRegistryFrom(app(1).readerHandle()); });
}

TEST_P(ForwarderThreads, ManyCallersAtOnceEachGetTheirOwnResult) {
    begin(3);
    // The second finds nothing: who asks it alone is told so, and who asks all of them is not.
    Responder responder(applications, [](size_t i) { return i == 1 ? 3 : 0; });
    std::atomic<int> wrong{0};
    std::vector<std::thread> callers;
    for (unsigned t = 0; t < 6; ++t)
        callers.emplace_back([&, t] {
            for (unsigned i = 0; i < 25; ++i) {
                const Kind kind = allKinds[(t + i) % std::size(allKinds)];
                const bool asksSecond = (t + i) % 3 == 0;
                const Result got = collector->run(kind, asksSecond ? Texts{pathOf(2)} : everybody);
                wrong += got.code == (asksSecond ? 3 : 0) ? 0 : 1;
                wrong += collector->requestRegistryFrom(app(1).readerHandle()) ? 0 : 1;
            }
        });
    // Participants that nobody waits for come and go.
    std::atomic<bool> isOver{false};
    std::thread churn([&] {
        for (uint32_t number = 1000; !isOver; ++number) {
            DDS_GUID_t guid{};
            std::memcpy(guid.value, &number, sizeof number);
            guid.value[15] = 0xC1;
            // Known under another name, so that no selector of the callers reaches it for long.
            EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_lock(collector->registry));
            collector->know(guid, "passing", number);
            collector->forget(guid, number);
            EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_unlock(collector->registry));
            std::this_thread::yield();
        }
    });
    for (std::thread& caller : callers)
        caller.join();
    isOver = true;
    churn.join();
    EXPECT_EQ(wrong, 0) << log.text();
    EXPECT_TRUE(collector->isIdle());
    responder.stop();
    EXPECT_EQ(responder.mostOfOne(), 1);
}

TEST_P(ForwarderThreads, DestinationsThatVanishCostNoMoreThanTheirTimeOut) {
    begin(2, {1, 0});
    Responder responder(applications, [](size_t) { return 0; });
    std::vector<std::thread> callers;
    std::atomic<int> ends[4]{};
    for (unsigned t = 0; t < 4; ++t)
        callers.emplace_back([&] {
            for (unsigned i = 0; i < 3; ++i) {
                const Result got = collector->run(Kind::setForwarding, everybody);
                ++ends[got.code == 0 ? 0 : got.message == "Timedout" ? 2 : 1];
            }
        });
    // Known, and never there.
    for (uint32_t number = 2000; number < 2020; ++number) {
        DDS_GUID_t guid{};
        std::memcpy(guid.value, &number, sizeof number);
        guid.value[15] = 0xC1;
        collector->know(guid, "ghost", number);
        std::this_thread::yield();
        collector->forget(guid, number);
    }
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(ends[1], 0);
    EXPECT_EQ(ends[0] + ends[2], 12);
    EXPECT_TRUE(collector->isIdle());
    responder.stop();
    EXPECT_EQ(responder.mostOfOne(), 1);
}

TEST_P(ForwarderThreads, TheEndComesWhileEverybodySends) {
    for (int round = 0; round < 3; ++round) {
        begin(2);
        // The second is silent now and then, so that some commands are in flight at the end.
        std::atomic<unsigned> askedFirst{0}, askedSecond{0};
        Responder responder(applications, [&](size_t i) {
            const unsigned asked = ++(i == 0 ? askedFirst : askedSecond);
            return i == 1 && asked % 16 == 0 ? std::nullopt : std::optional(0);
        });
        std::vector<std::thread> callers;
        std::atomic<int> wrong{0}, done{0};
        std::atomic<bool> isEnding{false};
        // As many ahead of what has come: a flood would fill the queue of replies, and those to the others
        // would be lost.
        callers.emplace_back([&] {
            for (unsigned sent = 0;; std::this_thread::yield()) {
                const bool isAhead = sent >= askedFirst + 64U;
                if (isAhead && !isEnding)
                    continue;
                if (!collector->requestRegistryFrom(app(1).readerHandle()))
                    return;
                ++sent;
            }
        });
        for (unsigned t = 0; t < 4; ++t)
            callers.emplace_back([&, t] {
                for (unsigned i = 0;; ++i) {
                    const Result got = collector->run(allKinds[(t + i) % std::size(allKinds)], everybody);
                    ++done;
                    if (got.code == 0)
                        continue;
                    wrong += got.code == 2 && got.message == "Timedout" ? 0 : 1;
                    return;
                }
            });
        EXPECT_TRUE(eventually([&] { return done > 20 || askedSecond > 32; }));
        isEnding = true;
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_finalize(collector->manager)) << log.text();
        for (std::thread& caller : callers)
            caller.join();
        EXPECT_EQ(wrong, 0) << log.text();
        responder.stop();
        EXPECT_EQ(responder.mostOfOne(), 1);
        collector.reset();
        applications.clear();
    }
}

// The reply of the first may be there before the last is written to.
TEST_P(ForwarderThreads, AnErrorOfTheFirstOvertakesNoWrite) {
    begin(12);
    Responder responder(applications, [](size_t i) { return i == 0 ? 2 : 0; });
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(collector->run(Kind::setMetrics, everybody).code, 2);
    responder.stop();
    EXPECT_EQ(responder.mostOfOne(), 1);
    EXPECT_EQ(responder.commands(), 12U * 20U);
}

INSTANTIATE_TEST_SUITE_P(Engines, ForwarderThreads, bothEngines, nameOf);

class ManyDestinations : public World {};

TEST_P(ManyDestinations, AHundredMergeIntoOneResult) {
    begin(100, {4, 0});
    std::atomic<bool> isFrozen{false};
    Responder responder(applications,
        [&](size_t i) { return isFrozen && i == 57 ? std::nullopt : std::optional(i % 2 == 0 ? 0 : 3); });
    EXPECT_EQ(collector->run(Kind::setForwarding, everybody).code, 0);
    isFrozen = true;
    const Result got = collector->run(Kind::setForwarding, everybody);
    EXPECT_EQ(got.code, 2) << got;
    EXPECT_EQ(got.message, "Timedout");
    isFrozen = false;
    EXPECT_EQ(collector->run(Kind::requestRegistry, everybody).code, 0);
    responder.stop();
    EXPECT_EQ(responder.mostOfOne(), 1);
    EXPECT_EQ(responder.commands(), 300U);
    EXPECT_EQ(collector->handlersInUse(), 0);
}

INSTANTIATE_TEST_SUITE_P(Engine, ForwarderEnd, testing::Values(EngineKind::loopback), nameOf);
INSTANTIATE_TEST_SUITE_P(Engine, ManyDestinations, testing::Values(EngineKind::loopback), nameOf);

} // namespace
} // namespace forwarding
