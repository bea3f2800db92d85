#include "orxmonitoring2d/forwarder.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/logFormatter/FormatterCheck.hpp"
#include "tests/helpers/LogCapture.hpp"

namespace {

constexpr DDS_Octet user = 1;
constexpr DDS_Octet securityEvent = 10;
constexpr DDS_Octet service = 22;
constexpr DDS_Octet middleware = 23;

// 2026-11-21T14:05:09.5Z
constexpr DDS_LongLong seconds = 1795269909;

class LogMessageFormatter : public ::testing::Test {
protected:
    std::string format(std::string text, DDS_Octet facility = middleware, size_t size = 2048,
        DDS_Monitoring_LoggingLevel severity = DDS_Monitoring_LoggingLevel_ERROR_LEVEL) {
        DDS_Monitoring_LoggingMessage message{};
        message.sn = 7;
        message.facility = facility;
        message.severity = severity;
        message.timestamp.sec = seconds;
        message.timestamp.nanosec = 500000000;
        message.message = text.data();
        std::vector<char> buffer(size, '#');
        ORX_MonitoringForwarder_log_message_to_string(&message, buffer.data(), buffer.size());
        return buffer.data();
    }

    LogCapture log;
};

} // namespace

TEST_F(LogMessageFormatter, KeepsTheTextsOwnTimestampAndDropsItsLevelWord) {
    EXPECT_EQ(format("[1700000000.123] ERROR something went wrong"),
        "[1700000000.123] MIDDLEWARE (sn:7) ERROR something went wrong\n");
    EXPECT_EQ(format("[12] LOCAL user words", user), "[12] USER (sn:7) ERROR user words\n");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LogMessageFormatter, WritesTheMessagesTimeInUtcWhenTheTextHasNone) {
    EXPECT_EQ(format("WARNING disk is full", service),
        "[2026-11-21T14:05:09.500000Z] SERVICE (sn:7) ERROR disk is full\n");
}

TEST_F(LogMessageFormatter, KeepsTheFirstWordOfUserAndSecurityMessages) {
    EXPECT_EQ(
        format("battery is low", user), "[2026-11-21T14:05:09.500000Z] USER (sn:7) ERROR battery is low\n");
    EXPECT_EQ(format("access denied", securityEvent),
        "[2026-11-21T14:05:09.500000Z] SECURITY_EVENT (sn:7) ERROR access denied\n");
}

TEST_F(LogMessageFormatter, NamesEverySeverity) {
    const std::array words{
        "EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFORMATIONAL", "DEBUG"};
    for (size_t i = 0; i < words.size(); ++i) {
        EXPECT_EQ(format("[1] X text", middleware, 2048, static_cast<DDS_Monitoring_LoggingLevel>(i)),
            std::string("[1] MIDDLEWARE (sn:7) ") + words[i] + " text\n");
    }
}

TEST_F(LogMessageFormatter, LeavesAMessageOfAnUnknownFacilityOrSeverityAsItIs) {
    EXPECT_EQ(format("[1] ERROR text", 5), "[1] ERROR text");
    EXPECT_EQ(log.count("\n", "PRECONDITION"), 1u);
    EXPECT_EQ(format("[1] ERROR text", middleware, 2048, static_cast<DDS_Monitoring_LoggingLevel>(8)),
        "[1] ERROR text");
    EXPECT_EQ(log.count("\n", "PRECONDITION"), 2u);
}

TEST_F(LogMessageFormatter, LeavesAMessageWithoutTheExpectedPartsAsItIs) {
    EXPECT_EQ(format("[12 no end"), "[12 no end");
    EXPECT_TRUE(log.has("timestamp on input message.")) << log.text();
    EXPECT_EQ(format("oneword"), "oneword");
    EXPECT_TRUE(log.has("LogLevel on input message.")) << log.text();
    EXPECT_EQ(format("[1] E [0x1 no end"), "[1] E [0x1 no end");
    EXPECT_TRUE(log.has("Activity Context on input message.")) << log.text();
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_WARNING), 3u);
}

TEST_F(LogMessageFormatter, WritesOutTheGuidPrefixesThatAContextAbbreviates) {
    EXPECT_EQ(
        format("[1] ERROR [0x01010101,0x02020202,0x03030303:0x000001C1{E=DP}|:0x80000003|LC:Discovery]text"),
        "[1] MIDDLEWARE (sn:7) ERROR "
        "[01010101.02020202.03030303.000001C1{E=DP}|01010101.02020202.03030303.80000003|LC:Discovery]text\n");
}

TEST_F(LogMessageFormatter, TakesThePrefixOfTheGuidBefore) {
    EXPECT_EQ(
        format("[1] E [0x0000000A,0x0000000B,0x0000000C:0x1|:0x2|0x0000000D,0x0000000E,0x0000000F:0x3|:0x4]"),
        "[1] MIDDLEWARE (sn:7) ERROR [0000000A.0000000B.0000000C.1|0000000A.0000000B.0000000C.2|"
        "0000000D.0000000E.0000000F.3|0000000D.0000000E.0000000F.4]\n");
    EXPECT_EQ(format("[1] E [|:0x2]rest"), "[1] MIDDLEWARE (sn:7) ERROR [|.2]rest\n");
}

