// The stop of the dispatcher at every point of a command, over either engine.
#include <future>

#include "src/logging/MonitoringLogging.h"
#include "tests/unit/remoteAdministration/DispatcherFixture.hpp"

namespace {

using EngineKind = CommandWorld::EngineKind;

class DispatcherStop : public testing::TestWithParam<EngineKind>, protected DispatcherFixture {
protected:
    DispatcherStop() : DispatcherFixture(GetParam()) {}

    bool prefinalize() { return world.library.table->prefinalizeFunction(world.library.table) != 0; }
};

// What the engine lets a test decide: who acknowledges, and when.
class DispatcherStopOverLoopback : public DispatcherStop {};

TEST_P(DispatcherStop, AStopLeavesWhatWasNotBegunOnTheList) {
    ASSERT_TRUE(world.start());
    Gate gate;
    script.select = [&](auto...) {
        EXPECT_TRUE(gate.pass());
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    (void)deliverScript();
    (void)world.deliver(RequestRegistry({"//*"}));
    stopAt(gate);
    EXPECT_EQ(pending(), 1);
    EXPECT_EQ(sent(), 0U);
    EXPECT_TRUE(world.stop());
}

TEST_P(DispatcherStop, AnEventThatRunsAfterTheStopLeavesItsDataOnTheList) {
    ASSERT_TRUE(world.start());
    const DDS_Entity* participant =
        DDS_DomainParticipant_as_entity(world.library.impl().entities->participant);
    // The thread cannot take the command off the list before the dispatcher was stopped.
    DDS_Entity_lock(participant);
    ORX_MonitoringCommandDispatcher_setState(
        &world.dispatcher(), ORX_MONITORING_COMMAND_DISPATCHER_STATUS_STOPPED);
    DDS_ServiceRequest sample{};
    sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
    sample.instance_id = CommandWorld::newUuid();
    const auto bytes = RequestRegistry({"//*"}).bytes();
    DDS_OctetSeq_from_array(&sample.request_body, bytes.data(), static_cast<DDS_Long>(bytes.size()));
    DDS_SampleInfo info{};
    info.valid_data = DDS_BOOLEAN_TRUE;
    EXPECT_TRUE(ORX_MonitoringCommandDispatcher_dispatchCommand(&world.dispatcher(), &sample, &info));
    DDS_ServiceRequest_finalize(&sample);
    DDS_Entity_unlock(participant);
    ASSERT_TRUE(prefinalize());
    EXPECT_EQ(pending(), 1);
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    EXPECT_TRUE(world.stop());
    EXPECT_LT(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST_P(DispatcherStop, AStopEndsTheWaitForTheLibraryAtTheNextAttempt) {
    world.library.property.command_dispatcher.lock_timeout = {0, 20'000'000};
    ASSERT_TRUE(world.start());
    for (const bool isServed : {true, false}) {
        if (!isServed) {
            ASSERT_TRUE(world.stop());
            world.sender.reset();
            ASSERT_TRUE(world.start());
        }
        ORX_MonitoringLog_setBitmaps(~0U, 0xF);
        log.clear();
        Library::lockLibrary();
        (void)(isServed ? world.deliver(RequestRegistry({"//*"}))
                        : world.deliver(Command(operation::subscribe)));
        const auto end = std::chrono::steady_clock::now() + waitBound;
        const auto hasBegun = [&] {
            const auto lines = log.lines();
            return std::any_of(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
                return line.subject.starts_with("Monitoring Command with hash ");
            });
        };
        while (!hasBegun() && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        ASSERT_TRUE(hasBegun()) << log.text();
        EXPECT_TRUE(prefinalize()) << log.text();
        EXPECT_EQ(pending(), 1);
        EXPECT_EQ(sent(), 0U);
        EXPECT_EQ(isLogged("The monitoring library is not enabled while processing command with hash ",
                      "FAILED_TO_LOCK"),
            isServed)
            << log.text();
        Library::unlockLibrary();
    }
    EXPECT_TRUE(world.stop());
}

TEST_P(DispatcherStop, AStopDuringSelectionSendsNothingWhateverItFinds) {
    for (const Return result : {ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK,
             ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND,
             ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY,
             ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR}) {
        ASSERT_TRUE(world.start());
        Gate gate;
        bool isProcessed = false;
        script.select = [&](auto...) {
            EXPECT_TRUE(gate.pass());
            return result;
        };
        script.process = [&](auto...) {
            isProcessed = true;
            return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
        };
        (void)deliverScript();
        stopAt(gate);
        EXPECT_FALSE(isProcessed);
        EXPECT_EQ(pending(), 0);
        EXPECT_EQ(sent(), 0U);
        EXPECT_TRUE(world.stop());
        world.sender.reset();
    }
}

TEST_P(DispatcherStop, AStopDuringProcessingSendsNothing) {
    ASSERT_TRUE(world.start());
    Gate gate;
    script.process = [&](auto...) {
        EXPECT_TRUE(gate.pass());
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    (void)deliverScript();
    stopAt(gate);
    EXPECT_EQ(sent(), 0U);
    const auto lines = log.lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
        return line.identifier == "FAILED_TO_PROCESS" &&
               line.subject.starts_with("Monitoring Command reply for command with hash: '") &&
               line.subject.ends_with("). The dispatcher was disabled");
    })) << log.text();
    EXPECT_TRUE(world.stop());
}

// The thread is in the one step that waits for somebody else, with no lock held.
TEST_P(DispatcherStopOverLoopback, AStopWhileAReplyWaitsForItsAcknowledgmentEndsWithTheWait) {
    world.library.property.command_dispatcher.reply_timeout = DDS_DURATION_INFINITE;
    ASSERT_TRUE(world.start());
    world.library.engine.withholdAcknowledgments(world.sender->engineReader());
    const DDS_GUID_t waiting = world.deliver(RequestRegistry({"//*"}));
    const DDS_GUID_t behind = world.deliver(RequestRegistry({"//*"}));
    ASSERT_TRUE(world.sender->await(waiting));
    auto stopping = std::async(std::launch::async, [&] { return prefinalize(); });
    while (ORX_MonitoringCommandDispatcher_isRunning(&world.dispatcher()))
        std::this_thread::yield();
    EXPECT_EQ(stopping.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    Library::lockLibrary(); // free: a program's threads do not wait for a sender
    Library::unlockLibrary();
    world.library.engine.withholdAcknowledgments(world.sender->engineReader(), false);
    ASSERT_EQ(stopping.wait_for(waitBound), std::future_status::ready);
    EXPECT_TRUE(stopping.get()) << log.text();
    EXPECT_EQ(pending(), 1) << "nothing is begun any more";
    EXPECT_EQ(world.sender->replies(waiting), 1U);
    EXPECT_EQ(world.sender->replies(behind), 0U);
    EXPECT_TRUE(world.stop());
}

TEST_P(DispatcherStopOverLoopback, AStopThatDoesNotOutlastTheAcknowledgmentFailsAndMayBeTriedAgain) {
    world.library.property.command_dispatcher.reply_timeout = DDS_DURATION_INFINITE;
    world.library.property.command_dispatcher.destruction_timeout = {0, 1'000'000};
    ASSERT_TRUE(world.start());
    world.library.engine.withholdAcknowledgments(world.sender->engineReader());
    ASSERT_TRUE(world.sender->await(world.deliver(RequestRegistry({"//*"}))));
    EXPECT_FALSE(ORX_MonitoringHost_stop());
    EXPECT_TRUE(log.has("Taking failure after timeout (0s 1000000ns).", "FAILED_TO_LOCK")) << log.text();
    world.library.engine.withholdAcknowledgments(world.sender->engineReader(), false);
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (!world.stop() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
}

// A sender that nobody knows costs a stop no more than the time that a reply has.
TEST_P(DispatcherStop, AStopWhileTheReplyWaitsForASenderThatIsNotThereEndsWithTheReplysTime) {
    world.library.property.command_dispatcher.reply_timeout = {0, 500'000'000};
    ASSERT_TRUE(world.start());
    DDS_ServiceRequest sample{};
    sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
    sample.instance_id = CommandWorld::newUuid();
    const auto bytes = RequestRegistry({"//*"}).bytes();
    DDS_OctetSeq_from_array(&sample.request_body, bytes.data(), static_cast<DDS_Long>(bytes.size()));
    DDS_SampleInfo info{};
    info.valid_data = DDS_BOOLEAN_TRUE;
    const DDS_GUID_t nobody{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 2, 0, 0x82}};
    DDS_InstanceHandle_from_guid(&info.publication_handle, &nobody);
    EXPECT_TRUE(world.deliver(sample, info));
    DDS_ServiceRequest_finalize(&sample);
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (sent() == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::yield(); // until the reply is held for a match
    EXPECT_TRUE(prefinalize()) << log.text();
    EXPECT_TRUE(log.has("Monitoring Command acknowledgment timedout\n", "FAILED_TO_PROCESS")) << log.text();
    EXPECT_TRUE(world.stop());
}

// Wherever the stop finds them.
TEST_P(DispatcherStop, CommandsOfTheChannelHaveOneReplyOrNone) {
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(world.start()) << log.text();
        std::vector<DDS_GUID_t> commands;
        for (int i = 0; i < 20; ++i)
            commands.push_back(world.send(UpdateMetrics({{"//topics/*", {"*"}}})));
        ASSERT_TRUE(world.sender->await(commands[static_cast<size_t>(round) * 5])) << log.text();
        EXPECT_TRUE(world.stop()) << log.text();
        for (const DDS_GUID_t& command : commands)
            EXPECT_LE(world.sender->replies(command), 1U);
        world.sender.reset();
    }
}

TEST_P(DispatcherStop, AThreadThatDoesNotEndInTimeFailsTheStop) {
    world.library.property.command_dispatcher.destruction_timeout = {0, 1'000'000};
    ASSERT_TRUE(world.start());
    Gate gate;
    script.process = [&](auto...) {
        EXPECT_TRUE(gate.pass());
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
    };
    (void)deliverScript();
    ASSERT_TRUE(gate.isReached());
    EXPECT_FALSE(prefinalize());
    EXPECT_TRUE(log.has("Taking failure after timeout (0s 1000000ns).", "FAILED_TO_LOCK")) << log.text();
    EXPECT_TRUE(log.has("Monitoring Command Dispatcher pre-finalization.", "FAILED_TO_FINALIZE"));
    const ORX_MonitoringLogging& logging = *world.library.impl().logging;
    EXPECT_NE(logging.loggerDevice, nullptr) << "the collector of log messages is left as it was";
    EXPECT_EQ(logging.activityKind, ORX_MONITORING_LOGGING_OTHER_ACTIVITY_KIND);
    gate.open();
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (!world.stop() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
    EXPECT_TRUE(world.stop());
}

INSTANTIATE_TEST_SUITE_P(Engines, DispatcherStop, testing::Values(EngineKind::loopback, EngineKind::cyclone),
    [](const auto& one) { return one.param == EngineKind::cyclone ? "Cyclone" : "Loopback"; });
INSTANTIATE_TEST_SUITE_P(Engines, DispatcherStopOverLoopback, testing::Values(EngineKind::loopback),
    [](const auto&) { return "Loopback"; });

} // namespace
