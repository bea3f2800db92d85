// How the replies of several applications become one result.
#include <set>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/remoteAdministration/ForwarderWorld.hpp"

namespace forwarding {
namespace {

class ForwarderReplies : public World {};

TEST_P(ForwarderReplies, OneSuccessAmongNothingFoundIsASuccessAfterTheLast) {
    begin(3);
    auto result = collector->start(Kind::setForwarding, everybody);
    const Arrived one = app(1).awaitCommand(), two = app(2).awaitCommand(), three = app(3).awaitCommand();
    app(1).reply(one, 3);
    app(2).reply(two, 0);
    EXPECT_TRUE(DDS_GUID_equals(&one.uuid, &two.uuid) && DDS_GUID_equals(&one.uuid, &three.uuid));
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_TRUE(app(1).isQuiet() && app(2).isQuiet());
    app(3).reply(three, 0);
    const Result got = result.get();
    EXPECT_TRUE(got.isSent);
    EXPECT_EQ(got.code, 0) << got;
    EXPECT_EQ(got.message, "");
    for (auto& each : applications)
        each->awaitEnd(one.uuid);
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderReplies, NothingFoundAnywhereIsNothingFound) {
    begin(2);
    auto result = collector->start(Kind::setMetrics, everybody);
    app(2).reply(app(2).awaitCommand(), 3);
    app(1).reply(app(1).awaitCommand(), 3);
    const Result got = result.get();
    EXPECT_EQ(got.code, 3) << got;
    EXPECT_EQ(got.message, "");
    EXPECT_TRUE(got.isSent);
}

TEST_P(ForwarderReplies, AnErrorEndsTheCommandAtOnceWithItsMessage) {
    begin(3);
    auto result = collector->start(Kind::updateMetrics, everybody);
    const Arrived one = app(1).awaitCommand(), two = app(2).awaitCommand(), three = app(3).awaitCommand();
    app(2).reply(two, 2, "no such metric");
    const Result got = result.get();
    EXPECT_TRUE(got.isSent);
    EXPECT_EQ(got.code, 2) << got;
    EXPECT_EQ(got.message, "no such metric");
    // Those who come later meet nobody, and disturb no other command.
    app(1).reply(one, 0);
    app(3).reply(three, 2, "late");
    for (auto& each : applications)
        each->awaitEnd(one.uuid);
    auto next = collector->start(Kind::requestRegistry, everybody);
    for (auto& each : applications)
        each->reply(each->awaitCommand(), 0);
    EXPECT_EQ(next.get().code, 0);
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderReplies, NotImplementedIsAFailureToo) {
    begin(1);
    auto result = collector->start(Kind::setCollection, everybody);
    app(1).reply(app(1).awaitCommand(), 1, "some day");
    const Result got = result.get();
    EXPECT_EQ(got.code, 2) << got;
    EXPECT_EQ(got.message, "some day");
}

TEST_P(ForwarderReplies, SilenceIsATimeOutWhateverTheOthersSaid) {
    begin(3, {1, 0});
    const auto before = std::chrono::steady_clock::now();
    auto result = collector->start(Kind::requestRegistry, everybody);
    app(1).reply(app(1).awaitCommand(), 0);
    app(3).reply(app(3).awaitCommand(), 3);
    const Arrived two = app(2).awaitCommand();
    const Result got = result.get();
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    EXPECT_TRUE(got.isSent);
    EXPECT_EQ(got.code, 2) << got;
    EXPECT_EQ(got.message, "Timedout");
    for (auto& each : applications)
        each->awaitEnd(two.uuid);
    // Too late.
    app(2).reply(two, 2, "late");
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderReplies, ADestinationThatLeavesIsSilent) {
    begin(2, {1, 0});
    auto result = collector->start(Kind::setForwarding, everybody);
    app(2).reply(app(2).awaitCommand(), 0);
    app(1).awaitCommand();
    app(1).end();
    collector->forget(app(2).guid(), 2); // the registry forgets the other, and that changes nothing
    const Result got = result.get();
    EXPECT_EQ(got.code, 2) << got;
    EXPECT_EQ(got.message, "Timedout");
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderReplies, ADestinationThatIsGoneAlreadyIsSilent) {
    begin(2, {1, 0});
    app(1).end();
    auto result = collector->start(Kind::setForwarding, everybody);
    app(2).reply(app(2).awaitCommand(), 0);
    EXPECT_EQ(result.get().message, "Timedout");
}

TEST_P(ForwarderReplies, AReplyCountsOnce) {
    begin(2);
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand(), two = app(2).awaitCommand();
    for (int i = 0; i < 5; ++i)
        app(1).reply(one, 0);
    app(1).reply(one, 2, "second thoughts");
    // The last of them has been taken when the next command of the same application is answered.
    EXPECT_TRUE(eventually([&] { return collector->channel.counters().received >= 6; }));
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    app(2).reply(two, 3);
    const Result got = result.get();
    EXPECT_EQ(got.code, 0) << got;
}

TEST_P(ForwarderReplies, AStrangerDoesNotCount) {
    begin(2);
    Application stranger(domain);
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand(), two = app(2).awaitCommand();
    stranger.reply(one, 0);
    stranger.reply(one, 2, "strange");
    EXPECT_TRUE(stranger.send(one.sender, ORX_MONITORING_REPLY_SERVICE_ID, one.uuid, {1, 2, 3}));
    app(1).reply(one, 0);
    EXPECT_TRUE(eventually([&] { return collector->channel.counters().received >= 4; }));
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    app(2).reply(two, 0);
    const Result got = result.get();
    EXPECT_EQ(got.code, 0) << got;
    stranger.end();
}

TEST_P(ForwarderReplies, WhatIsNoReplyIsLeftOut) {
    begin(1);
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand();
    EXPECT_TRUE(app(1).send(one.sender, 17, one.uuid, replyBytes(one.hash, 2, "another service")));
    EXPECT_TRUE(app(1).unregister(one.sender, ORX_MONITORING_REPLY_SERVICE_ID, one.uuid));
    app(1).reply(one, 0);
    EXPECT_EQ(result.get().code, 0);
}

TEST_P(ForwarderReplies, AReplyThatCannotBeReadIsAFailure) {
    begin(1);
    const auto failWith = [&](const std::vector<DDS_Octet>& body) {
        auto result = collector->start(Kind::setMetrics, everybody);
        const Arrived one = app(1).awaitCommand();
        EXPECT_TRUE(app(1).send(one.sender, ORX_MONITORING_REPLY_SERVICE_ID, one.uuid, body));
        const Result got = result.get();
        EXPECT_EQ(got.code, 2);
        app(1).awaitEnd(one.uuid);
        return got.message;
    };
    EXPECT_EQ(failWith({}), "Unable to deserialize reply");
    EXPECT_EQ(failWith({0, 1, 2, 3, 4, 5}), "Unable to deserialize reply");
    EXPECT_EQ(failWith(replyBytes(operation::request_snapshot, 0)), "Unable to parse reply");
    EXPECT_TRUE(log.has(
        "Unsupported Monitoring Command reply with hash " + std::to_string(operation::request_snapshot)));
}

TEST_P(ForwarderReplies, EndsOfRepliesDoNotPileUp) {
    begin(2);
    for (int i = 0; i < 150; ++i) {
        ASSERT_TRUE(collector->requestRegistryFrom(app(1).readerHandle()));
        const Arrived one = app(1).awaitCommand();
        app(1).reply(one, 0);
        app(1).awaitEnd(one.uuid);
        // Once it is acknowledged, when the command is over.
        EXPECT_TRUE(app(1).unregister(one.sender, ORX_MONITORING_REPLY_SERVICE_ID, one.uuid));
    }
    EXPECT_TRUE(eventually([&] { return collector->channel.counters().received >= 300; }));
    EXPECT_TRUE(eventually([&] { return collector->channel.counters().cached < 40; }))
        << collector->channel.counters().cached;
    EXPECT_EQ(collector->run(Kind::setMetrics, {"/applications/nobody"}).code, 3);
}

TEST_P(ForwarderReplies, AFloodOfStrangersHoldsUpNoTimeOut) {
    begin(1, {1, 0});
    Application stranger(domain);
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand();
    uint32_t sent = 0;
    while (result.wait_for(std::chrono::seconds(0)) == std::future_status::timeout && sent < 2'000'000) {
        DDS_GUID_t uuid = one.uuid;
        std::memcpy(uuid.value, &sent, sizeof sent);
        // As commands, which the manager's own condition takes, and as replies to the command.
        stranger.send(one.sender, ORX_MONITORING_COMMAND_SERVICE_ID, uuid, {1, 2, 3, 4, 5, 6, 7, 8});
        stranger.send(one.sender, ORX_MONITORING_REPLY_SERVICE_ID, one.uuid, {1});
        ++sent;
    }
    EXPECT_EQ(result.get().message, "Timedout") << sent;
    stranger.end();
}

INSTANTIATE_TEST_SUITE_P(Engines, ForwarderReplies, bothEngines, nameOf);

// ---- Without memory ----

// What the manager's thread does, on the thread of the test: the other one stands still.
class ForwarderWithoutMemory : public World {
protected:
    // Calls step(n, times) for each allocation n that fails, alone and with the one behind it, since growing
    // tries again with less; until it says that none has failed.
    template <class Step> static void walk(Step step) {
        for (const uint64_t times : {uint64_t{1}, uint64_t{2}}) {
            bool hasFailed = true;
            for (uint64_t n = 1; hasFailed && n < 100 && !HasFailure(); ++n)
                hasFailed = step(n, times);
            EXPECT_FALSE(hasFailed);
        }
    }
    // A command to one application, prepared by a caller that does not wait for it.
    Handler* prepare(Exception& exception) {
        begin(1);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
        return collector->prepare(Kind::requestRegistry, everybody, &exception, 0, 0);
    }
    void end(Handler* handler) {
        if (orx::forwarder::isAttached(*handler)) {
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(collector->manager->asyncWaitSet,
                          DDS_QueryCondition_as_condition(handler->queryCondition)),
                DDS_RETCODE_OK);
        }
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(collector->manager, handler));
        collector.reset();
        applications.clear();
    }
};

