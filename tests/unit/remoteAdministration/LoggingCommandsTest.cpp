// The two commands that change logging levels.
#include "src/monitoringClass/LoggingConfiguration.h"
#include "src/remoteAdministration/CommandProcessing.h"
#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "gtest/gtest.h"

namespace {

constexpr int success = DDS_MONITORING_COMMAND_NO_ERROR;
constexpr int failure = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
constexpr int nothingFound = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;

constexpr auto warning = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING;
constexpr auto debug = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_DEBUG;
constexpr auto silent = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_SILENT;
constexpr auto notice = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_NOTICE;

class LoggingCommands : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(world.start()) << log.text(); }

    LogCapture log;
    CommandWorld world;
};

Answer answer(DDS_Long hash, int code, std::string message = "") {
    return {hash, code, std::move(message)};
}

ZDDS_Config_LogVerbosity collectionOf(ZDDS_Config_LogFacility facility) {
    return ZDDS_Config_Logger_get_verbosity_by_facility(ZDDS_Config_Logger_get_instance(), facility);
}

TEST_F(LoggingCommands, CollectionLevelsAreSetInTheLogger) {
    EXPECT_EQ(world.ask(SetCollection(
                  {{"/applications/app", {{23, debug}, {10, silent}, {22, notice}, {1, warning}}}})),
        answer(operation::set_logging_collection_level, success));
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE), 255U);
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT), 0U);
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE), 63U);
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_USER), 31U);
}

TEST_F(LoggingCommands, TheLaterOfTwoMatchingGroupsWins) {
    ASSERT_TRUE(world.ask(SetCollection({{"//*", {{22, warning}}}})));
    EXPECT_EQ(world.ask(SetCollection(
                  {{"/applications/app", {{22, debug}, {1, debug}}}, {"//applications/*", {{22, notice}}}})),
        answer(operation::set_logging_collection_level, success));
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE), 63U);
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_USER), 255U);
    // Restores the process's logger for other tests.
    ASSERT_TRUE(
        world.ask(SetCollection({{"//*", {{23, warning}, {10, warning}, {22, warning}, {1, warning}}}})));
}

TEST_F(LoggingCommands, AGroupThatDoesNotMatchIsNotLookedAt) {
    EXPECT_EQ(world.ask(SetCollection({{"/applications/other", {{99, debug}}}, {"//*", {{22, warning}}}})),
        answer(operation::set_logging_collection_level, success));
    ORX_MonitoringLog_setBitmaps(~0U, 0xF);
    EXPECT_EQ(world.ask(SetCollection({{"/applications/other", {{99, debug}}}})),
        answer(operation::set_logging_collection_level, nothingFound));
    ORX_MonitoringLog_setBitmaps(~0U, 0x7);
    EXPECT_TRUE(
        log.has("Application_selector '/applications/other' does not match application '/applications/app'",
            "PROCESSING"))
        << log.text();
}

TEST_F(LoggingCommands, ACollectionLevelThatCannotBeToldIsAFailureAndStaysInForce) {
    ASSERT_TRUE(world.ask(SetCollection({{"//*", {{22, warning}}}})));
    world.library.table->pushEventMetricFunction = [](ORX_MonitoringClass*, void*, ORX_MonitoringResource*,
                                                       DDS_UnsignedLong) { return DDS_BOOLEAN_FALSE; };
    EXPECT_EQ(world.ask(SetCollection({{"//*", {{22, notice}}}})),
        answer(operation::set_logging_collection_level, failure,
            "Failed to send the metric update after changing the logging collection level"));
    EXPECT_TRUE(log.has("Logging metric update", "FAILED_TO_PUSH")) << log.text();
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE), 63U);
    ASSERT_TRUE(world.ask(SetCollection({{"//*", {{22, warning}}}})));
}

TEST_F(LoggingCommands, WithoutALoggingCollectorThereIsNoForwardingLevel) {
    ORX_MonitoringClassImpl library{};
    ORX_MonitoringCommandDispatcher dispatcher{};
    dispatcher.monitoringClass = &library.parent;
    ORX_MonitoringResourcePtrSeq resources{};
    ORX_MonitoringResourcePtrSeq_ensure_length(&resources, 1, 1);
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 0) = world.library.table->rootResource;
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    SetForwarding forwarding({{"//*", {}}});
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_processSetLoggingForwardingLevel(
                  &dispatcher, &reply, &resources, &forwarding.request),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY);
    const auto& error = reply.data._u.set_logging_forwarding_level._u.monitoringcommanderror_ex;
    EXPECT_EQ(error.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(error.error_message, "Failed to get the Monitoring Library logging configuration");
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
    ORX_MonitoringResourcePtrSeq_finalize(&resources);
}

