// Preparing commands: what they hold, whom they go to, and why they are not prepared.
#include <algorithm>
#include <set>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/MovedClock.hpp"
#include "tests/unit/remoteAdministration/ForwarderWorld.hpp"
#include "zddscore/hash.h"

namespace forwarding {
namespace {

class ForwarderCommands : public World {
protected:
    // A prepared command, returned at the end.
    struct Prepared {
        Prepared(
            Collector& owner, Kind kind, const Texts& selectors, int isBlocking = 1, int isSelfManaged = 0)
            : manager(owner.manager),
              handler(owner.prepare(kind, selectors, &exception, isBlocking, isSelfManaged)) {}
        ~Prepared() {
            if (handler != nullptr) {
                EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler));
            }
        }
        Prepared(const Prepared&) = delete;
        Prepared& operator=(const Prepared&) = delete;
        Exception exception;
        Manager* const manager;
        Handler* const handler;
    };
    // While it lives, the manager's clock is the test's.
    struct OwnClock {
        explicit OwnClock(Manager& owner) : manager(owner), before(owner.clock) {
            EXPECT_EQ(DDS_AsyncWaitSet_stop(manager.asyncWaitSet), DDS_RETCODE_OK);
            manager.clock = clock.handle();
        }
        ~OwnClock() {
            manager.clock = before;
            EXPECT_EQ(DDS_AsyncWaitSet_start(manager.asyncWaitSet), DDS_RETCODE_OK);
        }
        OwnClock(const OwnClock&) = delete;
        OwnClock& operator=(const OwnClock&) = delete;
        Manager& manager;
        ORXClock* const before;
        MovedClock clock;
    };
    static bool detectsPrecondition(const LogCapture& log, const char* test) {
        return log.has(std::string("\"") + test + "\"\n", "PRECONDITION");
    }
    static DDS_Long destinationsOf(const Handler& handler) {
        return DDS_InstanceHandleSeq_get_length(&handler.commandDestinationSeq);
    }
};

TEST_P(ForwarderCommands, EveryKindCarriesItsInput) {
    begin(2);
    for (const Kind kind : allKinds) {
        const Prepared command(*collector, kind, {"//applications/*"});
        ASSERT_NE(command.handler, nullptr) << log.text();
        const Handler& handler = *command.handler;
        EXPECT_EQ(handler.commandHash, hashOf(kind));
        EXPECT_EQ(handler.requestSample.data._d, hashOf(kind));
        EXPECT_EQ(ORX_MonitoringForwarderCommandHandler_getSampleT(command.handler), &handler.requestSample);
        EXPECT_EQ(handler.expectedSamples, 2U);
        EXPECT_EQ(handler.receivedSamples, 0U);
        EXPECT_EQ(handler.state, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE);
        EXPECT_EQ(handler.commandException, &command.exception);
        EXPECT_EQ(handler.manager, collector->manager);
        EXPECT_NE(handler.queryCondition, nullptr);
        EXPECT_TRUE(handler.isBlocking);
        EXPECT_FALSE(handler.isSelfManaged);
        const DDS_GUID_t writer = collector->channel.writerGuid();
        EXPECT_EQ(
            std::memcmp(&handler.requestSample.header.requestId.writer_guid, writer.value, sizeof writer), 0);
        const auto& input = handler.requestSample.data._u;
        const char* selector = nullptr;
        switch (kind) {
        case Kind::setMetrics:
            selector = DDS_Monitoring_MetricSelectorSeq_get_reference(
                &input.set_metric_subscription_state.metrics, 0)
                           ->resource_selector;
            break;
        case Kind::updateMetrics:
            selector = DDS_Monitoring_MetricSelectorSeq_get_reference(
                &input.update_metric_subscription_state.metrics, 0)
                           ->resource_selector;
            break;
        case Kind::setCollection:
            selector = DDS_Monitoring_LoggingGroupSeq_get_reference(
                &input.set_logging_collection_level.logging_groups, 0)
                           ->application_selector;
            break;
        case Kind::setForwarding:
            selector = DDS_Monitoring_LoggingGroupSeq_get_reference(
                &input.set_logging_forwarding_level.logging_groups, 0)
                           ->application_selector;
            break;
        case Kind::requestRegistry:
            selector = DDS_StringSeq_get(&input.request_resource_registry.applications, 0);
            break;
        }
        EXPECT_STREQ(selector, "//applications/*");
    }
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderCommands, ArrivesWithWhatTheHeaderSays) {
    begin(1);
    for (DDS_UnsignedLongLong number = 1; number <= 3; ++number) {
        auto result = collector->start(Kind::requestRegistry, {pathOf(1)});
        const Arrived one = app(1).awaitCommand();
        app(1).reply(one, 0);
        EXPECT_EQ(result.get().code, 0);
        const DDS_GUID_t writer = collector->channel.writerGuid();
        EXPECT_TRUE(DDS_GUID_equals(&one.headerWriter, &writer));
        EXPECT_EQ(one.number, number);
        EXPECT_EQ(one.applications, Texts{pathOf(1)});
        app(1).awaitEnd(one.uuid);
    }
}

