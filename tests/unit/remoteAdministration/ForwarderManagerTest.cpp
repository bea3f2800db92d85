// The manager's life, and the ways of sending.
#include "tests/unit/remoteAdministration/ForwarderWorld.hpp"

namespace forwarding {
namespace {

class ForwarderManager : public World {
protected:
    // Prepared, but with destinations of the test's choice.
    Handler* prepareTo(const std::vector<DDS_InstanceHandle_t>& destinations,
        DDS_Monitoring_MonitoringCommandError* exception, int isBlocking, int isSelfManaged) {
        Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
            collector->manager, exception, nullptr, destinations.data(), isBlocking, isSelfManaged);
        const auto count = static_cast<DDS_Long>(destinations.size());
        EXPECT_TRUE(DDS_InstanceHandleSeq_set_length(&handler->commandDestinationSeq, count));
        for (DDS_Long i = 0; i < count; ++i)
            *DDS_InstanceHandleSeq_get_reference(&handler->commandDestinationSeq, i) =
                destinations[static_cast<size_t>(i)];
        handler->expectedSamples = static_cast<DDS_UnsignedLong>(count);
        return handler;
    }
    int send(Handler* handler) {
        return ORX_MonitoringForwarderCommandManager_sendCommand(collector->manager, handler);
    }
    int giveBack(Handler* handler) {
        return ORX_MonitoringForwarderCommandManager_returnCommandHandler(collector->manager, handler);
    }
    DDS_ReturnCode_t putIntoReader(
        const DDS_GUID_t& instance, const std::vector<DDS_Octet>& body, const DDS_GUID_t& source) {
        DDS_ServiceRequest sample = DDS_SERVICE_REQUEST_DEFAULT;
        sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
        sample.instance_id = instance;
        DDS_OctetSeq_from_array(&sample.request_body, body.data(), static_cast<DDS_Long>(body.size()));
        DDS_WriteParams_t params = DDS_WRITEPARAMS_DEFAULT;
        params.source_guid = params.related_source_guid = source;
        const auto result = DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(
            collector->channel.reader, &sample, &own, &params);
        DDS_ServiceRequest_finalize(&sample);
        return result;
    }
    static std::vector<DDS_Octet> addressOf(const void* address) {
        std::vector<DDS_Octet> octets(sizeof address);
        std::memcpy(octets.data(), &address, sizeof address);
        return octets;
    }
    // The manager's own condition has taken all that came.
    bool hasTakenAll() {
        return eventually([&] { return collector->channel.counters().cached == 0; });
    }
    const DDS_GUID_t own = ORX_MonitoringForwarderCommandManager_g_asynchronousGUID;
};

TEST_P(ForwarderManager, NeedsAllItsArguments) {
    begin(0);
    const DDS_Duration_t timeout{1, 0};
    const Channel& channel = collector->channel;
    Registry* registry = collector->registry;
    EXPECT_EQ(
        ORX_MonitoringForwarderCommandManager_new(nullptr, channel.reader, registry, &timeout), nullptr);
    EXPECT_EQ(
        ORX_MonitoringForwarderCommandManager_new(channel.writer, nullptr, registry, &timeout), nullptr);
    EXPECT_EQ(ORX_MonitoringForwarderCommandManager_new(channel.writer, channel.reader, nullptr, &timeout),
        nullptr);
    EXPECT_EQ(ORX_MonitoringForwarderCommandManager_new(channel.writer, channel.reader, registry, nullptr),
        nullptr);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 4U);
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_delete(nullptr));
}

TEST_P(ForwarderManager, AHandlerThatIsAttachedStaysOutOfThePool) {
    begin(1);
    Exception exception;
    const DDS_InstanceHandle_t destination = app(1).readerHandle();
    Handler* handler = prepareTo({destination}, &exception, 0, 0);
    ASSERT_TRUE(send(handler)); // neither waits nor manages itself
    EXPECT_FALSE(giveBack(handler));
    EXPECT_TRUE(log.has("\"isConditionAttached\"\n", "PRECONDITION")) << log.text();
    EXPECT_EQ(collector->handlersInUse(), 1);
    app(1).reply(app(1).awaitCommand(), 3);
    ORX_MonitoringForwarderCommandHandler_wait(handler);
    EXPECT_EQ(exception.ret_code, 3);
    EXPECT_TRUE(giveBack(handler));
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderManager, WhatCannotBeWrittenIsUndone) {
    begin(1);
    Exception exception;
    Handler* handler = prepareTo({app(1).readerHandle(), DDS_HANDLE_NIL}, &exception, 1, 0);
    EXPECT_FALSE(send(handler));
    EXPECT_EQ(exception.ret_code, 2);
    EXPECT_EQ(exception.message(), "Failed to send the command to a destination");
    EXPECT_EQ(handler->state, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE);
    EXPECT_TRUE(giveBack(handler));
    // Whoever got it learns of its end.
    const Arrived one = app(1).awaitCommand();
    app(1).awaitEnd(one.uuid);
    app(1).reply(one, 0); // to nobody
    EXPECT_TRUE(log.has("monitoring request", "FAILED_TO_SEND"));
    EXPECT_TRUE(log.has("Command sample", "FAILED_TO_SEND"));
    EXPECT_EQ(collector->handlersInUse(), 0);
    // Nobody got anything.
    log.clear();
    handler = prepareTo({DDS_HANDLE_NIL}, &exception, 1, 0);
    EXPECT_FALSE(send(handler));
    EXPECT_TRUE(giveBack(handler));
    EXPECT_FALSE(log.has("Dispose message for command"));
}

