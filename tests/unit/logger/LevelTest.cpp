// The three forms of a level, and the record of the four verbosities.
#include <gtest/gtest.h>

#include <bit>

#include "tests/helpers/HeapCount.hpp"
#include "zddsc/logger.h"

namespace {

TEST(Level, FormsConvertIntoEachOther) {
    for (int number = 0; number <= 7; ++number) {
        const auto syslog = static_cast<ZDDS_Config_SyslogLevel>(number);
        const ZDDS_Config_LogLevel level = ZDDS_Config_LogLevel_from_syslog_level(syslog);
        EXPECT_EQ(level, 1 << number);
        EXPECT_EQ(ZDDS_Config_SyslogLevel_from_log_level(level), syslog);
        EXPECT_EQ(ORXSyslog_getInstrumentBitFromSyslogLevel(syslog), 1U << number);
    }
}

TEST(Level, WhatDoesNotExistBecomesTheNearest) {
    if (!ORX_TESTS_COUNT_MALLOC)
        GTEST_SKIP() << "a sanitizer lets no C++ program have such a value, as a program in C may";
    EXPECT_EQ(ZDDS_Config_SyslogLevel_from_log_level(static_cast<ZDDS_Config_LogLevel>(0)),
        ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY);
    EXPECT_EQ(ZDDS_Config_SyslogLevel_from_log_level(std::bit_cast<ZDDS_Config_LogLevel>(0x100)),
        ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG);
    EXPECT_EQ(ZDDS_Config_LogLevel_from_syslog_level(std::bit_cast<ZDDS_Config_SyslogLevel>(-1)),
        ZDDS_CONFIG_LOG_LEVEL_EMERGENCY);
    EXPECT_EQ(ZDDS_Config_LogLevel_from_syslog_level(std::bit_cast<ZDDS_Config_SyslogLevel>(8)),
        ZDDS_CONFIG_LOG_LEVEL_DEBUG);
    EXPECT_EQ(ORXSyslog_getInstrumentBitFromSyslogLevel(std::bit_cast<ZDDS_Config_SyslogLevel>(8)), 0U);
    EXPECT_EQ(ORXSyslog_getInstrumentBitFromSyslogLevel(std::bit_cast<ZDDS_Config_SyslogLevel>(-1)), 0U);
}

TEST(Level, AVerbosityAdmitsItsLevelAndAllMoreSevereOnes) {
    const auto verbosity = ZDDS_Config_LogVerbosity_from_syslog_verbosity(ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR);
    for (int number = 0; number <= 7; ++number) {
        const auto bit =
            ORXSyslog_getInstrumentBitFromSyslogLevel(static_cast<ZDDS_Config_SyslogLevel>(number));
        EXPECT_EQ((verbosity & bit) != 0, number <= ZDDS_CONFIG_SYSLOG_LEVEL_ERROR) << number;
    }
    EXPECT_EQ(ZDDS_Config_LogVerbosity_from_syslog_verbosity(ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT), 0U);
}

TEST(VerbositySetting, TakesTheFourVerbositiesOfTheLogger) {
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ZDDS_Config_Logger_set_verbosity_by_facilityI(
        logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT, 0);
    ZDDS_Config_Logger_set_verbosity_by_facilityI(
        logger, ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT, 0);
    ZDDS_Config_Logger_set_verbosity_by_facilityI(
        logger, ZDDS_CONFIG_LOG_FACILITY_SERVICE, ZDDS_CONFIG_SYSLOG_VERBOSITY_NOTICE, 0);
    ZDDS_Config_Logger_set_verbosity_by_facilityI(
        logger, ZDDS_CONFIG_LOG_FACILITY_USER, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 0);
    ORX_MonitoringLoggingVerbositySetting_t setting;
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_initialize(&setting));
    EXPECT_EQ(setting.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&setting, logger));
    EXPECT_EQ(setting.middleware, ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT);
    EXPECT_EQ(setting.security_event, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    EXPECT_EQ(setting.service, ZDDS_CONFIG_SYSLOG_VERBOSITY_NOTICE);
    EXPECT_EQ(setting.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    ZDDS_Config_Logger_finalize_instance();
    EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(
                  ZDDS_Config_Logger_get_instance(), ZDDS_CONFIG_LOG_FACILITY_USER),
        static_cast<unsigned>(ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING));
}

} // namespace
