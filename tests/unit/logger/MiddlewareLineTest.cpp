// Lines of the support layer's log as messages of the facility middleware.
#include <gtest/gtest.h>

#include "middleware/logger/Logger.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logger/RecordingDevice.hpp"
#include "zddscore/log.h"

namespace {

void print(ORX_UINT32 level, ORX_UINT32 module, const char* text) {
    ORXLogMessageParamString_printWithParams(
        -1, level, module, __FILE__, __LINE__, __func__, &ORX_LOG_FAILED_TO_CREATE_TEMPLATE, "%s", text);
}

class MiddlewareLine : public ::testing::Test {
protected:
    MiddlewareLine() { ORXLog_setStderrEnabled(0); }
    ~MiddlewareLine() override {
        ZDDS_Config_Logger_finalize_instance();
        ORXLog_setStderrEnabled(1);
    }
    void collect(ZDDS_Config_SyslogVerbosity verbosity) {
        ZDDS_Config_Logger_set_verbosity_by_facilityI(logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE,
            ZDDS_Config_LogVerbosity_from_syslog_verbosity(verbosity), 0);
    }
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    RecordingDevice device;
};

TEST_F(MiddlewareLine, ReachesTheDevicesWithItsTextTimeAndModule) {
    print(ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_MONITORING, "a thing\n");
    ASSERT_EQ(device.messages().size(), 1U);
    const auto message = device.messages()[0];
    EXPECT_EQ(message.text, "ERROR [|LC:Monitoring]failed to create: a thing") << "without the line break";
    EXPECT_EQ(message.level, ZDDS_CONFIG_LOG_LEVEL_ERROR);
    EXPECT_EQ(message.facility, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE);
    EXPECT_EQ(message.id, ORX_LOG_MODULE_MONITORING);
    EXPECT_FALSE(message.isSecurity);
    EXPECT_GT(message.timestamp.sec, 1'600'000'000);
    EXPECT_LT(message.timestamp.nanosec, 1'000'000'000U);
}

TEST_F(MiddlewareLine, LevelsAreMapped) {
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    for (const ORX_UINT32 level : {ORX_LOG_BIT_PRECONDITION, ORX_LOG_BIT_ERROR, ORX_LOG_BIT_WARNING,
             ORX_LOG_BIT_STATUS, ORX_LOG_BIT_DEBUG})
        print(level, ORX_LOG_MODULE_DDS, "x");
    const auto messages = device.messages();
    ASSERT_EQ(messages.size(), 5U);
    EXPECT_EQ(messages[0].level, ZDDS_CONFIG_LOG_LEVEL_ERROR);
    EXPECT_EQ(messages[1].level, ZDDS_CONFIG_LOG_LEVEL_ERROR);
    EXPECT_EQ(messages[2].level, ZDDS_CONFIG_LOG_LEVEL_WARNING);
    EXPECT_EQ(messages[3].level, ZDDS_CONFIG_LOG_LEVEL_INFORMATIONAL);
    EXPECT_EQ(messages[4].level, ZDDS_CONFIG_LOG_LEVEL_DEBUG);
    EXPECT_EQ(device.texts(),
        (std::vector<std::string>{"ERROR [|LC:DDS]failed to create: x", "ERROR [|LC:DDS]failed to create: x",
            "WARNING [|LC:DDS]failed to create: x", "INFORMATIONAL [|LC:DDS]failed to create: x",
            "DEBUG [|LC:DDS]failed to create: x"}));
}

TEST_F(MiddlewareLine, OfNothingButLineBreaksHasTheWordAlone) {
    ORXLogParamString_printWithParams(
        -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_DDS, __FILE__, __LINE__, __func__, "%s", "\n\n");
    EXPECT_EQ(device.texts(), std::vector<std::string>{"ERROR [|LC:DDS]"});
}

TEST_F(MiddlewareLine, HasItsModuleAsTheCategory) {
    for (const ORX_UINT32 module : {ORX_LOG_MODULE_SUPPORT, ORX_LOG_MODULE_DDS, ORX_LOG_MODULE_MONITORING})
        print(ORX_LOG_BIT_WARNING, module, "x");
    EXPECT_EQ(device.texts(),
        (std::vector<std::string>{"WARNING [|LC:Support]failed to create: x",
            "WARNING [|LC:DDS]failed to create: x", "WARNING [|LC:Monitoring]failed to create: x"}));
}

TEST(MessageTime, CountsFromTheSecondsBeginAndEndsWhereItsSecondsEnd) {
    const auto of = [](ORX_INT64 timeNs) {
        const DDS_Duration_t time = zdds::logger::timeOf(timeNs);
        return std::pair<ORX_INT64, ORX_INT64>{time.sec, time.nanosec};
    };
    using Time = std::pair<ORX_INT64, ORX_INT64>;
    constexpr ORX_INT64 second = 1'000'000'000;
    EXPECT_EQ(of(0), Time(0, 0));
    EXPECT_EQ(of(1'700'000'000 * second + 5), Time(1'700'000'000, 5));
    EXPECT_EQ(of(-1), Time(-1, 999'999'999)) << "before 1970";
    EXPECT_EQ(of(-2 * second), Time(-2, 0));
    EXPECT_EQ(of(INT32_MAX * second + 7), Time(INT32_MAX, 7));
    EXPECT_EQ(of((INT32_MAX + ORX_INT64{1}) * second), Time(INT32_MAX, 999'999'999)) << "after January 2038";
    EXPECT_EQ(of(INT32_MIN * second), Time(INT32_MIN, 0));
    EXPECT_EQ(of(INT32_MIN * second - 1), Time(INT32_MIN, 0));
    EXPECT_EQ(of(INT64_MAX), Time(INT32_MAX, 999'999'999));
    EXPECT_EQ(of(INT64_MIN), Time(INT32_MIN, 0));
}

TEST_F(MiddlewareLine, OnlyOfTheMiddlewaresModules) {
    print(ORX_LOG_BIT_ERROR, 0x770000, "x");
    EXPECT_TRUE(device.messages().empty());
    print(ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_SUPPORT, "x");
    EXPECT_EQ(device.messages().size(), 1U);
}

TEST_F(MiddlewareLine, BelowTheCollectionVerbosityIsDropped) {
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR);
    print(ORX_LOG_BIT_WARNING, ORX_LOG_MODULE_DDS, "x");
    EXPECT_TRUE(device.messages().empty());
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    print(ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_DDS, "x");
    EXPECT_TRUE(device.messages().empty());
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
    print(ORX_LOG_BIT_WARNING, ORX_LOG_MODULE_DDS, "x");
    EXPECT_EQ(device.messages().size(), 1U);
}

TEST_F(MiddlewareLine, TheMasksFollowAVerbosityThatWantsMore) {
    ASSERT_EQ(DDSLog_g_instrumentationMask, 0x7U);
    ORX_MonitoringLog_setBitmaps(~0U, 0x7 | ORX_LOG_BIT_DEBUG);
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_INFORMATIONAL);
    EXPECT_EQ(DDSLog_g_instrumentationMask, 0xFU);
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask, 0x1FU);
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(DDSLog_g_instrumentationMask, 0x1FU);
    collect(ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    EXPECT_EQ(DDSLog_g_instrumentationMask, 0x7U) << "errors are for stderr too";
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask, 0x7U | ORX_LOG_BIT_DEBUG) << "what others set stays";
    ORX_MonitoringLog_setBitmaps(~0U, 0x7);
}

} // namespace
