// A message as it is put together for the worker.
#include "src/logging/LoggingPayload.h"

#include <atomic>
#include <thread>

#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingReader.hpp"
#include "gtest/gtest.h"

namespace {

class LoggingPayload : public ::testing::Test {
protected:
    LoggingPayload() { arena = newArena(1 << 20); }
    ~LoggingPayload() override {
        (void)DDS_Monitoring_StructuredDataMapEntrySeq_finalize(&given);
        EXPECT_EQ(live(), 0U);
        REDAInlineMemory_delete(arena);
    }
    static REDAInlineMemory* newArena(REDAInlineMemorySize maximal) {
        const REDAInlineMemoryProperty property{.initial = 1024 < maximal ? 1024 : maximal,
            .maximal = maximal,
            .increment = 50,
            .forceContiguousMemory = 0,
            .initializeBuffersToZero = 0,
            .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
            .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
            .lowerLevelAllocatorData = nullptr};
        return REDAInlineMemory_new(&property);
    }
    ORX_UINT32 live() {
        REDAInlineMemoryInfo info{};
        REDAInlineMemory_getInfo(arena, &info);
        return info.liveBuffers;
    }
    ORX_MonitoringLoggingPayload* create(const char* text = "text", const char* category = "Cat",
        ZDDS_Config_LogFacility facility = ZDDS_CONFIG_LOG_FACILITY_SERVICE, bool withData = false,
        DDS_UnsignedLong id = 4294967295U) {
        const DDS_Duration_t time{11, 22};
        return ORX_MonitoringLoggingPayload_createUpdate(&logging, &arena, text,
            ZDDS_CONFIG_SYSLOG_LEVEL_NOTICE, id, &time, facility, withData ? &given : nullptr, category);
    }
    // Adds to what the caller gives.
    void give(const char* key, const char* name, const char* value) {
        const DDS_Long length = DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&given);
        ASSERT_TRUE(DDS_Monitoring_StructuredDataMapEntrySeq_set_length(&given, length + 1));
        auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&given, length);
        DDS_String_replace(&entry->key, key);
        ASSERT_TRUE(DDS_Monitoring_NameValuePairSeq_set_length(&entry->pairs, 1));
        auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, 0);
        DDS_String_replace(&pair->name, name);
        DDS_String_replace(&pair->value, value);
    }

    LogCapture log;
    REDAInlineMemory* arena;
    ORX_MonitoringLogging logging{};
    DDS_Monitoring_StructuredDataMapEntrySeq given{};
};

TEST_F(LoggingPayload, HasAllThatTheProducerSaid) {
    for (const bool withData : {false, true}) {
        auto* payload = create("some text", "Cat", ZDDS_CONFIG_LOG_FACILITY_SERVICE, withData);
        ASSERT_NE(payload, nullptr) << log.text();
        EXPECT_EQ(payload->isSnapshot, 0);
        const LogMessageValue message{*payload->base};
        EXPECT_EQ(message.facility, 22);
        EXPECT_EQ(message.severity, DDS_Monitoring_LoggingLevel_NOTICE_LEVEL);
        EXPECT_EQ(payload->base->timestamp.sec, 11);
        EXPECT_EQ(payload->base->timestamp.nanosec, 22U);
        EXPECT_EQ(message.msgid, "4294967295");
        EXPECT_EQ(message.message, "some text");
        EXPECT_FALSE(message.hasHeader);
        ASSERT_EQ(message.structuredData.size(), 1U);
        EXPECT_EQ(message.category(), "Cat");
        EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
        EXPECT_EQ(live(), 0U);
    }
}

TEST_F(LoggingPayload, NumbersCountFromZeroForEachFacility) {
    const auto number = [&](ZDDS_Config_LogFacility facility) {
        auto* payload = create("", "", facility);
        const auto sn = payload->base->sn;
        EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
        return sn;
    };
    for (const auto facility : {ZDDS_CONFIG_LOG_FACILITY_USER, ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT,
             ZDDS_CONFIG_LOG_FACILITY_SERVICE, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE}) {
        EXPECT_EQ(number(facility), 0U) << facility;
        EXPECT_EQ(number(facility), 1U) << facility;
    }
    EXPECT_EQ(logging.sequenceNumber[0], 2U);
    EXPECT_EQ(logging.sequenceNumber[3], 2U);
}

