// The wire against Cyclone DDS's own serializer, with types that idlc made of the same IDL; and the two
// readers and writers here against each other.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "CycloneStream.h"
#include "RandomValue.hpp"
#include "TestTypes.h"
#include "TestTypes.hpp"
#include "middleware/types/WireReader.hpp"
#include "middleware/types/XcdrReader.hpp"
#include "middleware/types/XcdrWriter.hpp"

namespace {

using Bytes = std::vector<char>;

struct Pair {
    const DDS_TypeDescriptor* type;
    const dds_topic_descriptor_t* peer;
};

const Pair pairs[] = {
    {&tt::versionType, &tt_Version_desc},
    {&tt::timeType, &tt_Time_desc},
    {&tt::percentType, &tt_Percent_desc},
    {&tt::floatStatType, &tt_FloatStat_desc},
    {&tt::settingType, &tt_Setting_desc},
    {&tt::configType, &tt_Config_desc},
    {&tt::pairType, &tt_Pair_desc},
    {&tt::entryType, &tt_Entry_desc},
    {&tt::messageType, &tt_Message_desc},
    {&tt::logType, &tt_Log_desc},
    {&tt::creationType, &tt_Creation_desc},
    {&tt::deletionType, &tt_Deletion_desc},
    {&tt::updateType, &tt_Update_desc},
    {&tt::choiceType, &tt_Choice_desc},
    {&tt::resourceType, &tt_Resource_desc},
    {&tt::requiredType, &tt_Required_desc},
    {&tt::valueType, &tt_Value_desc},
    {&tt::eventType, &tt_Event_desc},
    {&tt::everythingType, &tt_Everything_desc},
    {&tt::plainType, &tt_Plain_desc},
};

std::string hex(const Bytes& bytes) {
    std::string text;
    char part[8];
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(
            part, sizeof part, "%02X%s", static_cast<unsigned char>(bytes[i]), i % 4 == 3 ? " " : "");
        text += part;
    }
    return text;
}

// With header and padding.
Bytes serialize(const DDS_TypeDescriptor* type, const void* value, DDS_UnsignedShort representation) {
    DDS_UnsignedLong length = 0;
    if (!DDS_Type_serialize_to_cdr_buffer_ex(type, nullptr, &length, value, representation))
        return {};
    Bytes bytes(length);
    if (!DDS_Type_serialize_to_cdr_buffer_ex(type, bytes.data(), &length, value, representation))
        return {};
    EXPECT_EQ(bytes.size(), length) << type->name;
    return bytes;
}

Bytes payload(const Bytes& bytes) {
    return {bytes.begin() + 4, bytes.end() - (bytes[3] & 3)};
}

Bytes withHeader(const DDS_TypeDescriptor* type, bool isXcdr2, bool isBigEndian, const Bytes& body) {
    const unsigned identifier = zdds::types::littleEndianIdentifier(*type, isXcdr2) - (isBigEndian ? 1U : 0U);
    Bytes bytes(4 + body.size());
    bytes[0] = static_cast<char>(identifier >> 8);
    bytes[1] = static_cast<char>(identifier);
    std::copy(body.begin(), body.end(), bytes.begin() + 4);
    return bytes;
}

constexpr int rounds = 60;

TEST(Wire, CycloneReadsWhatIsWrittenAndWritesTheSameBytes) {
    for (const Pair& pair : pairs) {
        for (uint32_t version = CycloneType_minimumVersion(pair.peer); version <= 2; ++version) {
            CycloneType* peer = CycloneType_new(pair.peer, version);
            tt::RandomValue random(version);
            for (int round = 0; round < rounds; ++round) {
                tt::OwnedValue value(pair.type);
                if (round > 0)
                    random.fill(pair.type, value.get());
                const DDS_UnsignedShort representation =
                    version == 2 ? DDS_XCDR2_DATA_REPRESENTATION : DDS_XCDR_DATA_REPRESENTATION;
                const Bytes mine = payload(serialize(pair.type, value.get(), representation));
                ASSERT_FALSE(mine.empty()) << pair.type->name;
                void* sample = CycloneType_read(peer, mine.data(), static_cast<uint32_t>(mine.size()), false);
                ASSERT_NE(sample, nullptr) << pair.type->name << " version " << version << "\n" << hex(mine);
                uint32_t size = 0;
                unsigned char* written = CycloneType_write(peer, sample, false, &size);
                ASSERT_NE(written, nullptr);
                const Bytes theirs(written, written + size);
                ASSERT_EQ(hex(mine), hex(theirs)) << pair.type->name << " version " << version;
                CycloneType_freeBytes(written);
                CycloneType_free(peer, sample);
            }
            CycloneType_delete(peer);
        }
    }
}