TEST_P(ForwarderManager, NoDestinationIsAPrecondition) {
    begin(1);
    Exception exception;
    Handler* handler = prepareTo({app(1).readerHandle()}, &exception, 1, 0);
    EXPECT_TRUE(DDS_InstanceHandleSeq_set_length(&handler->commandDestinationSeq, 0));
    EXPECT_FALSE(send(handler));
    EXPECT_FALSE(ORX_MonitoringForwarderCommandManager_disposeCommand(collector->manager, handler));
    EXPECT_EQ(log.count("\"length == 0\"\n", "PRECONDITION"), 2U);
    EXPECT_TRUE(giveBack(handler));
}

// ---- Self-managed ----

TEST_P(ForwarderManager, ASelfManagedCommandGoesOutAndItsHandlerComesBack) {
    begin(1, {1, 0});
    for (const int code : {0, 2, 3}) {
        ASSERT_TRUE(collector->requestRegistryFrom(app(1).readerHandle()));
        const Arrived one = app(1).awaitCommand();
        EXPECT_EQ(one.applications, Texts{"//*"});
        EXPECT_EQ(collector->handlersInUse(), 1);
        app(1).reply(one, code);
        app(1).awaitEnd(one.uuid);
        EXPECT_TRUE(collector->isIdle());
    }
    // And when nobody answers.
    ASSERT_TRUE(collector->requestRegistryFrom(app(1).readerHandle()));
    const Arrived one = app(1).awaitCommand();
    app(1).awaitEnd(one.uuid);
    EXPECT_TRUE(collector->isIdle());
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderManager, ASelfManagedCommandThatCannotBeSentComesBackToo) {
    begin(1);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(send(prepareTo({app(1).readerHandle(), DDS_HANDLE_NIL}, nullptr, 0, 1)));
        const Arrived one = app(1).awaitCommand();
        app(1).awaitEnd(one.uuid);
        EXPECT_TRUE(collector->isIdle());
        ASSERT_TRUE(send(prepareTo({DDS_HANDLE_NIL}, nullptr, 0, 1)));
        EXPECT_TRUE(collector->isIdle());
    }
    EXPECT_TRUE(log.has("Command", "FAILED_TO_SEND")) << log.text();
    EXPECT_FALSE(log.has("\"isConditionAttached\"\n")) << log.text();
}

TEST_P(ForwarderManager, TheWaysOfSendingAreNotMixed) {
    begin(1);
    Exception exception;
    Handler* handler = prepareTo({app(1).readerHandle()}, &exception, 1, 0);
    EXPECT_FALSE(
        ORX_MonitoringForwarderCommandManager_sendNonBlockingSelfManagedCommand(collector->manager, handler));
    EXPECT_EQ(exception.message(), "Trying to send a blocking command in a self managed way");
    handler->isBlocking = 0;
    EXPECT_FALSE(
        ORX_MonitoringForwarderCommandManager_sendNonBlockingSelfManagedCommand(collector->manager, handler));
    EXPECT_EQ(exception.message(), "Expected self managed command but received a non self managed one");
    EXPECT_TRUE(giveBack(handler));
    EXPECT_TRUE(app(1).isQuiet());
}

// ---- Samples that claim to be self-managed commands ----