TEST_F(LoggingPayload, AnEntryOfTheCallersWithThatKeyIsUsed) {
    give("other", "n", "v");
    give("Zentrox", "category", "mine");
    auto* payload = create("text", "Cat", ZDDS_CONFIG_LOG_FACILITY_USER, true);
    ASSERT_NE(payload, nullptr) << log.text();
    const LogMessageValue message{*payload->base};
    EXPECT_EQ(message.structuredData.size(), 2U);
    EXPECT_EQ(message.category(), "Cat");
    EXPECT_EQ(message.structuredData.at("Zentrox").size(), 1U);
    EXPECT_EQ(message.structuredData.at("other").at("n"), "v");
    EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
}

TEST_F(LoggingPayload, AnEntryOfTheCallersKeepsItsOtherPairs) {
    give("Zentrox", "source", "here");
    auto* payload = create("text", "Cat", ZDDS_CONFIG_LOG_FACILITY_USER, true);
    ASSERT_NE(payload, nullptr) << log.text();
    const LogMessageValue message{*payload->base};
    EXPECT_EQ(message.structuredData.at("Zentrox").at("source"), "here");
    EXPECT_EQ(message.category(), "Cat");
    EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
}

TEST_F(LoggingPayload, OfASnapshotHasNoMessage) {
    auto* payload = ORX_MonitoringLoggingPayload_createSnapshot(&arena);
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->base, nullptr);
    EXPECT_EQ(payload->isSnapshot, 1);
    EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
}

TEST_F(LoggingPayload, MayBeEmptyOrLong) {
    const std::string text(100'000, 'x');
    auto* payload = create(text.c_str(), "");
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->base->message, text);
    EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
    payload = create("", "", ZDDS_CONFIG_LOG_FACILITY_USER, false, 0);
    EXPECT_STREQ(payload->base->message, "");
    EXPECT_STREQ(payload->base->msgid, "0");
    EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
}

TEST_F(LoggingPayload, AnExhaustedArenaLeavesNothing) {
    give("key", "name", "value");
    int failures = 0;
    for (const bool withData : {false, true}) {
        for (REDAInlineMemorySize size = 128; size < 3072; size += 16) {
            REDAInlineMemory* large = arena;
            arena = newArena(size);
            if (auto* payload = create("some text", "Cat", ZDDS_CONFIG_LOG_FACILITY_USER, withData)) {
                EXPECT_EQ(LogMessageValue{*payload->base}.category(), "Cat");
                EXPECT_TRUE(ORX_MonitoringLoggingPayload_delete(payload));
            } else {
                ++failures;
            }
            EXPECT_EQ(live(), 0U) << size;
            REDAInlineMemory_delete(arena);
            arena = large;
        }
    }
    EXPECT_GT(failures, 20);
    const auto lines = log.lines();
    const struct {
        const char* identifier;
        const char* subject; // how it begins
    } expected[] = {{"FAILED_TO_ALLOCATE", "'struct ORX_MonitoringLoggingPayload' with size "},
        {"FAILED_TO_ALLOCATE", "'DDS_Monitoring_LoggingMessage' with size "},
        {"FAILED_TO_COPY", "Structured Data Map Entry sequence."},
        {"FAILED_TO_ASSERT", "'Zentrox' key into structured data sequence"},
        {"FAILED_TO_ASSERT", "'Cat' category into name value pair sequence"},
        {"FAILED_TO_COPY", "Logging message string"}, {"FAILED_TO_COPY", "Logging message ID string"}};
    for (const auto& each : expected)
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
            [&](const LogCapture::Line& line) {
                return line.identifier == each.identifier && line.subject.starts_with(each.subject);
            }))
            << each.subject << "\n"
            << log.text();
}

TEST_F(LoggingPayload, NeedsItsArguments) {
    EXPECT_EQ(create(nullptr), nullptr);
    EXPECT_EQ(create("", nullptr), nullptr);
    EXPECT_FALSE(ORX_MonitoringLoggingPayload_delete(nullptr));
}

} // namespace