TEST_P(ForwarderCommands, NumbersCarryOver) {
    begin(0);
    collector->manager->SN = {4, 0xFFFFFFFE};
    DDS_SequenceNumber_t number;
    ASSERT_TRUE(ORX_MonitoringForwarderCommandManager_getNextSN(collector->manager, &number));
    EXPECT_EQ(number.high, 4);
    EXPECT_EQ(number.low, 0xFFFFFFFFU);
    ASSERT_TRUE(ORX_MonitoringForwarderCommandManager_getNextSN(collector->manager, &number));
    EXPECT_EQ(number.high, 5);
    EXPECT_EQ(number.low, 0U);
}

TEST_P(ForwarderCommands, WaysThatAreNoWaysAreRefused) {
    begin(1);
    Exception exception;
    for (const Kind kind : allKinds) {
        log.clear();
        EXPECT_EQ(collector->prepare(kind, everybody, nullptr, 1, 0), nullptr);
        EXPECT_TRUE(detectsPrecondition(log, "isBlocking && exception == ((void *)0)")) << log.text();
        EXPECT_EQ(collector->prepare(kind, everybody, &exception, 1, 1), nullptr);
        EXPECT_TRUE(detectsPrecondition(log, "isBlocking == (1) && isSelfManaged == (1)")) << log.text();
        EXPECT_EQ(collector->prepare(kind, everybody, nullptr, 0, 0), nullptr);
        EXPECT_TRUE(detectsPrecondition(log, "isSelfManaged == (0) && exception == ((void *)0)"))
            << log.text();
    }
    Manager* manager = collector->manager;
    EXPECT_EQ(ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
                  manager, &exception, nullptr, 1, 0),
        nullptr);
    EXPECT_TRUE(detectsPrecondition(log, "metrics == ((void *)0)"));
    EXPECT_EQ(ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(
                  manager, &exception, nullptr, 1, 0),
        nullptr);
    EXPECT_TRUE(detectsPrecondition(log, "loggingGroups == ((void *)0)"));
    EXPECT_EQ(exception.ret_code, 77);
    EXPECT_EQ(ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
                  manager, &exception, nullptr, nullptr, 1, 0),
        nullptr);
    EXPECT_TRUE(log.has("Applications and destination are NULL", "BAD_PARAMETER_FAILURE"));
    EXPECT_EQ(exception.ret_code, 2);
    EXPECT_EQ(exception.message(), "Bad parameter: applications and destination are NULL");
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderCommands, NobodyThatMatchesIsNothingFoundAndNothingSent) {
    begin(1);
    for (const Kind kind : allKinds) {
        log.clear();
        const Result got = collector->run(kind, {"/applications/another"});
        EXPECT_FALSE(got.isPrepared);
        EXPECT_EQ(got.code, 3) << got;
        EXPECT_EQ(got.message, "");
        EXPECT_EQ(collector->run(kind, {}).code, 3);
    }
    EXPECT_TRUE(log.has("Destinations for request_resource_registry command", "FAILED_TO_FIND"));
    EXPECT_EQ(collector->handlersInUse(), 0);
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderCommands, ASelectorThatCannotBeReadIsTold) {
    begin(1);
    const std::string bad = "a///b";
    for (const Kind kind : {Kind::setMetrics, Kind::updateMetrics}) {
        const Result got = collector->run(kind, {"//applications/*", bad});
        EXPECT_FALSE(got.isPrepared);
        EXPECT_EQ(got.code, 2);
        EXPECT_EQ(got.message, "Failed to get destinations for the command");
    }
    EXPECT_TRUE(log.has(
        "Destinations for a subscription state command related to the resource selector '" + bad + "'",
        "FAILED_TO_ASSERT"))
        << log.text();
    EXPECT_TRUE(log.has("Destinations for set_metric_subscription_state command"));
    for (const Kind kind : {Kind::setCollection, Kind::setForwarding, Kind::requestRegistry}) {
        const Result got = collector->run(kind, {"//applications/*", bad});
        EXPECT_EQ(got.code, 2);
        EXPECT_EQ(got.message, "Failed to parse the application selector " + bad);
    }
    EXPECT_TRUE(log.has(
        "Destinations for set verbosity level command related to the application selector '" + bad + "'",
        "FAILED_TO_ASSERT"));
    EXPECT_TRUE(
        log.has("Destinations for request resource registry command related to the application selector '" +
                    bad + "'",
            "FAILED_TO_ASSERT"));
    // One that does not fit into a message.
    const Result got = collector->run(Kind::setForwarding, {bad + std::string(2000, 'x')});
    EXPECT_EQ(got.code, 2);
    EXPECT_EQ(got.message, "Failed to parse the application selector");
    EXPECT_EQ(collector->handlersInUse(), 0);
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderCommands, ADestinationWinsOverApplications) {
    begin(2);
    Exception exception;
    DDS_StringSeq ignored{};
    fill(ignored, {"a///b"});
    const DDS_InstanceHandle_t destination = app(2).readerHandle();
    Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
        collector->manager, &exception, &ignored, &destination, 1, 0);
    DDS_StringSeq_finalize(&ignored);
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(handler->expectedSamples, 1U);
    auto isSent = std::async(std::launch::async,
        [&] { return ORX_MonitoringForwarderCommandManager_sendCommand(collector->manager, handler); });
    const Arrived one = app(2).awaitCommand();
    EXPECT_EQ(one.applications, Texts{"//*"});
    app(2).reply(one, 0);
    EXPECT_TRUE(isSent.get());
    EXPECT_EQ(exception.ret_code, 0);
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(collector->manager, handler));
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderCommands, OneParticipantGetsOneCopyHoweverItIsMatched) {
    begin(1);
    // A second application of the same participant, too.
    collector->know(app(1), "app1b", 50);
    auto result = collector->start(Kind::setForwarding, {pathOf(1), "//applications/*", pathOf(50)});
    const Arrived one = app(1).awaitCommand();
    app(1).reply(one, 0);
    EXPECT_EQ(result.get().code, 0);
    app(1).awaitEnd(one.uuid);
    EXPECT_TRUE(app(1).isQuiet());
}