TEST_P(ForwarderManager, NoSampleIsReadAsAnAddressThatWasNotHandedOver) {
    begin(1);
    const DDS_GUID_t uuid{{1, 2, 3}};
    // As if the middleware let the claim of a remote writer through.
    EXPECT_EQ(putIntoReader(uuid, addressOf(reinterpret_cast<void*>(0xDEADBEEF)), own), DDS_RETCODE_OK);
    EXPECT_EQ(putIntoReader(uuid, addressOf(nullptr), own), DDS_RETCODE_OK);
    EXPECT_EQ(putIntoReader(uuid, {}, own), DDS_RETCODE_OK);
    EXPECT_EQ(putIntoReader(uuid, {1, 2, 3}, own), DDS_RETCODE_OK);
    EXPECT_EQ(putIntoReader(uuid, std::vector<DDS_Octet>(64, 0x41), own), DDS_RETCODE_OK);
    // The address of a handler that is on its way otherwise, with the identifier that its destination knows.
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand();
    const DDS_Condition* condition = nullptr;
    DDS_ConditionSeq conditions{};
    DDS_AsyncWaitSet_get_conditions(collector->manager->asyncWaitSet, &conditions);
    ASSERT_EQ(DDS_ConditionSeq_get_length(&conditions), 2);
    condition = DDS_ConditionSeq_get(&conditions, 1);
    const void* handler = DDS_Condition_get_handler(condition)->handler_data;
    DDS_ConditionSeq_finalize(&conditions);
    EXPECT_EQ(putIntoReader(one.uuid, addressOf(handler), own), DDS_RETCODE_OK);
    EXPECT_TRUE(hasTakenAll());
    app(1).reply(one, 0);
    EXPECT_EQ(result.get().code, 0);
    app(1).awaitEnd(one.uuid);
    // Again, when it is back in the pool.
    EXPECT_EQ(putIntoReader(one.uuid, addressOf(handler), own), DDS_RETCODE_OK);
    EXPECT_TRUE(hasTakenAll());
    EXPECT_TRUE(app(1).isQuiet());
    EXPECT_EQ(collector->handlersInUse(), 0);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 0U) << log.text();
}

TEST_P(ForwarderManager, ARemoteSampleIsNoSelfManagedCommand) {
    begin(1);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
    // Handed over, and not taken: its address and identifier are what a sample would have to guess.
    Handler* handler = prepareTo({app(1).readerHandle()}, nullptr, 0, 1);
    const DDS_GUID_t uuid = handler->commandUuid;
    ASSERT_TRUE(send(handler));
    Application stranger(domain);
    EXPECT_TRUE(stranger.send(
        collector->channel.readerHandle(), ORX_MONITORING_COMMAND_SERVICE_ID, uuid, addressOf(handler)));
    EXPECT_TRUE(eventually([&] { return collector->channel.counters().received == 2; }));
    // What tells them apart: no remote sample has a source, or that writer.
    DDS_ServiceRequestSeq samples{};
    DDS_SampleInfoSeq infos{};
    auto* reader = DDS_ServiceRequestDataReader_narrow(collector->channel.reader);
    ASSERT_EQ(DDS_ServiceRequestDataReader_take(reader, &samples, &infos, DDS_LENGTH_UNLIMITED,
                  DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE),
        DDS_RETCODE_OK);
    ASSERT_EQ(DDS_SampleInfoSeq_get_length(&infos), 2);
    const DDS_SampleInfo ownInfo = *DDS_SampleInfoSeq_get_reference(&infos, 0);
    const DDS_SampleInfo remoteInfo = *DDS_SampleInfoSeq_get_reference(&infos, 1);
    DDS_ServiceRequestDataReader_return_loan(reader, &samples, &infos);
    EXPECT_TRUE(DDS_GUID_equals(&ownInfo.source_guid, &own));
    DDS_GUID_t writer;
    DDS_GUID_from_instance_handle(&writer, &ownInfo.publication_handle);
    EXPECT_TRUE(DDS_GUID_equals(&writer, &own));
    EXPECT_TRUE(DDS_GUID_equals(&remoteInfo.source_guid, &DDS_GUID_UNKNOWN));
    DDS_GUID_from_instance_handle(&writer, &remoteInfo.publication_handle);
    const DDS_GUID_t strangersWriter = stranger.writerGuid();
    EXPECT_TRUE(DDS_GUID_equals(&writer, &strangersWriter));
    // A sample that has all but the source does not pass either; the command does, without its sample, once
    // the manager looks for what was left behind.
    EXPECT_EQ(putIntoReader(uuid, addressOf(handler), DDS_GUID_UNKNOWN), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
    const Arrived one = app(1).awaitCommand();
    app(1).reply(one, 0);
    app(1).awaitEnd(one.uuid);
    EXPECT_TRUE(collector->isIdle());
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderManager, ASelfManagedCommandIsSentOnceThoughItsSampleComesTwice) {
    begin(1);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
    Handler* handler = prepareTo({app(1).readerHandle()}, nullptr, 0, 1);
    const DDS_GUID_t uuid = handler->commandUuid;
    ASSERT_TRUE(send(handler));
    EXPECT_EQ(putIntoReader(uuid, addressOf(handler), own), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
    app(1).reply(app(1).awaitCommand(), 0);
    app(1).awaitEnd(uuid);
    EXPECT_TRUE(collector->isIdle());
    EXPECT_TRUE(hasTakenAll());
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderManager, TwoManagersShareAReader) {
    begin(2);
    const DDS_Duration_t timeout{60, 0};
    Manager* other = ORX_MonitoringForwarderCommandManager_new(
        collector->channel.writer, collector->channel.reader, collector->registry, &timeout);
    ASSERT_NE(other, nullptr);
    Manager* first = collector->manager;
    for (int i = 0; i < 10; ++i) {
        // Whichever of the two takes the sample.
        collector->manager = i % 2 == 0 ? first : other;
        ASSERT_TRUE(collector->requestRegistryFrom(app(1).readerHandle()));
        const Arrived one = app(1).awaitCommand();
        app(1).reply(one, 0);
        app(1).awaitEnd(one.uuid);
        EXPECT_TRUE(collector->isIdle());
        auto result = collector->start(Kind::setMetrics, {pathOf(2)});
        const Arrived two = app(2).awaitCommand();
        app(2).reply(two, 0);
        EXPECT_EQ(result.get().code, 0);
        app(2).awaitEnd(two.uuid);
    }
    collector->manager = first;
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_delete(other));
    auto result = collector->start(Kind::setMetrics, {pathOf(2)});
    app(2).reply(app(2).awaitCommand(), 0);
    EXPECT_EQ(result.get().code, 0);
}

// ---- The end ----

TEST_P(ForwarderManager, SendingAfterTheEndBeganTimesOutAndSendsNothing) {
    begin(1);
    Exception exception;
    Handler* handler = prepareTo({app(1).readerHandle()}, &exception, 1, 0);
    auto isFinalized = std::async(std::launch::async,
        [&] { return ORX_MonitoringForwarderCommandManager_finalize(collector->manager); });
    EXPECT_TRUE(eventually([&] { return !orx::forwarder::isTakingCommands(*collector->manager); }));
    EXPECT_FALSE(send(handler));
    EXPECT_EQ(exception.ret_code, 2);
    EXPECT_EQ(exception.message(), "Timedout");
    EXPECT_TRUE(giveBack(handler));
    EXPECT_TRUE(isFinalized.get());
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderManager, ACommandInFlightEndsWithTheManager) {
    begin(2);
    auto result = collector->start(Kind::setMetrics, everybody);
    const Arrived one = app(1).awaitCommand(), two = app(2).awaitCommand();
    app(2).reply(two, 0);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_finalize(collector->manager));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(30)); // not its time-out
    const Result got = result.get();
    EXPECT_TRUE(got.isSent);
    EXPECT_EQ(got.code, 2);
    EXPECT_EQ(got.message, "Timedout");
    app(1).awaitEnd(one.uuid);
    app(2).awaitEnd(one.uuid);
}

