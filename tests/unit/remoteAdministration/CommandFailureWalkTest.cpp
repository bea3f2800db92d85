// Every allocation and every engine call fails once, through the creation of the dispatcher, one command of
// each kind, and the stop; nothing is left.
//
// Left on purpose: a node of the selection pool whose copy failed stays out of the pool until the pool goes.
#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "gtest/gtest.h"

namespace {

struct Delivery {
    std::vector<DDS_Octet> body;
    DDS_GUID_t uuid;
    bool isAnswered;
};

std::vector<Delivery> everyKindOfCommand() {
    std::vector<Delivery> all;
    const auto add = [&](const Command& command, bool isAnswered = true) {
        all.push_back({command.bytes(), CommandWorld::newUuid(), isAnswered});
    };
    add(SetMetrics({{"//topics/*", {"*"}}}));
    add(UpdateMetrics({{"//topics/t", {}, {"*"}}, {"//domain_participants/*", {"dds_*"}}}));
    add(RequestRegistry({"/applications/*"}));
    add(SetCollection(
        {{"//applications/*", {{22, DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING}}}}));
    add(SetForwarding({{"//applications/*", {{22, DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_ERROR}}}}));
    for (const DDS_Long refused : {operation::subscribe, operation::unsubscribe, operation::request_snapshot,
             operation::request_logging_snapshot})
        add(Command(refused));
    for (const DDS_Long ignored : {operation::pause_subscription, operation::resume_subscription,
             operation::request_event_subscription_snapshot})
        add(Command(ignored), false);
    return all;
}

// One life of the library. True when all commands were taken that are to be, and no other.
bool live(CommandWorld& world, const std::vector<Delivery>& commands) {
    if (!world.library.start())
        return false;
    auto* participant = world.library.participant("p");
    bool result = participant != nullptr && world.library.topic("t", participant) != nullptr;
    for (const Delivery& command : commands) {
        result &= world.deliver(command.body, command.uuid) == command.isAnswered;
        result &= world.isIdle();
    }
    EXPECT_TRUE(world.library.stop());
    return result;
}

void prepare(CommandWorld& world) {
    world.library.property.event.initial_memory_size = 64; // so that arenas grow on the way
    world.library.property.command_dispatcher.reply_timeout = {0, 20'000'000};
    world.sender = std::make_unique<Sender>(Library::domain);
}

void warmUp(const std::vector<Delivery>& commands) {
    LogCapture log;
    CommandWorld world;
    prepare(world);
    EXPECT_TRUE(live(world, commands)) << log.text();
    for (const Delivery& command : commands)
        EXPECT_EQ(world.sender->replies(command.uuid), command.isAnswered ? 1U : 0U);
}

void walkAllocations(uint64_t times) {
    const auto commands = everyKindOfCommand();
    warmUp(commands);
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    bool hasFailed = true;
    uint64_t n = 0;
    for (; hasFailed && n < 10000;) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            CommandWorld world;
            prepare(world);
            FailingHeap heap;
            heap.failAt(++n, times);
            (void)live(world, commands);
            hasFailed = heap.hasFailed();
            heap.failNoMore();
            world.sender.reset();
            ASSERT_EQ(world.library.engine.liveObjects(), 0) << "allocation " << n << "\n" << log.text();
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "allocation " << n << "\n" << log.text();
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(n, 300U);
    testing::Test::RecordProperty("allocations", static_cast<int>(n));
}

TEST(CommandFailureWalk, EveryAllocationFails) {
    walkAllocations(1);
}

TEST(CommandFailureWalk, EveryAllocationIsTheLast) {
    walkAllocations(UINT64_MAX);
}

TEST(CommandFailureWalk, EveryEngineCallFails) {
    const auto commands = everyKindOfCommand();
    warmUp(commands);
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    int64_t call = 0;
    bool hasFailed = true;
    while (hasFailed && call < 1000) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            CommandWorld world;
            prepare(world);
            world.library.engine.failAt(++call);
            const auto before = world.library.engine.calls();
            (void)live(world, commands);
            hasFailed = world.library.engine.calls() - before >= call;
            world.sender.reset();
            ASSERT_EQ(world.library.engine.liveObjects(), 0) << "call " << call << "\n" << log.text();
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "call " << call;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "call " << call << "\n" << log.text();
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(call, 10);
    RecordProperty("calls", static_cast<int>(call));
}

} // namespace
