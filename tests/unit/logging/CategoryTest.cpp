// The category of a message: what its activity context says, and whether it is about security.
#include "src/logging/MonitoringLogging.h"
#include "tests/helpers/LogCapture.hpp"
#include "gtest/gtest.h"

namespace {

class Category : public ::testing::Test {
protected:
    // The category, or "failed".
    std::string of(const char* text, bool isSecurity = false, ORX_UINT32 size = 36) {
        const ZDDS_Config_LogMessage message{
            text, ZDDS_CONFIG_LOG_LEVEL_ERROR, isSecurity, 0, {0, 0}, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE};
        char buffer[64] = "before";
        return ORX_MonitoringLogging_getCategoryFromLogMessage(buffer, size, &message) ? buffer : "failed";
    }
    LogCapture log;
};

TEST_F(Category, IsNotAvailableWithoutMarkAndFlag) {
    EXPECT_EQ(of("text"), "N/A");
    EXPECT_EQ(of(""), "N/A");
    EXPECT_EQ(of("LC:Discovery]"), "N/A");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(Category, IsWhatFollowsTheMark) {
    EXPECT_EQ(of("[0x1|CREATE Writer|LC:Discovery]text"), "Discovery");
    EXPECT_EQ(of("text|LC:Discovery]"), "Discovery");
    EXPECT_EQ(of("[|LC:First]|LC:Second]"), "First");
    EXPECT_EQ(of("[|LC:]text"), "");
}

TEST_F(Category, OfASecurityMessageNamesSecurityOnce) {
    EXPECT_EQ(of("[|LC:Discovery]text", true), "Discovery,Security");
    EXPECT_EQ(of("text", true), "Security");
    EXPECT_EQ(of("[|LC:Security]text", true), "Security");
    EXPECT_EQ(of("[|LC:DDSSecurityPlugin]text", true), "DDSSecurityPlugin");
    EXPECT_EQ(of("[|LC:]text", true), "Security");
}

TEST_F(Category, AMarkWithoutAnEndFails) {
    EXPECT_EQ(of("[|LC:Discovery"), "failed");
    EXPECT_TRUE(log.has("End of activity context category string")) << log.text();
}

TEST_F(Category, WhatDoesNotFitFails) {
    EXPECT_EQ(of(("|LC:" + std::string(35, 'c') + "]").c_str()), std::string(35, 'c'));
    EXPECT_EQ(of(("|LC:" + std::string(36, 'c') + "]").c_str()), "failed");
    EXPECT_TRUE(log.has("Activity context category string to output buffer")) << log.text();
    log.clear();
    EXPECT_EQ(of(("|LC:" + std::string(26, 'c') + "]").c_str(), true), std::string(26, 'c') + ",Security");
    EXPECT_EQ(of(("|LC:" + std::string(27, 'c') + "]").c_str(), true), "failed");
    EXPECT_TRUE(log.has("'Security' category string to output buffer")) << log.text();
    EXPECT_EQ(of(("|LC:" + std::string(35, 'c') + "]").c_str(), true), "failed");
    EXPECT_TRUE(log.has("Category separator string to output buffer")) << log.text();
}

TEST_F(Category, NeedsItsArguments) {
    const ZDDS_Config_LogMessage message{};
    char buffer[36];
    EXPECT_FALSE(ORX_MonitoringLogging_getCategoryFromLogMessage(nullptr, 36, &message));
    EXPECT_FALSE(ORX_MonitoringLogging_getCategoryFromLogMessage(buffer, 3, &message));
    EXPECT_FALSE(ORX_MonitoringLogging_getCategoryFromLogMessage(buffer, 36, nullptr));
    EXPECT_FALSE(ORX_MonitoringLogging_getCategoryFromLogMessage(buffer, 36, &message)) << "no text";
}

} // namespace