TEST_P(ForwarderManager, SelfManagedCommandsInFlightEndWithTheManager) {
    begin(2);
    ASSERT_TRUE(collector->requestRegistryFrom(app(1).readerHandle()));
    app(1).awaitCommand();
    ASSERT_EQ(DDS_AsyncWaitSet_stop(collector->manager->asyncWaitSet), DDS_RETCODE_OK);
    ASSERT_TRUE(collector->requestRegistryFrom(app(2).readerHandle())); // handed over, and never taken
    EXPECT_EQ(collector->handlersInUse(), 2);
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_finalize(collector->manager));
    EXPECT_TRUE(app(2).isQuiet());
    EXPECT_FALSE(log.has("All Command Handlers. Timeout"));
}

TEST_P(ForwarderManager, AHandlerThatDoesNotComeBackKeepsTheManagerAlive) {
    begin(1, {0, 200'000'000});
    Handler* handler = ORX_MonitoringForwarderCommandManager_getCommandHandler(collector->manager);
    ASSERT_NE(handler, nullptr);
    EXPECT_FALSE(ORX_MonitoringForwarderCommandManager_delete(collector->manager));
    EXPECT_TRUE(log.has("All Command Handlers. Timeout", "FAILED_TO_RETURN"));
    EXPECT_TRUE(log.has("All buffers to the command handler pool. At least a command was running while "
                        "disabling the CommandManager and it has failed to return its command handler before "
                        "the timeout"));
    EXPECT_TRUE(giveBack(handler));
    // The owner may try again: the fixture does.
}

INSTANTIATE_TEST_SUITE_P(Engines, ForwarderManager, bothEngines, nameOf);

} // namespace
} // namespace forwarding
