// New values of received bytes, and where samples are written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HeapFault.hpp"
#include "RandomValue.hpp"
#include "TestTypes.hpp"
#include "zddsc/type_engine.h"

namespace {

using Bytes = std::vector<char>;

Bytes serialize(const DDS_TypeDescriptor* type, const void* value) {
    DDS_UnsignedLong length = 0;
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(type, nullptr, &length, value));
    Bytes bytes(length);
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(type, bytes.data(), &length, value));
    return bytes;
}

void* create(const DDS_TypeDescriptor* type, const Bytes& bytes) {
    return DDS_Type_create_data_from_cdr_buffer(
        type, bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size()));
}

TEST(Creation, ANewValueIsTheOneThatWasWritten) {
    DDS_Type_finalize_programs();
    const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(7);
        for (int round = 0; round < 40; ++round) {
            tt::OwnedValue source(type);
            random.fill(type, source.get());
            void* value = create(type, serialize(type, source.get()));
            ASSERT_NE(value, nullptr) << type->name;
            EXPECT_TRUE(DDS_Type_equals(type, source.get(), value)) << type->name;
            // It lives like any other: what it has is replaced piece by piece.
            random.fill(type, source.get());
            EXPECT_TRUE(DDS_Type_copy(type, value, source.get())) << type->name;
            EXPECT_TRUE(DDS_Type_equals(type, source.get(), value)) << type->name;
            DDS_Type_destroy_data(type, value);
        }
    }
    DDS_Type_finalize_programs();
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(Creation, ArmsThatAreNotSelectedAreWhole) {
    tt::OwnedValue source(&tt::updateType);
    source.as<tt::Update>()._d = 1;
    void* value = create(&tt::updateType, serialize(&tt::updateType, source.get()));
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(static_cast<tt::Update*>(value)->_u.creation.name, "");
    DDS_Type_destroy_data(&tt::updateType, value);
}

// Another form than a writer's own: what was made of the bytes before that was seen goes.
TEST(Creation, ABeginningAloneHasDefaultsBehindIt) {
    tt::OwnedValue source(&tt::messageType);
    tt::RandomValue(7).fill(&tt::messageType, source.get());
    Bytes bytes = serialize(&tt::messageType, source.get());
    bytes.resize(4 + 4 + 8); // the number of the message alone
    bytes[3] = 0;
    bytes[4] = 8;
    bytes[5] = bytes[6] = bytes[7] = 0;
    void* value = create(&tt::messageType, bytes);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(static_cast<tt::Message*>(value)->sn, source.as<tt::Message>().sn);
    EXPECT_STREQ(static_cast<tt::Message*>(value)->text, "");
    DDS_Type_destroy_data(&tt::messageType, value);
}

// Texts enough for blocks.
tt::OwnedValue& fillLarge(tt::OwnedValue& owned) {
    tt::RandomValue random(3);
    do
        random.fill(&tt::logType, owned.get());
    while (serialize(&tt::logType, owned.get()).size() < 1200);
    return owned;
}

TEST(Creation, ALargeValueTakesFewAllocations) {
    tt::OwnedValue source(&tt::logType);
    const Bytes bytes = serialize(&tt::logType, fillLarge(source).get());
    int into = 0;
    {
        HeapFault heap;
        tt::OwnedValue value(&tt::logType);
        ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
            &tt::logType, value.get(), bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())));
        into = heap.count();
    }
    HeapFault heap;
    void* value = create(&tt::logType, bytes);
    ASSERT_NE(value, nullptr);
    EXPECT_LT(3 * heap.count(), into);
    DDS_Type_destroy_data(&tt::logType, value);
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Creation, EveryFailingAllocationLeavesNothing) {
    std::vector<std::pair<const DDS_TypeDescriptor*, Bytes>> samples;
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::OwnedValue source(type);
        tt::RandomValue(5).fill(type, source.get());
        samples.emplace_back(type, serialize(type, source.get()));
    }
    tt::OwnedValue large(&tt::logType);
    samples.emplace_back(&tt::logType, serialize(&tt::logType, fillLarge(large).get()));
    for (const auto& [type, bytes] : samples) {
        bool done = false;
        for (int n = 1; !done && n < 1000; ++n) {
            HeapFault heap(n);
            void* value = create(type, bytes);
            done = !heap.failed();
            if (done) {
                EXPECT_NE(value, nullptr) << type->name;
            }
            // A block that cannot be had is replaced by buffers alone.
            DDS_Type_destroy_data(type, value);
            EXPECT_EQ(heap.leaked(), 0) << type->name << " at " << n;
        }
        EXPECT_TRUE(done) << type->name;
    }
}

TEST(Creation, BytesThatAreNoValueLeaveNothing) {
    DDS_Type_finalize_programs();
    const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
    {
        tt::OwnedValue source(&tt::logType);
        Bytes bytes = serialize(&tt::logType, fillLarge(source).get());
        for (size_t length = 0; length < bytes.size(); length += 7)
            DDS_Type_destroy_data(&tt::logType,
                create(&tt::logType, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length))));
        bytes[1] = 0x55;
        EXPECT_EQ(create(&tt::logType, bytes), nullptr);
        EXPECT_EQ(create(&tt::logType, {}), nullptr);
        EXPECT_EQ(DDS_Type_create_data_from_cdr_buffer(nullptr, bytes.data(), 4), nullptr);
        EXPECT_EQ(DDS_Type_create_data_from_cdr_buffer(&tt::logType, nullptr, 4), nullptr);
    }
    DDS_Type_finalize_programs();
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(Writing, AnyAddressTakesTheSameBytesAndNoneBeyond) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::OwnedValue source(type);
        tt::RandomValue(11).fill(type, source.get());
        const Bytes expected = serialize(type, source.get());
        for (size_t shift = 0; shift < 8; ++shift) {
            for (const size_t more : {size_t{0}, size_t{3}, size_t{40}}) {
                Bytes buffer(shift + expected.size() + more + 1, '\x5A');
                auto length = static_cast<DDS_UnsignedLong>(expected.size() + more);
                ASSERT_TRUE(
                    DDS_Type_serialize_to_cdr_buffer(type, buffer.data() + shift, &length, source.get()))
                    << type->name << " at " << shift;
                ASSERT_EQ(length, expected.size());
                EXPECT_TRUE(std::equal(expected.begin(), expected.end(), buffer.data() + shift))
                    << type->name << " at " << shift;
                EXPECT_EQ(buffer.back(), '\x5A');
            }
        }
    }
    DDS_Type_finalize_programs();
}

// Texts of every length, wherever they begin: whole blocks, parts of blocks, and more than the short way
// takes.
TEST(Writing, TextsOfAllLengthsAndAddresses) {
    tt::OwnedValue owned(&tt::pairType), back(&tt::pairType);
    auto& pair = owned.as<tt::Pair>();
    char* const name = pair.name;
    std::vector<char> room(512, 'x');
    for (size_t start = 0; start < 17; ++start) {
        for (size_t length = 0; length < 300; length += length < 70 ? 1 : 13) {
            std::fill(room.begin(), room.end(), 'x');
            for (size_t i = 0; i < length; ++i)
                room[start + i] = static_cast<char>('a' + i % 26);
            room[start + length] = '\0';
            pair.name = room.data() + start;
            const Bytes bytes = serialize(&tt::pairType, &pair);
            ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
                &tt::pairType, back.get(), bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())));
            ASSERT_STREQ(back.as<tt::Pair>().name, pair.name);
        }
    }
    pair.name = name;
}

} // namespace
