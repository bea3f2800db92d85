#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "agent/Agent.hpp"
#include "agent/AgentLog.hpp"
#include "agent/Settings.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "zddscore/inline_memory_bound.h"

namespace {

using namespace orx::agent;

class PropertyTest : public testing::Test {
protected:
    PropertyTest() {
        ORXLog_setStderrEnabled(0);
        EXPECT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
    }
    ~PropertyTest() override {
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        for (const Option& option : options())
            unsetenv(option.environment);
        ORXLog_setStderrEnabled(1);
    }
    static void set(const char* name, const char* value) {
        setenv((std::string("ORX_AGENT_") + name).c_str(), value, 1);
    }
    ORX_MonitoringProperty_t property;
};

TEST_F(PropertyTest, DefaultsStandWithoutVariables) {
    ASSERT_TRUE(fillProperty(property));
    EXPECT_EQ(property.domain_id, 2);
    EXPECT_EQ(property.application_name, nullptr);
    EXPECT_EQ(DDS_StringSeq_get_length(&property.collector_initial_peers), 0);
    ASSERT_EQ(DDS_MonitoringMetricSelectionSeq_get_length(&property.metric_selection_list), 1);
    const auto* selection =
        DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 0);
    EXPECT_STREQ(selection->resource_selection, "//*");
    EXPECT_GT(DDS_StringSeq_get_length(&selection->enabled_metrics_selection), 5);
    EXPECT_EQ(DDS_StringSeq_get_length(&selection->disabled_metrics_selection), 0);
}

TEST_F(PropertyTest, VariablesAreTaken) {
    set("DOMAIN", "77");
    set("APP_NAME", "a/b");
    set("PEERS", "10.0.0.1,host:7400");
    set("SELECT", "//*=dds_*,!dds_topic_*\n//topics/T=!*");
    ASSERT_TRUE(fillProperty(property));
    EXPECT_EQ(property.domain_id, 77);
    EXPECT_STREQ(property.application_name, "a%2Fb");
    ASSERT_EQ(DDS_StringSeq_get_length(&property.collector_initial_peers), 2);
    EXPECT_STREQ(DDS_StringSeq_get(&property.collector_initial_peers, 1), "host:7400");
    ASSERT_EQ(DDS_MonitoringMetricSelectionSeq_get_length(&property.metric_selection_list), 2);
    const auto* first = DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 0);
    EXPECT_STREQ(DDS_StringSeq_get(&first->enabled_metrics_selection, 0), "dds_*");
    EXPECT_STREQ(DDS_StringSeq_get(&first->disabled_metrics_selection, 0), "dds_topic_*");
    const auto* second = DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 1);
    EXPECT_STREQ(second->resource_selection, "//topics/T");
    EXPECT_STREQ(DDS_StringSeq_get(&second->disabled_metrics_selection, 0), "*");
}

