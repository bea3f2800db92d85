// Commands to the library itself; and every allocation and every engine call fails once, through the creation
// of a manager and one command of each kind.
#include "src/entities/LibraryEntities.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "tests/unit/remoteAdministration/ForwarderWorld.hpp"

namespace forwarding {
namespace {

// ---- The library answers ----

class RealApplication : public testing::TestWithParam<EngineKind> {
protected:
    RealApplication() {
        contract::useLoopbackDevice();
        library.property.command_dispatcher.reply_timeout = {30, 0};
        library.property.command_dispatcher.destruction_timeout = {30, 0};
        if (GetParam() == EngineKind::cyclone) {
            zdds::engine::setInstance(nullptr);
            library.property.domain_id = testDomain();
        }
    }
    void begin(DDS_Duration_t timeout = {60, 0}) {
        ASSERT_TRUE(library.start()) << log.text();
        collector = std::make_unique<Collector>(library.property.domain_id, timeout);
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(library.impl().entities->participant), &guid);
        collector->know(guid, "app", 1);
        root = library.table->rootResource;
    }
    Library library;
    LogCapture log;
    std::unique_ptr<Collector> collector;
    ORX_MonitoringResource* root = nullptr;
};

TEST_P(RealApplication, AnswersEachCommand) {
    begin();
    auto* participant = library.participant("p");
    ASSERT_NE(library.topic("t", participant), nullptr);
    for (const Kind kind : allKinds) {
        const Result got = collector->run(kind, {"//applications/*"});
        EXPECT_TRUE(got.isSent);
        EXPECT_EQ(got.code, 0) << got << log.text();
        EXPECT_EQ(got.message, "");
    }
    EXPECT_EQ(collector->run(Kind::setMetrics, {"//topics/t"}).code, 0);
    // The application finds nothing, though the forwarder has found it.
    EXPECT_EQ(collector->run(Kind::setForwarding, {pathOf(1)}).code, 3);
    EXPECT_TRUE(collector->isIdle());
    ORX_MonitoringHostRequestCounters counters;
    ORX_MonitoringHost_get_request_countersI(&counters);
    EXPECT_GE(counters.handed_over, 7U);
    // Asked for its registry, by nobody who waits.
    DDS_GUID_t guid{};
    DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(library.impl().entities->participant), &guid);
    auto* known = ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
        collector->registry, &guid);
    ASSERT_NE(known, nullptr);
    EXPECT_TRUE(collector->requestRegistryFrom(known->serviceRequestReaderHandle));
    EXPECT_TRUE(collector->isIdle());
    collector.reset();
    EXPECT_TRUE(library.stop());
}

TEST_P(RealApplication, ThatStopsMeanwhileIsATimeOut) {
    begin({2, 0});
    EXPECT_TRUE(library.stop());
    EXPECT_EQ(collector->run(Kind::requestRegistry, everybody).message, "Timedout");
    collector.reset();
}

INSTANTIATE_TEST_SUITE_P(Engines, RealApplication, bothEngines, nameOf);

// ---- Everything fails once ----

// One life of a manager with one command of each kind, answered on the way. Whatever fails, everything comes
// to an end. The application is not made to fail: it is there before, and answers from bytes made before.
class WalkedLife {
public:
    WalkedLife() : channel(51), application(51) {
        for (const Kind kind : allKinds)
            replies.push_back({hashOf(kind), replyBytes(hashOf(kind), 0)});
    }
    bool live() {
        const DDS_Duration_t timeout{0, 200'000'000};
        Registry* registry = ORX_MonitoringForwarderApplicationRegistry_new();
        Manager* manager = registry != nullptr ? ORX_MonitoringForwarderCommandManager_new(
                                                     channel.writer, channel.reader, registry, &timeout)
                                               : nullptr;
        bool result = manager != nullptr && know(registry);
        if (result) {
            for (const Kind kind : allKinds)
                result &= run(manager, kind);
            result &= runSelfManaged(manager);
        }
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_delete(manager));
        ORX_MonitoringForwarderApplicationRegistry_delete(registry);
        return result;
    }

