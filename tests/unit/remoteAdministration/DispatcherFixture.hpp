// The dispatcher with commands whose two functions a test makes up.
#ifndef ORX_TESTS_DISPATCHER_FIXTURE_HPP
#define ORX_TESTS_DISPATCHER_FIXTURE_HPP

#include <functional>

#include "src/remoteAdministration/CommandExecution.h"
#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "gtest/gtest.h"

using Return = ORX_MonitoringCommandDispatcherReturnValue;
using EventData = ORX_MonitoringCommandDispatcherEventData;

// What a made-up command does when it is selected and when it is processed.
struct Script {
    std::function<Return(ORX_MonitoringResourcePtrSeq*, DDS_Monitoring_MonitoringService_Reply*)> select;
    std::function<Return(ORX_MonitoringResourcePtrSeq*, DDS_Monitoring_MonitoringService_Reply*)> process;
};
inline Script script;

inline Return selectByScript(ORX_MonitoringCommandDispatcher*, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, DDS_Monitoring_MonitoringService_Request*) {
    reply->data._d = operation::request_resource_registry;
    return script.select ? script.select(resources, reply) : ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
}
inline Return processByScript(ORX_MonitoringCommandDispatcher*, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request*) {
    return script.process ? script.process(resources, reply) : ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
}

class DispatcherFixture {
protected:
    explicit DispatcherFixture(CommandWorld::EngineKind engine = CommandWorld::EngineKind::loopback)
        : world(engine) {
        script = {};
    }
    ~DispatcherFixture() {
        ORX_MonitoringLog_setBitmaps(~0U, 0x7);
        script = {};
    }

    // Hands a command to the thread whose two functions are the script's.
    DDS_GUID_t deliverScript(DDS_Long hash = operation::request_resource_registry) {
        auto& dispatcher = world.dispatcher();
        const DDS_Entity* participant =
            DDS_DomainParticipant_as_entity(world.library.impl().entities->participant);
        DDS_Entity_lock(participant);
        auto* data =
            static_cast<EventData*>(REDAFastBufferPool_getBufferWithSize(dispatcher.eventDataPool, -1));
        std::memset(data, 0, sizeof *data);
        REDAInlineListNode_init(&data->node);
        DDS_Monitoring_MonitoringService_Request_initialize(&data->command);
        data->command.data._d = hash;
        data->commandDispatcher = &dispatcher;
        data->commandUuid = CommandWorld::newUuid();
        data->remoteReaderHandle =
            Sender::handleOf(world.sender->participant(), DDS_SERVICE_REQUEST_READER_OBJECT_IDI);
        data->getMatchingResources = selectByScript;
        data->processCommand = processByScript;
        const DDS_GUID_t uuid = data->commandUuid;
        EXPECT_TRUE(ORX_MonitoringCommandDispatcher_postEvent(&dispatcher, data));
        REDAInlineList_addNodeToBackEA(&dispatcher.pendingCommandList, &data->node);
        DDS_Entity_unlock(participant);
        return uuid;
    }
    // Stops the dispatcher while its thread is at the gate, and opens the gate once it is told to stop.
    void stopAt(Gate& gate) {
        ASSERT_TRUE(gate.isReached());
        std::thread stopper{
            [&] { EXPECT_TRUE(world.library.table->prefinalizeFunction(world.library.table)); }};
        while (ORX_MonitoringCommandDispatcher_isRunning(&world.dispatcher()))
            std::this_thread::yield();
        gate.open();
        stopper.join();
    }
    // What the dispatcher has sent or holds for a match.
    DDS_UnsignedLongLong sent() {
        DDS_DataWriterCountersI counters{};
        DDS_DataWriter_get_countersI(world.dispatcher().writer, &counters);
        return counters.written + counters.queued;
    }
    // A line whose subject begins so: what follows differs from run to run.
    bool isLogged(std::string_view subject, std::string_view identifier) const {
        const auto lines = log.lines();
        return std::any_of(lines.begin(), lines.end(), [&](const LogCapture::Line& line) {
            return line.subject.starts_with(subject) && line.identifier == identifier;
        });
    }
    int pending() { return REDAInlineList_getSize(&world.dispatcher().pendingCommandList); }

    LogCapture log;
    CommandWorld world;
};

#endif