TEST_P(ForwarderCommands, TwoOfOneInstantDifferByTheirNumber) {
    begin(1);
    const OwnClock frozen(*collector->manager);
    const Prepared one(*collector, Kind::setMetrics, everybody);
    const Prepared two(*collector, Kind::setMetrics, everybody);
    ASSERT_TRUE(one.handler != nullptr && two.handler != nullptr);
    EXPECT_FALSE(DDS_GUID_equals(&one.handler->commandUuid, &two.handler->commandUuid));
    EXPECT_EQ(ORXNtpTime_compare(&one.handler->timestamp, &two.handler->timestamp), 0);
}

TEST_P(ForwarderCommands, TheIdentifierIsAHashOfWriterNumberOperationAndTime) {
    begin(1);
    OwnClock own(*collector->manager);
    const Prepared command(*collector, Kind::setCollection, everybody);
    ASSERT_NE(command.handler, nullptr);
    std::vector<uint8_t> key;
    const auto append = [&](const auto& value) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
        key.insert(key.end(), bytes, bytes + sizeof value);
    };
    append(collector->channel.writerGuid());
    append(DDS_Long{0});
    append(DDS_UnsignedLong{1});
    append(hashOf(Kind::setCollection));
    const ORXNtpTime now = own.clock.now();
    append(now.sec);
    append(now.frac);
    append(uint32_t{0});
    ASSERT_EQ(key.size(), 44U);
    ORXOsapiHash hash;
    ORXOsapiHash_initialize(&hash);
    ORXOsapiHash_computeMd5(&hash, key.data(), key.size());
    EXPECT_EQ(std::memcmp(hash.value, command.handler->commandUuid.value, 16), 0);
}