TEST_F(LogMessageFormatter, FindsAContextBehindOneWord) {
    EXPECT_EQ(format("[1] E word [0x0000000A,0x0000000B,0x0000000C:0x1|:0x2] rest"),
        "[1] MIDDLEWARE (sn:7) ERROR word [0000000A.0000000B.0000000C.1|0000000A.0000000B.0000000C.2] "
        "rest\n");
    EXPECT_EQ(format("[1] E word [no guid] rest"), "[1] MIDDLEWARE (sn:7) ERROR word [no guid] rest\n");
    EXPECT_EQ(format("[1] E two words ] rest"), "[1] MIDDLEWARE (sn:7) ERROR two words ] rest\n");
}

TEST_F(LogMessageFormatter, LeavesAContextThatItCannotExpandAsItIs) {
    const std::string tooShort = "[1] E [0x1,0x2:0x3]";
    EXPECT_EQ(format(tooShort), tooShort);
    EXPECT_TRUE(log.has("Last Prefix.", "FAILED_TO_COPY")) << log.text();
    std::string tooLong = "[1] E [0x0000000A,0x0000000B,0x0000000C:0x1";
    for (int i = 0; i < 100; ++i)
        tooLong += "|:0x2";
    tooLong += "]";
    EXPECT_EQ(format(tooLong, middleware, 8192), tooLong);
    EXPECT_TRUE(log.has("GUID prefix expansion to temporal buffer message.")) << log.text();
}

TEST_F(LogMessageFormatter, RemovesHexadecimalMarksFromOrdinaryTextToo) {
    EXPECT_EQ(format("[1] E code 0xFF,0x10 at:0x20 a,b c:d"),
        "[1] MIDDLEWARE (sn:7) ERROR code FF.10 at.20 a,b c:d\n");
}

TEST_F(LogMessageFormatter, EndsInOneLineEndAndHoldsNoOther) {
    EXPECT_EQ(format("[1] E first\nsecond\n"), "[1] MIDDLEWARE (sn:7) ERROR first second\n");
    EXPECT_EQ(format("[1] E first\nsecond"), "[1] MIDDLEWARE (sn:7) ERROR first second\n");
    EXPECT_EQ(format("[1] E \n"), "[1] MIDDLEWARE (sn:7) ERROR \n");
    EXPECT_EQ(format("[1] E "), "[1] MIDDLEWARE (sn:7) ERROR \n");
}

TEST_F(LogMessageFormatter, CutsALongTextAndThenByTheBuffer) {
    const std::string text = "[1] E " + std::string(2000, 'x');
    EXPECT_EQ(
        format(text, middleware, 4096), "[1] MIDDLEWARE (sn:7) ERROR " + std::string(1023 - 6, 'x') + "\n");
    EXPECT_EQ(format(text, middleware, 100), text.substr(0, 99));
    EXPECT_TRUE(log.has("message portion after LogLevel to output message.")) << log.text();
}

TEST_F(LogMessageFormatter, FitsExactlyOrNotAtAll) {
    const std::string formatted = "[1] MIDDLEWARE (sn:7) ERROR words\n";
    EXPECT_EQ(format("[1] E words", middleware, formatted.size() + 1), formatted);
    EXPECT_EQ(format("[1] E words", middleware, formatted.size()), "[1] E words");
    EXPECT_TRUE(log.has("Trailing newline character to ouput buffer.")) << log.text();
}

TEST_F(LogMessageFormatter, WritesNoTextIntoABufferOfOneByte) {
    EXPECT_EQ(format("[1] E words", middleware, 1), "");
}

TEST_F(LogMessageFormatter, NeverLeavesABufferUnterminatedWhateverItsSize) {
    for (size_t size = 1; size < 200; ++size) {
        const std::string result =
            format("[1] E [0x0000000A,0x0000000B,0x0000000C:0x1|:0x2] rest", middleware, size);
        EXPECT_LT(result.size(), size);
    }
}

TEST_F(LogMessageFormatter, RefusesMissingArguments) {
    char text[] = "text";
    DDS_Monitoring_LoggingMessage message{};
    message.message = text;
    char buffer[8] = "before";
    ORX_MonitoringForwarder_log_message_to_string(nullptr, buffer, sizeof buffer);
    ORX_MonitoringForwarder_log_message_to_string(&message, nullptr, sizeof buffer);
    ORX_MonitoringForwarder_log_message_to_string(&message, buffer, 0);
    ORX_MonitoringForwarder_log_message_to_string(&message, buffer, size_t{4294967295U} + 1);
    message.message = nullptr;
    ORX_MonitoringForwarder_log_message_to_string(&message, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "before");
    EXPECT_TRUE(log.has("\"size <= 0\"\n", "PRECONDITION"));
    EXPECT_TRUE(log.has("\"size > 4294967295U\"\n", "PRECONDITION"));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 5u);
}

TEST_F(LogMessageFormatter, PrintsTimesOutsideAnyCalendarAsTheTextIs) {
    char text[] = "E words";
    DDS_Monitoring_LoggingMessage message{};
    message.facility = service;
    message.timestamp.sec = INT64_MAX;
    message.message = text;
    char buffer[64];
    ORX_MonitoringForwarder_log_message_to_string(&message, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "E words");
    EXPECT_TRUE(log.has("UTC timestamp.")) << log.text();
}

TEST(LogFormatterCorpus, IsTakenWithoutHarm) {
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(ORX_FORMATTER_CORPUS)) {
        SCOPED_TRACE(file.path());
        LogCapture quiet;
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        FormatterCheck::run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    EXPECT_GE(count, 8u);
}
