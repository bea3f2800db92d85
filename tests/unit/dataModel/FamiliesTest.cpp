// What every type must do, in one loop over all descriptors: live, be copied, travel and be printed, on the
// heap and in an arena.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "RandomValue.hpp"
#include "TypeIndexes.hpp"
#include "orxmonitoring2d/schema_types.h"
#include "tests/helpers/FailingHeap.hpp"

namespace {

class EveryType : public testing::TestWithParam<unsigned> {
protected:
    const DDS_TypeDescriptor& type() const { return *orx_schema_types[GetParam()]->type; }
    bool isAggregate() const { return type().kind == DDS_TYPE_STRUCT || type().kind == DDS_TYPE_UNION; }
};

// Structures and unions; others travel only inside them.
class EveryAggregate : public EveryType {};

// Heap value of a type, deleted with its scope.
struct Value {
    explicit Value(const DDS_TypeDescriptor& type_) : type(&type_), data(DDS_Type_create_data(&type_)) {}
    ~Value() { DDS_Type_destroy_data(type, data); }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    const DDS_TypeDescriptor* type;
    void* data;
};

std::vector<char> encode(
    const DDS_TypeDescriptor& type, const void* value, DDS_UnsignedShort representation) {
    DDS_UnsignedLong length = 0;
    if (!DDS_Type_serialize_to_cdr_buffer_ex(&type, nullptr, &length, value, representation))
        return {};
    std::vector<char> bytes(length);
    if (!DDS_Type_serialize_to_cdr_buffer_ex(&type, bytes.data(), &length, value, representation))
        return {};
    EXPECT_EQ(length, bytes.size()) << type.name;
    return bytes;
}

TEST_P(EveryType, CopiesCompareEqualAndNothingLeaks) {
    DDS_Type_finalize_programs(); // what the engine keeps is no leak
    const auto before = ORXOsapiHeap_getLiveBufferCount();
    for (unsigned seed = 0; seed < 8; ++seed) {
        Value original(type()), copy(type());
        ASSERT_NE(original.data, nullptr);
        ASSERT_TRUE(DDS_Type_equals(&type(), original.data, copy.data)) << "two new values";
        RandomValue random(seed);
        ASSERT_TRUE(random.fill(type(), original.data));
        ASSERT_TRUE(DDS_Type_copy(&type(), copy.data, original.data));
        EXPECT_TRUE(DDS_Type_equals(&type(), original.data, copy.data)) << seed;
        // Over what was there before.
        RandomValue other(seed + 1000);
        ASSERT_TRUE(other.fill(type(), original.data));
        ASSERT_TRUE(DDS_Type_copy(&type(), copy.data, original.data));
        EXPECT_TRUE(DDS_Type_equals(&type(), original.data, copy.data)) << seed;
    }
    DDS_Type_finalize_programs();
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
}

TEST_P(EveryAggregate, WhatIsEncodedIsDecodedAlike) {
    for (const auto representation : {DDS_XCDR2_DATA_REPRESENTATION, DDS_XCDR_DATA_REPRESENTATION}) {
        for (unsigned seed = 0; seed < 16; ++seed) {
            Value original(type()), decoded(type());
            RandomValue random(seed);
            random.allPresent = seed % 4 == 0;
            ASSERT_TRUE(random.fill(type(), original.data));
            const auto bytes = encode(type(), original.data, static_cast<DDS_UnsignedShort>(representation));
            ASSERT_FALSE(bytes.empty()) << type().name;
            ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
                &type(), decoded.data, bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())))
                << type().name << " representation " << representation << " seed " << seed;
            EXPECT_TRUE(DDS_Type_equals(&type(), original.data, decoded.data))
                << type().name << " seed " << seed;
            // Into a value that held something else.
            RandomValue other(seed + 1000);
            ASSERT_TRUE(other.fill(type(), decoded.data));
            ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
                &type(), decoded.data, bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())));
            EXPECT_TRUE(DDS_Type_equals(&type(), original.data, decoded.data))
                << type().name << " seed " << seed;
        }
    }
}

TEST_P(EveryAggregate, CutBytesAreRefusedOrDecodedWithoutHarm) {
    Value original(type()), decoded(type());
    RandomValue random(7);
    random.allPresent = true;
    random.maximumLength = 1;
    ASSERT_TRUE(random.fill(type(), original.data));
    const auto bytes = encode(type(), original.data, DDS_XCDR2_DATA_REPRESENTATION);
    for (size_t length = 0; length < bytes.size(); length += 1 + bytes.size() / 64) {
        const std::unique_ptr<char[]> exact(new char[length + 1]); // so that reading behind the end shows
        std::copy_n(bytes.begin(), length, exact.get());
        (void)DDS_Type_deserialize_from_cdr_buffer(
            &type(), decoded.data, exact.get(), static_cast<DDS_UnsignedLong>(length));
        DDS_Type_finalize(&type(), decoded.data);
        ASSERT_TRUE(DDS_Type_initialize(&type(), decoded.data));
    }
}

TEST_P(EveryType, ArenaCopiesCompareEqualAndLeaveTheArenaEmpty) {
    TestArena arena;
    for (unsigned seed = 0; seed < 8; ++seed) {
        Value original(type());
        RandomValue random(seed);
        ASSERT_TRUE(random.fill(type(), original.data));
        void* copy =
            REDAInlineMemory_reserveBufferI(arena.get(), static_cast<REDAInlineMemorySize>(type().size), 1);
        ASSERT_NE(copy, nullptr);
        ASSERT_TRUE(DDS_Type_initialize_w_memory_manager(&type(), copy, arena.get()));
        const auto heapCalls = ORXOsapiHeap_getAllocationCount();
        ASSERT_TRUE(DDS_Type_copy_w_memory_manager(&type(), copy, arena.get(), original.data));
        EXPECT_TRUE(DDS_Type_equals(&type(), original.data, copy)) << type().name << " seed " << seed;
        if (seed > 4) {
            EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), heapCalls) << "an arena that is warm";
        }
        DDS_Type_finalize_w_memory_manager(&type(), copy);
        ASSERT_TRUE(REDAInlineMemBuffer_release(copy));
        EXPECT_EQ(arena.liveBuffers(), 0U) << type().name << " seed " << seed;
    }
}

