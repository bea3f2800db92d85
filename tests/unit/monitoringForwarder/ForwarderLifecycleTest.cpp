// How a forwarder comes, and goes; what is left when something fails on the way.
#include <atomic>
#include <future>
#include <set>
#include <string>

#include "src/remoteAdministration/ForwarderCommandManager.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"
#include "zddscore/thread.h"

namespace {

class ForwarderLifecycle : public testing::TestWithParam<EngineKind> {
protected:
    TestEngine engine{GetParam()};
    LogCapture log;
    Forwarder forwarder{engine.domain};
};
INSTANTIATE_TEST_SUITE_P(
    Engines, ForwarderLifecycle, testing::Values(EngineKind::loopback, EngineKind::cyclone), engineName);

TEST_P(ForwarderLifecycle, StandsOnAParticipantOfItsOwnAndLeavesNothing) {
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    ASSERT_TRUE(forwarder.make());
    EXPECT_EQ(forwarder.self->factory, factory());
    EXPECT_NE(forwarder.self->entities->event_reader, nullptr);
    EXPECT_NE(forwarder.self->entities->periodic_reader, nullptr);
    EXPECT_NE(forwarder.self->entities->logging_reader, nullptr);
    EXPECT_GT(ORXOsapiThread_getLiveThreadCount(), threads);
    forwarder.drop();
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
    EXPECT_EQ(engine.loopback.liveObjects(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_P(ForwarderLifecycle, StandsOnALentParticipantAndLeavesItAsItWas) {
    auto* participant = newParticipant(engine.domain);
    forwarder.property.create_logging_data_reader = DDS_BOOLEAN_FALSE;
    ASSERT_TRUE(forwarder.makeOn(participant));
    EXPECT_EQ(forwarder.entities().participant, participant);
    EXPECT_EQ(forwarder.self->entities->logging_reader, nullptr);
    {
        FakeApplication application(engine.domain);
        application.enableAll();
        EXPECT_TRUE(
            eventually([&] { return forwarder.knowsParticipant(application) && forwarder.pending() == 0; }));
    }
    forwarder.drop();
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DomainParticipant_as_entity(participant)));
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
}

TEST_P(ForwarderLifecycle, TwoForwardersReadTheSameApplications) {
    Forwarder other(engine.domain);
    ASSERT_TRUE(forwarder.make());
    ASSERT_TRUE(other.make());
    FakeApplication application(engine.domain);
    application.enableAll();
    for (Forwarder* each : {&forwarder, &other})
        ASSERT_TRUE(eventually([&] { return each->knowsParticipant(application); }));
    ASSERT_TRUE(eventually([&] {
        DDS_InstanceHandleSeq handles{};
        DDS_DataWriter_get_matched_subscriptions(application.entities->eventWriter, &handles);
        const bool isAll = DDS_InstanceHandleSeq_get_length(&handles) == 2;
        DDS_InstanceHandleSeq_finalize(&handles);
        return isAll;
    }));
    application.announce(1, "one");
    for (Forwarder* each : {&forwarder, &other})
        EXPECT_TRUE(eventually([&] { return each->application(1) != nullptr; }));
    forwarder.drop();
    application.announce(2, "two");
    EXPECT_TRUE(eventually([&] { return other.application(2) != nullptr; }));
}

// Applications come and go while it does.
TEST_P(ForwarderLifecycle, GoesInTheMidstOfThings) {
    for (int round = 0; round < 5; ++round) {
        ASSERT_TRUE(forwarder.make());
        std::atomic<bool> isStopping{false};
        auto applications = std::async(std::launch::async, [&] {
            while (!isStopping) {
                FakeApplication application(engine.domain);
                application.enableAll();
                for (uint8_t i = 1; i < 5; ++i)
                    application.announce(i, "app");
            }
        });
        EXPECT_TRUE(eventually([&] { return forwarder.participants() > 0; }));
        forwarder.drop();
        isStopping = true;
        applications.get();
    }
}

// A caller may have found the command manager and not have come to it yet: it is there until that has left.
TEST_P(ForwarderLifecycle, EndsCommandsForGoodAndStaysForWhoIsInside) {
    ASSERT_TRUE(forwarder.make());
    auto& impl = *reinterpret_cast<ORX_MonitoringForwarderImpl*>(forwarder.self);
    std::atomic_ref inside(impl.commandsInside);
    auto* manager = impl.commandManager;
    ++inside;
    auto end =
        std::async(std::launch::async, [&] { return ORX_MonitoringForwarder_end_commandsI(forwarder.self); });
    ASSERT_TRUE(eventually([&] { return std::atomic_ref(impl.commandManager).load() == nullptr; }));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(end.wait_for(std::chrono::milliseconds(1)), std::future_status::timeout);
        auto* handler = ORX_MonitoringForwarderCommandManager_getCommandHandler(manager);
        if (handler != nullptr) { // it was not turned away yet
            EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler));
        }
    }
    --inside;
    EXPECT_TRUE(end.get());
    EXPECT_TRUE(ORX_MonitoringForwarder_end_commandsI(forwarder.self)) << "again";
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    DDS_Monitoring_ResourcePathExpressionSequence expressions{};
    ORX_MonitoringForwarder_request_resource_registry(forwarder.self, &exception, &expressions);
    EXPECT_STREQ(exception.error_message, "Timedout");
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
    EXPECT_TRUE(ORX_MonitoringForwarder_lock_application_registry(forwarder.self)) << "look-ups go on";
    EXPECT_TRUE(ORX_MonitoringForwarder_unlock_application_registry(forwarder.self));
    forwarder.drop();
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