TEST_P(ForwarderCommands, AClockThatFailsIsTold) {
    begin(1);
    OwnClock own(*collector->manager);
    own.clock.failFromNowOn();
    Result got = collector->run(Kind::setForwarding, everybody);
    EXPECT_FALSE(got.isPrepared);
    EXPECT_EQ(got.message, "Failed to get a timestamp for the command");
    EXPECT_TRUE(log.has("Command key"));
    EXPECT_TRUE(log.has("command handler for set_logging_forwarding_level command"));
    got = collector->run(Kind::setMetrics, everybody);
    EXPECT_EQ(got.code, 2);
    EXPECT_EQ(got.message, "Failed to initialize a handler for the command");
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderCommands, ASelfManagedCommandHasAResultOfItsOwn) {
    begin(1);
    Exception given;
    for (const Kind kind : allKinds) {
        Handler* handler = collector->prepare(kind, everybody, &given, 0, 1);
        ASSERT_NE(handler, nullptr);
        EXPECT_NE(handler->commandException, &given);
        EXPECT_NE(handler->commandException, nullptr);
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(collector->manager, handler));
    }
    EXPECT_EQ(given.ret_code, 77);
    // And nobody hears of what goes wrong before it is sent.
    EXPECT_EQ(collector->prepare(Kind::setForwarding, {"/applications/nobody"}, nullptr, 0, 1), nullptr);
    EXPECT_EQ(collector->prepare(Kind::setMetrics, {"a///b"}, nullptr, 0, 1), nullptr);
    EXPECT_EQ(collector->handlersInUse(), 0);
}

TEST_P(ForwarderCommands, AHandlerIsAsGoodAsNewWhenItComesBack) {
    begin(3);
    EXPECT_EQ(collector->run(Kind::setMetrics, {"/applications/nobody"}).code, 3);
    Handler* first;
    {
        const Prepared command(*collector, Kind::setMetrics, {pathOf(1), "//applications/*"});
        first = command.handler;
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(destinationsOf(*first), 3);
    }
    Handler* again = ORX_MonitoringForwarderCommandManager_getCommandHandler(collector->manager);
    ASSERT_EQ(again, first);
    EXPECT_EQ(DDS_Monitoring_MetricSelectorSeq_get_length(
                  &again->requestSample.data._u.set_metric_subscription_state.metrics),
        0);
    EXPECT_GE(DDS_Monitoring_MetricSelectorSeq_get_maximum(
                  &again->requestSample.data._u.set_metric_subscription_state.metrics),
        2);
    EXPECT_EQ(again->queryCondition, nullptr);
    EXPECT_EQ(again->commandException, nullptr);
    EXPECT_EQ(again->expectedSamples, 0U);
    EXPECT_EQ(again->manager, collector->manager);
    const DDS_GUID_t zero{};
    EXPECT_TRUE(DDS_GUID_equals(&again->commandUuid, &zero));
    EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(collector->manager, again));
    const Prepared command(*collector, Kind::requestRegistry, {pathOf(2)});
    ASSERT_EQ(command.handler, first);
    EXPECT_EQ(destinationsOf(*command.handler), 1);
}

TEST_P(ForwarderCommands, AManagerThatTakesNoCommandsTimesThemOut) {
    begin(1);
    orx::forwarder::setTakingCommands(*collector->manager, false);
    for (const Kind kind : allKinds) {
        const Result got = collector->run(kind, everybody);
        EXPECT_FALSE(got.isPrepared);
        EXPECT_EQ(got.code, 2);
        EXPECT_EQ(got.message, "Timedout");
    }
    EXPECT_TRUE(app(1).isQuiet());
    EXPECT_EQ(collector->handlersInUse(), 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, ForwarderCommands, bothEngines, nameOf);

// ---- Without memory ----

// Over one engine, whose threads allocate nothing meanwhile: the steps are those of the preparation.
class ForwarderPreparation : public World {
protected:
    // The inputs are there before anything fails.
    struct Inputs {
        MetricCommand metrics{operation::set_metric_subscription_state, {{"//applications/*", {"*"}}}};
        LoggingCommand groups{operation::set_logging_collection_level,
            {{"//applications/*", {{22, DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING}}}}};
        RequestRegistry registry{{"//applications/*"}};
    };
    static Handler* prepare(
        Manager* manager, Kind kind, const Inputs& inputs, DDS_Monitoring_MonitoringCommandError* exception) {
        const auto& metrics = inputs.metrics.request.data._u.set_metric_subscription_state.metrics;
        const auto& groups = inputs.groups.request.data._u.set_logging_collection_level.logging_groups;
        switch (kind) {
        case Kind::setMetrics:
            return ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
                manager, exception, &metrics, 1, 0);
        case Kind::updateMetrics:
            return ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler(
                manager, exception, &metrics, 1, 0);
        case Kind::setCollection:
            return ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(
                manager, exception, &groups, 1, 0);
        case Kind::setForwarding:
            return ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler(
                manager, exception, &groups, 1, 0);
        case Kind::requestRegistry:
            break;
        }
        return ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(manager, exception,
            &inputs.registry.request.data._u.request_resource_registry.applications, nullptr, 1, 0);
    }
    // What callers are told when the n-th allocation fails, for every n.
    std::set<std::string> messagesOf(Kind kind) {
        const Inputs inputs;
        std::set<std::string> messages;
        bool hasFailed = true;
        for (uint64_t n = 1; hasFailed && n < 300 && !HasFailure(); ++n) {
            begin(1);
            Manager* manager = collector->manager;
            EXPECT_EQ(DDS_AsyncWaitSet_stop(manager->asyncWaitSet), DDS_RETCODE_OK);
            // Those that the pool has made already, so that the next is a new one.
            Handler* taken[] = {ORX_MonitoringForwarderCommandManager_getCommandHandler(manager),
                ORX_MonitoringForwarderCommandManager_getCommandHandler(manager)};
            Exception exception;
            FailingHeap heap;
            heap.failAt(n);
            Handler* handler = prepare(manager, kind, inputs, &exception);
            hasFailed = heap.hasFailed();
            heap.failNoMore();
            EXPECT_TRUE(handler != nullptr || hasFailed) << n;
            EXPECT_EQ(exception.ret_code, handler != nullptr ? 77 : 2) << n;
            if (handler == nullptr)
                messages.insert(exception.message());
            else
                EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler));
            EXPECT_EQ(collector->handlersInUse(), 2) << n;
            for (Handler* one : taken)
                EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, one));
            collector.reset();
            applications.clear();
        }
        EXPECT_FALSE(hasFailed);
        return messages;
    }
};