TEST_P(EveryType, ArenaValuesCanBeFilledAndCopiedToTheHeap) {
    TestArena arena;
    void* value =
        REDAInlineMemory_reserveBufferI(arena.get(), static_cast<REDAInlineMemorySize>(type().size), 1);
    ASSERT_TRUE(DDS_Type_initialize_w_memory_manager(&type(), value, arena.get()));
    RandomValue random(3, arena.get());
    ASSERT_TRUE(random.fill(type(), value));
    Value copy(type());
    ASSERT_TRUE(DDS_Type_copy(&type(), copy.data, value));
    EXPECT_TRUE(DDS_Type_equals(&type(), value, copy.data));
    DDS_Type_finalize_w_memory_manager(&type(), value);
    ASSERT_TRUE(REDAInlineMemBuffer_release(value));
    EXPECT_EQ(arena.liveBuffers(), 0U);
}

TEST_P(EveryType, PrintsItsMembers) {
    Value value(type());
    RandomValue random(1);
    ASSERT_TRUE(random.fill(type(), value.data));
    DDS_UnsignedLong size = 0;
    ASSERT_TRUE(DDS_Type_data_to_string(&type(), value.data, nullptr, &size));
    std::string text(size, '\0');
    ASSERT_TRUE(DDS_Type_data_to_string(&type(), value.data, text.data(), &size));
    for (DDS_UnsignedLong i = 0; type().kind == DDS_TYPE_STRUCT && i < type().memberCount; ++i) {
        if ((type().members[i].flags & DDS_MEMBER_FLAG_OPTIONAL) == 0) {
            EXPECT_NE(text.find(type().members[i].name), std::string::npos) << text;
        }
    }
}

TEST_P(EveryType, FailingAllocationsLeaveNothingBehind) {
    ASSERT_TRUE(DDS_Type_prepare(&type()));
    Value original(type());
    RandomValue random(5);
    random.allPresent = true;
    ASSERT_TRUE(random.fill(type(), original.data));
    FailingHeap heap;
    bool done = false;
    // Until nothing is left to fail: that there is no block for all buffers is got over.
    for (unsigned n = 1; !done && n < 20000; ++n) {
        const auto before = ORXOsapiHeap_getLiveBufferCount();
        heap.failAt(n);
        void* copy = DDS_Type_create_data(&type());
        const bool isCopied = copy != nullptr && DDS_Type_copy(&type(), copy, original.data);
        done = !heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(isCopied || !done);
        if (isCopied) {
            EXPECT_TRUE(DDS_Type_equals(&type(), original.data, copy));
        }
        DDS_Type_destroy_data(&type(), copy);
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), before) << type().name << " allocation " << n;
    }
    EXPECT_TRUE(done);
}

TEST_P(EveryType, HasAnAccessRecordOfItsMembers) {
    const auto* access = DDS_Type_get_sample_access_info(&type());
    if (!isAggregate()) {
        EXPECT_EQ(access, nullptr);
        return;
    }
    const DDS_UnsignedLong first = type().kind == DDS_TYPE_UNION ? 1 : 0;
    ASSERT_NE(access, nullptr);
    EXPECT_EQ(access->isInitialized, 1);
    EXPECT_EQ(access->sampleSize, type().size);
    ASSERT_EQ(access->memberCount, type().memberCount + first);
    for (DDS_UnsignedLong i = 0; i < type().memberCount; ++i) {
        EXPECT_EQ(access->memberAccessInfos[first + i].offset, type().members[i].offset);
    }
}

INSTANTIATE_TEST_SUITE_P(Schema, EveryType, testing::Range(0U, ORX_SCHEMA_TYPE_COUNT), nameOfType);
INSTANTIATE_TEST_SUITE_P(Schema, EveryAggregate, testing::ValuesIn(indexesOfAggregates()), nameOfType);

TEST(ResourceUpdate, HasOneAccessEntryForTheDiscriminatorAndOneForEachArm) {
    EXPECT_EQ(DDS_Monitoring_ResourceUpdate_get_sample_access_info()->memberCount, 4U);
}

// Nobody prepares types: whichever thread comes first makes the programs, while others wait for nothing.
TEST(Types, AreMadeReadyByWhicheverThreadComesFirst) {
    DDS_Type_finalize_programs();
    std::atomic<unsigned> failures{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&failures, seed] {
            for (unsigned i = 0; i < ORX_SCHEMA_TYPE_COUNT; ++i) {
                const auto& type = *orx_schema_types[seed % 2 == 0 ? i : ORX_SCHEMA_TYPE_COUNT - 1 - i]->type;
                Value original(type), copy(type);
                RandomValue random(seed);
                const bool ok = original.data != nullptr && copy.data != nullptr &&
                                random.fill(type, original.data) &&
                                DDS_Type_copy(&type, copy.data, original.data) &&
                                DDS_Type_equals(&type, original.data, copy.data);
                (void)DDS_Type_get_sample_access_info(&type);
                failures += ok ? 0U : 1U;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0U);
}

} // namespace