// A loan of the user's that is out keeps it; delete comes again once it is back.
TEST_P(ForwarderLifecycle, ALoanThatIsOutKeepsItUntilItIsReturned) {
    ASSERT_TRUE(forwarder.make());
    auto* reader = forwarder.self->entities->logging_reader;
    FakeApplication application(engine.domain);
    application.enableAll();
    ASSERT_TRUE(eventually([&] {
        return Forwarder::queues(reader) == 1 &&
               FakeApplication::isMatched(application.entities->loggingWriter);
    }));
    auto* sample = LoggingTopic::create();
    FakeApplication::write(application.entities->loggingWriter, sample);
    LoggingTopic::destroy(sample);
    auto* narrowed = DDS_Monitoring_LoggingDataReader_narrow(reader);
    DDS_Monitoring_LoggingSeq samples{};
    DDS_SampleInfoSeq infos{};
    ASSERT_TRUE(eventually([&] {
        return DDS_Monitoring_LoggingDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                   DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) == DDS_RETCODE_OK;
    }));
    ORX_MonitoringForwarder_delete(forwarder.self);
    EXPECT_TRUE(log.has("Monitoring Forwarder entities\n", "FAILED_TO_DELETE")) << log.text();
    // Until then it stands still: a command is refused.
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    DDS_Monitoring_ResourcePathExpressionSequence expressions{};
    ORX_MonitoringForwarder_request_resource_registry(forwarder.self, &exception, &expressions);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(exception.error_message, "Timedout");
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
    EXPECT_EQ(DDS_Monitoring_LoggingDataReader_return_loan(narrowed, &samples, &infos), DDS_RETCODE_OK);
    log.clear();
    forwarder.drop();
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

class ForwarderFailure : public testing::Test {
protected:
    TestEngine engine{EngineKind::loopback};
    LogCapture log;
    Forwarder forwarder{engine.domain};
};

TEST_F(ForwarderFailure, EveryAllocationOfNewMayFail) {
    ASSERT_TRUE(forwarder.make());
    forwarder.drop(); // whatever a process makes once
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    FailingHeap heap;
    std::set<std::string> told;
    uint64_t n = 0;
    for (bool made = false; !made;) {
        ASSERT_LT(n, 5000U);
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        log.clear();
        heap.failAt(++n);
        made = forwarder.make();
        const bool hasFailed = heap.hasFailed();
        heap.failNoMore();
        if (made) {
            // An allocation of a thread beside may have failed and cost it a line of the log alone.
            forwarder.drop();
            made = !hasFailed;
        } else {
            EXPECT_GE(log.countLevel(ORX_LOG_BIT_ERROR), 1U) << n;
            EXPECT_TRUE(log.has("struct ORX_MonitoringForwarder\n")) << n << "\n" << log.text();
            for (const auto& line : log.lines())
                told.insert(line.subject);
        }
        ASSERT_EQ(engine.loopback.liveObjects(), 0) << n;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << n << "\n" << log.text();
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << n;
    }
    EXPECT_GT(n, 60U);
    for (const char* subject :
        {"Monitoring Forwarder Application Registry\n", "Monitoring Forwarder entities\n",
            "Listener for topic DCPSEventStatusMonitoring", "Listener for topic DCPSLoggingStatusMonitoring",
            "Listener for topic DCPSPeriodicStatusMonitoring", "AsyncWaitSet for the monitoring samples",
            "Condition to handle resource registry requests", "Monitoring Forwarder reader entities\n",
            "Monitoring Forwarder command manager\n"})
        EXPECT_TRUE(told.contains(subject)) << subject;
}

TEST_F(ForwarderFailure, EveryEngineCallOfNewMayFail) {
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    int64_t n = 1;
    for (bool hasFailed = true; hasFailed && n < 100; ++n) {
        log.clear();
        const auto before = engine.loopback.calls();
        engine.loopback.failAt(n);
        const bool made = forwarder.make();
        hasFailed = engine.loopback.calls() - before >= n;
        engine.loopback.failAt(0);
        EXPECT_EQ(made, !hasFailed) << n;
        EXPECT_EQ(made, !log.has("struct ORX_MonitoringForwarder\n", "FAILED_TO_INITIALIZE")) << log.text();
        forwarder.drop();
        EXPECT_EQ(engine.loopback.liveObjects(), 0) << n;
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << n;
    }
    EXPECT_GT(n, 5); // participant, service-request endpoints, three readers
}

