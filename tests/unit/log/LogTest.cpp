#include "src/log/Log.hpp"

#include "src/log/LogMask.h"
#include "tests/helpers/LogCapture.hpp"
#include "gtest/gtest.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

class LibraryLog : public testing::Test {
protected:
    ~LibraryLog() override {
        ORX_MonitoringLog_setDependencyInstrumentationMask(
            ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR | ORX_LOG_BIT_WARNING);
    }

    bool fail() { return ORX_ERROR(FAILED_TO_GET, "thing %d", 7); }
    void* failWithPointer() { return ORX_WARNING(FAILED_TO_GET, "pointer"); }
    int check(const void* self) {
        ORX_FAIL_IF(self == ORX_NULL);
        return 1;
    }

    LogCapture log;
};

TEST_F(LibraryLog, AReportIsTheFailedResultAndOneLine) {
    EXPECT_FALSE(fail());
    EXPECT_EQ(failWithPointer(), nullptr);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].subject, "thing 7");
    EXPECT_EQ(lines[0].identifier, "FAILED_TO_GET");
    EXPECT_EQ(lines[0].level, ORX_LOG_BIT_ERROR);
    EXPECT_EQ(lines[0].module, 0x310000U);
    EXPECT_EQ(lines[0].function, "fail");
    EXPECT_EQ(lines[1].level, ORX_LOG_BIT_WARNING);
}

TEST_F(LibraryLog, APreconditionHasTheTextOfItsTest) {
    EXPECT_EQ(check(this), 1);
    ORXLog_g_detectPrecondition = 1;
    EXPECT_EQ(check(nullptr), 0);
    EXPECT_TRUE(log.has("\"self == ((void *)0)\"\n", "PRECONDITION")) << log.text();
    EXPECT_EQ(ORXLog_g_preconditionDetected, 1);
    ORXLog_g_detectPrecondition = 0;
    ORXLog_g_preconditionDetected = 0;
}

TEST_F(LibraryLog, BothMasksAreHeeded) {
    ORX_MonitoringLog_setBitmaps(orx::log::submodule::resource, 0xFF);
    EXPECT_FALSE(fail());
    ORX_MonitoringLog_setBitmaps(orxLogSubmodule, ORX_LOG_BIT_WARNING);
    EXPECT_FALSE(fail());
    EXPECT_EQ(check(nullptr), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    ORX_MonitoringLog_setBitmaps(orxLogSubmodule, ORX_LOG_BIT_ERROR);
    EXPECT_FALSE(fail());
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(LibraryLog, TheVerbosityIsOneForAllSubmodulesAndLayers) {
    ORX_MonitoringLog_setBitmaps(0, 0);
    ORX_MonitoringLog_setDependencyInstrumentationMask(ORX_LOG_BIT_ERROR);
    EXPECT_EQ(ORX_MonitoringLog_g_submoduleMask, 0xFFFFFFFFU);
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask, ORX_LOG_BIT_ERROR);
    EXPECT_EQ(DDSLog_g_instrumentationMask, ORX_LOG_BIT_ERROR);
    EXPECT_FALSE(fail());
    EXPECT_EQ(failWithPointer(), nullptr);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(LibraryLog, AFloodFromOnePlaceIsAFewLines) {
    for (int i = 0; i < 10'000; ++i)
        EXPECT_FALSE(ORX_FLOOD_WARNING(FAILED_TO_SEND, "sample %d", i));
    EXPECT_TRUE(log.has("sample 0", "FAILED_TO_SEND"));
    EXPECT_GE(log.lines().size(), 10U);
    EXPECT_LT(log.lines().size(), 1000U);
    const size_t before = log.lines().size();
    EXPECT_FALSE(ORX_FLOOD_ERROR(FAILED_TO_SEND, "another place"));
    EXPECT_EQ(log.lines().size(), before + 1);
}

} // namespace
