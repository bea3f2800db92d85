// Entries and pairs in an arena: found or added, and nothing lost on the way.
#include "src/logging/StructuredData.h"

#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "zddscore/inline_memory.h"
#include "gtest/gtest.h"

namespace {

using EntrySeq = DDS_Monitoring_StructuredDataMapEntrySeq;
using PairSeq = DDS_Monitoring_NameValuePairSeq;

class StructuredData : public ::testing::Test {
protected:
    explicit StructuredData(REDAInlineMemorySize maximal = 1 << 20) {
        const REDAInlineMemoryProperty property{.initial = maximal < 1024 ? maximal : 1024,
            .maximal = maximal,
            .increment = 50,
            .forceContiguousMemory = 0,
            .initializeBuffersToZero = 0,
            .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
            .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
            .lowerLevelAllocatorData = nullptr};
        arena = REDAInlineMemory_new(&property);
    }
    ~StructuredData() override {
        EXPECT_TRUE(DDS_Monitoring_StructuredDataMapEntrySeq_unloan_and_finalize_w_memory_manager(&entries));
        EXPECT_TRUE(DDS_Monitoring_NameValuePairSeq_unloan_and_finalize_w_memory_manager(&pairs));
        EXPECT_EQ(live(), 0U);
        REDAInlineMemory_delete(arena);
    }
    ORX_UINT32 live() {
        REDAInlineMemoryInfo info{};
        REDAInlineMemory_getInfo(arena, &info);
        return info.liveBuffers;
    }
    auto* entry(const char* key) {
        return DDS_Monitoring_StructuredDataMapEntrySeq_assertElement(&entries, &arena, key);
    }
    auto* pair(const char* name, const char* value) {
        return DDS_Monitoring_NameValuePairSeq_assertElement(&pairs, &arena, name, value);
    }
    std::string text() {
        std::string all;
        for (DDS_Long i = 0; i < DDS_Monitoring_NameValuePairSeq_get_length(&pairs); ++i) {
            const auto* one = DDS_Monitoring_NameValuePairSeq_get_reference(&pairs, i);
            all += std::string(one->name) + "=" + one->value + " ";
        }
        return all;
    }

    LogCapture log;
    REDAInlineMemory* arena;
    EntrySeq entries{};
    PairSeq pairs{};
};

TEST_F(StructuredData, PairsAreAddedInOrderAndReplacedByName) {
    ASSERT_NE(pair("a", "1"), nullptr);
    ASSERT_NE(pair("b", "2"), nullptr);
    EXPECT_EQ(text(), "a=1 b=2 ");
    const auto before = live();
    EXPECT_EQ(
        pair("a", "a longer value than before"), DDS_Monitoring_NameValuePairSeq_get_reference(&pairs, 0));
    EXPECT_EQ(text(), "a=a longer value than before b=2 ");
    EXPECT_EQ(live(), before);
    ASSERT_NE(pair("c", ""), nullptr);
    EXPECT_EQ(text(), "a=a longer value than before b=2 c= ");
}

TEST_F(StructuredData, AnEntryIsFoundByItsKeyWithItsPairs) {
    auto* first = entry("one");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(DDS_Monitoring_NameValuePairSeq_assertElement(&first->pairs, &arena, "n", "v"), nullptr);
    ASSERT_NE(entry("two"), nullptr);
    EXPECT_EQ(DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries), 2);
    const auto* found = entry("one");
    EXPECT_EQ(found, DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, 0));
    EXPECT_STREQ(DDS_Monitoring_NameValuePairSeq_get_reference(&found->pairs, 0)->value, "v");
    EXPECT_EQ(DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries), 2);
}

TEST_F(StructuredData, NeedsItsArguments) {
    EXPECT_EQ(entry(nullptr), nullptr);
    EXPECT_EQ(pair(nullptr, ""), nullptr);
    EXPECT_EQ(pair("", nullptr), nullptr);
}

// Arenas of every size: what does not fit leaves the sequence as it was.
TEST(StructuredDataFailure, AnExhaustedArenaChangesNothing) {
    LogCapture log;
    for (REDAInlineMemorySize size = 128; size < 4096; size += 32) {
        const REDAInlineMemoryProperty property{.initial = size,
            .maximal = size,
            .increment = 0,
            .forceContiguousMemory = 1,
            .initializeBuffersToZero = 0,
            .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
            .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
            .lowerLevelAllocatorData = nullptr};
        REDAInlineMemory* arena = REDAInlineMemory_new(&property);
        EntrySeq entries{};
        REDAInlineMemoryInfo before{};
        DDS_Long length = 0;
        for (int i = 0; i < 40; ++i) {
            REDAInlineMemory_getInfo(arena, &before);
            auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_assertElement(
                &entries, &arena, std::to_string(i).c_str());
            if (entry == nullptr)
                break;
            ++length;
            REDAInlineMemory_getInfo(arena, &before);
            if (DDS_Monitoring_NameValuePairSeq_assertElement(&entry->pairs, &arena, "name", "value") ==
                nullptr)
                break;
            REDAInlineMemory_getInfo(arena, &before);
        }
        REDAInlineMemoryInfo after{};
        REDAInlineMemory_getInfo(arena, &after);
        EXPECT_EQ(after.liveBuffers, before.liveBuffers) << size;
        ASSERT_EQ(DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries), length);
        for (DDS_Long i = 0; i < length; ++i)
            EXPECT_EQ(
                DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, i)->key, std::to_string(i));
        EXPECT_TRUE(DDS_Monitoring_StructuredDataMapEntrySeq_unloan_and_finalize_w_memory_manager(&entries));
        REDAInlineMemory_getInfo(arena, &after);
        EXPECT_EQ(after.liveBuffers, 0U) << size;
        REDAInlineMemory_delete(arena);
    }
}

} // namespace