TEST_P(ForwarderPreparation, SaysWhatItHadNoMemoryFor) {
    using Messages = std::set<std::string>;
    const Messages ofMetrics{"Failed to get a handler for the command",
        "Failed to initialize a handler for the command", "Failed to get destinations for the command",
        "Failed to copy the metrics sequence for the command"};
    EXPECT_EQ(messagesOf(Kind::setMetrics), ofMetrics);
    EXPECT_EQ(messagesOf(Kind::updateMetrics), ofMetrics);
    const Messages ofLogging{"Failed to get a handler for the command",
        "Failed to create the query condition for the command",
        "Failed to parse the application selector //applications/*",
        "Failed to copy the logging groups sequence for the command"};
    EXPECT_EQ(messagesOf(Kind::setCollection), ofLogging);
    EXPECT_EQ(messagesOf(Kind::setForwarding), ofLogging);
    EXPECT_EQ(messagesOf(Kind::requestRegistry),
        (Messages{"Failed to get a handler for the command",
            "Failed to create the query condition for the command",
            "Failed to parse the application selector //applications/*",
            "Failed to copy the resource path expression list for the command"}));
}

INSTANTIATE_TEST_SUITE_P(Engine, ForwarderPreparation, testing::Values(EngineKind::loopback), nameOf);

// ---- What an outcome says ----

TEST(ForwarderOutcome, EachEndHasItsCodeAndMessage) {
    LogCapture log;
    const auto outcome = [](ORX_MonitoringForwarderCommandHandlerStatus status, const char* message) {
        Exception exception;
        ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(status, &exception, message);
        return std::pair<int, std::string>{exception.ret_code, exception.message()};
    };
    using Pair = std::pair<int, std::string>;
    EXPECT_EQ(outcome(ORX_MONITORING_FORWARDER_COMMAND_HANDLER_SUCCESSFUL_STATE, "x"), Pair(0, ""));
    EXPECT_EQ(outcome(ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE, "x"), Pair(2, "Timedout"));
    EXPECT_EQ(outcome(ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE, "x"), Pair(2, "x"));
    EXPECT_EQ(outcome(ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE, nullptr),
        Pair(2, "Unspecified error"));
    EXPECT_EQ(outcome(ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NO_RESOURCE_FOUND_STATE, "x"), Pair(3, ""));
    EXPECT_EQ(log.lines().size(), 0U);
    for (const auto status : {ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE,
             ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE,
             ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PERMANENT_STATE})
        EXPECT_EQ(outcome(status, nullptr).first, 77);
    EXPECT_EQ(
        log.count("Command return code. The command may not be completed yet", "FAILED_TO_POPULATE"), 3U);
    ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
        ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE, nullptr, nullptr);
    EXPECT_EQ(log.lines().size(), 3U);
}

} // namespace
} // namespace forwarding
