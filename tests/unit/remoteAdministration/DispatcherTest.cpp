// The dispatcher: what it accepts, how it answers, and its birth.
#include "src/monitoringClass/ResourceOperations.h"
#include "src/remoteAdministration/CommandReply.h"
#include "src/resource/ResourcePin.h"
#include "tests/unit/remoteAdministration/DispatcherFixture.hpp"
#include "zddscore/thread.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

constexpr int success = DDS_MONITORING_COMMAND_NO_ERROR;
constexpr int failure = DDS_MONITORING_COMMAND_INTERNAL_ERROR;

class Dispatcher : public testing::Test, protected DispatcherFixture {};

// ---- What is accepted ----

TEST_F(Dispatcher, RefusesAnotherService) {
    ASSERT_TRUE(world.start()) << log.text();
    for (const DDS_Long serviceId : {0, 3, 5, -1, INT32_MAX}) {
        log.clear();
        EXPECT_FALSE(world.deliver(RequestRegistry({"//*"}).bytes(), CommandWorld::newUuid(), serviceId));
        EXPECT_TRUE(log.has("\"sample->service_id != 4\"\n", "PRECONDITION")) << log.text();
    }
    EXPECT_EQ(world.commandsInUse(), 0);
}

TEST_F(Dispatcher, TakesADisposeAndDoesNothing) {
    ASSERT_TRUE(world.start());
    DDS_ServiceRequest sample{};
    sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
    DDS_SampleInfo info{};
    ASSERT_TRUE(world.settle());
    // Other threads may allocate at the same time, but not at every attempt.
    bool isWithoutAllocation = false;
    for (int i = 0; i < 1000 && !isWithoutAllocation; ++i) {
        const auto allocations = ORXOsapiHeap_getAllocationCount();
        EXPECT_TRUE(world.deliver(sample, info));
        isWithoutAllocation = ORXOsapiHeap_getAllocationCount() == allocations;
    }
    EXPECT_TRUE(isWithoutAllocation);
    EXPECT_EQ(world.commandsInUse(), 0);
}

TEST_F(Dispatcher, GivesNoReplyToWhatIsNotServed) {
    ASSERT_TRUE(world.start());
    for (const DDS_Long hash : {operation::pause_subscription, operation::resume_subscription,
             operation::request_event_subscription_snapshot}) {
        log.clear();
        const DDS_GUID_t uuid = CommandWorld::newUuid();
        EXPECT_FALSE(world.deliver(Command(hash).bytes(), uuid));
        EXPECT_TRUE(log.has("Unsupported Monitoring Command")) << log.text();
        EXPECT_EQ(world.commandsInUse(), 0) << "no event data is left behind";
        ASSERT_TRUE(world.settle());
        EXPECT_EQ(world.sender->replies(uuid), 0U);
    }
}

TEST_F(Dispatcher, AnswersWhatIsNotSupported) {
    ASSERT_TRUE(world.start());
    const std::pair<DDS_Long, const char*> unsupported[] = {
        {operation::subscribe, "subscribe"},
        {operation::unsubscribe, "unsubscribe"},
        {operation::request_snapshot, "request_snapshot"},
        {operation::request_logging_snapshot, "request_logging_snapshot"},
    };
    for (const auto& [hash, name] : unsupported) {
        EXPECT_EQ(world.ask(Command(hash)),
            (Answer{hash, failure,
                std::string("The ") + name +
                    " command is not supported by this instance of Monitoring Library 2.0"}));
    }
    EXPECT_TRUE(world.isIdle());
}

TEST_F(Dispatcher, RefusesToSendARefusalOfWhatHasNone) {
    ASSERT_TRUE(world.start());
    EventData data{};
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    data.command.data._d = operation::pause_subscription;
    data.commandUuid = CommandWorld::newUuid();
    EXPECT_FALSE(ORX_MonitoringCommandDispatcher_sendUnsupportedCommandReply(
        &world.dispatcher(), &reply, &data, nullptr));
    EXPECT_TRUE(log.lines().back().subject.starts_with("Invalid Monitoring Command with hash: '" +
                                                       std::to_string(operation::pause_subscription) +
                                                       "' and UUID: (0xC0FFEE00,"))
        << log.text();
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
}

TEST_F(Dispatcher, TheReplyCarriesTheIdentifierAndTheReplyService) {
    ASSERT_TRUE(world.start());
    const DDS_GUID_t uuid = world.deliver(RequestRegistry({"//*"}));
    ASSERT_TRUE(world.sender->await(uuid));
    ASSERT_TRUE(world.settle()); // the first has been unregistered by now
    size_t samples = 0;
    bool isUnregistered = false;
    for (const Received& each : world.sender->all()) {
        if (!DDS_GUID_equals(&each.uuid, &uuid))
            continue;
        EXPECT_EQ(each.serviceId, ORX_MONITORING_REPLY_SERVICE_ID);
        samples += each.isData;
        isUnregistered |= !each.isData;
    }
    EXPECT_EQ(samples, 1U);
    EXPECT_TRUE(isUnregistered);
}