TEST(Wire, WhatCycloneWritesIsReadInBothByteOrders) {
    for (const Pair& pair : pairs) {
        for (uint32_t version = CycloneType_minimumVersion(pair.peer); version <= 2; ++version) {
            CycloneType* peer = CycloneType_new(pair.peer, version);
            tt::RandomValue random(version + 10);
            for (int round = 0; round < rounds; ++round) {
                tt::OwnedValue value(pair.type), back(pair.type);
                random.fill(pair.type, value.get());
                random.fill(pair.type, back.get());
                const Bytes mine = payload(serialize(pair.type, value.get(),
                    version == 2 ? DDS_XCDR2_DATA_REPRESENTATION : DDS_XCDR_DATA_REPRESENTATION));
                void* sample = CycloneType_read(peer, mine.data(), static_cast<uint32_t>(mine.size()), false);
                ASSERT_NE(sample, nullptr) << pair.type->name;
                for (const bool isBigEndian : {false, true}) {
                    uint32_t size = 0;
                    unsigned char* written = CycloneType_write(peer, sample, isBigEndian, &size);
                    const Bytes theirs =
                        withHeader(pair.type, version == 2, isBigEndian, Bytes(written, written + size));
                    EXPECT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
                        pair.type, back.get(), theirs.data(), static_cast<DDS_UnsignedLong>(theirs.size())))
                        << pair.type->name << " version " << version << " big " << isBigEndian << hex(theirs);
                    EXPECT_TRUE(DDS_Type_equals(pair.type, value.get(), back.get())) << pair.type->name;
                    CycloneType_freeBytes(written);
                }
                CycloneType_free(peer, sample);
            }
            CycloneType_delete(peer);
        }
    }
}

Bytes walk(const DDS_TypeDescriptor* type, const void* value, bool isXcdr2, bool isBigEndian) {
    char* buffer = nullptr;
    size_t capacity = 0;
    size_t size = 0;
    zdds::types::WriteBuffer out(&buffer, &capacity);
    EXPECT_TRUE(zdds::types::writeXcdr(*zdds::types::programsOf(type),
        {isXcdr2, isBigEndian, zdds::types::extensibilityOf(*type)}, static_cast<const char*>(value), &out,
        &size));
    const Bytes bytes(buffer, buffer + size);
    ORXOsapiHeap_freeMemoryInternal(buffer);
    return bytes;
}

TEST(Wire, ProgramAndWalkerWriteTheSameBytes) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(3);
        for (int round = 0; round < rounds; ++round) {
            tt::OwnedValue value(type);
            random.fill(type, value.get());
            EXPECT_EQ(hex(payload(serialize(type, value.get(), DDS_XCDR2_DATA_REPRESENTATION))),
                hex(walk(type, value.get(), true, false)))
                << type->name;
        }
    }
}

TEST(Wire, EveryEncodingReadsBack) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(4);
        tt::OwnedValue back(type); // one for all: memory is used again
        for (int round = 0; round < rounds; ++round) {
            tt::OwnedValue value(type);
            random.fill(type, value.get());
            for (const bool isXcdr2 : {false, true}) {
                for (const bool isBigEndian : {false, true}) {
                    const Bytes bytes =
                        withHeader(type, isXcdr2, isBigEndian, walk(type, value.get(), isXcdr2, isBigEndian));
                    ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
                        type, back.get(), bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())))
                        << type->name << isXcdr2 << isBigEndian << "\n"
                        << hex(bytes);
                    EXPECT_TRUE(DDS_Type_equals(type, value.get(), back.get())) << type->name;
                }
            }
        }
    }
}