TEST_F(PropertyTest, NumbersAndLevelsAreTaken) {
    set("POLLING_PERIOD", "0.25");
    set("EVENT_PERIOD", "0");
    set("LOGGING_PERIOD", "3600");
    set("SNAPSHOT_DELAY", "2.000000001");
    set("EVENT_QUEUES", "7");
    set("LOGGING_QUEUES", "8");
    set("EVENT_QUEUE_SIZE", "4096");
    set("LOGGING_QUEUE_SIZE", "8192");
    set("LOG_HISTORY", "0");
    set("LOGS_PER_UPDATE", "9");
    set("FORWARD", "user=debug,middleware=silent,service=emergency");
    ASSERT_TRUE(fillProperty(property));
    const auto ns = [](const DDS_Duration_t& time) { return time.sec * 1'000'000'000LL + time.nanosec; };
    EXPECT_EQ(ns(property.periodic.polling_period), 250'000'000);
    EXPECT_EQ(ns(property.event.publication_period), 0);
    EXPECT_EQ(ns(property.logging.publication_period), 3'600'000'000'000);
    EXPECT_EQ(ns(property.event.snapshot_delay), 2'000'000'001);
    EXPECT_EQ(property.event.concurrency_level, 7u);
    EXPECT_EQ(property.logging.concurrency_level, 8u);
    EXPECT_EQ(property.event.initial_memory_size, 4096);
    EXPECT_EQ(property.logging.initial_memory_size, 8192);
    EXPECT_EQ(property.logging.max_historical_logs, 0);
    EXPECT_EQ(property.logging.max_logs_per_update, 9);
    EXPECT_EQ(property.logging.forwarding_level.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(property.logging.forwarding_level.middleware, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    EXPECT_EQ(property.logging.forwarding_level.service, ZDDS_CONFIG_SYSLOG_VERBOSITY_EMERGENCY);
    EXPECT_EQ(property.logging.forwarding_level.security_event, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING)
        << "not named";
}

TEST_F(PropertyTest, CollectionGoesToTheLogger) {
    ORX_MonitoringLoggingVerbositySetting_t before;
    ORX_MonitoringLoggingVerbositySetting_t after;
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&before, logger));
    applyCollection();
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&after, logger));
    EXPECT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_equals(&before, &after)) << "nothing is asked for";
    set("COLLECT", "service=silent,user=debug");
    applyCollection();
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&after, logger));
    EXPECT_EQ(after.service, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    EXPECT_EQ(after.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(after.middleware, before.middleware);
    EXPECT_EQ(after.security_event, before.security_event);
    ZDDS_Config_Logger_finalize_instance();
}

// What an arena of the queues' kind can hold, in buffers of a kilobyte; at most 100,000.
int kilobytesThatFit() {
    const REDAInlineMemoryProperty arena{.initial = 10240,
        .maximal = REDA_INLINE_MEMORY_MAXIMAL_OPEN,
        .increment = 50,
        .forceContiguousMemory = 0,
        .initializeBuffersToZero = 0,
        .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
        .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
        .lowerLevelAllocatorData = nullptr};
    REDAInlineMemory* queue = REDAInlineMemory_new(&arena);
    int count = 0;
    while (queue != nullptr && count < 100'000 && REDAInlineMemory_reserveBufferI(&queue, 1024, 1) != nullptr)
        ++count;
    REDAInlineMemory_delete(queue);
    return count;
}

TEST_F(PropertyTest, QueuesAreBoundedByTheLimit) {
    set("QUEUE_LIMIT", "65536");
    applyQueueLimit();
    EXPECT_GT(kilobytesThatFit(), 40);
    EXPECT_LT(kilobytesThatFit(), 64);
    unsetenv("ORX_AGENT_QUEUE_LIMIT");
    applyQueueLimit();
    EXPECT_GT(kilobytesThatFit(), 50'000);
    EXPECT_LT(kilobytesThatFit(), 65'536);
    ASSERT_TRUE(REDAInlineMemory_setOpenMaximalI(REDA_INLINE_MEMORY_MAXIMAL_OPEN));
}

// The help promises these.
TEST_F(PropertyTest, DefaultsAreThoseOfTheHelp) {
    ASSERT_TRUE(fillProperty(property));
    const auto ns = [](const DDS_Duration_t& time) { return time.sec * 1'000'000'000LL + time.nanosec; };
    EXPECT_EQ(ns(property.periodic.polling_period), 5'000'000'000);
    EXPECT_EQ(ns(property.event.publication_period), 100'000'000);
    EXPECT_EQ(ns(property.logging.publication_period), 100'000'000);
    EXPECT_EQ(ns(property.event.snapshot_delay), 1'000'000'000);
    EXPECT_EQ(property.event.concurrency_level, 5u);
    EXPECT_EQ(property.logging.concurrency_level, 5u);
    EXPECT_EQ(property.event.initial_memory_size, 10240);
    EXPECT_EQ(property.logging.initial_memory_size, 10240);
    EXPECT_EQ(property.logging.max_historical_logs, 128);
    EXPECT_EQ(property.logging.max_logs_per_update, 512);
    EXPECT_EQ(property.logging.forwarding_level.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
}

std::string textOf(const ORX_MonitoringProperty_t& property) {
    std::string all = std::to_string(property.domain_id);
    for (const DDS_Duration_t* time : {&property.periodic.polling_period, &property.event.publication_period,
             &property.logging.publication_period, &property.event.snapshot_delay})
        all += ' ' + std::to_string(time->sec) + '.' + std::to_string(time->nanosec);
    for (const auto number : {static_cast<long long>(property.event.concurrency_level),
             static_cast<long long>(property.logging.concurrency_level),
             static_cast<long long>(property.event.initial_memory_size),
             static_cast<long long>(property.logging.initial_memory_size),
             static_cast<long long>(property.logging.max_historical_logs),
             static_cast<long long>(property.logging.max_logs_per_update)})
        all += ' ' + std::to_string(number);
    const auto& level = property.logging.forwarding_level;
    for (const auto verbosity : {level.middleware, level.security_event, level.service, level.user})
        all += ' ' + std::to_string(verbosity);
    return all;
}

// With the variable set to what the help calls its default nothing is different.
TEST_F(PropertyTest, EachDefaultInTheHelpIsWhatStandsWithoutTheVariable) {
    ASSERT_TRUE(fillProperty(property));
    ORX_MonitoringLoggingVerbositySetting_t collected;
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&collected, logger));
    int count = 0;
    for (const Option& option : options()) {
        const std::string help = option.help;
        constexpr std::string_view words = "(default ";
        const size_t begin = help.find(words);
        if (begin == std::string::npos)
            continue;
        ++count;
        const std::string value =
            help.substr(begin + words.size(), help.find(')', begin) - begin - words.size());
        setenv(option.environment, value.c_str(), 1);
        Problem problem;
        checkEnvironment(problem);
        EXPECT_FALSE(problem) << problem.text;
        ORX_MonitoringProperty_t same;
        ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&same));
        EXPECT_TRUE(fillProperty(same));
        EXPECT_EQ(textOf(same), textOf(property)) << option.name << " " << value;
        ORX_MonitoringProperty_t_finalize_ex(&same, DDS_BOOLEAN_FALSE);
        applyCollection();
        ORX_MonitoringLoggingVerbositySetting_t now;
        ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&now, logger));
        EXPECT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_equals(&now, &collected)) << option.name;
    }
    EXPECT_EQ(count, 15);
    int32_t limit = 0;
    EXPECT_TRUE(parseNumber("ORX_AGENT_QUEUE_LIMIT", std::getenv("ORX_AGENT_QUEUE_LIMIT"), limit));
    EXPECT_EQ(limit, defaultQueueLimit);
    Verbosity verbosity{};
    EXPECT_TRUE(parseVerbosity(std::getenv("ORX_AGENT_VERBOSITY"), verbosity));
    EXPECT_EQ(verbosity, defaultVerbosity);
    ZDDS_Config_Logger_finalize_instance();
}

TEST_F(PropertyTest, TheNthAllocationMayFail) {
    set("APP_NAME", "name");
    set("PEERS", "10.0.0.1,host:7400");
    set("SELECT", "//*=dds_*,!dds_topic_*\n//topics/T=!*");
    FailingHeap heap;
    const uint64_t before = ORXOsapiHeap_getLiveBufferCount();
    bool hasFailed = true;
    uint64_t refusals = 0;
    for (uint64_t n = 1; hasFailed && n < 500; ++n) {
        ORX_MonitoringProperty_t copy;
        ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&copy));
        heap.failAt(n);
        const bool isFilled = fillProperty(copy);
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(isFilled || hasFailed);
        if (isFilled) { // a sequence that could not grow ahead grew by what was needed
            EXPECT_EQ(DDS_MonitoringMetricSelectionSeq_get_length(&copy.metric_selection_list), 2);
        }
        refusals += isFilled ? 0 : 1;
        ORX_MonitoringProperty_t_finalize_ex(&copy, DDS_BOOLEAN_FALSE);
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before) << "after step " << n;
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GE(refusals, 8u) << "one for each text";
}

TEST_F(PropertyTest, VerbositySetsTheMasks) {
    const ORX_UINT32 libraryMask = ORX_MonitoringLog_g_instrumentationMask;
    const ORX_UINT32 ddsMask = DDSLog_g_instrumentationMask;
    setVerbosity(Verbosity::error);
    EXPECT_TRUE(logs(ORX_LOG_BIT_ERROR));
    EXPECT_FALSE(logs(ORX_LOG_BIT_WARNING));
    setVerbosity(Verbosity::info);
    EXPECT_TRUE(logs(ORX_LOG_BIT_STATUS)) << "the agent's own";
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask & ORX_LOG_BIT_STATUS, 0u) << "not the libraries'";
    setVerbosity(Verbosity::debug);
    EXPECT_NE(ORX_MonitoringLog_g_instrumentationMask & ORX_LOG_BIT_STATUS, 0u);
    setVerbosity(Verbosity::warning);
    ORX_MonitoringLog_setBitmaps(~0U, libraryMask);
    DDSLog_setDependencyInstrumentationMask(ddsMask);
}

} // namespace