TEST_F(Dispatcher, DuplicatesGetAReplyEach) {
    ASSERT_TRUE(world.start());
    const DDS_GUID_t uuid = CommandWorld::newUuid();
    const auto bytes = RequestRegistry({"//*"}).bytes();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(world.deliver(bytes, uuid));
    ASSERT_TRUE(world.settle());
    EXPECT_EQ(world.sender->replies(uuid), 3U);
}

TEST_F(Dispatcher, CommandsRunInTheOrderOfTheirPosts) {
    ASSERT_TRUE(world.start());
    auto* topic = world.library.topic("t", world.library.participant("p"));
    for (int i = 0; i < 20; ++i) {
        (void)world.deliver(SetMetrics({{"//topics/t", {"*"}}}));
        (void)world.deliver(SetMetrics({{"//topics/t", {}}}));
    }
    ASSERT_TRUE(world.settle());
    EXPECT_THAT(metricsOf(topic), testing::IsEmpty());
}

TEST_F(Dispatcher, NothingIsTakenAfterTheStop) {
    ASSERT_TRUE(world.start());
    ASSERT_TRUE(world.library.table->prefinalizeFunction(world.library.table));
    EXPECT_TRUE(world.deliver(RequestRegistry({"//*"}).bytes(), CommandWorld::newUuid()));
    EXPECT_EQ(world.commandsInUse(), 0);
    EXPECT_TRUE(world.stop()) << "stopping twice is fine";
}

// ---- The results of the two functions ----

TEST_F(Dispatcher, AnErrorWithoutReplySendsNothing) {
    ASSERT_TRUE(world.start());
    script.select = [](auto...) { return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR; };
    const DDS_GUID_t inSelection = deliverScript();
    ASSERT_TRUE(world.isIdle());
    script.select = {};
    script.process = [](auto...) { return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR; };
    const DDS_GUID_t inProcessing = deliverScript();
    ASSERT_TRUE(world.settle());
    EXPECT_EQ(world.sender->replies(inSelection), 0U);
    EXPECT_EQ(world.sender->replies(inProcessing), 0U);
    const std::string hash = std::to_string(operation::request_resource_registry);
    EXPECT_TRUE(
        isLogged("Monitoring Resources for command with hash " + hash + " and UUID: (0x", "FAILED_TO_GET"))
        << log.text();
    EXPECT_TRUE(isLogged("Command with hash " + hash + " and UUID: (0x", "FAILED_TO_PROCESS")) << log.text();
}

TEST_F(Dispatcher, AnErrorWithReplySendsIt) {
    ASSERT_TRUE(world.start());
    const auto fail = [](auto*, DDS_Monitoring_MonitoringService_Reply* reply) {
        auto& error = reply->data._u.request_resource_registry._u.monitoringcommanderror_ex;
        error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
        DDS_String_replace(&error.error_message, "because");
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY;
    };
    const Answer because{operation::request_resource_registry, failure, "because"};
    script.select = fail;
    EXPECT_EQ(world.sender->await(deliverScript()), because);
    ASSERT_TRUE(world.isIdle());
    script.select = {};
    script.process = fail;
    EXPECT_EQ(world.sender->await(deliverScript()), because);
}

// ---- Locks ----

TEST_F(Dispatcher, ResourcesArePinnedWhileACommandIsProcessed) {
    ASSERT_TRUE(world.start());
    auto* topic = world.library.topic("t", world.library.participant("p"));
    Gate gate;
    script.select = [&](ORX_MonitoringResourcePtrSeq* resources, auto*) {
        ORX_MonitoringResourcePtrSeq_ensure_length(resources, 1, 1);
        *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0) = topic;
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    script.process = [&](auto...) {
        EXPECT_TRUE(gate.pass());
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    const DDS_GUID_t uuid = deliverScript();
    ASSERT_TRUE(gate.isReached());
    EXPECT_EQ(topic->lockCounter, 1U);
    EXPECT_EQ(topic->lockThreadMask, ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER);
    gate.open();
    EXPECT_TRUE(world.sender->await(uuid));
    EXPECT_EQ(topic->lockCounter, 0U);
}

TEST_F(Dispatcher, OnlyTheLoggingCommandsGiveTheLibraryLockBack) {
    ASSERT_TRUE(world.start());
    const auto isLibraryFree = [] {
        const DDS_Duration_t now{0, 0};
        const bool isFree = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &now) ==
                            ORX_MONITORING_LOCK_RESULT_OK;
        if (isFree)
            Library::unlockLibrary();
        return isFree;
    };
    for (const auto& [hash, isFree] : {std::pair(operation::request_resource_registry, false),
             std::pair(operation::set_metric_subscription_state, false),
             std::pair(operation::update_metric_subscription_state, false),
             std::pair(operation::set_logging_collection_level, true),
             std::pair(operation::set_logging_forwarding_level, true)}) {
        Gate gate;
        script.process = [&](auto...) {
            EXPECT_TRUE(gate.pass());
            return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
        };
        const DDS_GUID_t uuid = deliverScript(hash);
        ASSERT_TRUE(gate.isReached());
        EXPECT_EQ(isLibraryFree(), isFree) << hash;
        gate.open();
        ASSERT_TRUE(world.sender->await(uuid));
        ASSERT_TRUE(world.isIdle());
        EXPECT_TRUE(isLibraryFree()) << hash;
    }
}