// What the program refuses goes to the walker, so a defect would only show as slowness.
TEST(Wire, ProgramReadsAllThatItWrites) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(5);
        for (int round = 0; round < rounds; ++round) {
            tt::OwnedValue value(type), back(type);
            random.fill(type, value.get());
            const Bytes bytes = payload(serialize(type, value.get(), DDS_XCDR2_DATA_REPRESENTATION));
            EXPECT_EQ(zdds::types::readWire(zdds::types::programsOf(type)->wire,
                          static_cast<char*>(back.get()), bytes.data(), bytes.size(), {}),
                zdds::types::ReadResult::done)
                << type->name;
            EXPECT_TRUE(DDS_Type_equals(type, value.get(), back.get())) << type->name;
        }
    }
}

TEST(Wire, GrowingBufferHasTheSameBytesAndIsUsedAgain) {
    char* buffer = nullptr;
    size_t capacity = 0;
    tt::RandomValue random(6);
    for (int round = 0; round < rounds; ++round) {
        for (const DDS_TypeDescriptor* type : tt::allTypes()) {
            for (const DDS_UnsignedShort representation :
                {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION}, DDS_AUTO_DATA_REPRESENTATION}) {
                tt::OwnedValue value(type);
                random.fill(type, value.get());
                size_t length = 0;
                ASSERT_TRUE(DDS_Type_serialize_to_growing_buffer(
                    type, &buffer, &capacity, &length, value.get(), representation));
                EXPECT_LE(length, capacity);
                EXPECT_EQ(
                    hex(serialize(type, value.get(), representation)), hex(Bytes(buffer, buffer + length)))
                    << type->name;
            }
        }
    }
    ORXOsapiHeap_freeMemoryInternal(buffer);
}

TEST(Wire, ABufferTooSmallFailsAtEveryLength) {
    tt::RandomValue random(7);
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::OwnedValue value(type);
        random.fill(type, value.get());
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            const Bytes bytes = serialize(type, value.get(), representation);
            for (size_t room = 0; room < bytes.size(); ++room) {
                const std::unique_ptr<char[]> small(new char[room + 1]);
                auto length = static_cast<DDS_UnsignedLong>(room);
                EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer_ex(
                    type, small.get(), &length, value.get(), representation));
            }
        }
    }
}

TEST(Wire, PaddingIsCountedInTheOptions) {
    const DDS_Octet expected[] = {0x00, 0x07, 0x00, 0x03, 1, 2, 3, 4, 5, 0, 0, 0};
    struct {
        DDS_Octet bytes[5];
    } value = {{1, 2, 3, 4, 5}};
    tt::Type five(DDS_TYPE_ARRAY, "five", 5, 1, DDS_TYPE_FINAL);
    five.element(DDS_g_type_octet, 5);
    const Bytes bytes = serialize(&five, &value, DDS_AUTO_DATA_REPRESENTATION);
    EXPECT_EQ(hex(bytes), hex(Bytes(expected, expected + sizeof expected)));
    DDS_Type_finalize_programs(); // the type goes before they would
}

TEST(Wire, EncapsulationFollowsExtensibility) {
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::plainType, DDS_XCDR_DATA_REPRESENTATION), 0x0001);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::eventType, DDS_XCDR_DATA_REPRESENTATION), 0x0001);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::resourceType, DDS_XCDR_DATA_REPRESENTATION), 0x0003);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::plainType, DDS_XCDR2_DATA_REPRESENTATION), 0x0007);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::eventType, DDS_AUTO_DATA_REPRESENTATION), 0x0009);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::resourceType, DDS_AUTO_DATA_REPRESENTATION), 0x000B);
    EXPECT_EQ(DDS_TypeCode_get_native_encapsulation(&tt::resourceType, DDS_XML_DATA_REPRESENTATION), 0xFFFF);
}

} // namespace