TEST_F(LoggingCommands, AnUnknownFacilityChangesNoLevel) {
    ASSERT_TRUE(world.ask(SetCollection({{"//*", {{22, warning}}}})));
    EXPECT_EQ(world.ask(SetCollection({{"//*", {{22, debug}}}, {"//*", {{99, debug}}}})),
        answer(operation::set_logging_collection_level, failure, "Unexpected facility"));
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE), 31U);
    EXPECT_TRUE(
        log.has("Logging settings for application '/applications/app' include an unexpected facility"))
        << log.text();
    EXPECT_EQ(world.ask(SetForwarding({{"//*", {{22, debug}, {99, debug}}}})),
        answer(operation::set_logging_forwarding_level, failure, "Unexpected facility"));
}

TEST_F(LoggingCommands, ForwardingLevelsAreTheLibrarysOwn) {
    const auto service = collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE);
    EXPECT_EQ(world.ask(SetForwarding({{"//applications/app", {{22, debug}, {10, silent}}}})),
        answer(operation::set_logging_forwarding_level, success));
    const auto& level = ORX_Monitoring_getLoggingProperty(world.library.table)->forwarding_level;
    EXPECT_EQ(level.service, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(level.security_event, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    EXPECT_EQ(level.middleware, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING) << "not named, so it stays";
    EXPECT_EQ(collectionOf(ZDDS_CONFIG_LOG_FACILITY_SERVICE), service);
}

TEST_F(LoggingCommands, ALoggingSelectorThatCannotBeReadIsAFailureWithAMessage) {
    for (const DDS_Long hash :
        {operation::set_logging_collection_level, operation::set_logging_forwarding_level}) {
        log.clear();
        EXPECT_EQ(
            world.ask(LoggingCommand(hash, std::vector<Group>{{std::string(5000, 'a'), {{22, debug}}}})),
            answer(hash, failure, "Failed to process resource matching the resource_selection expression"));
        EXPECT_TRUE(log.has("Resource matching the application_selector expression.", "FAILED_TO_PROCESS"));
        const char* kind = hash == operation::set_logging_collection_level ? "collection" : "forwarding";
        EXPECT_TRUE(log.has(
            std::string("Monitoring Resources for set_logging_") + kind + "_level command", "FAILED_TO_GET"));
        // Selected by its first group, it comes to the second when it is processed.
        EXPECT_EQ(world.ask(LoggingCommand(
                      hash, std::vector<Group>{{"//*", {{22, debug}}}, {std::string(5000, 'a'), {}}})),
            answer(hash, failure, std::string("Failed to get the resources to set the ") + kind + " level"));
    }
}

TEST_F(LoggingCommands, WhatIsNoApplicationIsRefused) {
    auto* topic = world.library.topic("t", world.library.participant("p"));
    ORX_MonitoringResourcePtrSeq resources{};
    ORX_MonitoringResourcePtrSeq_ensure_length(&resources, 1, 1);
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 0) = topic;
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    SetCollection collection({{"//*", {}}});
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_processSetLoggingCollectionLevel(
                  &world.dispatcher(), &reply, &resources, &collection.request),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY);
    const auto& error = reply.data._u.set_logging_collection_level._u.monitoringcommanderror_ex;
    EXPECT_EQ(error.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(error.error_message, "Unexpected application resource");
    ORX_MonitoringResourcePtrSeq_set_length(&resources, 0);
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_processSetLoggingCollectionLevel(
                  &world.dispatcher(), &reply, &resources, &collection.request),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR);
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
    ORX_MonitoringResourcePtrSeq_finalize(&resources);
}

TEST_F(LoggingCommands, AnEmptyListOfGroupsGetsNoReply) {
    const DDS_GUID_t collection = world.deliver(SetCollection({}));
    const DDS_GUID_t forwarding = world.deliver(SetForwarding({}));
    ASSERT_TRUE(world.settle());
    EXPECT_EQ(world.sender->replies(collection), 0U);
    EXPECT_EQ(world.sender->replies(forwarding), 0U);
    EXPECT_EQ(log.count("\"length == 0\"\n", "PRECONDITION"), 2U) << log.text();
}

} // namespace