TEST_F(ForwarderFailure, ALentParticipantSurvivesEveryFailure) {
    auto* participant = newParticipant(engine.domain);
    const auto before = engine.loopback.liveObjects();
    FailingHeap heap;
    bool failed = true;
    for (uint64_t n = 1; failed; ++n) {
        ASSERT_LT(n, 5000U);
        heap.failAt(n);
        (void)forwarder.makeOn(participant);
        failed = heap.hasFailed();
        heap.failNoMore();
        forwarder.drop();
        ASSERT_EQ(engine.loopback.liveObjects(), before) << n;
    }
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
}

TEST_F(ForwarderFailure, DeleteTakesAwayOnlyWhatExists) {
    ORX_MonitoringForwarder_delete(nullptr);
    const auto empty = [] {
        ORX_MonitoringForwarderImpl* made = nullptr;
        (void)ORXOsapiHeap_allocateStructure(&made, struct ORX_MonitoringForwarderImpl);
        return made;
    };
    ORX_MonitoringForwarder_delete(&empty()->parent);
    auto* withRegistry = empty();
    withRegistry->parent.factory = factory();
    withRegistry->applicationRegistry = ORX_MonitoringForwarderApplicationRegistry_new();
    ORX_MonitoringForwarder_delete(&withRegistry->parent);
    auto* withEntities = empty();
    withEntities->parent.factory = factory();
    withEntities->applicationRegistry = ORX_MonitoringForwarderApplicationRegistry_new();
    withEntities->parent.entities =
        ORX_MonitoringForwarderEntities_new(factory(), nullptr, &forwarder.property);
    ORX_MonitoringForwarder_delete(&withEntities->parent);
    EXPECT_EQ(engine.loopback.liveObjects(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ForwarderFailure, AParticipantWithoutTheChannelIsRefused) {
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    auto* participant =
        DDS_DomainParticipantFactory_create_participant(factory(), engine.domain, &qos, nullptr, 0);
    DDS_DomainParticipantQos_finalize(&qos);
    EXPECT_FALSE(forwarder.makeOn(participant));
    EXPECT_TRUE(log.has("Monitoring Forwarder entities\n", "FAILED_TO_CREATE")) << log.text();
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
}

TEST_F(ForwarderFailure, ArgumentsAreChecked) {
    EXPECT_EQ(ORX_MonitoringForwarder_new(nullptr, &forwarder.property), nullptr);
    EXPECT_TRUE(log.has("\"factory == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringForwarder_new(factory(), nullptr), nullptr);
    EXPECT_TRUE(log.has("\"property == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringForwarder_new_w_participant(nullptr, &forwarder.property), nullptr);
    EXPECT_TRUE(log.has("\"participant == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringForwarder_end_commandsI(nullptr));
    EXPECT_FALSE(ORX_MonitoringForwarder_lock_application_registry(nullptr));
    EXPECT_FALSE(ORX_MonitoringForwarder_unlock_application_registry(nullptr));
    EXPECT_FALSE(ORX_MonitoringForwarder_find_matching_applications(nullptr, nullptr, ""));
}

// ---- Conditions ----

TEST_F(ForwarderFailure, AConditionOfAReaderIsHandledAndFreedWhenItIsDetached) {
    ASSERT_TRUE(forwarder.make());
    static Counter handled;
    auto* reader = forwarder.self->entities->event_reader;
    auto* handler = ORX_MonitoringForwarderConditionHandler_new(
        &forwarder.impl(), reader, [](void* handlerData, DDS_Condition*) {
            Taken<EventTopic> taken(
                static_cast<ORX_MonitoringForwarderConditionHandler*>(handlerData)->reader);
            handled.add(taken.size());
        });
    ASSERT_NE(handler, nullptr);
    auto* waitSet = forwarder.impl().samplesAsyncWaitSet;
    DDS_Condition* condition = handler->condition;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    const DDS_GUID_t writer{{7}};
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(reader, &writer, nullptr), DDS_RETCODE_OK);
    auto* sample = EventTopic::create();
    ASSERT_EQ(DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(reader, sample, &writer, nullptr),
        DDS_RETCODE_OK);
    EventTopic::destroy(sample);
    EXPECT_TRUE(handled.reaches(1));
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, condition), DDS_RETCODE_OK); // and frees both
    forwarder.drop();
    EXPECT_EQ(engine.loopback.liveObjects(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

} // namespace
