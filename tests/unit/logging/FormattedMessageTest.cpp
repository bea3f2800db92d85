// From the logger over the topic to the line that a collector prints: nothing of a text is lost on the way.
#include "orxmonitoring2d/forwarder.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"

namespace {

constexpr auto user = ZDDS_CONFIG_LOG_FACILITY_USER;
constexpr auto service = ZDDS_CONFIG_LOG_FACILITY_SERVICE;
constexpr auto security = ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT;
constexpr auto middleware = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE;

class FormattedMessage : public ::testing::Test {
protected:
    FormattedMessage() {
        auto& logging = world.property.logging;
        logging.forwarding_level = {ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG,
            ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG};
        EXPECT_TRUE(world.start()) << log.text();
        for (const auto facility : {user, service, security, middleware})
            ZDDS_Config_Logger_set_verbosity_by_facilityI(
                world.logger(), facility, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 0);
    }
    // What is queued, printed without the time in front.
    std::vector<std::string> lines() {
        std::vector<std::string> all;
        for (const auto& sample : world.run()) {
            for (const auto& message : sample.messages)
                all.push_back(lineOf(message));
        }
        return all;
    }
    // The one line of one message.
    std::string line(ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level, const char* category,
        const char* text) {
        EXPECT_TRUE(ZDDS_Config_Logger_log(world.logger(), facility, level, 7, category, text));
        const auto all = lines();
        EXPECT_EQ(all.size(), 1U) << text;
        return all.empty() ? "" : all[0];
    }

    LogCapture log;
    LoggingWorld world;

private:
    static std::string lineOf(const LogMessageValue& value) {
        std::string text = value.message;
        DDS_Monitoring_LoggingMessage message{};
        message.sn = value.sn;
        message.facility = static_cast<DDS_Octet>(value.facility);
        message.severity = static_cast<DDS_Monitoring_LoggingLevel>(value.severity);
        message.timestamp.sec = value.seconds;
        message.message = text.data();
        char buffer[2048];
        ORX_MonitoringForwarder_log_message_to_string(&message, buffer, sizeof buffer);
        const std::string all = buffer;
        EXPECT_EQ(all.substr(0, 3), "[20") << all;
        return all.substr(all.find("] ") + 2);
    }
};

TEST_F(FormattedMessage, KeepsEveryWordOfEachFacility) {
    const auto error = ZDDS_CONFIG_SYSLOG_LEVEL_ERROR;
    EXPECT_EQ(line(service, error, nullptr, "disk is full"), "SERVICE (sn:0) ERROR disk is full\n");
    EXPECT_EQ(line(middleware, error, nullptr, "nobody answers"), "MIDDLEWARE (sn:0) ERROR nobody answers\n");
    EXPECT_EQ(line(user, error, nullptr, "battery is low"), "USER (sn:0) ERROR battery is low\n");
    EXPECT_EQ(
        line(security, error, "Access", "access denied"), "SECURITY_EVENT (sn:0) ERROR access denied\n");
}

TEST_F(FormattedMessage, KeepsTheContextOfACategory) {
    EXPECT_EQ(line(middleware, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING, "Discovery", "nobody answers here"),
        "MIDDLEWARE (sn:0) WARNING [|LC:Discovery]nobody answers here\n");
    EXPECT_EQ(line(service, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING, "Storage", "full"),
        "SERVICE (sn:0) WARNING [|LC:Storage]full\n");
}

TEST_F(FormattedMessage, NamesEverySeverityOnce) {
    const char* const words[] = {
        "EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFORMATIONAL", "DEBUG"};
    for (int level = 0; level < 8; ++level) {
        EXPECT_EQ(line(service, static_cast<ZDDS_Config_SyslogLevel>(level), nullptr, "two words"),
            "SERVICE (sn:" + std::to_string(level) + ") " + words[level] + " two words\n");
    }
}

TEST_F(FormattedMessage, EndsInOneLineBreakAndHasNoOther) {
    const auto notice = ZDDS_CONFIG_SYSLOG_LEVEL_NOTICE;
    EXPECT_EQ(
        line(middleware, notice, nullptr, "engine's line\n"), "MIDDLEWARE (sn:0) NOTICE engine's line\n");
    EXPECT_EQ(line(middleware, notice, "config", "two\nlines\n"),
        "MIDDLEWARE (sn:1) NOTICE [|LC:config]two lines\n");
    EXPECT_EQ(line(service, notice, nullptr, "two\nlines"), "SERVICE (sn:0) NOTICE two lines\n");
    EXPECT_EQ(line(service, notice, nullptr, ""), "SERVICE (sn:1) NOTICE \n");
    EXPECT_EQ(line(user, notice, nullptr, "of a user\n"), "USER (sn:0) NOTICE of a user\n");
}

TEST_F(FormattedMessage, OfALineOfTheMiddlewareIsWhole) {
    ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_WARNING, ORX_LOG_MODULE_DDS, __FILE__, __LINE__,
        __func__, &ORX_LOG_FAILED_TO_CREATE_TEMPLATE, "%s", "a thing\n");
    EXPECT_EQ(
        lines(), std::vector<std::string>{"MIDDLEWARE (sn:0) WARNING [|LC:DDS]failed to create: a thing\n"});
}

} // namespace
