#include "src/monitoringClass/ApplicationMetricGroups.h"

#include <unistd.h>

#include <cstring>

#include "orxmonitoring2d/dds_logging.h"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "gtest/gtest.h"

namespace {

class ApplicationMetricGroupsTest : public testing::Test {
protected:
    bool get(DDS_UnsignedLong index) {
        return ORX_Monitoring_getApplicationMetricGroup(&group, nullptr, index) != 0;
    }
    bool giveBack(DDS_UnsignedLong index) {
        return ORX_Monitoring_returnApplicationMetricGroup(&group, index) != 0;
    }

    LogCapture log;
    Library library;
    void* group = nullptr;
};

TEST_F(ApplicationMetricGroupsTest, HostNameAndProcessId) {
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    ASSERT_TRUE(get(2));
    EXPECT_STREQ(static_cast<const char*>(group), name);
    EXPECT_TRUE(giveBack(2));
    ASSERT_TRUE(get(3));
    EXPECT_EQ(*static_cast<const ORX_UINT64*>(group), static_cast<ORX_UINT64>(getpid()));
    EXPECT_TRUE(giveBack(3));
}

TEST_F(ApplicationMetricGroupsTest, ProcessMemory) {
    ASSERT_TRUE(get(26));
    const auto* memory = static_cast<const ORX_Monitoring_ProcessMemoryUtilization*>(group);
    EXPECT_GT(memory->resident_memory_bytes, 100000U);
    EXPECT_GE(memory->virtual_memory_bytes, memory->resident_memory_bytes);
    EXPECT_TRUE(giveBack(26));
}

TEST_F(ApplicationMetricGroupsTest, LoggingHasFourSettingsEach) {
    library.property.logging.forwarding_level.service = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
    ASSERT_TRUE(library.start());
    ZDDS_Config_Logger_set_verbosity_by_facilityI(ZDDS_Config_Logger_get_instance(),
        ZDDS_CONFIG_LOG_FACILITY_USER, ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT, 0);
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    ASSERT_TRUE(get(5)) << log.text();
    const auto* config = static_cast<const DDS_Monitoring_LoggingConfig*>(group);
    const auto setting = [](const DDS_Monitoring_LoggingSettingSeq& settings, DDS_Long i) {
        return *DDS_Monitoring_LoggingSettingSeq_get_reference(&settings, i);
    };
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&config->logging_collection), 4);
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&config->logging_forwarding), 4);
    EXPECT_EQ(setting(config->logging_forwarding, 2).facility, 22);
    EXPECT_EQ(setting(config->logging_forwarding, 2).verbosity, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(setting(config->logging_collection, 3).facility, 1);
    EXPECT_EQ(setting(config->logging_collection, 3).verbosity, ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT);
    EXPECT_EQ(setting(config->logging_collection, 0).facility, 23);
    EXPECT_EQ(setting(config->logging_collection, 1).facility, 10);
    EXPECT_EQ(library.impl().loggingCollectionSetting.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT);
    ASSERT_TRUE(get(5)); // again without having returned it
    EXPECT_TRUE(giveBack(5));
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    ZDDS_Config_Logger_set_verbosity_by_facilityI(ZDDS_Config_Logger_get_instance(),
        ZDDS_CONFIG_LOG_FACILITY_USER, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING, 0);
}

TEST_F(ApplicationMetricGroupsTest, LoggingNeedsALiveLibraryAndMemory) {
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    EXPECT_FALSE(get(5));
    EXPECT_TRUE(log.has("Monitoring Class", "FAILED_TO_GET")) << log.text();
    EXPECT_TRUE(log.has("Application's Logging Configuration Metric", "FAILED_TO_GET"));
    ASSERT_TRUE(library.start());
    ASSERT_TRUE(get(5)); // what is made once for the type
    ASSERT_TRUE(giveBack(5));
    FailingHeap heap;
    uint64_t failures = 0;
    for (bool hasFailed = true; hasFailed && failures < 50;) {
        const uint64_t n = failures + 1; // from the n-th on: a sequence tries a smaller buffer, too
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        log.clear();
        heap.failAt(n, UINT64_MAX);
        const bool isThere = get(5);
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_EQ(isThere, !hasFailed) << n;
        if (!hasFailed) {
            EXPECT_TRUE(giveBack(5));
            break;
        }
        ++failures;
        EXPECT_TRUE(log.has("Logging Settings Sequence length to 4", "FAILED_TO_SET")) << log.text();
        EXPECT_TRUE(
            log.has(n == 1 ? "Logging collection sequence" : "Logging forwarding sequence", "FAILED_TO_SET"))
            << log.text();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    }
    EXPECT_EQ(failures, 2U) << "one for each sequence";
}

TEST_F(ApplicationMetricGroupsTest, OtherIndexesAreUnknown) {
    for (DDS_UnsignedLong index : {0U, 1U, 4U, 6U, 27U}) {
        log.clear();
        EXPECT_FALSE(get(index));
        EXPECT_TRUE(log.has("Unknown metricGroupIndex", "BAD_PARAMETER_FAILURE")) << log.text();
        group = this;
        EXPECT_FALSE(giveBack(index));
        group = nullptr;
        EXPECT_TRUE(giveBack(index)); // nothing to return
    }
    EXPECT_FALSE(ORX_Monitoring_getApplicationMetricGroup(nullptr, nullptr, 2));
    EXPECT_FALSE(ORX_Monitoring_returnApplicationMetricGroup(nullptr, 2));
}

} // namespace