TEST_P(ForwarderWithoutMemory, ACommandThatIsNotSentSaysWhy) {
    std::set<std::string> messages;
    walk([&](uint64_t n, uint64_t times) {
        Exception exception;
        Handler* handler = prepare(exception);
        FailingHeap heap;
        heap.failAt(n, times);
        const bool isSent =
            ORX_MonitoringForwarderCommandManager_sendCommand(collector->manager, handler) != 0;
        const bool hasFailed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(isSent || hasFailed) << n;
        EXPECT_EQ(exception.ret_code, isSent ? 77 : 2) << n;
        EXPECT_EQ(handler->state, isSent ? ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE
                                         : ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE)
            << n;
        EXPECT_EQ(orx::forwarder::isAttached(*handler), isSent) << n;
        if (!isSent)
            messages.insert(exception.message());
        end(handler);
        return hasFailed;
    });
    EXPECT_TRUE(messages.contains("Failed to serialize the command into a sequence of octet"));
    EXPECT_TRUE(messages.contains("Failed to attach condition for the command to the waitset"));
    EXPECT_TRUE(messages.contains("Failed to send the command to a destination"));
}

TEST_P(ForwarderWithoutMemory, AReplyThatCannotBeTakenEndsTheCommand) {
    std::set<std::string> messages;
    uint64_t losses = 0;
    walk([&](uint64_t n, uint64_t times) {
        Exception exception;
        Handler* handler = prepare(exception);
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_sendCommand(collector->manager, handler));
        app(1).reply(app(1).awaitCommand(), 0);
        EXPECT_TRUE(eventually([&] { return collector->channel.counters().cached == 1; }));
        FailingHeap heap;
        heap.failAt(n, times);
        ORX_MonitoringForwarderCommandManager_onConditionTriggered(handler, nullptr);
        const bool hasFailed = heap.hasFailed();
        heap.failNoMore();
        // Decided either way, also when the reader lost the reply.
        const bool isOk = handler->state == ORX_MONITORING_FORWARDER_COMMAND_HANDLER_SUCCESSFUL_STATE;
        EXPECT_TRUE(isOk || handler->state == ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE) << n;
        EXPECT_TRUE(isOk || hasFailed) << n;
        EXPECT_EQ(exception.ret_code, isOk ? 0 : 2) << n;
        EXPECT_FALSE(orx::forwarder::isAttached(*handler)) << n;
        EXPECT_EQ(collector->channel.counters().dropped_decoding, 0U) << n;
        losses += collector->channel.counters().dropped_no_memory;
        if (!isOk)
            messages.insert(exception.message());
        end(handler);
        return hasFailed;
    });
    for (const char* message :
        {"Unable to take reply samples", "Unable to initialize reply object", "Unable to dispose command"})
        EXPECT_TRUE(messages.contains(message)) << message;
    EXPECT_GT(losses, 0U);
}

INSTANTIATE_TEST_SUITE_P(Engine, ForwarderWithoutMemory, testing::Values(EngineKind::loopback), nameOf);

} // namespace
} // namespace forwarding