private:
    bool know(Registry* registry) {
        const DDS_GUID_t participant = application.guid();
        DDS_InstanceHandle_t handle;
        DDS_GUID_to_instance_handle(&participant, &handle);
        DDS_Monitoring_Resource resource;
        if (!ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
                registry, nullptr, &participant, &handle) ||
            !DDS_Monitoring_Resource_initialize(&resource))
            return false;
        const bool result = ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
                                registry, "app", 0, &resource, &participant) != nullptr;
        DDS_Monitoring_Resource_finalize(&resource);
        return result;
    }
    Handler* prepare(Manager* manager, Kind kind, DDS_Monitoring_MonitoringCommandError* exception) {
        static const MetricCommand metrics(operation::set_metric_subscription_state, {{"//*", {"*"}}});
        static const LoggingCommand groups(operation::set_logging_collection_level,
            {{"//*", {{22, DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING}}}});
        static const RequestRegistry request({"//*"});
        const auto& selectors = metrics.request.data._u.set_metric_subscription_state.metrics;
        const auto& logging = groups.request.data._u.set_logging_collection_level.logging_groups;
        switch (kind) {
        case Kind::setMetrics:
            return ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
                manager, exception, &selectors, 1, 0);
        case Kind::updateMetrics:
            return ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler(
                manager, exception, &selectors, 1, 0);
        case Kind::setCollection:
            return ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(
                manager, exception, &logging, 1, 0);
        case Kind::setForwarding:
            return ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler(
                manager, exception, &logging, 1, 0);
        case Kind::requestRegistry:
            break;
        }
        return ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(manager, exception,
            &request.request.data._u.request_resource_registry.applications, nullptr, 1, 0);
    }
    bool run(Manager* manager, Kind kind) {
        DDS_Monitoring_MonitoringCommandError exception{};
        Handler* handler = prepare(manager, kind, &exception);
        bool isSent = false;
        if (handler != nullptr) {
            std::atomic<bool> isOver{false};
            std::thread answering([&] {
                while (!isOver)
                    answer(hashOf(kind));
            });
            isSent = ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler) != 0;
            isOver = true;
            answering.join();
            EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler));
        }
        const bool result = isSent && exception.ret_code == 0;
        DDS_Monitoring_MonitoringCommandError_finalize(&exception);
        return result;
    }
    bool runSelfManaged(Manager* manager) {
        const DDS_InstanceHandle_t destination = application.readerHandle();
        Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
            manager, nullptr, nullptr, &destination, 0, 1);
        if (handler == nullptr || !ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler))
            return false;
        REDAFastBufferPoolInfo info{};
        EXPECT_TRUE(eventually([&] {
            answer(operation::request_resource_registry);
            REDAFastBufferPool_getInfo(manager->commandHandlerPool, &info);
            return info.bufferInUse == 0;
        }));
        return true;
    }
    // Answers what has come, without looking into it.
    void answer(DDS_Long hash) {
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        DDS_ServiceRequestDataReader* typed = DDS_ServiceRequestDataReader_narrow(application.reader);
        if (DDS_ServiceRequestDataReader_take(typed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            return;
        }
        for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i) {
            if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                continue;
            const DDS_GUID_t uuid = DDS_ServiceRequestSeq_get_reference(&samples, i)->instance_id;
            for (const auto& [operationHash, bytes] : replies) {
                // Again, when it is this that fails: what is tried is the manager.
                for (int attempts = 0; operationHash == hash && attempts < 2; ++attempts) {
                    if (application.send(
                            channel.readerHandle(), ORX_MONITORING_REPLY_SERVICE_ID, uuid, bytes))
                        break;
                }
            }
        }
        DDS_ServiceRequestDataReader_return_loan(typed, &samples, &infos);
    }

    Channel channel;
    Application application;
    std::vector<std::pair<DDS_Long, std::vector<DDS_Octet>>> replies;
};

class ForwarderWalk : public testing::Test {
protected:
    ForwarderWalk() {
        orx::forwarder::wakePeriod = {0, 10'000'000}; // many lives come to a time-out
        zdds::engine::setInstance(&engine);
        WalkedLife().live(); // what is made once for the process
        buffers = ORXOsapiHeap_getLiveBufferCount();
    }
    ~ForwarderWalk() override {
        zdds::engine::setInstance(nullptr);
        orx::forwarder::wakePeriod = usualPeriod;
        EXPECT_EQ(engine.liveObjects(), 0);
    }
    void expectNothingLeft(const std::string& when) {
        EXPECT_EQ(engine.liveObjects(), 0) << when << log.text();
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << when << log.text();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << when << log.text();
    }
    const DDS_Duration_t usualPeriod = orx::forwarder::wakePeriod;
    zdds::engine::LoopbackEngine engine;
    LogCapture log;
    const ORX_UINT32 threads = ORXOsapiThread_getLiveThreadCount();
    ORX_UINT64 buffers = 0;
};

TEST_F(ForwarderWalk, EveryAllocationFails) {
    bool hasFailed = true;
    uint64_t n = 0;
    while (hasFailed && n < 3000 && !HasFailure()) {
        log.clear();
        {
            WalkedLife life;
            FailingHeap heap;
            heap.failAt(++n);
            (void)life.live();
            hasFailed = heap.hasFailed();
            heap.failNoMore();
        }
        expectNothingLeft("allocation " + std::to_string(n) + "\n");
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(n, 150U);
    RecordProperty("allocations", static_cast<int>(n));
}

TEST_F(ForwarderWalk, EveryEngineCallFails) {
    bool hasFailed = true;
    int64_t call = 0;
    while (hasFailed && call < 500 && !HasFailure()) {
        log.clear();
        {
            WalkedLife life;
            engine.failAt(++call);
            const auto before = engine.calls();
            (void)life.live();
            hasFailed = engine.calls() - before >= call;
            engine.failAt(0);
        }
        expectNothingLeft("call " + std::to_string(call) + "\n");
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(call, 5);
}

} // namespace
} // namespace forwarding
