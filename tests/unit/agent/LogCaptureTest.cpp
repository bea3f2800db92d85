#include "agent/logs/LogCapture.hpp"

#include <gtest/gtest.h>
#include <syslog.h>

#include "dds/ddsrt/log.h"

namespace {

using namespace orx::agent;

TEST(LogCapture, SevereCategoriesHaveLevelsAndNoCategory) {
    const struct {
        uint32_t category;
        ZDDS_Config_SyslogLevel level;
    } cases[] = {{DDS_LC_FATAL, ZDDS_CONFIG_SYSLOG_LEVEL_CRITICAL},
        {DDS_LC_ERROR, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR}, {DDS_LC_WARNING, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING},
        {DDS_LC_INFO, ZDDS_CONFIG_SYSLOG_LEVEL_INFORMATIONAL},
        {DDS_LC_WARNING | DDS_LC_TRACE, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING}};
    for (const auto& at : cases) {
        EXPECT_EQ(originOfEngineLine(at.category).level, at.level) << at.category;
        EXPECT_EQ(originOfEngineLine(at.category).category, nullptr) << at.category;
    }
}

TEST(LogCapture, TraceCategoriesAreDebugMessagesWithTheirNames) {
    const struct {
        uint32_t category;
        const char* name;
    } cases[] = {{DDS_LC_CONFIG, "config"}, {DDS_LC_DISCOVERY, "discovery"}, {DDS_LC_DATA, "data"},
        {DDS_LC_TRACE, "trace"}, {DDS_LC_RADMIN, "radmin"}, {DDS_LC_TIMING, "timing"},
        {DDS_LC_TRAFFIC, "traffic"}, {DDS_LC_TOPIC, "topic"}, {DDS_LC_TCP, "tcp"}, {DDS_LC_PLIST, "plist"},
        {DDS_LC_WHC, "whc"}, {DDS_LC_THROTTLE, "throttle"}, {DDS_LC_RHC, "rhc"}, {DDS_LC_CONTENT, "content"},
        {DDS_LC_SHM, "shm"}};
    for (const auto& at : cases) {
        EXPECT_EQ(originOfEngineLine(at.category).level, ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG);
        EXPECT_STREQ(originOfEngineLine(at.category).category, at.name);
    }
    EXPECT_EQ(originOfEngineLine(0).category, nullptr);
    EXPECT_EQ(originOfEngineLine(1U << 31).category, nullptr);
}

TEST(LogCapture, PrioritiesHaveLevelAndFacility) {
    EXPECT_EQ(originOfUserLine(LOG_USER | LOG_WARNING).level, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING);
    EXPECT_STREQ(originOfUserLine(LOG_USER | LOG_WARNING).category, "user");
    EXPECT_STREQ(originOfUserLine(LOG_LOCAL7 | LOG_EMERG).category, "local7");
    EXPECT_EQ(originOfUserLine(LOG_LOCAL7 | LOG_EMERG).level, ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY);
    EXPECT_EQ(originOfUserLine(LOG_DEBUG).category, nullptr);
    EXPECT_EQ(originOfUserLine(LOG_FACMASK | LOG_DEBUG).category, nullptr) << "there is no such facility";
}

TEST(LogCapture, AVerbosityWantsItsCategories) {
    EXPECT_EQ(categoriesOf(ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT), 0u);
    EXPECT_EQ(categoriesOf(ZDDS_CONFIG_SYSLOG_VERBOSITY_CRITICAL), DDS_LC_FATAL);
    EXPECT_EQ(
        categoriesOf(ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING), DDS_LC_FATAL | DDS_LC_ERROR | DDS_LC_WARNING);
    EXPECT_EQ(
        categoriesOf(ZDDS_CONFIG_SYSLOG_VERBOSITY_NOTICE), DDS_LC_FATAL | DDS_LC_ERROR | DDS_LC_WARNING);
    EXPECT_EQ(categoriesOf(ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG), DDS_LOG_MASK) << "no tracing";
}

} // namespace
