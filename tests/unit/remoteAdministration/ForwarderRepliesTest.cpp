// How the replies of several applications become one result.
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

} // namespace
} // namespace forwarding