TEST_F(Dispatcher, ABusyLibraryIsWaitedForWithoutALine) {
    world.library.property.command_dispatcher.lock_timeout = {0, 1'000'000};
    ASSERT_TRUE(world.start());
    ORX_MonitoringLog_setBitmaps(~0U, 0xF);
    Library::lockLibrary();
    const DDS_GUID_t uuid = world.deliver(RequestRegistry({"//*"}));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    while (std::chrono::steady_clock::now() < end)
        std::this_thread::yield(); // some fifty attempts
    Library::unlockLibrary();
    EXPECT_EQ(world.sender->await(uuid), (Answer{operation::request_resource_registry, success, ""}));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR) + log.countLevel(ORX_LOG_BIT_WARNING), 0U) << log.text();
}

TEST_F(Dispatcher, UnlockingStopsAtNothingAndLockingUndoesItself) {
    ASSERT_TRUE(world.start());
    auto* participant = world.library.participant("p");
    auto* topic = world.library.topic("t", participant);
    ORX_MonitoringResourcePtrSeq resources{};
    EXPECT_TRUE(ORX_MonitoringCommandDispatcher_lockResources(&resources, nullptr));
    EXPECT_TRUE(ORX_MonitoringCommandDispatcher_unlockResources(&resources, nullptr));
    ORX_MonitoringResourcePtrSeq_ensure_length(&resources, 3, 3);
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 0) = participant;
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 1) = topic;
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 2) = participant;
    EXPECT_FALSE(ORX_MonitoringCommandDispatcher_lockResources(&resources, nullptr));
    EXPECT_TRUE(log.has("Monitoring Resource at index 2", "FAILED_TO_LOCK")) << log.text();
    EXPECT_EQ(participant->lockCounter, 0U);
    EXPECT_EQ(topic->lockCounter, 0U);
    ORX_MonitoringResourcePtrSeq_finalize(&resources);
}

TEST_F(Dispatcher, APinThatCannotBeGivenBackEndsTheCommandWithoutAReply) {
    ASSERT_TRUE(world.start());
    auto* topic = world.library.topic("t", world.library.participant("p"));
    script.select = [&](ORX_MonitoringResourcePtrSeq* resources, auto*) {
        ORX_MonitoringResourcePtrSeq_ensure_length(resources, 1, 1);
        *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0) = topic;
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    script.process = [](ORX_MonitoringResourcePtrSeq* resources, auto*) {
        *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0) = nullptr; // lost on the way
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    const DDS_GUID_t uuid = deliverScript();
    EXPECT_TRUE(world.settle()) << "the next command is served";
    EXPECT_EQ(world.sender->replies(uuid), 0U);
    EXPECT_TRUE(log.has("Monitoring Resource at index 0", "FAILED_TO_UNLOCK")) << log.text();
    EXPECT_TRUE(log.has("Monitoring Resources", "FAILED_TO_UNLOCK")) << log.text();
    EXPECT_TRUE(ORX_MonitoringResource_unlock(topic, ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER, 0));
}

// ---- Birth ----

TEST_F(Dispatcher, AMaskBeyondAnIntFailsTheCreationAndStopsTheOtherThreads) {
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    world.library.property.command_dispatcher.thread_setting.mask = 0x80000000U;
    EXPECT_FALSE(world.library.start());
    EXPECT_TRUE(log.has("\"property->thread_setting.mask > 2147483647\"\n", "PRECONDITION")) << log.text();
    EXPECT_TRUE(log.has("Monitoring Command dispatcher with thread name oMo###Command", "FAILED_TO_CREATE"));
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
    EXPECT_EQ(world.library.engine.liveObjects(), 0);
}

TEST_F(Dispatcher, DeletingNothingDoesNothing) {
    EXPECT_TRUE(ORX_MonitoringCommandDispatcher_delete(nullptr));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(ORX_MonitoringCommandDispatcher_prefinalize(nullptr));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 1U);
}

} // namespace
